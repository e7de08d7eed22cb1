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
 * and builds its set_t from DecodeAnyRun<V>.
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
    uint64_t uBytes = 0;
    std::memcpy(&uBytes, coder.cpNext, sizeof(uBytes));
    if constexpr (std::endian::native == std::endian::little) {
        uBytes = __builtin_bswap64(uBytes);
    }
    coder.uValue |= uBytes >> coder.uFilled;
    coder.cpNext += (63 - coder.uFilled) / 8;
    coder.uFilled |= 56;
}

/** Goes back to the end of the code from the zeros after it, before it can leave them. */
VANTREL_INLINE void SkipZeros(DSTKernels::coder_t &coder)
{
    if (coder.cpNext <= coder.cpEnd) {
        return;
    }
    coder.uSkipped += static_cast<uint64_t>(coder.cpNext - coder.cpEnd);
    coder.cpNext = coder.cpEnd;
    // What an encoder leaves out are zeros, which lead to a value of 0 and leave it there.
    const uint64_t uMissing = 8 * coder.uSkipped + 64 - DSTKernels::coder_t::SHIFT;
    coder.bCut =
        coder.bCut || (coder.uValue != 0 && uMissing > DSTKernels::MISSING_BITS + coder.uFilled);
}

/** A channel before the decision on its next bit. */
struct state_t {
    /** The bits of the current byte after a 1. */
    uint64_t uBits;
    uint64_t uPrediction;
};

/**
 * Replaces the first of each pair by the second if uValue is not below uLimit. Without a branch:
 * one decision in ten or so would take it the wrong way, which costs more than the decision.
 */
VANTREL_INLINE void Choose(uint64_t uValue, uint64_t uLimit, uint64_t &u1, uint64_t uOther1,
                           uint64_t &u2, uint64_t uOther2, uint64_t &u3, uint64_t uOther3,
                           uint64_t &u4, uint64_t uOther4)
{
#if defined(__x86_64__)
    // Compilers make a branch of the conditional operator; masks take a fifth more time.
    asm("cmpq %[limit], %[value]\n\t"
        "cmovaeq %[other1], %[u1]\n\t"
        "cmovaeq %[other2], %[u2]\n\t"
        "cmovaeq %[other3], %[u3]\n\t"
        "cmovaeq %[other4], %[u4]"
        : [u1] "+&r"(u1), [u2] "+&r"(u2), [u3] "+&r"(u3), [u4] "+&r"(u4)
        : [value] "r"(uValue), [limit] "r"(uLimit), [other1] "r"(uOther1), [other2] "r"(uOther2),
          [other3] "rm"(uOther3), [other4] "rm"(uOther4)
        : "cc");
#else
    const uint64_t uMask = 0 - static_cast<uint64_t>(uValue >= uLimit);
    u1 ^= (u1 ^ uOther1) & uMask;
    u2 ^= (u2 ^ uOther2) & uMask;
    u3 ^= (u3 ^ uOther3) & uMask;
    u4 ^= (u4 ^ uOther4) & uMask;
#endif
}

/** Decides on the next bit. sizeNext: how many bits of the current byte are known after it. */
VANTREL_INLINE void Step(DSTKernels::coder_t &coder, state_t &state,
                         const DSTKernels::channel_t &channel, size_t sizeNext)
{
    using namespace DSTKernels;
    uint64_t uBits = 2 * state.uBits + (state.uPrediction >> PREDICTION_SHIFT);
    const uint64_t uBitsWrong = uBits ^ 1;
    const ptrdiff_t iNextSum = channel.aiSums[sizeNext];
    const uint16_t *pCentre = channel.auPredictions + channel_t::CENTRE;
    uint64_t uPrediction = pCentre[iNextSum + channel.aiNewest[uBits]];
    const uint64_t uPredictionWrong = pCentre[iNextSum + channel.aiNewest[uBitsWrong]];

    const uint64_t uScaled = state.uPrediction << coder_t::SHIFT;
    const uint64_t uWrong = (coder.uInterval >> 60 | (coder.uInterval >> 59 & 1)) * uScaled;
    const uint64_t uRight = coder.uInterval - uWrong;
    uint64_t uInterval = uRight;
    uint64_t uValue = coder.uValue;
    Choose(uValue, uRight, uInterval, uWrong, uValue, uValue - uRight, uPrediction,
           uPredictionWrong, uBits, uBitsWrong);
    const auto iDoublings = std::countl_zero(uInterval);
    coder.uInterval = uInterval << iDoublings;
    coder.uValue = uValue << iDoublings;
    coder.uFilled -= static_cast<uint64_t>(iDoublings);
    state.uBits = uBits;
    state.uPrediction = uPrediction;
}

/** Steps between refills: of the 56 bits that are filled then 12 are the value. */
constexpr size_t STEPS = (56 - 12) / DSTKernels::DECISION_BITS;

/** The decisions of C channels on some samples: I / C is the sample, I % C the channel. */
template <size_t C, size_t... I>
VANTREL_INLINE void StepAll(DSTKernels::coder_t &coder, state_t *pStates,
                            const DSTKernels::run_t &run, size_t sizeNext,
                            std::index_sequence<I...> /*steps*/)
{
    ((I % STEPS == 0 ? Refill(coder) : void(),
      Step(coder, pStates[I % C], run.aChannels[I % C], sizeNext + I / C)),
     ...);
}

/** Adds a byte to the sums for the samples after it. */
template <class V>
VANTREL_INLINE void AddByte(DSTKernels::channel_t &channel, uint8_t uByte)
{
    V::Advance(channel.aiSums, channel.pFilter->aaiRows[uByte % 16],
               channel.pFilter->aaiRows[uByte / 16] + DSTKernels::filter_t::HALF_BYTE);
}

/** Makes the sums for the first samples of the run. */
template <class V>
VANTREL_INLINE void StartChannel(DSTKernels::channel_t &channel, state_t &state)
{
    using namespace DSTKernels;
    std::fill(std::begin(channel.aiSums), std::end(channel.aiSums), int16_t{0});
    for (const uint8_t *cpByte = channel.pBits - HISTORY; cpByte != channel.pBits; ++cpByte) {
        AddByte<V>(channel, *cpByte);
    }
    state.uBits = 1;
    state.uPrediction =
        channel.auPredictions[static_cast<ptrdiff_t>(channel_t::CENTRE) + channel.aiSums[0]];
}

template <class V>
VANTREL_INLINE void EndByte(DSTKernels::channel_t &channel, state_t &state, size_t sizeByte)
{
    const auto uByte = static_cast<uint8_t>(state.uBits);
    state.uBits = 1;
    channel.pBits[sizeByte] = uByte;
    AddByte<V>(channel, uByte);
}

/** All indices of channels are constants, which keeps the states in registers. */
template <class V, size_t... C>
VANTREL_INLINE void DecodeChannels(DSTKernels::run_t &run, std::index_sequence<C...> /*channels*/)
{
    // Without a loop where that is not too much code.
    constexpr size_t SAMPLES = sizeof...(C) <= 2 ? 8 : 1;
    constexpr auto ALL_STEPS = std::make_index_sequence<SAMPLES * sizeof...(C)>();
    state_t aStates[sizeof...(C)];
    (StartChannel<V>(run.aChannels[C], aStates[C]), ...);
    DSTKernels::coder_t coder = run.coder;
    for (size_t sizeByte = 0; sizeByte < run.sizeBytes; ++sizeByte) {
        for (size_t sizeNext = 1; sizeNext <= 8; sizeNext += SAMPLES) {
            StepAll<sizeof...(C)>(coder, aStates, run, sizeNext, ALL_STEPS);
        }
        (EndByte<V>(run.aChannels[C], aStates[C], sizeByte), ...);
        SkipZeros(coder);
    }
    run.coder = coder;
}

template <class V, size_t C>
VANTREL_TARGET void DecodeRun(DSTKernels::run_t &run) noexcept
{
    DecodeChannels<V>(run, std::make_index_sequence<C>());
}

template <class V>
VANTREL_TARGET void DecodeAnyRun(DSTKernels::run_t &run) noexcept
{
    constexpr void (*aDecode[])(DSTKernels::run_t &) noexcept = {DecodeRun<V, 1>, DecodeRun<V, 2>,
                                                                 DecodeRun<V, 3>, DecodeRun<V, 4>,
                                                                 DecodeRun<V, 5>, DecodeRun<V, 6>};
    aDecode[run.uChannels - 1](run);
}

} // namespace
