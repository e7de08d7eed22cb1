#include "dsd/Kernels.h"

#include <array>

namespace
{

constexpr std::array<uint8_t, 256> MakeReversed()
{
    std::array<uint8_t, 256> aTable{};
    for (unsigned i = 0; i < aTable.size(); ++i) {
        unsigned u = i;
        u = (u & 0xF0U) >> 4 | (u & 0x0FU) << 4;
        u = (u & 0xCCU) >> 2 | (u & 0x33U) << 2;
        u = (u & 0xAAU) >> 1 | (u & 0x55U) << 1;
        aTable[i] = static_cast<uint8_t>(u);
    }
    return aTable;
}

constexpr std::array<uint8_t, 256> aReversed = MakeReversed();

} // namespace

void Kernels::ReverseBits(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount) noexcept
{
    for (size_t i = 0; i < sizeCount; ++i) {
        pDest[i] = aReversed[pSrc[i]];
    }
}

void Kernels::Deinterleave(uint8_t *pDest, size_t sizeBlock, const uint8_t *pSrc, size_t sizeFrames,
                           uint32_t uChannels) noexcept
{
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        for (size_t i = 0; i < sizeFrames; ++i) {
            pDest[uChIdx * sizeBlock + i] = pSrc[i * uChannels + uChIdx];
        }
    }
}

void Kernels::Interleave(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock,
                         uint32_t uChannels) noexcept
{
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        for (size_t i = 0; i < sizeBlock; ++i) {
            pDest[i * uChannels + uChIdx] = pSrc[uChIdx * sizeBlock + i];
        }
    }
}
