#pragma once

#include <cstdint>
#include <fstream>
#include <string>

/**
 * Writes samples to a WAV file of 32-bit floating-point numbers; full scale is 1.0. A file above
 * 4 GiB, the limit of WAV, becomes an RF64 file, the same format with larger sizes.
 *
 * Failures of the output throw std::system_error with the name of the file in the text.
 */
class clWavFile
{
public:
    /** Creates or truncates the file. */
    clWavFile(const std::string &strFileName, uint32_t uSampleRate, uint32_t uChannelCount);

    /** Appends uSize interleaved samples. */
    void Write(const double *pSamples, uint64_t uSize);

    /** Completes the header and closes the file, which is incomplete without it. */
    void Close();

    /** The header of a file with uDataSize bytes of samples. */
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
