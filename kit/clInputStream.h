#pragma once

#include "io/clStreamReader.h"

#include <optional>
#include <string>

#include <time.h> // for timespec

/** The bytes of an input: seekable, and every Read starts at the position, wherever it is. */
class clInputStream : public clStreamReader
{
public:
    using clStreamReader::clStreamReader;

    bool IsRemote() override { return false; }
    bool IsSeekable() override { return true; }

    /** When the source was last modified; nothing when that is not known. */
    virtual std::optional<timespec> GetTime() const noexcept = 0;

    /** @throws clXInput when the source is known to have changed since it was opened */
    virtual void ThrowIfChanged() const = 0;

    /** Whether a path leads to this source, unchanged. */
    virtual bool IsAt(const std::string &strFile) const noexcept = 0;
};
