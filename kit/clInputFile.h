#pragma once

#include "dsd/clDSDIFFInspector.h"
#include "dsd/clDSFInspector.h"
#include "kit/clInputStream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/** A file with sound, opened and inspected. One thread at a time. */
class clInputFile
{
public:
    /** What a refusal ends with if it is one only without that option. */
    static constexpr char LENIENT_HINT[] = " (--lenient converts what can be converted)";

    enum class kind_t { UNKNOWN, DSDIFF, DSF }; ///< by the first bytes

    /** The findings, as a command that needs the sound judges them. */
    struct verdict_t {
        std::string strFault; ///< why the sound cannot be used; empty when it can
        std::vector<std::string> aWarnings;
        std::vector<std::string> aHints;
    };

    /** Inspects a file instead of an earlier one, which is closed. Its faults are left to Judge.
     * @throws clException when it cannot be read */
    void Open(std::unique_ptr<clInputStream> pNewStream);

    /** Closes the stream; what was found stays. */
    void Close() { pStream.reset(); }

    /** @param bLenient what would be lost or guessed is a warning
     * @param bTag whether findings about the own tag count */
    verdict_t Judge(bool bLenient, bool bTag) const;

    kind_t GetKind() const noexcept { return kind; }
    /** Whether it is a DSDIFF file whose sound is compressed. */
    bool IsDST() const noexcept;
    /** Valid until the next Open or Close. */
    clInputStream &GetStream() const noexcept { return *pStream; }
    const clDSDIFFInspector &GetDSDIFF() const noexcept { return inspectorDSDIFF; }
    const clDSFInspector &GetDSF() const noexcept { return inspectorDSF; }

    /** Parses the own tags and adds their faults to the findings. */
    void CheckTags();

    /** None for an unknown kind. */
    const findings_t &GetFindings() const noexcept;
    uint32_t GetSampleRate() const noexcept;
    uint32_t GetChannels() const noexcept;
    /** One-bit samples per channel in the file. */
    uint64_t GetSamples() const noexcept;
    const ChannelPlaces::layout_t &GetLayout() const noexcept;

private:
    bool IsDSF() const noexcept { return kind == kind_t::DSF; }

    kind_t kind = kind_t::UNKNOWN;
    std::unique_ptr<clInputStream> pStream;
    clDSDIFFInspector inspectorDSDIFF;
    clDSFInspector inspectorDSF;
};
