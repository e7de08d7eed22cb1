#if defined(__x86_64__)

#include "decode/DecimatorKernels.h"
#include "decode/clDecimatorDesign.h"

#include <immintrin.h>

// Each register holds four samples, and each sample is summed in the order of the scalar code, with
// separate roundings for multiply and add. The attribute of each function, instead of a compiler
// option, keeps these instructions out of everything else.
#define VANTREL_TARGET __attribute__((target("avx2")))
#define VANTREL_INLINE VANTREL_TARGET __attribute__((always_inline)) inline

namespace
{

using design_t = clDecimatorDesign;

/** Partial sums of the next 20 samples of the first stage, four to a register. */
struct sums_t {
    __m256d s0, s1, s2, s3, s4;
};

// Adds the row of a byte. The caller offsets pRow so that the row's first entry is added to the
// byte's own sample.
VANTREL_INLINE void AddRow(sums_t &sums, const double *pRow)
{
    sums.s0 = _mm256_add_pd(sums.s0, _mm256_loadu_pd(pRow));
    sums.s1 = _mm256_add_pd(sums.s1, _mm256_loadu_pd(pRow + 4));
    sums.s2 = _mm256_add_pd(sums.s2, _mm256_loadu_pd(pRow + 8));
    sums.s3 = _mm256_add_pd(sums.s3, _mm256_loadu_pd(pRow + 12));
}

// Adds the rows of four bytes and returns the four samples that they complete. The two sums are
// independent, so the processor can overlap their additions.
VANTREL_INLINE __m256d NextFour(sums_t &even, sums_t &odd, const double *pRows,
                                const uint8_t *cpBytes)
{
    static_assert(design_t::ROW_MARGIN == 3 && design_t::ROW_SIZE == 17);
    const double *pLast = pRows + cpBytes[3] * design_t::ROW_SIZE;
    AddRow(even, pRows + cpBytes[0] * design_t::ROW_SIZE + 3);
    AddRow(odd, pRows + cpBytes[1] * design_t::ROW_SIZE + 2);
    AddRow(even, pRows + cpBytes[2] * design_t::ROW_SIZE + 1);
    AddRow(odd, pLast);
    // Only the newest row reaches this far; adding to +0.0 turns a -0.0 into +0.0, as in the
    // scalar sum.
    const __m256d zero = _mm256_setzero_pd();
    odd.s4 = _mm256_add_pd(zero, _mm256_loadu_pd(pLast + 16));
    const __m256d complete = _mm256_add_pd(even.s0, odd.s0);
    even = {even.s1, even.s2, even.s3, zero, zero};
    odd = {odd.s1, odd.s2, odd.s3, odd.s4, zero};
    return complete;
}

VANTREL_TARGET void First(double *pEven, double *pOdd, const uint8_t *cpBytes,
                          size_t sizeBytes) noexcept
{
    const double *pRows = design_t::Get().aRows.data();
    const __m256d zero = _mm256_setzero_pd();
    sums_t even = {zero, zero, zero, zero, zero};
    sums_t odd = even;
    for (size_t i = 0; i < DecimatorKernels::FIRST_HISTORY; i += 4) {
        NextFour(even, odd, pRows, cpBytes + i - DecimatorKernels::FIRST_HISTORY);
    }
    size_t i = 0;
    for (; i + 8 <= sizeBytes; i += 8) {
        constexpr int MIDDLE_SWAPPED = 0xD8;
        const __m256d early = NextFour(even, odd, pRows, cpBytes + i);
        const __m256d late = NextFour(even, odd, pRows, cpBytes + i + 4);
        _mm256_storeu_pd(pEven + i / 2,
                         _mm256_permute4x64_pd(_mm256_unpacklo_pd(early, late), MIDDLE_SWAPPED));
        _mm256_storeu_pd(pOdd + i / 2,
                         _mm256_permute4x64_pd(_mm256_unpackhi_pd(early, late), MIDDLE_SWAPPED));
    }
    DecimatorKernels::SCALAR.fnFirst(pEven + i / 2, pOdd + i / 2, cpBytes + i, sizeBytes - i);
}

VANTREL_INLINE __m256d Pair(__m256d tap, const double *pLater, const double *pEarlier)
{
    return _mm256_mul_pd(tap, _mm256_add_pd(_mm256_loadu_pd(pLater), _mm256_loadu_pd(pEarlier)));
}

VANTREL_TARGET void Second(double *pDest, const double *pEven, const double *pOdd, size_t uCount,
                           double dScale) noexcept
{
    const design_t &design = design_t::Get();
    constexpr size_t MIDDLE = design_t::SECOND_PAIRS - 1;
    const __m256d centre = _mm256_set1_pd(design.dCentre);
    const __m256d scale = _mm256_set1_pd(dScale);
    size_t i = 0;
    // Four independent sums hide the latency of the additions.
    for (; i + 16 <= uCount; i += 16) {
        const double *pMiddle = pEven + i - MIDDLE;
        __m256d s0 = _mm256_mul_pd(centre, _mm256_loadu_pd(pMiddle));
        __m256d s1 = _mm256_mul_pd(centre, _mm256_loadu_pd(pMiddle + 4));
        __m256d s2 = _mm256_mul_pd(centre, _mm256_loadu_pd(pMiddle + 8));
        __m256d s3 = _mm256_mul_pd(centre, _mm256_loadu_pd(pMiddle + 12));
        const double *pLater = pOdd + i - MIDDLE;
        const double *pEarlier = pLater - 1;
        for (const double &dTap : design.aPairs) {
            const __m256d tap = _mm256_set1_pd(dTap);
            s0 = _mm256_add_pd(s0, Pair(tap, pLater, pEarlier));
            s1 = _mm256_add_pd(s1, Pair(tap, pLater + 4, pEarlier + 4));
            s2 = _mm256_add_pd(s2, Pair(tap, pLater + 8, pEarlier + 8));
            s3 = _mm256_add_pd(s3, Pair(tap, pLater + 12, pEarlier + 12));
            ++pLater;
            --pEarlier;
        }
        _mm256_storeu_pd(pDest + i, _mm256_mul_pd(s0, scale));
        _mm256_storeu_pd(pDest + i + 4, _mm256_mul_pd(s1, scale));
        _mm256_storeu_pd(pDest + i + 8, _mm256_mul_pd(s2, scale));
        _mm256_storeu_pd(pDest + i + 12, _mm256_mul_pd(s3, scale));
    }
    DecimatorKernels::SCALAR.fnSecond(pDest + i, pEven + i, pOdd + i, uCount - i, dScale);
}

bool HasAVX2() noexcept
{
    return __builtin_cpu_supports("avx2") != 0;
}

} // namespace

const DecimatorKernels::set_t DecimatorKernels::AVX2 = {"avx2", HasAVX2, First, Second};

#endif
