#pragma once

#include "base/Export.h"
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
 * Walks the chunks by position, strictly, while clDSDIFF reads what it can. Of a repeated chunk the
 * last counts wherever it does for clDSDIFF. Faults of the bytes become findings, and only the
 * stream throws. Memory depends neither on announced sizes nor on the number of chunks.
 */
class VANTREL_API clDSDIFFInspector
{
public:
    /** How the sound is stored, by "CMPR". */
    enum class compression_t {
        NONE,    ///< plain
        DST,     ///< compressed
        UNKNOWN, ///< with another compression
        MISSING  ///< not known, without the chunk
    };

    /** The sound data: of "DSD ", or of "DST " when the compression is DST. */
    struct sound_t {
        bool bFound = false;     ///< the chunk is there
        uint64_t uOffset = 0;    ///< of the first byte of data
        uint64_t uAnnounced = 0; ///< bytes, by the chunk
        uint64_t uPresent = 0;   ///< bytes of them in the file
    };

    static constexpr size_t MAX_TAGS = 16; ///< most entries of aTagChunks

    /** Inspects a file and forgets an earlier one. Reads neither the sound nor the tags. The stream
     * is seekable, of known size, and left at any position. */
    void Inspect(clStreamReader &stream);

    /** Parses the tags of the same file, one at a time, and adds their faults to the findings.
     * @throws std::runtime_error when memory is short; what the stream throws */
    void CheckTags(clStreamReader &stream);

    /** Those of chunks in file order, then those of the file. Of many of one kind only the first
     * few, and the number of the others. */
    const findings_t &GetFindings() const noexcept { return findings; }

    /** One-bit samples per channel: whole frames present. */
    uint64_t GetSamples() const noexcept;

    // What was found; zeros for missing parts.

    uint64_t uFileSize = 0; ///< in bytes
    uint32_t uVersion = 0;  ///< "FVER": one byte for each of its four numbers
    compression_t eCompression = compression_t::MISSING; ///< of the sound
    uint32_t uSampleRate = 0;                            ///< in Hz
    std::vector<uint32_t> auIds;    ///< one per channel, the first character in the highest byte
    ChannelPlaces::layout_t layout; ///< by GetLayout; empty for no channels and for more than six
    clDSDIFFMaster::time_code_t start; ///< "ABSS": the time of the first sample
    sound_t sound;                     ///< of the chunk that the compression calls for
    uint64_t uFrames = 0;              ///< compressed frames present, 1/75 s each; 0 unless DST
    /** The data of the last MAX_TAGS "ID3 " chunks, in file order; a size may be 0. */
    std::vector<region_t> aTagChunks;
    region_t appendedTag;  ///< an ID3v2 tag after the form
    clDSDIFFMaster master; ///< texts, markers and comments

private:
    void Judge(clDSDIFFWalk &walk);
    void JudgeSound(clDSDIFFWalk &walk);
    void JudgeChannels(clDSDIFFWalk &walk);
    void JudgeDST(clDSDIFFWalk &walk);
    void JudgeTag(clDSDIFFWalk &walk);

    findings_t findings;
};
