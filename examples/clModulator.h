#pragma once

#include <array>

/**
 * Converts one channel of samples to one-bit samples: a delta-sigma modulator of sixth order.
 *
 * At full scale, 1.0, all bits are equal. Levels up to 0.63 (-4 dB) are not distorted. After a
 * louder input the modulator follows a normal one again within a few hundred samples. The noise is
 * shifted above 0.0071 of the sampling rate, 20 kHz at 64 x 44.1 kHz: a tone of -6 dB is 125 dB
 * above the noise in the band below.
 *
 * The same input always gives the same bits. One object per channel.
 */
class clModulator
{
public:
    clModulator() noexcept;

    /**
     * Returns the next one-bit sample.
     *
     * @param dSample -1.0 to 1.0; other values are limited to that, a NaN counts as -1.0
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
