#pragma once

#include "dst/DSTKernels.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

/**
 * The fast loop over the bits of a frame.
 *
 * The source of a set defines VANTREL_TARGET, the attribute of every function that uses its
 * instructions, and a class V with one function:
 *
 *     Advance(pSums, pNewer, pOlder)  pSums[i] = pSums[i + 8] + pNewer[i] + pOlder[i], i < SUMS
 *
 * and builds its set_t from DecodeRun<V>.
 *
 * What the bits up to the last whole byte add to the next SUMS sums is kept ready, so that within
 * a byte only what its own bits add is looked up. All channels share one decoder, whose decisions
 * depend on each other; all else is arranged not to wait for them: what a channel needs for its
 * next bit is looked up for both results before the decision on the current one, and chosen after
 * it. No branch depends on the data.
 */
#define VANTREL_INLINE VANTREL_TARGET __attribute__((always_inline)) inline

namespace
{

/** Takes as many whole bytes of the code as there is room for; at least 56 bits are filled then. */
VANTREL_INLINE void Refill(DSTKernels::coder_t &coder)
{
    static_assert(std::endian::native == std::endian::little);
    uint64_t uBytes = 0;
    std::memcpy(&uBytes, coder.cpCode + std::min(coder.uNext, coder.uEnd), sizeof(uBytes));
    coder.uValue |= __builtin_bswap64(uBytes) >> coder.uFilled;
    coder.uNext += (63 - coder.uFilled) / 8;
    coder.uFilled |= 56;
}

/** An encoder leaves zeros out, and leads to a value of 0 after its last 1. */
VANTREL_INLINE bool IsCut(const DSTKernels::coder_t &coder)
{
    const uint64_t uUsed = 8 * coder.uNext - coder.uFilled + 64 - DSTKernels::coder_t::SHIFT;
    return uUsed > 8 * coder.uEnd + DSTKernels::MISSING_BITS && coder.uValue != 0;
}

/** A channel before the decision on its next bit. */
struct channel_state_t {
    const int16_t *pNewest;
    const uint8_t *pTable;
    /** The bits of the current byte after a 1. */
    size_t sizeBits;
    /** The sum for the next bit, and the probability that its sign is wrong. */
    ptrdiff_t iSum;
    uint64_t uProbability;
};

/** Decides on the next bit. iNextSum: what older bytes add to the sum for the bit after it. */
VANTREL_INLINE void Step(DSTKernels::coder_t &coder, channel_state_t &state, ptrdiff_t iNextSum)
{
    const size_t sizeRight = 2 * state.sizeBits + (state.iSum >= 0 ? 1 : 0);
    const size_t sizeWrong = sizeRight ^ 1;
    const ptrdiff_t iSumRight = iNextSum + state.pNewest[sizeRight];
    const ptrdiff_t iSumWrong = iNextSum + state.pNewest[sizeWrong];
    const uint64_t uRight = state.pTable[iSumRight];
    const uint64_t uWrong = state.pTable[iSumWrong];

    const uint64_t uScaled = state.uProbability << DSTKernels::coder_t::SHIFT;
    const uint64_t uBad = (coder.uInterval >> 60 | (coder.uInterval >> 59 & 1)) * uScaled;
    const uint64_t uGood = coder.uInterval - uBad;
    const bool bRight = coder.uValue < uGood;
    const uint64_t uRest = coder.uValue - uGood;
    const uint64_t uInterval = bRight ? uGood : uBad;
    const uint64_t uValue = bRight ? coder.uValue : uRest;
    state.sizeBits = bRight ? sizeRight : sizeWrong;
    state.iSum = bRight ? iSumRight : iSumWrong;
    state.uProbability = bRight ? uRight : uWrong;
    const auto iDoublings = std::countl_zero(uInterval);
    coder.uInterval = uInterval << iDoublings;
    coder.uValue = uValue << iDoublings;
    coder.uFilled -= static_cast<uint64_t>(iDoublings);
}

/** The decisions of all channels on one sample. */
template <size_t... I>
VANTREL_INLINE void StepAll(DSTKernels::coder_t &coder, channel_state_t *pStates,
                            const int16_t (*paiSums)[DSTKernels::SUMS + 8], size_t sizeNext,
                            std::index_sequence<I...> /*channels*/)
{
    // A decision takes up to 8 bits, and of the 56 that are filled 12 are the value.
    ((I % 5 == 0 ? Refill(coder) : void(), Step(coder, pStates[I], paiSums[I][sizeNext])), ...);
}

template <class V, size_t C>
VANTREL_TARGET void DecodeChannels(DSTKernels::run_t &run) noexcept
{
    using namespace DSTKernels;
    constexpr size_t HALF_BYTE = filter_t::HALF_BYTE;
    alignas(64) int16_t aaiSums[C][SUMS + 8] = {};
    channel_state_t aStates[C];
    for (size_t c = 0; c < C; ++c) {
        const run_t::channel_t &channel = run.aChannels[c];
        for (const uint8_t *cpByte = channel.pBits - HISTORY; cpByte != channel.pBits; ++cpByte) {
            V::Advance(aaiSums[c], channel.pFilter->aaiRows[*cpByte % 16],
                       channel.pFilter->aaiRows[*cpByte / 16] + HALF_BYTE);
        }
        const ptrdiff_t iSum = aaiSums[c][0];
        aStates[c] = {channel.pFilter->aiNewest, channel.pTable, 1, iSum, channel.pTable[iSum]};
    }
    coder_t coder = run.coder;
    for (size_t sizeByte = 0; sizeByte < run.sizeBytes; ++sizeByte) {
        for (size_t sizeNext = 1; sizeNext <= 8; ++sizeNext) {
            StepAll(coder, aStates, aaiSums, sizeNext, std::make_index_sequence<C>());
        }
        for (size_t c = 0; c < C; ++c) {
            const run_t::channel_t &channel = run.aChannels[c];
            const auto uByte = static_cast<uint8_t>(aStates[c].sizeBits);
            aStates[c].sizeBits = 1;
            channel.pBits[sizeByte] = uByte;
            V::Advance(aaiSums[c], channel.pFilter->aaiRows[uByte % 16],
                       channel.pFilter->aaiRows[uByte / 16] + HALF_BYTE);
        }
        coder.bCut = coder.bCut || IsCut(coder);
    }
    run.coder = coder;
}

template <class V>
VANTREL_TARGET void DecodeRun(DSTKernels::run_t &run) noexcept
{
    constexpr void (*apfnDecode[])(DSTKernels::run_t &) noexcept = {
        DecodeChannels<V, 1>, DecodeChannels<V, 2>, DecodeChannels<V, 3>,
        DecodeChannels<V, 4>, DecodeChannels<V, 5>, DecodeChannels<V, 6>};
    apfnDecode[run.uChannels - 1](run);
}

} // namespace
