#if defined(__x86_64__)

#define VANTREL_TARGET __attribute__((target("ssse3")))

#include "kernels/KernelsVector.h"

#include <immintrin.h>

namespace
{

class clSSSE3Vector
{
public:
    using reg_t = __m128i;

    static constexpr size_t LANES = 1;

    VANTREL_TARGET static reg_t Load(const uint8_t *pSrc) noexcept
    {
        return _mm_loadu_si128(reinterpret_cast<const reg_t *>(pSrc));
    }
    VANTREL_TARGET static void Store(uint8_t *pDest, reg_t reg) noexcept
    {
        _mm_storeu_si128(reinterpret_cast<reg_t *>(pDest), reg);
    }
    VANTREL_TARGET static reg_t LoadLanes(const uint8_t *pSrc, size_t /*sizeStride*/) noexcept
    {
        return Load(pSrc);
    }
    VANTREL_TARGET static void StoreLanes(uint8_t *pDest, size_t /*sizeStride*/, reg_t reg) noexcept
    {
        Store(pDest, reg);
    }
    VANTREL_TARGET static reg_t Shuffle(reg_t reg, const uint8_t *upMask) noexcept
    {
        return _mm_shuffle_epi8(reg, _mm_load_si128(reinterpret_cast<const reg_t *>(upMask)));
    }
    VANTREL_TARGET static reg_t LowHalves(reg_t regA, reg_t regB) noexcept
    {
        return _mm_unpacklo_epi64(regA, regB);
    }
    VANTREL_TARGET static reg_t HighHalves(reg_t regA, reg_t regB) noexcept
    {
        return _mm_unpackhi_epi64(regA, regB);
    }
    VANTREL_TARGET static reg_t ZipLow(reg_t regA, reg_t regB) noexcept
    {
        return _mm_unpacklo_epi8(regA, regB);
    }
    VANTREL_TARGET static reg_t ZipHigh(reg_t regA, reg_t regB) noexcept
    {
        return _mm_unpackhi_epi8(regA, regB);
    }
    VANTREL_TARGET static reg_t Or(reg_t regA, reg_t regB) noexcept
    {
        return _mm_or_si128(regA, regB);
    }
    /** Looks up each nibble bit-reversed and swaps the nibbles. */
    VANTREL_TARGET static reg_t Reverse(reg_t reg) noexcept
    {
        const reg_t regHalf = _mm_set1_epi8(0x0F);
        const reg_t regToHigh = _mm_setr_epi8(0x00, -0x80, 0x40, -0x40, 0x20, -0x60, 0x60, -0x20,
                                              0x10, -0x70, 0x50, -0x30, 0x30, -0x50, 0x70, -0x10);
        const reg_t regToLow = _mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15);
        const reg_t regLow = _mm_and_si128(reg, regHalf);
        const reg_t regHigh = _mm_and_si128(_mm_srli_epi16(reg, 4), regHalf);
        return Or(_mm_shuffle_epi8(regToHigh, regLow), _mm_shuffle_epi8(regToLow, regHigh));
    }
};

bool HasSSSE3() noexcept
{
    return __builtin_cpu_supports("ssse3") != 0;
}

using Set = clVectors<clSSSE3Vector>;

} // namespace

const Kernels::set_t Kernels::SSSE3 = {"ssse3",           HasSSSE3,        Set::ReverseBits,
                                       Set::Deinterleave, Set::Interleave, Set::PlaceChannels};

#endif
