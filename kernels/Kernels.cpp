#include "kernels/Kernels.h"

#include "kernels/SupportedSets.h"

#include <algorithm>
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

uint8_t Bits(uint8_t uByte, bool bReverse)
{
    return bReverse ? aReversed[uByte] : uByte;
}

void ReverseBitsScalar(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount) noexcept
{
    for (size_t i = 0; i < sizeCount; ++i) {
        pDest[i] = aReversed[pSrc[i]];
    }
}

void DeinterleaveScalar(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames,
                        uint32_t uChannels, bool bReverse) noexcept
{
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        for (size_t i = 0; i < sizeFrames; ++i) {
            ppDest[uChIdx][i] = Bits(pSrc[i * uChannels + uChIdx], bReverse);
        }
    }
}

void InterleaveScalar(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock, uint32_t uChannels,
                      bool bReverse) noexcept
{
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        for (size_t i = 0; i < sizeBlock; ++i) {
            pDest[i * uChannels + uChIdx] = Bits(pSrc[uChIdx * sizeBlock + i], bReverse);
        }
    }
}

void PlaceChannelsScalar(uint8_t *pDest, const uint8_t *pSrc, size_t sizeFrames,
                         const uint32_t *upTable, uint32_t uDestChannels, uint32_t uSrcChannels,
                         uint8_t uFill) noexcept
{
    for (size_t i = 0; i < sizeFrames; ++i, pDest += uDestChannels, pSrc += uSrcChannels) {
        std::fill_n(pDest, uDestChannels, uFill);
        for (uint32_t uChIdx = 0; uChIdx < uSrcChannels; ++uChIdx) {
            if (upTable[uChIdx] < uDestChannels) {
                pDest[upTable[uChIdx]] = pSrc[uChIdx];
            }
        }
    }
}

} // namespace

const Kernels::set_t Kernels::SCALAR = {"scalar",           IsAlwaysSupported, ReverseBitsScalar,
                                        DeinterleaveScalar, InterleaveScalar,  PlaceChannelsScalar};

std::vector<const Kernels::set_t *> Kernels::GetSets()
{
    return SupportedSets(SETS);
}

const Kernels::set_t &Kernels::GetFastest() noexcept
{
    static const set_t &fastest = FastestSet(SETS);
    return fastest;
}

void Kernels::ReverseBits(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount) noexcept
{
    GetFastest().fnReverseBits(pDest, pSrc, sizeCount);
}

void Kernels::Deinterleave(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames,
                           uint32_t uChannels, bool bReverse) noexcept
{
    GetFastest().fnDeinterleave(ppDest, pSrc, sizeFrames, uChannels, bReverse);
}

void Kernels::Interleave(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock, uint32_t uChannels,
                         bool bReverse) noexcept
{
    GetFastest().fnInterleave(pDest, pSrc, sizeBlock, uChannels, bReverse);
}

void Kernels::PlaceChannels(uint8_t *pDest, const uint8_t *pSrc, size_t sizeFrames,
                            const uint32_t *upTable, uint32_t uDestChannels, uint32_t uSrcChannels,
                            uint8_t uFill) noexcept
{
    GetFastest().fnPlaceChannels(pDest, pSrc, sizeFrames, upTable, uDestChannels, uSrcChannels,
                                 uFill);
}
