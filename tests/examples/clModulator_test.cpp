#include "examples/clModulator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// A power of two; one bin is 10.8 Hz wide at 64 x 44.1 kHz.
constexpr size_t LENGTH = 1 << 18;

double Tone(double dLevel, size_t uBin, size_t uSample)
{
    // Reduced before it becomes a double, so that late samples are as exact as early ones.
    const size_t uTurn = uBin * uSample % LENGTH;
    return std::pow(10.0, dLevel / 20.0) *
           std::sin(2.0 * std::numbers::pi * static_cast<double>(uTurn) / LENGTH);
}

template <class F>
std::vector<double> Feed(clModulator &modulator, size_t uSamples, F input)
{
    std::vector<double> bits(uSamples);
    for (size_t u = 0; u < uSamples; u++) {
        bits[u] = modulator.Next(input(u)) ? 1.0 : -1.0;
    }
    return bits;
}

} // namespace

TEST(clModulator, OverloadIsForgotten)
{
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    const struct {
        const char *cpName;
        double (*pInput)(size_t);
    } aRows[] = {
        {"6 dB above, 10.8 kHz", [](size_t u) { return Tone(6.0, 1003, u); }},
        {"constant full scale", [](size_t) { return 1.0; }},
        {"infinite, of both signs", [](size_t u) { return u % 64 < 32 ? INFINITE : -INFINITE; }},
        {"no number", [](size_t) { return std::numeric_limits<double>::quiet_NaN(); }},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        clModulator modulator;
        Feed(modulator, 100000, row.pInput);
        Feed(modulator, 500, [](size_t) { return 0.0; });

        for (const double dLevel : {0.0, -0.5}) {
            // A loop in good order: the mean follows the input, and the bits change often.
            const auto bits = Feed(modulator, 10000, [dLevel](size_t) { return dLevel; });
            EXPECT_NEAR(dLevel, std::accumulate(bits.begin(), bits.end(), 0.0) / 10000, 0.002);
            for (const double dBit : {1.0, -1.0}) {
                const int iTooMany = dLevel == 0.0 ? 5 : 17;
                EXPECT_EQ(0, bits.end() - std::search_n(bits.begin(), bits.end(), iTooMany, dBit));
            }
        }
    }
}
