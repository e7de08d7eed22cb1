#pragma once

#include "kernels/Kernels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

/**
 * The kernels for instruction sets whose shuffles work on lanes of 16 bytes.
 *
 * The source of such a set defines VANTREL_TARGET, the attribute of every function that uses its
 * instructions, and a class V:
 *
 *     reg_t, LANES             a register, and its number of lanes
 *     Load, Store              to and from consecutive bytes
 *     LoadLanes, StoreLanes    the same, with the lanes a stride apart in memory
 *     Shuffle(reg, mask)       picks bytes within each lane by index; indices from 0x80 on give 0
 *     LowHalves, HighHalves    joins halves of each lane, the first register's before the second's
 *     ZipLow, ZipHigh          the same with the bytes of the two halves alternating
 *     Or                       bitwise, of two registers
 *     Reverse                  reverses the bits of each byte
 *
 * and builds its set_t from the functions of clVectors<V>. The tables below are made for one lane,
 * which is one group of 16 frames, and so serve registers of any width.
 */

namespace
{

constexpr size_t LANE = 16;
constexpr uint8_t NOTHING = 0x80;

/** Indices for one shuffle, the same for each lane. */
template <class V>
struct alignas(LANE *V::LANES) mask_t {
    uint8_t auIndices[LANE * V::LANES];

    constexpr void Set(size_t sizeByte, uint8_t uIndex)
    {
        for (size_t i = sizeByte; i < sizeof(auIndices); i += LANE) {
            auIndices[i] = uIndex;
        }
    }
};

template <class V, size_t N>
using masks_t = std::array<std::array<mask_t<V>, N>, N>;

/** 16 frames of N channels fill N lanes. Entry [c][v] picks the bytes of channel c from lane v. */
template <class V, size_t N>
constexpr masks_t<V, N> MakeSplit()
{
    masks_t<V, N> masks{};
    for (size_t i = 0; i < LANE * N; ++i) {
        for (size_t v = 0; v < N; ++v) {
            masks[i % N][v].Set(i / N, v == i / LANE ? static_cast<uint8_t>(i % LANE) : NOTHING);
        }
    }
    return masks;
}

/** The inverse: entry [v][c] puts the bytes of channel c into lane v. */
template <class V, size_t N>
constexpr masks_t<V, N> MakeJoin()
{
    masks_t<V, N> masks{};
    for (size_t i = 0; i < LANE * N; ++i) {
        for (size_t c = 0; c < N; ++c) {
            masks[i / LANE][c].Set(i % LANE, c == i % N ? static_cast<uint8_t>(i / N) : NOTHING);
        }
    }
    return masks;
}

/**
 * 8 frames of 2 * N channels fill N lanes. Entry [p][v] picks the bytes of the channels 2 * p and
 * 2 * p + 1 from lane v, all of the former before all of the latter.
 */
template <class V, size_t N>
constexpr masks_t<V, N> MakeSplitPairs()
{
    masks_t<V, N> masks{};
    for (size_t i = 0; i < LANE * N; ++i) {
        const size_t sizeChannel = i % (2 * N);
        const size_t sizeByte = sizeChannel % 2 * LANE / 2 + i / (2 * N);
        for (size_t v = 0; v < N; ++v) {
            masks[sizeChannel / 2][v].Set(sizeByte,
                                          v == i / LANE ? static_cast<uint8_t>(i % LANE) : NOTHING);
        }
    }
    return masks;
}

/** The inverse, from alternating bytes of two channels: entry [v][p] puts pair p into lane v. */
template <class V, size_t N>
constexpr masks_t<V, N> MakeJoinPairs()
{
    masks_t<V, N> masks{};
    for (size_t i = 0; i < LANE * N; ++i) {
        const size_t sizeChannel = i % (2 * N);
        const size_t sizeFrom = i / (2 * N) * 2 + sizeChannel % 2;
        for (size_t p = 0; p < N; ++p) {
            masks[i / LANE][p].Set(i % LANE,
                                   p == sizeChannel / 2 ? static_cast<uint8_t>(sizeFrom) : NOTHING);
        }
    }
    return masks;
}

template <class V>
class clVectors
{
public:
    VANTREL_TARGET static void ReverseBits(uint8_t *pDest, const uint8_t *pSrc,
                                           size_t sizeCount) noexcept
    {
        size_t i = 0;
        for (; sizeCount - i >= STEP; i += STEP) {
            V::Store(pDest + i, V::Reverse(V::Load(pSrc + i)));
        }
        Kernels::SCALAR.fnReverseBits(pDest + i, pSrc + i, sizeCount - i);
    }

    VANTREL_TARGET static void Deinterleave(uint8_t *const *ppDest, const uint8_t *pSrc,
                                            size_t sizeFrames, uint32_t uChannels,
                                            bool bReverse) noexcept
    {
        switch (uChannels) {
        case 1:
            Copy(ppDest[0], pSrc, sizeFrames, bReverse);
            break;
        case 2:
            Split<2>(ppDest, pSrc, sizeFrames, bReverse);
            break;
        case 3:
            Split<3>(ppDest, pSrc, sizeFrames, bReverse);
            break;
        case 4:
            Split<4>(ppDest, pSrc, sizeFrames, bReverse);
            break;
        case 5:
            Split<5>(ppDest, pSrc, sizeFrames, bReverse);
            break;
        case 6:
            Split<6>(ppDest, pSrc, sizeFrames, bReverse);
            break;
        default:
            Kernels::SCALAR.fnDeinterleave(ppDest, pSrc, sizeFrames, uChannels, bReverse);
        }
    }

    VANTREL_TARGET static void Interleave(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock,
                                          uint32_t uChannels, bool bReverse) noexcept
    {
        switch (uChannels) {
        case 1:
            Copy(pDest, pSrc, sizeBlock, bReverse);
            break;
        case 2:
            Join<2>(pDest, pSrc, sizeBlock, bReverse);
            break;
        case 3:
            Join<3>(pDest, pSrc, sizeBlock, bReverse);
            break;
        case 4:
            Join<4>(pDest, pSrc, sizeBlock, bReverse);
            break;
        case 5:
            Join<5>(pDest, pSrc, sizeBlock, bReverse);
            break;
        case 6:
            Join<6>(pDest, pSrc, sizeBlock, bReverse);
            break;
        default:
            Kernels::SCALAR.fnInterleave(pDest, pSrc, sizeBlock, uChannels, bReverse);
        }
    }

    VANTREL_TARGET static void PlaceChannels(uint8_t *pDest, const uint8_t *pSrc, size_t sizeFrames,
                                             const uint32_t *upTable, uint32_t uDestChannels,
                                             uint32_t uSrcChannels, uint8_t uFill) noexcept
    {
        if (sizeFrames == 0) {
            return;
        }
        const size_t sizeWidest = std::max(uDestChannels, uSrcChannels);
        size_t sizeDone = 0;
        if (uDestChannels != 0 && uSrcChannels != 0 && sizeWidest <= LANE) {
            // A lane holds whole frames and a rest. The next store overwrites what this one writes
            // to the rest.
            const size_t sizeInLane = LANE / sizeWidest;
            const size_t sizeTo = sizeInLane * uDestChannels;
            const size_t sizeFrom = sizeInLane * uSrcChannels;
            mask_t<V> mask;
            mask_t<V> fill;
            for (size_t i = 0; i < LANE; ++i) {
                mask.Set(i, NOTHING);
                fill.Set(i, uFill);
            }
            for (size_t i = 0; i < sizeFrom; ++i) {
                const size_t sizePlace = upTable[i % uSrcChannels];
                if (sizePlace < uDestChannels) {
                    const size_t sizeByte = i / uSrcChannels * uDestChannels + sizePlace;
                    mask.Set(sizeByte, static_cast<uint8_t>(i));
                    fill.Set(sizeByte, 0);
                }
            }
            const reg_t regFill = V::Load(fill.auIndices);
            // So many frames must be left that no lane reaches past the end of a buffer.
            const size_t sizeReach =
                std::max(FramesIn((V::LANES - 1) * sizeTo + LANE, uDestChannels),
                         FramesIn((V::LANES - 1) * sizeFrom + LANE, uSrcChannels));
            for (; sizeFrames - sizeDone >= sizeReach; sizeDone += sizeInLane * V::LANES) {
                const reg_t reg = V::LoadLanes(pSrc + sizeDone * uSrcChannels, sizeFrom);
                V::StoreLanes(pDest + sizeDone * uDestChannels, sizeTo,
                              V::Or(V::Shuffle(reg, mask.auIndices), regFill));
            }
        }
        Kernels::SCALAR.fnPlaceChannels(pDest + sizeDone * uDestChannels,
                                        pSrc + sizeDone * uSrcChannels, sizeFrames - sizeDone,
                                        upTable, uDestChannels, uSrcChannels, uFill);
    }

private:
    using reg_t = typename V::reg_t;

    static constexpr size_t STEP = LANE * V::LANES;

    static constexpr size_t FramesIn(size_t sizeBytes, size_t sizeChannels)
    {
        return (sizeBytes + sizeChannels - 1) / sizeChannels;
    }

    template <size_t N>
    static constexpr masks_t<V, N> SPLIT = MakeSplit<V, N>();
    template <size_t N>
    static constexpr masks_t<V, N> JOIN = MakeJoin<V, N>();
    template <size_t N>
    static constexpr masks_t<V, N> SPLIT_PAIRS = MakeSplitPairs<V, N>();
    template <size_t N>
    static constexpr masks_t<V, N> JOIN_PAIRS = MakeJoinPairs<V, N>();

    VANTREL_TARGET static void Copy(uint8_t *pDest, const uint8_t *pSrc, size_t sizeCount,
                                    bool bReverse) noexcept
    {
        if (bReverse) {
            ReverseBits(pDest, pSrc, sizeCount);
        } else if (sizeCount != 0) {
            std::memcpy(pDest, pSrc, sizeCount);
        }
    }

    /** Joins the bytes that a row of masks picks from N registers. */
    template <size_t N>
    VANTREL_TARGET static reg_t Gather(const reg_t *pIn,
                                       const std::array<mask_t<V>, N> &masks) noexcept
    {
        return GatherAll(pIn, masks, std::make_index_sequence<N - 1>());
    }

    template <size_t N, size_t... I>
    VANTREL_TARGET static reg_t GatherAll(const reg_t *pIn, const std::array<mask_t<V>, N> &masks,
                                          std::index_sequence<I...>) noexcept
    {
        reg_t reg = V::Shuffle(pIn[0], masks[0].auIndices);
        ((reg = V::Or(reg, V::Shuffle(pIn[I + 1], masks[I + 1].auIndices))), ...);
        return reg;
    }

    // With an even number of channels, one shuffle handles two channels.

    template <size_t N>
    VANTREL_TARGET static void StorePair(uint8_t *const *ppDest, const reg_t *pIn, size_t p,
                                         size_t i) noexcept
    {
        const reg_t regFirst = Gather<N>(pIn, SPLIT_PAIRS<N>[p]);
        const reg_t regSecond = Gather<N>(pIn + N, SPLIT_PAIRS<N>[p]);
        V::Store(ppDest[2 * p] + i, V::LowHalves(regFirst, regSecond));
        V::Store(ppDest[2 * p + 1] + i, V::HighHalves(regFirst, regSecond));
    }

    template <size_t N, size_t... P>
    VANTREL_TARGET static void StorePairs(uint8_t *const *ppDest, const reg_t *pIn, size_t i,
                                          std::index_sequence<P...>) noexcept
    {
        (StorePair<N>(ppDest, pIn, P, i), ...);
    }

    template <size_t N, size_t... P>
    VANTREL_TARGET static void JoinPairs(uint8_t *pDest, const reg_t *pIn,
                                         std::index_sequence<P...>) noexcept
    {
        const reg_t aFirst[N] = {V::ZipLow(pIn[2 * P], pIn[2 * P + 1])...};
        const reg_t aSecond[N] = {V::ZipHigh(pIn[2 * P], pIn[2 * P + 1])...};
        (V::StoreLanes(pDest + P * LANE, 2 * N * LANE, Gather<N>(aFirst, JOIN_PAIRS<N>[P])), ...);
        (V::StoreLanes(pDest + (N + P) * LANE, 2 * N * LANE, Gather<N>(aSecond, JOIN_PAIRS<N>[P])),
         ...);
    }

    template <size_t N, bool bReverse, size_t... I>
    VANTREL_TARGET static size_t SplitSteps(uint8_t *const *ppDest, const uint8_t *pSrc,
                                            size_t sizeFrames, std::index_sequence<I...>) noexcept
    {
        // Local copies: uint8_t stores may alias ppDest and would force it to be reloaded.
        uint8_t *const apDest[N] = {ppDest[I]...};
        size_t i = 0;
        for (; sizeFrames - i >= STEP; i += STEP, pSrc += N * STEP) {
            reg_t aIn[N] = {V::LoadLanes(pSrc + I * LANE, N * LANE)...};
            if constexpr (bReverse) {
                ((aIn[I] = V::Reverse(aIn[I])), ...);
            }
            if constexpr (N % 2 == 0) {
                StorePairs<N / 2>(apDest, aIn, i, std::make_index_sequence<N / 2>());
            } else {
                (V::Store(apDest[I] + i, Gather<N>(aIn, SPLIT<N>[I])), ...);
            }
        }
        return i;
    }

    template <size_t N>
    VANTREL_TARGET static void Split(uint8_t *const *ppDest, const uint8_t *pSrc, size_t sizeFrames,
                                     bool bReverse) noexcept
    {
        constexpr auto SEQUENCE = std::make_index_sequence<N>();
        const size_t sizeDone = bReverse ? SplitSteps<N, true>(ppDest, pSrc, sizeFrames, SEQUENCE)
                                         : SplitSteps<N, false>(ppDest, pSrc, sizeFrames, SEQUENCE);
        if (sizeDone != sizeFrames) {
            uint8_t *apRest[N];
            for (size_t c = 0; c < N; ++c) {
                apRest[c] = ppDest[c] + sizeDone;
            }
            Kernels::SCALAR.fnDeinterleave(apRest, pSrc + sizeDone * N, sizeFrames - sizeDone, N,
                                           bReverse);
        }
    }

    template <size_t N, bool bReverse, size_t... I>
    VANTREL_TARGET static size_t JoinSteps(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock,
                                           std::index_sequence<I...>) noexcept
    {
        size_t i = 0;
        for (; sizeBlock - i >= STEP; i += STEP, pDest += N * STEP) {
            reg_t aIn[N] = {V::Load(pSrc + I * sizeBlock + i)...};
            if constexpr (bReverse) {
                ((aIn[I] = V::Reverse(aIn[I])), ...);
            }
            if constexpr (N % 2 == 0) {
                JoinPairs<N / 2>(pDest, aIn, std::make_index_sequence<N / 2>());
            } else {
                (V::StoreLanes(pDest + I * LANE, N * LANE, Gather<N>(aIn, JOIN<N>[I])), ...);
            }
        }
        return i;
    }

    template <size_t N>
    VANTREL_TARGET static void Join(uint8_t *pDest, const uint8_t *pSrc, size_t sizeBlock,
                                    bool bReverse) noexcept
    {
        constexpr auto SEQUENCE = std::make_index_sequence<N>();
        size_t i = bReverse ? JoinSteps<N, true>(pDest, pSrc, sizeBlock, SEQUENCE)
                            : JoinSteps<N, false>(pDest, pSrc, sizeBlock, SEQUENCE);
        for (; i < sizeBlock; ++i) {
            for (size_t c = 0; c < N; ++c) {
                Copy(pDest + i * N + c, pSrc + c * sizeBlock + i, 1, bReverse);
            }
        }
    }
};

} // namespace
