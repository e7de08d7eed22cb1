#if defined(__x86_64__)

#include "kernels/Kernels.h"

#include <iterator>
#include <utility>

#include <immintrin.h>

#define VANTREL_TARGET __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,gfni")))
#define VANTREL_INLINE VANTREL_TARGET __attribute__((always_inline)) inline

namespace
{

using reg_t = __m512i;

constexpr size_t VECTOR = sizeof(reg_t);

/**
 * A permutation of the bytes of N registers. Byte j of result r comes from byte auIndices[r][j] of
 * a pair of input registers, which is the pair p with bit j set in auPairs[r][p].
 */
template <size_t N>
struct permutation_t {
    alignas(VECTOR) uint8_t auIndices[N][VECTOR];
    uint64_t auPairs[N][(N + 1) / 2];
};

/** From 64 frames of N channels to 64 bytes of each channel (SPLIT), or back. */
template <size_t N, bool SPLIT>
constexpr permutation_t<N> MakePermutation()
{
    permutation_t<N> permutation{};
    for (size_t i = 0; i < N * VECTOR; ++i) {
        const size_t sizeInChannels = i % N * VECTOR + i / N;
        const size_t sizeDest = SPLIT ? sizeInChannels : i;
        const size_t sizeSrc = SPLIT ? i : sizeInChannels;
        permutation.auIndices[sizeDest / VECTOR][sizeDest % VECTOR] =
            static_cast<uint8_t>(sizeSrc % (2 * VECTOR));
        permutation.auPairs[sizeDest / VECTOR][sizeSrc / (2 * VECTOR)] |= uint64_t{1}
                                                                          << sizeDest % VECTOR;
    }
    return permutation;
}

template <size_t N, bool SPLIT>
constexpr permutation_t<N> aPermutation = MakePermutation<N, SPLIT>();

template <size_t N, bool SPLIT, size_t... P>
VANTREL_INLINE reg_t Permute(const reg_t *pIn, size_t sizeResult, std::index_sequence<P...>)
{
    constexpr const permutation_t<N> &PERMUTATION = aPermutation<N, SPLIT>;
    const reg_t regIndices = _mm512_load_si512(PERMUTATION.auIndices[sizeResult]);
    reg_t reg = _mm512_permutex2var_epi8(pIn[0], regIndices, pIn[1 % N]);
    ((reg = _mm512_mask_blend_epi8(
          PERMUTATION.auPairs[sizeResult][P + 1], reg,
          _mm512_permutex2var_epi8(pIn[2 * P + 2], regIndices, pIn[(2 * P + 3) % N]))),
     ...);
    return reg;
}

/**
 * Deinterleave (SPLIT) or Interleave for N channels, which has a single destination. The rest of
 * less than a vector goes to narrower code.
 */
template <size_t N, bool SPLIT, size_t... I>
VANTREL_INLINE void MoveAll(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames,
                            bool bReverse, std::index_sequence<I...>)
{
    // Bit i of a byte becomes the parity of the byte and byte 7 - i of the matrix.
    constexpr long long REVERSE = static_cast<long long>(0x8040201008040201U);
    constexpr long long KEEP = 0x0102040810204080;
    constexpr size_t DEST_STEP = SPLIT ? VECTOR : VECTOR * N;
    constexpr size_t SRC_STEP = SPLIT ? VECTOR * N : VECTOR;

    const reg_t regBits = _mm512_set1_epi64(bReverse ? REVERSE : KEEP);
    uint8_t *apDest[N] = {SPLIT ? ppDest[I] : ppDest[0] + I * VECTOR...};
    const uint8_t *apSrc[N] = {pSrc + I * (SPLIT ? VECTOR : sizeFrames)...};
    for (; sizeFrames >= VECTOR; sizeFrames -= VECTOR) {
        const reg_t aIn[N] = {
            _mm512_gf2p8affine_epi64_epi8(_mm512_loadu_si512(apSrc[I]), regBits, 0)...};
        (_mm512_storeu_si512(apDest[I],
                             Permute<N, SPLIT>(aIn, I, std::make_index_sequence<(N - 1) / 2>())),
         ...);
        ((apDest[I] += DEST_STEP, apSrc[I] += SRC_STEP), ...);
    }
    if constexpr (SPLIT) {
        Kernels::AVX2.fnDeinterleave(apDest, apSrc[0], sizeFrames, N, bReverse);
    } else {
        for (size_t i = 0; i < sizeFrames; ++i) {
            const uint8_t auFrame[N] = {apSrc[I][i]...};
            Kernels::SCALAR.fnInterleave(apDest[0] + i * N, auFrame, 1, N, bReverse);
        }
    }
}

template <size_t N, bool SPLIT>
VANTREL_TARGET void Move(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames,
                         bool bReverse) noexcept
{
    MoveAll<N, SPLIT>(ppDest, pSrc, sizeFrames, bReverse, std::make_index_sequence<N>());
}

// By number of channels, less one.
template <bool SPLIT>
constexpr decltype(&Move<1, SPLIT>) aMove[] = {Move<1, SPLIT>, Move<2, SPLIT>, Move<3, SPLIT>,
                                               Move<4, SPLIT>, Move<5, SPLIT>, Move<6, SPLIT>};

void SplitFrames(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames, uint32_t uChannels,
                 bool bReverse) noexcept
{
    if (sizeFrames < VECTOR || uChannels - 1 >= std::size(aMove<true>)) {
        Kernels::AVX2.fnDeinterleave(ppDest, pSrc, sizeFrames, uChannels, bReverse);
        return;
    }
    aMove<true>[uChannels - 1](ppDest, pSrc, sizeFrames, bReverse);
}

void ReverseBytes(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount) noexcept
{
    SplitFrames(&pDest, pSrc, sizeCount, 1, true);
}

void JoinBlocks(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock, uint32_t uChannels,
                bool bReverse) noexcept
{
    if (sizeBlock < VECTOR || uChannels - 1 >= std::size(aMove<false>)) {
        Kernels::AVX2.fnInterleave(pDest, pSrc, sizeBlock, uChannels, bReverse);
        return;
    }
    aMove<false>[uChannels - 1](&pDest, pSrc, sizeBlock, bReverse);
}

// Wider registers were no faster here, because 64 bytes hold no whole number of most frames.
void MapChannels(uint8_t *pDest, const uint8_t *pSrc, size_t sizeFrames, const uint32_t *upTable,
                 uint32_t uDestChannels, uint32_t uSrcChannels, uint8_t uFill) noexcept
{
    Kernels::AVX2.fnPlaceChannels(pDest, pSrc, sizeFrames, upTable, uDestChannels, uSrcChannels,
                                  uFill);
}

bool HasAVX512() noexcept
{
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
           __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512vbmi") != 0 &&
           __builtin_cpu_supports("gfni") != 0 && Kernels::AVX2.fnIsSupported();
}

} // namespace

const Kernels::set_t Kernels::AVX512 = {"avx512",    HasAVX512,  ReverseBytes,
                                        SplitFrames, JoinBlocks, MapChannels};

#endif
