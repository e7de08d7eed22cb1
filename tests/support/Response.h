#pragma once

#include "tests/support/Bytes.h"

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

/** Measures the impulse response of a decoder from its output: decoding is linear, so one flipped
 * bit changes the output by twice every sixteenth value of the response. Sixteen bits give all
 * values.
 * @param Decode takes the bytes of one channel and returns its decoded samples
 * @return entry k is the weight, in a decoded sample, of the one-bit sample k places before the
 * last of its sixteen */
template <class F>
std::vector<double> MeasureResponse(const F &Decode, size_t uTaps = 960)
{
    constexpr size_t FRAME = 100; // decoded sample whose bits are flipped
    bytes_t sound = Pattern(2 * (FRAME + uTaps / 16));
    const std::vector<double> aBefore = Decode(sound);
    std::vector<double> aResponse(uTaps);
    for (size_t uBit = 0; uBit < 16; ++uBit) {
        uint8_t &uByte = sound[2 * FRAME + uBit / 8];
        const auto uMask = static_cast<uint8_t>(0x80 >> uBit % 8);
        const double dStep = (uByte & uMask) != 0 ? -2.0 : 2.0;
        uByte = static_cast<uint8_t>(uByte ^ uMask);
        const std::vector<double> aAfter = Decode(sound);
        uByte = static_cast<uint8_t>(uByte ^ uMask);
        for (size_t i = 0; i < uTaps / 16; ++i) {
            aResponse[16 * i + 15 - uBit] = (aAfter[FRAME + i] - aBefore[FRAME + i]) / dStep;
        }
    }
    return aResponse;
}

/** The gain of a filter in dB. @param dFrequency as a fraction of the one-bit rate */
inline double Magnitude(const std::vector<double> &aResponse, double dFrequency)
{
    std::complex<double> sum = 0.0;
    for (size_t i = 0; i < aResponse.size(); ++i) {
        const double dTurns = dFrequency * static_cast<double>(i);
        sum += aResponse[i] * std::polar(1.0, 2.0 * std::numbers::pi * dTurns);
    }
    return 10.0 * std::log10(std::norm(sum) + 1e-40);
}
