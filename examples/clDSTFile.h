#pragma once

#include "examples/SampleChunks.h"
#include "examples/clDSTEncoder.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

/**
 * Writes a DSDIFF file of compressed sound, with a check value for each compressed frame and an
 * index. The sizes are known at the end only, so the output has to be a file and not a pipe.
 *
 * Failures of the output throw std::system_error with the name of the file in the text.
 */
class clDSTFile
{
public:
    /** Whether sound of this rate can be divided into compressed frames. */
    static bool CanHold(uint32_t uSampleRate) noexcept;

    /**
     * Creates or truncates the file and writes everything before the first frame.
     * @throws std::invalid_argument for a rate that CanHold() refuses and for more sound than the
     *         file can count
     */
    clDSTFile(const std::string &strFileName, const sample_format &format);

    /** Writes one byte per channel in turn, earliest sample in the highest bit. */
    void Write(const std::vector<uint8_t> &aFrames);

    /**
     * Fills the last compressed frame with the idle pattern and closes the file, which is
     * incomplete without it.
     * @throws std::logic_error unless exactly the announced sound was written
     */
    void Close();

private:
    void WriteFrame(const std::vector<uint8_t> &aSound);
    void Put(const std::string &strBytes);
    void Check();

    clDSTEncoder encoder;
    std::string strName;
    std::ofstream file;
    uint64_t uFrames = 0; // announced, compressed
    uint64_t uPosition = 0;
    uint64_t uContainer = 0; // where the chunk of the sound begins
    uint64_t uWritten = 0;   // frames, compressed
    std::vector<uint8_t> aPending;
    std::string strIndex;
};
