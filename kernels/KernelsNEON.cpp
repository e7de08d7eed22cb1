#if defined(__aarch64__)

// Every AArch64 processor has NEON, so its functions need no attribute.
#define VANTREL_TARGET

#include "kernels/KernelsVector.h"
#include "kernels/SupportedSets.h"

#include <arm_neon.h>

namespace
{

class clNEONVector
{
public:
    using reg_t = uint8x16_t;

    static constexpr size_t LANES = 1;

    static reg_t Load(const uint8_t *pSrc) noexcept { return vld1q_u8(pSrc); }
    static void Store(uint8_t *pDest, reg_t reg) noexcept { vst1q_u8(pDest, reg); }
    static reg_t LoadLanes(const uint8_t *pSrc, size_t /*sizeStride*/) noexcept
    {
        return Load(pSrc);
    }
    static void StoreLanes(uint8_t *pDest, size_t /*sizeStride*/, reg_t reg) noexcept
    {
        Store(pDest, reg);
    }
    static reg_t Shuffle(reg_t reg, const uint8_t *upMask) noexcept
    {
        return vqtbl1q_u8(reg, Load(upMask));
    }
    static reg_t LowHalves(reg_t regA, reg_t regB) noexcept
    {
        return vcombine_u8(vget_low_u8(regA), vget_low_u8(regB));
    }
    static reg_t HighHalves(reg_t regA, reg_t regB) noexcept
    {
        return vcombine_u8(vget_high_u8(regA), vget_high_u8(regB));
    }
    static reg_t ZipLow(reg_t regA, reg_t regB) noexcept { return vzip1q_u8(regA, regB); }
    static reg_t ZipHigh(reg_t regA, reg_t regB) noexcept { return vzip2q_u8(regA, regB); }
    static reg_t Or(reg_t regA, reg_t regB) noexcept { return vorrq_u8(regA, regB); }
    static reg_t Reverse(reg_t reg) noexcept { return vrbitq_u8(reg); }
};

using Set = clVectors<clNEONVector>;

} // namespace

const Kernels::set_t Kernels::NEON = {"neon",           IsAlwaysSupported,
                                      Set::ReverseBits, Set::Deinterleave,
                                      Set::Interleave,  Set::PlaceChannels};

#endif
