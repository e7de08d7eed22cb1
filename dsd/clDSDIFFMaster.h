#pragma once

#include "dsd/Findings.h"

#include <cstdint>
#include <string>
#include <vector>

/**
 * What a DSDIFF file says about the recording: artist, title and markers of its "DIIN" chunk, and
 * the comments of "COMT".
 *
 * Parses memory. Texts are arbitrary bytes of unknown encoding. Faults of the data do not throw:
 * what can be read is kept, the rest becomes a finding of severity CHECK.
 */
class clDSDIFFMaster
{
public:
    /** The most data per file for AddInformation, and for AddComments. */
    static constexpr uint64_t MAX_BYTES = 1 << 20;

    // Types of markers. Others have no meaning for the sound.
    static constexpr uint16_t TRACK_START = 0;
    static constexpr uint16_t TRACK_STOP = 1;
    static constexpr uint16_t PROGRAM_START = 2;
    static constexpr uint16_t INDEX = 4;

    struct time_code_t {
        uint16_t uHours = 0;
        uint8_t uMinutes = 0;
        uint8_t uSeconds = 0;
        uint32_t uSamples = 0; ///< one-bit samples of one channel
    };

    struct marker_t {
        time_code_t time;
        int32_t iOffset = 0; ///< one-bit samples of one channel, added to the time
        uint16_t uType = 0;
        uint16_t uChannel = 0; ///< 0: all channels; n: the n-th channel of the file
        uint16_t uFlags = 0;
        std::string strText;
    };

    struct comment_t {
        uint16_t uYear = 0;
        uint8_t uMonth = 0;
        uint8_t uDay = 0;
        uint8_t uHour = 0;
        uint8_t uMinute = 0;
        /** 0: the album, 1: a channel, 2: the source of the sound, 3: the history of the file. */
        uint16_t uType = 0;
        uint16_t uReference = 0;
        std::string strText;
    };

    void Clear();

    /** Adds uSize bytes of a "DIIN" chunk. A repeated text replaces the earlier one; markers add
     * up. uOffset is the position of the data in the file, for the findings. */
    void AddInformation(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset);

    /** As AddInformation, for a "COMT" chunk. */
    void AddComments(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset);

    /** The position of a marker in one-bit samples per channel from the start of the sound, whose
     * time ("ABSS") is start. Negative before it; not limited by the length of the sound. */
    static int64_t GetPosition(const marker_t &marker, uint32_t uSampleRate,
                               const time_code_t &start) noexcept;

    const findings_t &GetFindings() const noexcept { return findings; }

    /** "EMID", "DIAR" and "DITI"; empty when missing. */
    std::string strIdentifier;
    std::string strArtist;
    std::string strTitle;
    std::vector<marker_t> aMarkers; ///< in file order, which may differ from the order in time
    std::vector<comment_t> aComments;

private:
    void AddChunk(uint32_t uId, const uint8_t *cpData, uint64_t uSize, const std::string &strWhere);
    void AddMarker(const uint8_t *cpData, uint64_t uSize, bool &bWhole);
    void Add(const std::string &strText);

    findings_t findings;
};
