#include "examples/clWavFile.h"

#include <bit>
#include <cerrno>
#include <limits>
#include <system_error>

namespace
{

constexpr uint64_t SAMPLE_SIZE = 4;

// Appends a number of uBytes bytes, the lowest first.
void Append(std::string &strBytes, uint64_t uValue, uint64_t uBytes)
{
    for (uint64_t i = 0; i < uBytes; ++i) {
        strBytes += static_cast<char>(uValue >> 8 * i & 0xFF);
    }
}

// One bit per loudspeaker; 0 if the number of channels does not name them.
uint32_t SpeakersOf(uint32_t uChannels)
{
    switch (uChannels) {
    case 1:
        return 0x04; // centre
    case 2:
        return 0x03; // left, right
    case 6:
        return 0x3F; // left, right, centre, low frequencies, left and right surround
    default:
        return 0;
    }
}

} // namespace

clWavFile::clWavFile(const std::string &strFileName, uint32_t uSampleRate, uint32_t uChannelCount)
    : strName(strFileName),
      file(strFileName, std::ios::binary | std::ios::trunc),
      uRate(uSampleRate),
      uChannels(uChannelCount)
{
    Check();
    file << MakeHeader(uRate, uChannels, 0);
    Check();
}

void clWavFile::Write(const double *pSamples, uint64_t uSize)
{
    strBytes.clear();
    for (uint64_t i = 0; i < uSize; ++i) {
        Append(strBytes, std::bit_cast<uint32_t>(static_cast<float>(pSamples[i])), SAMPLE_SIZE);
    }
    file << strBytes;
    Check();
    uDataSize += strBytes.size();
}

void clWavFile::Close()
{
    file.seekp(0);
    file << MakeHeader(uRate, uChannels, uDataSize);
    file.close();
    Check();
}

std::string clWavFile::MakeHeader(uint32_t uSampleRate, uint32_t uChannels, uint64_t uDataSize)
{
    constexpr uint64_t EXTENSIBLE = 0xFFFE;
    constexpr uint64_t FLOAT = 3;
    const uint64_t uFrameSize = uChannels * SAMPLE_SIZE;

    std::string strFormat = "fmt ";
    Append(strFormat, 40, 4);
    Append(strFormat, EXTENSIBLE, 2);
    Append(strFormat, uChannels, 2);
    Append(strFormat, uSampleRate, 4);
    Append(strFormat, uSampleRate * uFrameSize, 4);
    Append(strFormat, uFrameSize, 2);
    Append(strFormat, 8 * SAMPLE_SIZE, 2);
    Append(strFormat, 22, 2); // bytes that follow
    Append(strFormat, 8 * SAMPLE_SIZE, 2);
    Append(strFormat, SpeakersOf(uChannels), 4);
    Append(strFormat, FLOAT, 2); // the start of an identifier whose rest is constant
    strFormat.append("\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 14);

    // Sizes: the file without its first eight bytes, the sample data, the samples per channel.
    constexpr uint64_t MAX = std::numeric_limits<uint32_t>::max();
    constexpr uint64_t REST = 4 + 36 + 48 + 12 + 8;
    const uint64_t uFileSize = REST + uDataSize;
    const uint64_t uFrames = uDataSize / uFrameSize;
    const bool bLarge = uFileSize > MAX;

    std::string strHeader = bLarge ? "RF64" : "RIFF";
    Append(strHeader, bLarge ? MAX : uFileSize, 4);
    strHeader += "WAVE";
    // In a WAV file ignored, in an RF64 file the chunk of the sizes.
    strHeader += bLarge ? "ds64" : "JUNK";
    Append(strHeader, 28, 4);
    Append(strHeader, bLarge ? uFileSize : 0, 8);
    Append(strHeader, bLarge ? uDataSize : 0, 8);
    Append(strHeader, bLarge ? uFrames : 0, 8);
    Append(strHeader, 0, 4);
    strHeader += strFormat + "fact";
    Append(strHeader, 4, 4);
    Append(strHeader, bLarge ? MAX : uFrames, 4);
    strHeader += "data";
    Append(strHeader, bLarge ? MAX : uDataSize, 4);
    return strHeader;
}

void clWavFile::Check()
{
    if (!file) {
        throw std::system_error(errno, std::generic_category(), strName);
    }
}
