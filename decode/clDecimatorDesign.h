#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/**
 * The low-pass filter for decimation by 16, in two stages: by eight, directly from bytes, then by
 * two. docs/decoding.md explains the design and shows the response.
 *
 * All frequencies are fractions of the one-bit rate, so the filter is the same for every rate. It
 * is computed once per process, at the first call of Get(), which any thread may make.
 */
class clDecimatorDesign
{
public:
    /** Length of the first stage in bytes: 111 of their 112 bits have a tap, symmetric about the
     * 56th. */
    static constexpr size_t FIRST_BYTES = 14;

    /** Non-zero taps of the second stage on one side of the middle; it has 43 taps in all. */
    static constexpr size_t SECOND_PAIRS = 11;

    /**
     * The delay in decoded samples: sample n is centred on one-bit sample 16 * (n - DELAY). It is a
     * whole number because both stages are symmetric about a tap.
     */
    static constexpr uint32_t DELAY = 13;

    /** The sum of all taps, so that a gain of 1/32 makes full scale 1.0. */
    static constexpr double FULL_SCALE = 32.0;

    /**
     * Doubles from one row to the next. A row holds what a byte contributes to its own and the 13
     * following samples of the first stage. ROW_MARGIN zeros precede and follow it, the latter
     * shared with the next row, so that vector code may read that far past either end.
     */
    static constexpr size_t ROW_MARGIN = 3;
    static constexpr size_t ROW_SIZE = ROW_MARGIN + FIRST_BYTES;

    static const clDecimatorDesign &Get();

    /** One row per value of a byte, the earliest sample in its highest bit. */
    std::array<double, 256 * ROW_SIZE + ROW_MARGIN> aRows;

    /** The second stage: the middle tap and the pairs of equal taps, the innermost first. */
    double dCentre;
    std::array<double, SECOND_PAIRS> aPairs;

private:
    clDecimatorDesign();
};
