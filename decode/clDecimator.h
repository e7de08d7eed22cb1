#pragma once

#include "decode/DecimatorKernels.h"
#include "decode/Signal.h"
#include "decode/clDecimatorDesign.h"

#include <cstddef>
#include <cstdint>

/**
 * One channel's low-pass and decimation by 16. Keeps the state of its filters, so a channel gives
 * the same doubles in pieces of any size as in one piece. One thread at a time.
 */
class clDecimator
{
public:
    /** Most bytes of a call; fits the first cache, with the filter tables. */
    static constexpr size_t CHUNK = 512;
    /** Bytes after which earlier ones have no effect: the length of both filters. */
    static constexpr size_t MEMORY =
        DecimatorKernels::FIRST_HISTORY + 2 * DecimatorKernels::SECOND_HISTORY;

private:
    /** Decoded samples of a chunk; also even, and odd, samples of its first stage. */
    static constexpr size_t MOST_SAMPLES = CHUNK / Signal::BYTES_PER_DECODED;
    static constexpr size_t EVEN = 0;
    static constexpr size_t ODD = EVEN + DecimatorKernels::SECOND_HISTORY + MOST_SAMPLES;
    static constexpr size_t OUTPUT = ODD + DecimatorKernels::SECOND_HISTORY + MOST_SAMPLES;
    static constexpr size_t BYTES = OUTPUT + MOST_SAMPLES;

public:
    /** Page-aligned: hardware prefetch stops at page boundaries, so two decimators never share
     * prefetched lines. */
    static constexpr size_t WORK_ALIGNMENT = 4096;
    static constexpr size_t WORK_SIZE =
        (BYTES * sizeof(double) + DecimatorKernels::FIRST_HISTORY + CHUNK + WORK_ALIGNMENT - 1) /
        WORK_ALIGNMENT * WORK_ALIGNMENT;

    /** @param pWork WORK_SIZE bytes at WORK_ALIGNMENT; borrowed: must outlive this object */
    clDecimator(void *pWork, const DecimatorKernels::set_t &set) noexcept;

    /** The input of Decode, CHUNK bytes; the earliest sample in the highest bit. */
    uint8_t *GetInput() noexcept { return pBytes + DecimatorKernels::FIRST_HISTORY; }

    /** Decodes the first sizeBytes of the input: even, at most CHUNK. A dScale of
     * 1 / clDecimatorDesign::FULL_SCALE makes full scale 1.0.
     * @return sizeBytes / Signal::BYTES_PER_DECODED samples, valid until the next call */
    const double *Decode(size_t sizeBytes, double dScale) noexcept;

private:
    const DecimatorKernels::set_t *pKernels;
    double *pDoubles;
    uint8_t *pBytes;
};
