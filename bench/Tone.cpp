// Prints level and noise of a tone in the first channel of a WAV file of 32-bit floating-point
// numbers: tone <file.wav> <Hz>. It analyses a power of two of samples from the middle of the file,
// in which the tone should have a whole number of periods.

#include "tests/support/Spectrum.h"

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace
{

uint32_t Number(const std::string &strBytes, size_t sizeOffset, size_t sizeBytes)
{
    uint32_t uValue = 0;
    for (size_t i = sizeBytes; i-- > 0;) {
        uValue = uValue << 8 | static_cast<uint8_t>(strBytes.at(sizeOffset + i));
    }
    return uValue;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: tone <file.wav> <Hz>\n";
        return 1;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::string strBytes{std::istreambuf_iterator<char>(file), {}};
    const size_t sizeFormat = strBytes.find("fmt ");
    const size_t sizeData = strBytes.find("data");
    if (sizeFormat == std::string::npos || sizeData == std::string::npos) {
        std::cerr << "tone: not a WAV file\n";
        return 1;
    }
    const size_t sizeFrame = Number(strBytes, sizeFormat + 20, 2);
    const double dRate = Number(strBytes, sizeFormat + 12, 4);
    const size_t sizeFrames = (strBytes.size() - sizeData - 8) / sizeFrame;
    const size_t sizeLength = std::bit_floor(sizeFrames * 9 / 10);
    std::vector<double> aSamples(sizeLength);
    for (size_t i = 0; i < sizeLength; ++i) {
        // From the middle, since filters have transients at both ends.
        const size_t sizeAt = sizeData + 8 + ((sizeFrames - sizeLength) / 2 + i) * sizeFrame;
        float fSample = 0.0F;
        std::memcpy(&fSample, &strBytes[sizeAt], sizeof(fSample));
        aSamples[i] = fSample;
    }
    const double dBin = dRate / static_cast<double>(sizeLength);
    const tone_t tone = MeasureTone(aSamples, static_cast<size_t>(std::atof(argv[2]) / dBin + 0.5),
                                    static_cast<size_t>(20000.0 / dBin));
    std::cout << tone.dLevel << " dB, " << tone.dRatio << " dB above the noise up to 20 kHz\n";
}
