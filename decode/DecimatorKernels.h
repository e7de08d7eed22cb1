#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * The arithmetic of the two stages of clDecimator: a scalar version, the reference, and one per
 * vector instruction set. All give the same doubles bit for bit, because every sum has one order
 * and starts from +0.0. The first stage adds the bytes at even and those at odd distances from the
 * newest separately, oldest first, then the two sums; the second starts with the middle tap and
 * continues with the pairs, innermost first.
 */
namespace DecimatorKernels
{

constexpr size_t FIRST_HISTORY = 16;
constexpr size_t SECOND_HISTORY = 24;

/** The two stages for one instruction set. */
struct set_t {
    const char *cpName;
    bool (*fnIsSupported)() noexcept;

    /** The first stage: one sample per byte, even and odd ones to separate buffers. cpBytes is
     * preceded by FIRST_HISTORY bytes of history; sizeBytes is even. */
    void (*fnFirst)(double *pEven, double *pOdd, const uint8_t *cpBytes, size_t sizeBytes) noexcept;

    /** The second stage, each sum multiplied by dScale. pEven and pOdd are preceded by
     * SECOND_HISTORY samples of history each. */
    void (*fnSecond)(double *pDest, const double *pEven, const double *pOdd, size_t uCount,
                     double dScale) noexcept;
};

/** The reference implementation that every other set must match. */
extern const set_t SCALAR;

/** The sets built for this kind of processor: the reference first, the fastest last. */
#if defined(__x86_64__)
extern const set_t AVX2;
inline constexpr const set_t *SETS[] = {&SCALAR, &AVX2};
#else
inline constexpr const set_t *SETS[] = {&SCALAR};
#endif

/** Those of SETS that this processor can run. */
std::vector<const set_t *> GetSets();

/** The last of GetSets(). */
const set_t &GetFastest() noexcept;

} // namespace DecimatorKernels
