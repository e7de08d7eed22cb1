#pragma once

#include <cstdint>
#include <fstream>
#include <string>

/**
 * Writes samples to a WAV file of 32-bit floating-point numbers; full scale is 1.0. Above 4 GiB,
 * which the sizes of a WAV file cannot say, the file becomes an RF64 file, the same with larger
 * sizes.
 *
 * Failures of the output throw std::system_error with the file's name in the text.
 */
class clWavFile
{
public:
    /** Creates the file, or empties it. */
    clWavFile(const std::string &strFileName, uint32_t uSampleRate, uint32_t uChannelCount);

    /** Appends samples, one of each channel in turn. */
    void Write(const double *pSamples, uint64_t uSize);

    /** Puts the sizes into the header and closes the file, which is not complete without it. */
    void Close();

    /** What stands before that many bytes of samples. */
    static std::string MakeHeader(uint32_t uSampleRate, uint32_t uChannels, uint64_t uDataSize);

private:
    void Check();

    std::string strName;
    std::ofstream file;
    uint32_t uRate;
    uint32_t uChannels;
    uint64_t uDataSize = 0;
    std::string strBytes;
};
