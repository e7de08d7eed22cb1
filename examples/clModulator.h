#pragma once

#include <array>

/**
 * Turns one channel of samples into one-bit samples: a delta-sigma modulator of sixth order.
 *
 * Full scale is 1.0, where every bit is alike. Levels up to 0.63 (-4 dB) pass undistorted; louder
 * ones are distorted, but whatever has come in, a sane input is followed again within a few hundred
 * samples. The noise is pushed above 0.0071 of the sampling rate, that is 20 kHz at 64 x 44.1 kHz:
 * a tone of -6 dB stands 125 dB above the noise in the band below.
 *
 * The same input gives the same bits, since nothing in here is random. One object per channel.
 */
class clModulator
{
public:
    clModulator() noexcept;

    /**
     * The next one-bit sample.
     *
     * @param dSample -1.0 to 1.0; what lies beyond is limited to that, and what is no number is
     * -1.0
     * @return true for +1.0, a one in the file
     */
    bool Next(double dSample) noexcept;

private:
    static constexpr unsigned ORDER = 6;

    // Coefficients of the powers 0 to ORDER of 1/z.
    using polynomial_t = std::array<double, ORDER + 1>;

    // Multiplies by 1 + dFirst / z + dSecond / z^2.
    static void Multiply(polynomial_t &aFactor, double dFirst, double dSecond) noexcept;

    // The noise transfer function is aZeros over aPoles.
    polynomial_t aZeros{1.0};
    polynomial_t aPoles{1.0};
    polynomial_t aState{};
};
