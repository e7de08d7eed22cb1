#pragma once

#include <cstddef>
#include <cstdint>

/**
 * The byte and bit permutations between the two containers. Plain functions over memory, without
 * state. The layouts are drawn in docs/formats.md.
 */
namespace Kernels
{

/** Reverses the order of the eight bits of each byte. pDest may be pSrc itself, but not overlap it.
 */
void ReverseBits(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount) noexcept;

/**
 * Splits interleaved bytes into one run per channel.
 *
 * @param pDest      uChannels blocks of sizeBlock bytes; behind its run a block stays as it is
 * @param pSrc       sizeFrames * uChannels bytes, one of each channel in turn
 * @param sizeFrames bytes per channel, at most sizeBlock
 */
void Deinterleave(uint8_t *pDest, size_t sizeBlock, const uint8_t *pSrc, size_t sizeFrames,
                  uint32_t uChannels) noexcept;

/**
 * The way back, for whole blocks.
 *
 * @param pDest sizeBlock * uChannels bytes, one of each channel in turn
 * @param pSrc  uChannels blocks of sizeBlock bytes
 */
void Interleave(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock, uint32_t uChannels) noexcept;

/**
 * Copies channels between two interleaved layouts: sample i of source channel c goes to place
 * upTable[c] of frame i. Places that no channel goes to stay as they are.
 *
 * @param upTable one destination place per source channel, each below uDestChannels
 */
template <class T>
inline void MapChannels(T *pDest, const T *pSrc, uint64_t uFrames, const uint32_t *upTable,
                        uint32_t uDestChannels, uint32_t uSrcChannels) noexcept
{
    for (uint32_t uChIdx = 0; uFrames != 0 && uChIdx < uSrcChannels; ++uChIdx) {
        T *pTo = pDest + upTable[uChIdx];
        const T *pFrom = pSrc + uChIdx;
        for (uint64_t i = 0; i < uFrames; ++i) {
            pTo[i * uDestChannels] = pFrom[i * uSrcChannels];
        }
    }
}

} // namespace Kernels
