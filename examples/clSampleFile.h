#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

/** What a DSDIFF file says about its sound before the sound itself. */
struct sample_format {
    uint32_t uSampleRate = 2822400; // Hz
    unsigned uChannels = 2;         // 1 to 6
    uint64_t uFrames = 0;           // a frame is one byte, eight samples, of every channel
    bool bExtras = false;           // with start time and loudspeaker configuration
};

/**
 * Writes a DSDIFF file from front to back. The length is known from the start, so every size field
 * goes out right at once and the output may be a pipe.
 *
 * Failures of the output throw std::system_error with the file's name in the text.
 */
class clSampleFile
{
public:
    static constexpr unsigned MAX_CHANNELS = 6;

    /** Creates the file, or empties it, and writes all that stands before the sound. */
    clSampleFile(const std::string &strFileName, const sample_format &format);

    /** Writes whole frames: a byte of every channel in turn, earliest sample in the highest bit. */
    void Write(const std::vector<uint8_t> &aFrames);

    /**
     * Ends the sound and closes the file. Without it the file is left incomplete.
     * @throws std::logic_error when other than the announced number of frames was written
     */
    void Close();

private:
    void Check();

    std::string strName;
    std::ofstream file;
    uint64_t uSoundSize;
    uint64_t uWritten = 0;
};
