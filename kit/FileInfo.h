#pragma once

#include "kit/clTagFields.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class clInputFile;
struct input_t;

/** What a file contains; empty texts and no value for what is not known. Texts are UTF-8. */
struct file_info_t {
    struct marker_t {
        /** "TrackStart" and so on; null for another type. */
        const char *cpType = nullptr;
        uint16_t uType = 0;
        /** TrackStarts up to here, in the order of time. */
        uint64_t uTrack = 0;
        /** From the start of the sound, negative before it. */
        std::optional<int64_t> lSample;
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
    /** "DSD64" and so on. */
    std::string strMultiple;
    std::optional<uint64_t> uChannels;
    /** In the order of the file; none when there are too many channels. */
    std::optional<std::vector<std::string>> aLayout;
    /** One-bit samples per channel that are there. */
    std::optional<uint64_t> uSamples;
    std::optional<uint64_t> uSoundBytes;
    /** Nothing is missing or in doubt: the sound can be converted as it is. */
    bool bComplete = false;
    std::vector<std::string> aProblems;
    std::optional<tag_t> tag;
    std::string strArtist;
    std::string strTitle;
    std::vector<marker_t> aMarkers;
    std::vector<std::string> aComments;
    /** Only on demand. */
    std::string strDigest;
};

/** What is asked beyond the headers, and of whom. */
struct info_request_t {
    bool bDigest = false;
    /** Is told how many bytes of sound have been read since the last call. */
    std::function<void(uint64_t uBytes)> progress;
};

/**
 * Finds out what a file contains. What is known is in the result also when an exception is thrown.
 *
 * @param info a new one
 * @throws clException when the file cannot be read, or the digest not be made; clXStopped
 */
void ReadFileInfo(const input_t &file, const info_request_t &request, file_info_t &info);
