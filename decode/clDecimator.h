#pragma once

#include "decode/DecimatorKernels.h"
#include "decode/clDecimatorDesign.h"

#include <cstddef>
#include <cstdint>

/**
 * One channel's low-pass and decimation by 16.
 *
 * It remembers what it has seen, so a channel may come in pieces of any size and gives the same
 * doubles as in one piece. The memory it works in belongs to the caller and has to outlive it. One
 * thread at a time.
 */
class clDecimator
{
public:
    /** Bytes at a time, few enough for the first cache beside the tables of the filter. */
    static constexpr size_t CHUNK = 512;
    /** Bytes after which nothing is left of what came before them: the reach of both stages. */
    static constexpr size_t MEMORY =
        DecimatorKernels::FIRST_HISTORY + 2 * DecimatorKernels::SECOND_HISTORY;

private:
    static constexpr size_t EVEN = 0;
    static constexpr size_t ODD = EVEN + DecimatorKernels::SECOND_HISTORY + CHUNK / 2;
    static constexpr size_t OUTPUT = ODD + DecimatorKernels::SECOND_HISTORY + CHUNK / 2;
    static constexpr size_t BYTES = OUTPUT + CHUNK / 2;

public:
    /**
     * Alignment of the memory. Whole pages, as processors load ahead, but not beyond a page: two
     * decimators that run at the same time would take each other's cache lines away.
     */
    static constexpr size_t WORK_ALIGNMENT = 4096;
    /** Bytes of the memory. */
    static constexpr size_t WORK_SIZE =
        (BYTES * sizeof(double) + DecimatorKernels::FIRST_HISTORY + CHUNK + WORK_ALIGNMENT - 1) /
        WORK_ALIGNMENT * WORK_ALIGNMENT;

    /** @param pWork WORK_SIZE bytes */
    clDecimator(void *pWork, const DecimatorKernels::set_t &set) noexcept;

    /** CHUNK bytes that the caller fills before Decode; the earliest sample in the highest bit. */
    uint8_t *GetInput() noexcept { return pBytes + DecimatorKernels::FIRST_HISTORY; }

    /**
     * Decodes the first bytes of the input.
     *
     * @param sizeBytes even, at most CHUNK
     * @param dScale    gain; 1 / clDecimatorDesign::FULL_SCALE makes full scale 1.0
     * @return sizeBytes / 2 samples, valid until the next call
     */
    const double *Decode(size_t sizeBytes, double dScale) noexcept;

private:
    const DecimatorKernels::set_t *pKernels;
    double *pDoubles;
    uint8_t *pBytes;
};
