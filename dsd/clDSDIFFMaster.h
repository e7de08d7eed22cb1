#pragma once

#include "base/Export.h"
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
class VANTREL_API clDSDIFFMaster
{
public:
    /** The most data per file for AddInformation, and for AddComments. */
    static constexpr uint64_t MAX_BYTES = 1 << 20;

    // Types of markers. Others have no meaning for the sound.
    static constexpr uint16_t TRACK_START = 0;   ///< start of a track
    static constexpr uint16_t TRACK_STOP = 1;    ///< end of a track
    static constexpr uint16_t PROGRAM_START = 2; ///< start of an area of a disc
    static constexpr uint16_t INDEX = 4;         ///< an index within a track

    /** A time. Here and in comments, the ranges are the usual ones; values are not checked. */
    struct time_code_t {
        uint16_t uHours = 0;   ///< 0 to 23
        uint8_t uMinutes = 0;  ///< 0 to 59
        uint8_t uSeconds = 0;  ///< 0 to 59
        uint32_t uSamples = 0; ///< one-bit samples of one channel
    };

    /** A point of the recording. */
    struct marker_t {
        time_code_t time;      ///< on the clock of the start time, "ABSS"
        int32_t iOffset = 0;   ///< one-bit samples of one channel, added to the time
        uint16_t uType = 0;    ///< TRACK_START or another
        uint16_t uChannel = 0; ///< 0: all channels; n: the n-th channel of the file
        uint16_t uFlags = 0;   ///< as in the file
        std::string strText;   ///< in no known encoding
    };

    /** A comment and its time. */
    struct comment_t {
        uint16_t uYear = 0;  ///< four digits
        uint8_t uMonth = 0;  ///< 1 to 12
        uint8_t uDay = 0;    ///< 1 to 31
        uint8_t uHour = 0;   ///< 0 to 23
        uint8_t uMinute = 0; ///< 0 to 59
        /** 0: the album, 1: a channel, 2: the source of the sound, 3: the history of the file. */
        uint16_t uType = 0;
        uint16_t uReference = 0; ///< depends on the type, such as the number of the channel
        std::string strText;     ///< in no known encoding
    };

    void Clear(); ///< forgets all

    /** Adds uSize bytes of a "DIIN" chunk. A repeated text replaces the earlier one; markers add
     * up. uOffset is the position of the data in the file, for the findings. */
    void AddInformation(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset);

    /** As AddInformation, for a "COMT" chunk. */
    void AddComments(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset);

    /** The position of a marker in one-bit samples per channel from the start of the sound, whose
     * time ("ABSS") is start. Negative before it; not limited by the length of the sound. */
    static int64_t GetPosition(const marker_t &marker, uint32_t uSampleRate,
                               const time_code_t &start) noexcept;

    /** The faults of the data. */
    const findings_t &GetFindings() const noexcept { return findings; }

    std::string strIdentifier;        ///< "EMID"; empty when missing, as the next two
    std::string strArtist;            ///< "DIAR"
    std::string strTitle;             ///< "DITI"
    std::vector<marker_t> aMarkers;   ///< in file order, which may differ from the order in time
    std::vector<comment_t> aComments; ///< in file order

private:
    void AddChunk(uint32_t uId, const uint8_t *cpData, uint64_t uSize, const std::string &strWhere);
    void AddMarker(const uint8_t *cpData, uint64_t uSize, bool &bWhole);
    void Add(const std::string &strText);

    findings_t findings;
};
