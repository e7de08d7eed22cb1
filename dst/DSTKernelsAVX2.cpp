#if defined(__x86_64__)

#include <cpuid.h>
#include <immintrin.h>

#define VANTREL_TARGET __attribute__((target("avx2,bmi,bmi2,lzcnt")))
#include "dst/DSTKernelsVector.h"

namespace
{

struct clAVX2 {
    VANTREL_INLINE static __m256i Load(const int16_t *pSums)
    {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i_u *>(pSums));
    }

    VANTREL_INLINE static void Advance(int16_t *pSums, const int16_t *pNewer, const int16_t *pOlder)
    {
#pragma GCC unroll 8
        for (size_t i = 0; i < DSTKernels::SUMS; i += 16) {
            const __m256i added = _mm256_add_epi16(Load(pNewer + i), Load(pOlder + i));
            _mm256_storeu_si256(reinterpret_cast<__m256i_u *>(pSums + i),
                                _mm256_add_epi16(Load(pSums + i + 8), added));
        }
    }
};

bool HasLzcnt() noexcept
{
    // clang 14 cannot ask for this one by name.
    unsigned int uEax = 0;
    unsigned int uEbx = 0;
    unsigned int uEcx = 0;
    unsigned int uEdx = 0;
    return __get_cpuid(0x80000001, &uEax, &uEbx, &uEcx, &uEdx) != 0 && (uEcx & bit_LZCNT) != 0;
}

bool HasAVX2() noexcept
{
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
           __builtin_cpu_supports("bmi2") != 0 && HasLzcnt();
}

} // namespace

const DSTKernels::set_t DSTKernels::AVX2 = {"avx2", HasAVX2, DecodeAnyRun<clAVX2>};

#endif
