#pragma once

#include "dsd/Findings.h"

#include <cstdint>
#include <string>
#include <vector>

/**
 * What a DSDIFF file says about the recording: artist, title and markers of its "DIIN" chunk, and
 * the comments of "COMT".
 *
 * Parses memory. Texts are the bytes of the file in an encoding that the format leaves open; they
 * may contain anything. Nothing that is wrong with the data throws: what can be read is kept, the
 * rest becomes a finding of severity CHECK.
 */
class clDSDIFFMaster
{
public:
    /** The most data that AddInformation, and AddComments, should be given for one file in all. */
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
        /** One-bit samples of one channel. */
        uint32_t uSamples = 0;
    };

    struct marker_t {
        time_code_t time;
        /** One-bit samples of one channel, to be added to the time. */
        int32_t iOffset = 0;
        uint16_t uType = 0;
        /** 0: all channels; n: the n-th channel of the file. */
        uint16_t uChannel = 0;
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

    /** Forgets everything. */
    void Clear();

    /**
     * Adds the data of a "DIIN" chunk. Of texts that occur twice the last one counts; markers add
     * up.
     *
     * @param cpData  borrowed for the duration of the call
     * @param uSize   bytes
     * @param uOffset position of the data in the file, for the texts of findings
     */
    void AddInformation(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset);

    /** Adds the data of a "COMT" chunk; parameters as for AddInformation. */
    void AddComments(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset);

    /**
     * The position of a marker in one-bit samples of one channel from the start of the sound;
     * negative before it. No upper bound but that of the fields.
     *
     * @param start the time of the first sample ("ABSS")
     */
    static int64_t GetPosition(const marker_t &marker, uint32_t uSampleRate,
                               const time_code_t &start) noexcept;

    const findings_t &GetFindings() const noexcept { return findings; }

    /** "EMID", "DIAR" and "DITI"; empty when they are not there. */
    std::string strIdentifier;
    std::string strArtist;
    std::string strTitle;
    /** In the order of the file, which need not be that of time. */
    std::vector<marker_t> aMarkers;
    std::vector<comment_t> aComments;

private:
    void AddChunk(uint32_t uId, const uint8_t *cpData, uint64_t uSize, const std::string &strWhere);
    void AddMarker(const uint8_t *cpData, uint64_t uSize, bool &bWhole);
    void Add(const std::string &strText);

    findings_t findings;
};
