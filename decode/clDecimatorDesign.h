#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/**
 * The low-pass that takes one-bit samples to a sixteenth of their rate, in two stages: by eight,
 * straight from bytes, then by two. docs/decoding.md says how it was chosen and shows what it does.
 *
 * All frequencies are parts of the one-bit rate, so every rate gets the same filter, scaled.
 * Computed once per process, at the first Get(); any thread may ask for it.
 */
class clDecimatorDesign
{
public:
    /** Bytes that the first stage looks at: 111 taps of 112, symmetric about the 56th. */
    static constexpr size_t FIRST_BYTES = 14;

    /** Side taps of the second stage that are not 0, on one side: 43 taps, half of them 0. */
    static constexpr size_t SECOND_PAIRS = 11;

    /**
     * How far the samples are behind, in decoded ones. A whole number because both stages are
     * symmetric about a tap: sample n lies at one-bit sample 16 * (n - DELAY).
     */
    static constexpr uint32_t DELAY = 13;

    /** The sum of all taps, so that a gain of 1/32 makes full scale 1.0. */
    static constexpr double FULL_SCALE = 32.0;

    /**
     * Doubles from one row to the next. A row holds what a byte contributes to its own and the 13
     * following samples of the first stage, with ROW_MARGIN zeros in front; the next row's zeros
     * are those behind it. Vector code can so load a row up to three places early and beyond its
     * end.
     */
    static constexpr size_t ROW_MARGIN = 3;
    static constexpr size_t ROW_SIZE = ROW_MARGIN + FIRST_BYTES;

    static const clDecimatorDesign &Get();

    /** One row per value of a byte, the earliest sample in its highest bit. */
    std::array<double, 256 * ROW_SIZE + ROW_MARGIN> aRows;

    /** The second stage: the tap in the middle and the pairs beside it, the nearest first. */
    double dCentre;
    std::array<double, SECOND_PAIRS> aPairs;

private:
    clDecimatorDesign();
};
