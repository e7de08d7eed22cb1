#pragma once

#include "base/Export.h"
#include "dsd/ChannelPlaces.h"
#include "dsd/Findings.h"

#include <cstdint>

class clStreamReader;

/**
 * Finds out what a DSF file contains and what is wrong with it; clDSF stops at the first fault.
 *
 * REFUSED and LENIENT are faults that clDSF refuses, that lose sound or make its meaning unclear;
 * all others are CHECK. Faults of the bytes become findings, and only the stream throws. Memory
 * does not depend on announced sizes.
 */
class VANTREL_API clDSFInspector
{
public:
    /** Inspects a file and forgets an earlier one. Reads only the end of the last block group, and
     * not the tag. The stream is seekable, of known size, and left at any position. */
    void Inspect(clStreamReader &stream);

    /** Parses the tag of the same file and adds its fault to the findings.
     * @throws std::runtime_error when memory is short; what the stream throws */
    void CheckTags(clStreamReader &stream);

    /** Empty when nothing is wrong. */
    const findings_t &GetFindings() const noexcept { return findings; }

    /** One-bit samples per channel in the file: uSamples, or fewer where the sound data ends
     * early. */
    uint64_t GetSamples() const noexcept;

    // What was found; zeros for missing parts.

    uint64_t uFileSize = 0;         ///< in bytes
    uint32_t uVersion = 0;          ///< of the format
    uint32_t uType = 0;             ///< the channel type of the format
    uint32_t uChannels = 0;         ///< by the header
    ChannelPlaces::layout_t layout; ///< by GetLayoutOfType for uType and uChannels
    uint32_t uSampleRate = 0;       ///< in Hz
    /** 1: the earliest sample is in the lowest bit of a byte; 8: in the highest. */
    uint32_t uBitsPerSample = 0;
    uint64_t uSamples = 0;   ///< one-bit samples per channel, by the header
    uint32_t uBlockSize = 0; ///< bytes per channel
    region_t data;           ///< the sound data, as far as the file has it
    region_t tag;            ///< up to the end of the file

private:
    class clWalk;

    findings_t findings;
};
