#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * The byte and bit permutations between the two containers. Plain functions over memory, without
 * state. The layouts are drawn in docs/formats.md. Pointers to data may be null where there is
 * none.
 *
 * Each has a scalar version, the reference, and one per vector instruction set; the first call
 * chooses the fastest set that the processor has.
 */
namespace Kernels
{

/** Reverses the order of the bits of each byte. pDest may equal pSrc, but not overlap it otherwise.
 */
void ReverseBits(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount) noexcept;

/**
 * Splits interleaved bytes into one run per channel.
 *
 * @param ppDest     one run of sizeFrames bytes per channel
 * @param pSrc       sizeFrames * uChannels bytes, the channels in rotation
 * @param sizeFrames bytes per channel
 * @param bReverse   whether to reverse the bits of each byte as well
 */
void Deinterleave(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames,
                  uint32_t uChannels, bool bReverse) noexcept;

/**
 * The inverse of Deinterleave, for blocks that follow each other in memory.
 *
 * @param pDest sizeBlock * uChannels bytes, the channels in rotation
 * @param pSrc  uChannels blocks of sizeBlock bytes
 */
void Interleave(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock, uint32_t uChannels,
                bool bReverse) noexcept;

/**
 * Copies channels between two interleaved layouts of bytes: source channel c goes to place
 * upTable[c] of each frame, or is left out when the frame has no such place. All places are
 * written.
 *
 * @param pDest   sizeFrames * uDestChannels bytes
 * @param upTable one entry per source channel; the later of two equal entries wins
 * @param uFill   the byte for places without a channel
 */
void PlaceChannels(uint8_t *pDest, const uint8_t *pSrc, size_t sizeFrames, const uint32_t *upTable,
                   uint32_t uDestChannels, uint32_t uSrcChannels, uint8_t uFill) noexcept;

/** The functions above for one instruction set. */
struct set_t {
    const char *cpName;
    bool (*fnIsSupported)() noexcept;
    decltype(&Kernels::ReverseBits) fnReverseBits;
    decltype(&Kernels::Deinterleave) fnDeinterleave;
    decltype(&Kernels::Interleave) fnInterleave;
    decltype(&Kernels::PlaceChannels) fnPlaceChannels;
};

/** The reference implementation that every other set must match. */
extern const set_t SCALAR;

/** The sets built for this kind of processor: the reference first, the fastest last. */
#if defined(__x86_64__)
extern const set_t SSSE3, AVX2, AVX512;
inline constexpr const set_t *SETS[] = {&SCALAR, &SSSE3, &AVX2, &AVX512};
#elif defined(__aarch64__)
extern const set_t NEON;
inline constexpr const set_t *SETS[] = {&SCALAR, &NEON};
#else
inline constexpr const set_t *SETS[] = {&SCALAR};
#endif

/** Those of SETS that this processor can run. */
std::vector<const set_t *> GetSets();

/** The set that the functions above use: the last of GetSets(). */
const set_t &GetFastest() noexcept;

} // namespace Kernels
