#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <valarray>
#include <vector>

// Spectra of signals, for tests and benchmarks.

using spectrum_t = std::valarray<std::complex<double>>;

/** The Fourier transform in place; the length is a power of two. */
inline void Transform(spectrum_t &aData)
{
    const size_t uHalf = aData.size() / 2;
    if (uHalf == 0) {
        return;
    }
    spectrum_t aEven = aData[std::slice(0, uHalf, 2)];
    spectrum_t aOdd = aData[std::slice(1, uHalf, 2)];
    Transform(aEven);
    Transform(aOdd);
    const double dTurn = -std::numbers::pi / static_cast<double>(uHalf);
    for (size_t u = 0; u < uHalf; u++) {
        const auto turned = aOdd[u] * std::polar(1.0, dTurn * static_cast<double>(u));
        aData[u] = aEven[u] + turned;
        aData[u + uHalf] = aEven[u] - turned;
    }
}

struct tone_t {
    double dLevel; // dB, a sine of amplitude 1 being 0
    double dRatio; // dB above all else in the band
};

/** Measures a tone and the noise in the band from bin 2 to uLastBin. aSamples has a power of two of
 * samples and uBin whole periods of the tone. */
inline tone_t MeasureTone(const std::vector<double> &aSamples, size_t uBin, size_t uLastBin)
{
    // The tone is in the centre of a bin, so the Hann window keeps it within one bin to either
    // side; its quick decay keeps the noise far above the band out of the band.
    spectrum_t aData(aSamples.size());
    const double dLength = static_cast<double>(aSamples.size());
    for (size_t u = 0; u < aData.size(); u++) {
        const double dAngle = 2.0 * std::numbers::pi * static_cast<double>(u) / dLength;
        aData[u] = aSamples[u] * (1.0 - std::cos(dAngle));
    }
    Transform(aData);
    double dSignal = 0.0;
    double dNoise = 0.0;
    for (size_t u = 2; u <= uLastBin; u++) {
        const bool bTone = u + 1 >= uBin && u <= uBin + 1;
        (bTone ? dSignal : dNoise) += std::norm(aData[u]);
    }
    // The window spreads the power of a sine of amplitude 1 to 3/2 of half the length squared.
    const double dFullScale = 1.5 * (dLength / 2.0) * (dLength / 2.0);
    return {10.0 * std::log10(dSignal / dFullScale), 10.0 * std::log10(dSignal / dNoise)};
}
