#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/**
 * The low-pass that reduces the one-bit rate to a sixteenth in two stages: by eight, directly from
 * bytes, then by two (docs/decoding.md). It does not depend on the rate, since all frequencies are
 * fractions of it. Computed once per process, at the first Get(); any thread may call it.
 */
class clDecimatorDesign
{
public:
    /** Bytes in each sum of the first stage: 111 taps, symmetric about the 56th, and a zero. */
    static constexpr size_t FIRST_BYTES = 14;

    /** Nonzero taps of the second stage on each side of the centre; of its 43 taps half are 0. */
    static constexpr size_t SECOND_PAIRS = 11;

    /** The delay in decoded samples: sample n is the value at one-bit sample 16 * (n - DELAY). */
    static constexpr uint32_t DELAY = 13;

    /** The sum of all taps: a gain of 1/32 makes full scale 1.0. */
    static constexpr double FULL_SCALE = 32.0;

    /** A row is the contribution of a byte to its own and the 13 following samples of the first
     * stage, after ROW_MARGIN zeros. Vector code may load it up to three places early and past its
     * end, where the zeros of the next row follow. */
    static constexpr size_t ROW_MARGIN = 3;
    static constexpr size_t ROW_SIZE = ROW_MARGIN + FIRST_BYTES;

    static const clDecimatorDesign &Get();

    /** One row per value of a byte, the earliest sample in its highest bit. */
    std::array<double, 256 * ROW_SIZE + ROW_MARGIN> aRows;

    /** The second stage: the centre tap and the pairs beside it, the nearest first. */
    double dCentre;
    std::array<double, SECOND_PAIRS> aPairs;

private:
    clDecimatorDesign();
};
