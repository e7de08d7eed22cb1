#pragma once

#include "dsd/ChannelPlaces.h"
#include "dsd/Findings.h"

#include <cstdint>

class clStreamReader;

/**
 * Finds out what a DSF file contains and what is wrong with it. clDSF stops at the first fault of
 * those it looks for; this reports all.
 *
 * REFUSED and LENIENT are faults that take something from the sound or leave open what it is, or
 * which clDSF refuses. All others are of severity CHECK.
 *
 * Nothing that is wrong with the bytes throws, it becomes a finding; what the stream throws is
 * passed on. Memory does not depend on what the file announces.
 */
class clDSFInspector
{
public:
    /**
     * Inspects a file; forgets what was found in another one. Reads of the sound only the end of
     * the last group of blocks, and not the tag.
     *
     * @param stream seekable and of known size, borrowed for the duration of the call; left at any
     * position
     */
    void Inspect(clStreamReader &stream);

    /**
     * Parses the tag of the file last inspected and adds what is wrong with it to the findings.
     *
     * @param stream the same file
     * @throws what the stream throws; std::runtime_error when memory is short
     */
    void CheckTags(clStreamReader &stream);

    const findings_t &GetFindings() const noexcept { return findings; }

    /** One-bit samples per channel that are there: uSamples, fewer where the sound data ends early.
     */
    uint64_t GetSamples() const noexcept;

    // What was found; zeros where it is not there.

    uint64_t uFileSize = 0;
    uint32_t uVersion = 0;
    /** The channel type of the format. */
    uint32_t uType = 0;
    uint32_t uChannels = 0;
    /** As GetLayoutOfType gives it for uType and uChannels. */
    ChannelPlaces::layout_t layout;
    /** In Hz. */
    uint32_t uSampleRate = 0;
    /** 1: the earliest sample is in the lowest bit of a byte; 8: in the highest. */
    uint32_t uBitsPerSample = 0;
    /** One-bit samples per channel, as the header announces them. */
    uint64_t uSamples = 0;
    /** Bytes per channel of one block. */
    uint32_t uBlockSize = 0;
    /** The sound data, as far as the file has it. */
    region_t data;
    /** The tag, up to the end of the file. */
    region_t tag;

private:
    class clWalk;

    findings_t findings;
};
