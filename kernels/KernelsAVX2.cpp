#if defined(__x86_64__)

#define VANTREL_TARGET __attribute__((target("avx2")))

#include "kernels/KernelsVector.h"

#include <immintrin.h>

namespace
{

class clAVX2Vector
{
public:
    using reg_t = __m256i;

    static constexpr size_t LANES = 2;

    VANTREL_TARGET static reg_t Load(const uint8_t *pSrc) noexcept
    {
        return _mm256_loadu_si256(reinterpret_cast<const reg_t *>(pSrc));
    }
    VANTREL_TARGET static void Store(uint8_t *pDest, reg_t reg) noexcept
    {
        _mm256_storeu_si256(reinterpret_cast<reg_t *>(pDest), reg);
    }
    VANTREL_TARGET static reg_t LoadLanes(const uint8_t *pSrc, size_t sizeStride) noexcept
    {
        const __m128i lane0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pSrc));
        const __m128i lane1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pSrc + sizeStride));
        return _mm256_inserti128_si256(_mm256_castsi128_si256(lane0), lane1, 1);
    }
    VANTREL_TARGET static void StoreLanes(uint8_t *pDest, size_t sizeStride, reg_t reg) noexcept
    {
        _mm_storeu_si128(reinterpret_cast<__m128i *>(pDest), _mm256_castsi256_si128(reg));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(pDest + sizeStride),
                         _mm256_extracti128_si256(reg, 1));
    }
    VANTREL_TARGET static reg_t Shuffle(reg_t reg, const uint8_t *upMask) noexcept
    {
        return _mm256_shuffle_epi8(reg, _mm256_load_si256(reinterpret_cast<const reg_t *>(upMask)));
    }
    VANTREL_TARGET static reg_t LowHalves(reg_t regA, reg_t regB) noexcept
    {
        return _mm256_unpacklo_epi64(regA, regB);
    }
    VANTREL_TARGET static reg_t HighHalves(reg_t regA, reg_t regB) noexcept
    {
        return _mm256_unpackhi_epi64(regA, regB);
    }
    VANTREL_TARGET static reg_t ZipLow(reg_t regA, reg_t regB) noexcept
    {
        return _mm256_unpacklo_epi8(regA, regB);
    }
    VANTREL_TARGET static reg_t ZipHigh(reg_t regA, reg_t regB) noexcept
    {
        return _mm256_unpackhi_epi8(regA, regB);
    }
    VANTREL_TARGET static reg_t Or(reg_t regA, reg_t regB) noexcept
    {
        return _mm256_or_si256(regA, regB);
    }
    /** Looks up each nibble bit-reversed and swaps the nibbles. */
    VANTREL_TARGET static reg_t Reverse(reg_t reg) noexcept
    {
        const reg_t regHalf = _mm256_set1_epi8(0x0F);
        const reg_t regToHigh = _mm256_broadcastsi128_si256(
            _mm_setr_epi8(0x00, -0x80, 0x40, -0x40, 0x20, -0x60, 0x60, -0x20, 0x10, -0x70, 0x50,
                          -0x30, 0x30, -0x50, 0x70, -0x10));
        const reg_t regToLow = _mm256_broadcastsi128_si256(
            _mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15));
        const reg_t regLow = _mm256_and_si256(reg, regHalf);
        const reg_t regHigh = _mm256_and_si256(_mm256_srli_epi16(reg, 4), regHalf);
        return Or(_mm256_shuffle_epi8(regToHigh, regLow), _mm256_shuffle_epi8(regToLow, regHigh));
    }
};

bool HasAVX2() noexcept
{
    return __builtin_cpu_supports("avx2") != 0;
}

using Set = clVectors<clAVX2Vector>;

} // namespace

const Kernels::set_t Kernels::AVX2 = {
    "avx2", HasAVX2, Set::ReverseBits, Set::Deinterleave, Set::Interleave, Set::PlaceChannels};

#endif
