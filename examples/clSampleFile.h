#pragma once

#include "examples/SampleChunks.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

/**
 * Writes a DSDIFF file of plain sound from front to back. The length is known from the start, so
 * size fields are never corrected and the output may be a pipe.
 *
 * Failures of the output throw std::system_error with the name of the file in the text.
 */
class clSampleFile
{
public:
    /** Creates or truncates the file and writes everything before the sound. */
    clSampleFile(const std::string &strFileName, const sample_format &format);

    /** Writes whole frames: one byte per channel, earliest sample in the highest bit. */
    void Write(const std::vector<uint8_t> &aFrames);

    /**
     * Ends the sound and closes the file, which is incomplete without it.
     * @throws std::logic_error unless exactly the announced frames were written
     */
    void Close();

private:
    void Check();

    std::string strName;
    std::ofstream file;
    uint64_t uSoundSize;
    uint64_t uWritten = 0;
};
