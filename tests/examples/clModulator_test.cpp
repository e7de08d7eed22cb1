#include "examples/clModulator.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// A power of two; one bin is 10.8 Hz wide at 64 x 44.1 kHz.
constexpr size_t LENGTH = 1 << 18;
// Left out at the start, until the loop has settled.
constexpr size_t SETTLING = 1 << 12;

using spectrum_t = std::vector<std::complex<double>>;

// The Fourier transform in place; the length is a power of two.
void Transform(spectrum_t &aData)
{
    const size_t sizeHalf = aData.size() / 2;
    if (sizeHalf == 0) {
        return;
    }
    spectrum_t aEven(sizeHalf);
    spectrum_t aOdd(sizeHalf);
    for (size_t u = 0; u < sizeHalf; u++) {
        aEven[u] = aData[2 * u];
        aOdd[u] = aData[2 * u + 1];
    }
    Transform(aEven);
    Transform(aOdd);
    const double dTurn = -std::numbers::pi / static_cast<double>(sizeHalf);
    for (size_t u = 0; u < sizeHalf; u++) {
        const auto turned = aOdd[u] * std::polar(1.0, dTurn * static_cast<double>(u));
        aData[u] = aEven[u] + turned;
        aData[u + sizeHalf] = aEven[u] - turned;
    }
}

double Tone(double dLevel, size_t uBin, size_t uSample)
{
    // Reduced before it becomes a double, so that late samples are as exact as early ones.
    const size_t uTurn = uBin * uSample % LENGTH;
    return std::pow(10.0, dLevel / 20.0) *
           std::sin(2.0 * std::numbers::pi * static_cast<double>(uTurn) / LENGTH);
}

// What the bits show of a loop in good order: their mean follows the input, and they change often.
struct bit_account {
    double dMean = 0.0;
    size_t sizeLongest = 0;
};

template <class F>
bit_account Feed(clModulator &modulator, size_t sizeSamples, F input)
{
    bit_account account;
    size_t sizeAlike = 0;
    bool bBefore = false;
    for (size_t u = 0; u < sizeSamples; u++) {
        const bool bOne = modulator.Next(input(u));
        sizeAlike = bOne == bBefore ? sizeAlike + 1 : 1;
        bBefore = bOne;
        account.sizeLongest = std::max(account.sizeLongest, sizeAlike);
        account.dMean += bOne ? 1.0 : -1.0;
    }
    account.dMean /= static_cast<double>(sizeSamples);
    return account;
}

} // namespace

TEST(clModulator, TonesKeepTheirLevelAboveLittleNoise)
{
    // The bins are 1.0 kHz and 10.8 kHz. The ratios are 4 to 5 dB below what was measured.
    const struct {
        double dLevel;
        size_t uBin;
        double dRatio;
    } aRows[] = {{-4.0, 93, 122.0}, {-6.0, 1003, 120.0}, {-20.0, 1003, 106.0}};
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << row.dLevel << " dB in bin " << row.uBin);
        clModulator modulator;
        Feed(modulator, SETTLING, [&](size_t u) { return Tone(row.dLevel, row.uBin, u); });
        // The tone lies on a bin, so the Hann window keeps it within one bin to either side, while
        // its quick decay keeps the noise far above the band out of the band.
        spectrum_t aData(LENGTH);
        for (size_t u = 0; u < LENGTH; u++) {
            const double dAngle = 2.0 * std::numbers::pi * static_cast<double>(u) / LENGTH;
            const bool bOne = modulator.Next(Tone(row.dLevel, row.uBin, SETTLING + u));
            aData[u] = (bOne ? 1.0 : -1.0) * (1.0 - std::cos(dAngle));
        }
        Transform(aData);
        double dSignal = 0.0;
        double dNoise = 0.0;
        for (size_t u = 2; u <= 1857; u++) { // 20 Hz to 20 kHz
            const bool bTone = u + 1 >= row.uBin && u <= row.uBin + 1;
            (bTone ? dSignal : dNoise) += std::norm(aData[u]);
        }
        // The window spreads the power of a sine of amplitude 1 to 3/2 of (LENGTH / 2) squared.
        const double dFullScale = 1.5 * (LENGTH / 2.0) * (LENGTH / 2.0);
        EXPECT_NEAR(row.dLevel, 10.0 * std::log10(dSignal / dFullScale), 0.001);
        EXPECT_GE(10.0 * std::log10(dSignal / dNoise), row.dRatio);
    }
}

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
            const auto account = Feed(modulator, 10000, [dLevel](size_t) { return dLevel; });
            EXPECT_NEAR(dLevel, account.dMean, 0.002);
            EXPECT_LE(account.sizeLongest, dLevel == 0.0 ? 4U : 16U);
        }
    }
}

TEST(clModulator, LoudTonesDoNotHoldTheOutput)
{
    // Half a turn of the tone is 1409 samples, which a stuck output would outlast.
    clModulator modulator;
    const auto account = Feed(modulator, LENGTH, [](size_t u) { return Tone(6.0, 93, u); });
    EXPECT_LE(account.sizeLongest, 200U);
}
