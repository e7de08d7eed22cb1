#include "examples/clModulator.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace
{

// The noise transfer function. All frequencies are fractions of the sampling rate.
//
// Its zeros are at the roots of the sixth Legendre polynomial, scaled to the band: that leaves the
// least total noise in the band. The roots come in pairs of opposite sign.
constexpr double BAND_EDGE = 20000.0 / 2822400.0;
constexpr std::array<double, 3> aLegendreRoots = {0.238619186083197, 0.661209386466265,
                                                  0.932469514203152};

// Its poles are those of a Butterworth high-pass with this corner, which sets the gain above the
// band to 1.40. More gain reduces the noise, but also the loudest undistorted level: 1.45 is 4 dB
// better and distorts tones of -4 dB, 1.60 distorts even those of -6 dB.
constexpr double CORNER = 0.027731;

// The error of a one-bit quantiser is at most 1.0 while its input is within 2.0. Beyond that the
// loop is overloaded; a limit on the error changes nothing before and lets the loop recover after.
// With a limit of 1.5, an overloaded loop was seen to oscillate between the limits for ever.
constexpr double ERROR_LIMIT = 1.0;

} // namespace

clModulator::clModulator() noexcept
{
    const double dCorner = std::tan(std::numbers::pi * CORNER);
    for (unsigned uPair = 0; uPair < ORDER / 2; uPair++) {
        const double dZero = 2.0 * std::numbers::pi * BAND_EDGE * aLegendreRoots[uPair];
        Multiply(aZeros, -2.0 * std::cos(dZero), 1.0);

        // s^2 + 2 sin(angle) corner s + corner^2, with s = (z - 1) / (z + 1).
        const double dAngle = std::numbers::pi * (2.0 * uPair + 1.0) / (2.0 * ORDER);
        const double dMiddle = 2.0 * std::sin(dAngle) * dCorner;
        const double dSquare = dCorner * dCorner;
        const double dNorm = 1.0 + dMiddle + dSquare;
        Multiply(aPoles, 2.0 * (dSquare - 1.0) / dNorm, (1.0 - dMiddle + dSquare) / dNorm);
    }
}

bool clModulator::Next(double dSample) noexcept
{
    const double dLimited = dSample >= -1.0 ? std::min(dSample, 1.0) : -1.0;

    // Error feedback: the error of the quantiser, filtered by (zeros - poles) / poles, is added to
    // the next samples, so the output is input + error * zeros / poles. The filter is stable and
    // the error limited, so no input makes the state grow without bound.
    const double dShaped = aState[0];
    const double dInput = dLimited + dShaped;
    const bool bOne = dInput >= 0.0;
    const double dError = std::clamp((bOne ? 1.0 : -1.0) - dInput, -ERROR_LIMIT, ERROR_LIMIT);

    // Transposed direct form; the last entry of the state is always 0.
    const double dNoise = dError + dShaped;
    for (unsigned u = 0; u < ORDER; u++) {
        aState[u] = aState[u + 1] + aZeros[u + 1] * dError - aPoles[u + 1] * dNoise;
    }
    return bOne;
}

void clModulator::Multiply(polynomial_t &aFactor, double dFirst, double dSecond) noexcept
{
    for (unsigned u = ORDER; u >= 2; u--) {
        aFactor[u] += dFirst * aFactor[u - 1] + dSecond * aFactor[u - 2];
    }
    aFactor[1] += dFirst * aFactor[0];
}
