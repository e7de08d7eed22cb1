#pragma once

#include "dsd/ChannelPlaces.h"
#include "dsd/Findings.h"
#include "dsd/clDSDIFFMaster.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class clDSDIFFWalk;
class clStreamReader;

/**
 * Finds out what a DSDIFF file contains and what is wrong with it.
 *
 * Walks the chunks by position, strictly: clDSDIFF reads what it can and forgives the rest. Where a
 * file has a chunk more than once and the last one counts for clDSDIFF, it counts here too.
 *
 * Nothing that is wrong with the bytes throws, it becomes a finding; what the stream throws is
 * passed on. Memory does not depend on what the file announces, nor on the number of its chunks.
 */
class clDSDIFFInspector
{
public:
    enum class compression_t { NONE, DST, UNKNOWN, MISSING };

    /** The sound data: of a "DSD " chunk, or of a "DST " chunk when the compression is DST. */
    struct sound_t {
        bool bFound = false;
        /** Position of the first byte of data. */
        uint64_t uOffset = 0;
        /** Bytes that the chunk announces. */
        uint64_t uAnnounced = 0;
        /** Bytes of them that the file has. */
        uint64_t uPresent = 0;
    };

    /** Tags that are kept in aTagChunks. */
    static constexpr size_t MAX_TAGS = 16;

    /**
     * Inspects a file; forgets what was found in another one. Reads neither the sound nor the
     * tags.
     *
     * @param stream seekable and of known size, borrowed for the duration of the call; left at any
     * position
     */
    void Inspect(clStreamReader &stream);

    /**
     * Parses the tags of the file last inspected and adds what is wrong with them to the findings.
     * Takes the memory for one tag at a time.
     *
     * @param stream the same file
     * @throws what the stream throws; std::runtime_error when memory is short
     */
    void CheckTags(clStreamReader &stream);

    /** In the order of the file. Of many of one kind only the first few, and how many more. */
    const findings_t &GetFindings() const noexcept { return findings; }

    /** One-bit samples per channel: whole frames that are present; for DST those that the frame
     * count announces. */
    uint64_t GetSamples() const noexcept;

    // What was found; zeros where it is not there.

    uint64_t uFileSize = 0;
    /** Of "FVER", one byte for each of its four numbers; 0 without it. */
    uint32_t uVersion = 0;
    compression_t eCompression = compression_t::MISSING;
    /** In Hz. */
    uint32_t uSampleRate = 0;
    /** One per channel, the first character in the highest byte. */
    std::vector<uint32_t> auIds;
    /** As GetLayout gives it for auIds; empty for no channels and more than six. */
    ChannelPlaces::layout_t layout;
    /** "ABSS": the time of the first sample. */
    clDSDIFFMaster::time_code_t start;
    sound_t sound;
    /** Compressed frames that the sound announces, 1/75 s each; 0 unless the compression is DST. */
    uint32_t uFrames = 0;
    /** The data of the "ID3 " chunks, in the order of the file; the last MAX_TAGS of them. A size
     * may be 0. */
    std::vector<region_t> aTagChunks;
    /** An ID3v2 tag after the form. */
    region_t appendedTag;
    clDSDIFFMaster master;

private:
    void Judge(clDSDIFFWalk &walk);
    void JudgeSound(clDSDIFFWalk &walk);
    void JudgeChannels(clDSDIFFWalk &walk);
    void JudgeDST(clDSDIFFWalk &walk);
    void JudgeTag(clDSDIFFWalk &walk);

    findings_t findings;
};
