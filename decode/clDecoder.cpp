#include "decode/clDecoder.h"

#include "kernels/Kernels.h"

#include <algorithm>
#include <cstring>

namespace
{

using Signal::BYTES_PER_DECODED;
using Signal::SAMPLES_PER_BYTE;
using source_t = clDecoder::source_t;

// Each stretch costs MEMORY bytes of warm-up, so stretches start long (but never wait for many
// bytes) and shrink towards the end of a part, so that jobs finish together.
constexpr uint64_t MIN_STRETCH = 4 * clDecimator::CHUNK;
constexpr uint64_t MAX_STRETCH = 16 * clDecimator::CHUNK;
constexpr uint64_t SHARE_OF_REST = 4;

// The flag in uSupply that more bytes may come.
constexpr uint64_t MORE = uint64_t{1} << 63;

constexpr uint64_t DivideUp(uint64_t uDividend, uint64_t uDivisor)
{
    return (uDividend + uDivisor - 1) / uDivisor;
}

// Copies bytes of each channel, from byte uFrom of the channel on, with the earliest sample in the
// highest bit.
void GatherChannels(uint8_t *const *ppDest, size_t sizeBytes, const source_t &source,
                    uint64_t uFrom, uint32_t uChannels) noexcept
{
    if (source.uRun == 1) {
        Kernels::Deinterleave(ppDest, source.cpBytes + uFrom * uChannels, sizeBytes, uChannels,
                              source.bLsbFirst);
        return;
    }
    for (size_t i = 0; i < sizeBytes;) {
        const uint64_t uGroup = (uFrom + i) / source.uRun;
        const uint64_t uInRun = (uFrom + i) % source.uRun;
        const size_t sizePart =
            static_cast<size_t>(std::min<uint64_t>(sizeBytes - i, source.uRun - uInRun));
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            const uint8_t *cpPart =
                source.cpBytes + (uGroup * uChannels + uChIdx) * source.uRun + uInRun;
            if (source.bLsbFirst) {
                Kernels::ReverseBits(ppDest[uChIdx] + i, cpPart, sizePart);
            } else {
                std::memcpy(ppDest[uChIdx] + i, cpPart, sizePart);
            }
        }
        i += sizePart;
    }
}

} // namespace

clDecoder::clDecoder(uint32_t uChannelCount, uint32_t uJobCount, void *const *ppWork,
                     const DecimatorKernels::set_t &kernels)
    : uChannels(uChannelCount),
      uMaxJobs(uJobCount)
{
    static_assert(MIN_STRETCH >= clDecimator::MEMORY);
    clDecimatorDesign::Get(); // allocates memory; a job must not throw
    for (uint32_t uSet = 0; uSet < uMaxJobs; ++uSet) {
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            auto *pWork = static_cast<uint8_t *>(ppWork[uChIdx]) + uSet * clDecimator::WORK_SIZE;
            pWork += -reinterpret_cast<uintptr_t>(pWork) % clDecimator::WORK_ALIGNMENT;
            aDecimators.emplace_back(pWork, kernels);
        }
    }
    Reset();
}

void clDecoder::Reset() noexcept
{
    for (auto &aBytes : aHistory) {
        aBytes.fill(Signal::IDLE);
    }
}

uint32_t clDecoder::StartBatch() noexcept
{
    uPart = std::max(DivideUp(source.uBytes, uMaxJobs * clDecimator::CHUNK) * clDecimator::CHUNK,
                     MIN_STRETCH);
    uJobs = static_cast<uint32_t>(DivideUp(source.uBytes, uPart));
    for (uint32_t uOf = 0; uOf < uJobs; ++uOf) {
        auNextStretch[uOf] = uOf * uPart;
    }
    uSupply = MORE;
    return uJobs;
}

void clDecoder::Supply(uint64_t uBytes) noexcept
{
    uSupply = uBytes | MORE;
    uSupply.notify_all();
}

void clDecoder::EndSupply() noexcept
{
    uSupply &= ~MORE;
    uSupply.notify_all();
}

void clDecoder::RunJob(uint32_t uJob) noexcept
{
    clDecimator *pSet = &aDecimators[size_t{uJob} * uChannels];
    uint64_t uDone = UINT64_MAX;
    for (uint32_t i = 0; i < uJobs; ++i) {
        uint64_t uFrom;
        while (const uint64_t uBytes = TakeStretch((uJob + i) % uJobs, uFrom)) {
            const uint64_t uEnd = WaitForBytes(uFrom + uBytes);
            if (uEnd <= uFrom) {
                break;
            }
            if (bDecimate) {
                Decode(pSet, uFrom, uEnd, uFrom != uDone);
            } else {
                ExpandBits(uFrom, uEnd);
            }
            uDone = uEnd;
        }
    }
}

// Takes the next stretch of a part. Returns its bytes, 0 when none is left.
uint64_t clDecoder::TakeStretch(uint32_t uOf, uint64_t &uFrom) noexcept
{
    const uint64_t uEnd = std::min((uOf + 1) * uPart, source.uBytes);
    uint64_t uBytes;
    uFrom = auNextStretch[uOf];
    do {
        if (uFrom >= uEnd) {
            return 0;
        }
        const uint64_t uChunks = (uEnd - uFrom) / SHARE_OF_REST / clDecimator::CHUNK;
        uBytes = std::clamp(uChunks * clDecimator::CHUNK, MIN_STRETCH, MAX_STRETCH);
        uBytes = std::min(uBytes, uEnd - uFrom);
    } while (!auNextStretch[uOf].compare_exchange_weak(uFrom, uFrom + uBytes));
    return uBytes;
}

uint64_t clDecoder::EndBatch() noexcept
{
    const uint64_t uBytes = uSupply;
    const size_t sizeNew = static_cast<size_t>(std::min<uint64_t>(uBytes, clDecimator::MEMORY));
    std::array<uint8_t *, Signal::MAX_CHANNELS> apNew{};
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        uint8_t *pBytes = aHistory[uChIdx].data();
        std::memmove(pBytes, pBytes + sizeNew, clDecimator::MEMORY - sizeNew);
        apNew[uChIdx] = pBytes + clDecimator::MEMORY - sizeNew;
    }
    GatherChannels(apNew.data(), sizeNew, source, uBytes - sizeNew, uChannels);
    return uBytes;
}

// Blocks until the source holds uBytes bytes or no more come. Returns how many of them it holds.
uint64_t clDecoder::WaitForBytes(uint64_t uBytes) const noexcept
{
    uint64_t uSupplied;
    while (((uSupplied = uSupply) & MORE) != 0 && (uSupplied & ~MORE) < uBytes) {
        uSupply.wait(uSupplied);
    }
    return std::min(uSupplied & ~MORE, uBytes);
}

void clDecoder::Decode(clDecimator *pSet, uint64_t uFrom, uint64_t uEnd,
                       bool bWarmUp) const noexcept
{
    constexpr uint64_t CHUNK = clDecimator::CHUNK;
    // Earlier samples are decoded for the state of the filters alone.
    const uint64_t uFirst = std::max(uFrom / BYTES_PER_DECODED, target.uSkip);
    std::array<uint8_t *, Signal::MAX_CHANNELS> apInput{};
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        apInput[uChIdx] = pSet[uChIdx].GetInput();
    }
    if (bWarmUp) {
        if (uFrom == 0) {
            for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
                std::copy(aHistory[uChIdx].begin(), aHistory[uChIdx].end(), apInput[uChIdx]);
            }
        } else {
            GatherChannels(apInput.data(), clDecimator::MEMORY, source, uFrom - clDecimator::MEMORY,
                           uChannels);
        }
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            pSet[uChIdx].Decode(clDecimator::MEMORY, dGain);
        }
    }
    while (uFrom < uEnd) {
        const size_t sizeBytes = static_cast<size_t>(std::min(CHUNK, uEnd - uFrom));
        const uint64_t uSample = uFrom / BYTES_PER_DECODED;
        GatherChannels(apInput.data(), sizeBytes, source, uFrom, uChannels);
        // Channel by channel, so that each frame is written while it is in the cache.
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            if (target.auPlaces[uChIdx] == NO_PLACE) {
                continue;
            }
            const double *pSamples = pSet[uChIdx].Decode(sizeBytes, dGain);
            double *pPlace = target.pFrames + target.auPlaces[uChIdx];
            for (uint64_t i = std::max(uFirst, uSample);
                 i < uSample + sizeBytes / BYTES_PER_DECODED; ++i) {
                pPlace[(i - target.uSkip) * target.uPlaces] = pSamples[i - uSample];
            }
        }
        uFrom += sizeBytes;
    }
}

void clDecoder::ExpandBits(uint64_t uFrom, uint64_t uEnd) const noexcept
{
    const double dOne = dGain * clDecimatorDesign::FULL_SCALE;
    std::array<std::array<uint8_t, clDecimator::CHUNK>, Signal::MAX_CHANNELS> aBytes;
    std::array<uint8_t *, Signal::MAX_CHANNELS> apBytes{};
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        apBytes[uChIdx] = aBytes[uChIdx].data();
    }
    while (uFrom < uEnd) {
        const uint64_t uCount = std::min<uint64_t>(clDecimator::CHUNK, uEnd - uFrom);
        GatherChannels(apBytes.data(), static_cast<size_t>(uCount), source, uFrom, uChannels);
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            if (target.auPlaces[uChIdx] == NO_PLACE) {
                continue;
            }
            double *pTo = target.pFrames + uFrom * SAMPLES_PER_BYTE * target.uPlaces +
                          target.auPlaces[uChIdx];
            for (uint64_t i = 0; i < uCount * SAMPLES_PER_BYTE; ++i) {
                pTo[i * target.uPlaces] = (aBytes[uChIdx][i / SAMPLES_PER_BYTE] >>
                                               (SAMPLES_PER_BYTE - 1 - i % SAMPLES_PER_BYTE) &
                                           1) != 0
                                              ? dOne
                                              : -dOne;
            }
        }
        uFrom += uCount;
    }
}
