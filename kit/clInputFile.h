#pragma once

#include "dsd/clDSDIFFInspector.h"
#include "dsd/clDSFInspector.h"
#include "kit/clFileStream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/** A file with sound, opened and inspected. One thread at a time. */
class clInputFile
{
public:
    /** What the first bytes say. */
    enum class kind_t { UNKNOWN, DSDIFF, DSF };

    /** What a command that needs the sound makes of the findings. */
    struct verdict_t {
        /** Why the sound cannot be used; empty when it can. */
        std::string strFault;
        std::vector<std::string> aWarnings;
        std::vector<std::string> aHints;
    };

    /**
     * Opens and inspects a file. The object can be used for one file after the other.
     * @throws clException when it cannot be opened or read; what is wrong with its content is left
     * to Judge
     *
     * @param bFromDisk lets the system forget first what it holds of the file in memory
     */
    void Open(const std::string &strFile, bool bFromDisk = false);

    /**
     * @param bLenient what would be lost or guessed is a warning
     * @param bTag     whether findings about the own tag are of interest
     */
    verdict_t Judge(bool bLenient, bool bTag) const;

    kind_t GetKind() const noexcept { return kind; }
    /** Valid until the next Open. */
    clFileStream &GetStream() const noexcept { return *pStream; }
    /** What was found in a DSDIFF file, or of a DSF file. */
    const clDSDIFFInspector &GetDSDIFF() const noexcept { return inspectorDSDIFF; }
    const clDSFInspector &GetDSF() const noexcept { return inspectorDSF; }

    /** Parses the own tags, so that Judge and GetFindings know what is wrong with them. */
    void CheckTags();

    /** None for an unknown kind. */
    const findings_t &GetFindings() const noexcept;
    uint32_t GetSampleRate() const noexcept;
    uint32_t GetChannels() const noexcept;
    /** One-bit samples per channel that are there. */
    uint64_t GetSamples() const noexcept;
    const ChannelPlaces::layout_t &GetLayout() const noexcept;

private:
    bool IsDSF() const noexcept { return kind == kind_t::DSF; }

    kind_t kind = kind_t::UNKNOWN;
    std::unique_ptr<clFileStream> pStream;
    clDSDIFFInspector inspectorDSDIFF;
    clDSFInspector inspectorDSF;
};
