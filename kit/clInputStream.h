#pragma once

#include "io/clStreamReader.h"

#include <optional>
#include <string>

#include <time.h> // for timespec

/** The bytes of an input: seekable, and a position is only a number until the next Read. */
class clInputStream : public clStreamReader
{
public:
    using clStreamReader::clStreamReader;

    /** Accepts any position from 0 on. @throws clXStreamReader for others */
    off_t Seek(off_t lTo) override;
    off_t Skip(off_t lCount) override;
    off_t Tell() override { return lPosition; }
    bool IsEOF() override { return lPosition >= GetSize(); }
    bool IsRemote() override { return false; }
    bool IsSeekable() override { return true; }

    /** When the source was last modified; nothing when that is not known. */
    virtual std::optional<timespec> GetTime() const noexcept = 0;

    /** @throws clXInput when the source is known to have changed since it was opened */
    virtual void ThrowIfChanged() const = 0;

    /** Whether a path leads to this source, unchanged. */
    virtual bool IsAt(const std::string &strFile) const noexcept = 0;

protected:
    off_t lPosition = 0; ///< of the next Read
};
