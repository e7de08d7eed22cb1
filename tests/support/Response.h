#pragma once

#include "tests/support/DSDIFFBuilder.h"

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

/**
 * The impulse response of a decoder, measured from outside: the decode is linear, so one flipped
 * bit changes the output by twice the response, at every sixteenth place of it. Sixteen bits show
 * all places.
 *
 * @param Decode takes the bytes of one channel and returns its decoded samples
 * @return entry k is what a sample owes to the one-bit sample k places before the last of its own
 * sixteen
 */
template <class F>
std::vector<double> MeasureResponse(const F &Decode, size_t sizeTaps = 960)
{
    constexpr size_t FRAME = 100; // decoded sample whose bits are flipped
    bytes_t sound = Pattern(2 * (FRAME + sizeTaps / 16));
    const std::vector<double> aBefore = Decode(sound);
    std::vector<double> aResponse(sizeTaps);
    for (size_t sizeBit = 0; sizeBit < 16; ++sizeBit) {
        uint8_t &uByte = sound[2 * FRAME + sizeBit / 8];
        const auto uMask = static_cast<uint8_t>(0x80 >> sizeBit % 8);
        const double dStep = (uByte & uMask) != 0 ? -2.0 : 2.0;
        uByte = static_cast<uint8_t>(uByte ^ uMask);
        const std::vector<double> aAfter = Decode(sound);
        uByte = static_cast<uint8_t>(uByte ^ uMask);
        for (size_t i = 0; i < sizeTaps / 16; ++i) {
            aResponse[16 * i + 15 - sizeBit] = (aAfter[FRAME + i] - aBefore[FRAME + i]) / dStep;
        }
    }
    return aResponse;
}

/** What a filter leaves of a frequency, in dB. @param dFrequency as a part of the one-bit rate */
inline double Magnitude(const std::vector<double> &aResponse, double dFrequency)
{
    std::complex<double> sum = 0.0;
    for (size_t i = 0; i < aResponse.size(); ++i) {
        const double dTurns = dFrequency * static_cast<double>(i);
        sum += aResponse[i] * std::polar(1.0, 2.0 * std::numbers::pi * dTurns);
    }
    return 10.0 * std::log10(std::norm(sum) + 1e-40);
}
