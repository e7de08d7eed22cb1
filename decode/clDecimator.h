#pragma once

#include "decode/DecimatorKernels.h"
#include "decode/Signal.h"
#include "decode/clDecimatorDesign.h"

#include <cstddef>
#include <cstdint>

/**
 * One channel's low-pass and decimation by 16.
 *
 * It keeps the history of its channel, so pieces of any size give the same doubles as the whole in
 * one piece. It borrows its work memory from the caller: the memory must outlive this object. Only
 * one thread may use it at a time.
 */
class clDecimator
{
public:
    /** Most bytes per call; the buffers and the tables of the filter fit the first-level cache. */
    static constexpr size_t CHUNK = 512;
    /** Number of past bytes that a sample depends on: the reach of both stages. */
    static constexpr size_t MEMORY =
        DecimatorKernels::FIRST_HISTORY + 2 * DecimatorKernels::SECOND_HISTORY;

private:
    /** Of a chunk: decoded samples, and as many even and odd ones of the first stage. */
    static constexpr size_t MOST_SAMPLES = CHUNK / Signal::BYTES_PER_DECODED;
    static constexpr size_t EVEN = 0;
    static constexpr size_t ODD = EVEN + DecimatorKernels::SECOND_HISTORY + MOST_SAMPLES;
    static constexpr size_t OUTPUT = ODD + DecimatorKernels::SECOND_HISTORY + MOST_SAMPLES;
    static constexpr size_t BYTES = OUTPUT + MOST_SAMPLES;

public:
    /**
     * Alignment of the memory in bytes. Hardware prefetch stops at page boundaries, so with whole
     * pages two decimators in different threads never share prefetched lines.
     */
    static constexpr size_t WORK_ALIGNMENT = 4096;
    /** Size of the memory in bytes. */
    static constexpr size_t WORK_SIZE =
        (BYTES * sizeof(double) + DecimatorKernels::FIRST_HISTORY + CHUNK + WORK_ALIGNMENT - 1) /
        WORK_ALIGNMENT * WORK_ALIGNMENT;

    /** @param pWork WORK_SIZE bytes */
    clDecimator(void *pWork, const DecimatorKernels::set_t &set) noexcept;

    /** Buffer of CHUNK bytes, filled by the caller before Decode, earliest sample in the highest
     * bit.
     */
    uint8_t *GetInput() noexcept { return pBytes + DecimatorKernels::FIRST_HISTORY; }

    /**
     * Decodes the first bytes of the input.
     *
     * @param sizeBytes even, at most CHUNK
     * @param dScale    gain; 1 / clDecimatorDesign::FULL_SCALE makes full scale 1.0
     * @return sizeBytes / Signal::BYTES_PER_DECODED samples, valid until the next call
     */
    const double *Decode(size_t sizeBytes, double dScale) noexcept;

private:
    const DecimatorKernels::set_t *pKernels;
    double *pDoubles;
    uint8_t *pBytes;
};
