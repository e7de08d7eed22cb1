#pragma once

#include <cstddef>
#include <cstdint>

/**
 * The arithmetic of the two stages of clDecimator: once in plain code, which is the truth, and for
 * processors that have them in vector instructions, which give the same doubles bit for bit. Every
 * sum is taken in one order, from +0.0 on. In the first stage every other byte, counted from the
 * start of the call, goes into a sum of its own, the oldest first, and the two are added at the
 * end; in the second stage the middle comes first, then the pairs from the nearest on.
 */
struct decimator_kernels_t {
    const char *cpName;

    /**
     * The first stage. Sample i of it belongs to byte i; even and odd ones go to different places.
     *
     * @param cpBytes   FIRST_HISTORY bytes in front of it are read as well
     * @param sizeBytes even
     */
    void (*pFirst)(double *pEven, double *pOdd, const uint8_t *cpBytes, size_t sizeBytes) noexcept;

    /**
     * The second stage.
     *
     * @param cpEven SECOND_HISTORY samples in front of either are read as well
     * @param dScale each sum is multiplied by it
     */
    void (*pSecond)(double *pDest, const double *pEven, const double *pOdd, size_t sizeCount,
                    double dScale) noexcept;
};

namespace DecimatorKernels
{

constexpr size_t FIRST_HISTORY = 16;
constexpr size_t SECOND_HISTORY = 24;

extern const decimator_kernels_t SCALAR;

/** Null on other processors. */
const decimator_kernels_t *GetAVX2() noexcept;

/** The best for this processor. */
const decimator_kernels_t &GetBest() noexcept;

} // namespace DecimatorKernels
