#pragma once

#include "kit/clTagFields.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class clFileProgress;
struct input_t;
struct options_t;

/** What a file contains; empty texts and no value for what is not known. Texts are UTF-8. */
struct file_info_t {
    struct marker_t {
        const char *cpType = nullptr; ///< "TrackStart" and so on; null for another type
        uint16_t uType = 0;
        uint64_t uTrack = 0;            ///< TrackStarts up to here, in the order of time
        std::optional<int64_t> lSample; ///< from the start of the sound, negative before it
        std::string strText;
    };
    struct tag_t {
        uint64_t uBytes = 0;
        clTagFields fields;
    };

    std::string strFormat;
    std::string strVersion;
    std::string strCompression;
    std::optional<uint64_t> uSampleRate;
    std::string strMultiple; ///< "DSD64" and so on
    std::optional<uint64_t> uChannels;
    /** In file order; none when there are too many channels. */
    std::optional<std::vector<std::string>> aLayout;
    std::optional<uint64_t> uSamples; ///< per channel, present in the file
    std::optional<uint64_t> uSoundBytes;
    bool bComplete = false; ///< nothing is missing or in doubt: the sound can be converted as it is
    std::vector<std::string> aProblems;
    std::optional<tag_t> tag;
    std::string strArtist;
    std::string strTitle;
    std::vector<marker_t> aMarkers;
    std::vector<std::string> aComments;
    std::string strDigest; ///< only on demand
};

/** Finds out what a file contains. A new info keeps what is known also when an exception is thrown.
 * @throws clException when the file cannot be read, or the digest not be made; clXStopped */
void ReadFileInfo(const input_t &file, const options_t &options, clFileProgress &progress,
                  file_info_t &info);
