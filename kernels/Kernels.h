#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * The byte and bit permutations between the two containers (docs/formats.md): plain functions over
 * memory, which may be null for no data. Each has a scalar version, the reference, and one per
 * vector instruction set; the first call chooses the fastest set that the processor has.
 */
namespace Kernels
{

/** Reverses the bits of each byte. pDest may equal pSrc, but not overlap it otherwise. */
void ReverseBits(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount) noexcept;

/** Splits sizeFrames * uChannels interleaved bytes into one run of sizeFrames bytes per channel;
 * bReverse also reverses the bits of each byte. */
void Deinterleave(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames,
                  uint32_t uChannels, bool bReverse) noexcept;

/** The inverse of Deinterleave, for uChannels blocks of sizeBlock bytes that follow each other. */
void Interleave(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock, uint32_t uChannels,
                bool bReverse) noexcept;

/** Copies channels between interleaved bytes: source channel c goes to place upTable[c] of each
 * frame, or is left out if the frame has no such place; of equal entries the later wins. Places
 * without a channel get uFill. */
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

/** The sets for this kind of processor: the reference first, the fastest last. */
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
