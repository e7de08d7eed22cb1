#include "dsd/clDecoder.h"

#include "dsd/Kernels.h"

#include <algorithm>
#include <cstring>

namespace
{

using source_t = clDecoder::source_t;

// Each stretch has to be led up to, and another worker woken: few and long ones, but enough of them
// to even out what one worker is behind.
constexpr uint64_t MIN_STRETCH = 4 * clDecimator::CHUNK;
constexpr uint64_t STRETCHES_PER_PART = 16;

// Rounded up.
constexpr uint64_t Quotient(uint64_t uDividend, uint64_t uDivisor)
{
    return (uDividend + uDivisor - 1) / uDivisor;
}

// Bytes of one channel from byte uFrom on, the earliest sample in the highest bit.
void Gather(uint8_t *pDest, size_t sizeCount, const source_t &source, uint64_t uFrom,
            uint32_t uChIdx, size_t sizeChannels) noexcept
{
    if (source.uRun == 1) {
        const uint8_t *cpBytes = source.cpBytes + uFrom * sizeChannels + uChIdx;
        for (size_t i = 0; i < sizeCount; ++i) {
            pDest[i] = cpBytes[i * sizeChannels];
        }
    } else {
        for (size_t i = 0; i < sizeCount;) {
            const uint64_t uGroup = (uFrom + i) / source.uRun;
            const uint64_t uInRun = (uFrom + i) % source.uRun;
            const size_t sizePart =
                static_cast<size_t>(std::min<uint64_t>(sizeCount - i, source.uRun - uInRun));
            std::memcpy(pDest + i,
                        source.cpBytes + (uGroup * sizeChannels + uChIdx) * source.uRun + uInRun,
                        sizePart);
            i += sizePart;
        }
    }
    if (source.bLsbFirst) {
        Kernels::ReverseBits(pDest, pDest, sizeCount);
    }
}

} // namespace

clDecoder::clDecoder(uint32_t uChannelCount, uint32_t uJobCount, void *const *ppWork,
                     const decimator_kernels_t &kernels)
    : uChannels(uChannelCount),
      uMaxJobs(uJobCount)
{
    static_assert(MIN_STRETCH >= clDecimator::MEMORY);
    clDecimatorDesign::Get(); // computed here, where it may run out of memory, not in a job
    for (uint32_t uSet = 0; uSet < uMaxJobs; ++uSet) {
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            aDecimators.emplace_back(static_cast<uint8_t *>(ppWork[uChIdx]) + GetWorkSize(uSet),
                                     kernels);
        }
    }
    Reset();
}

void clDecoder::Reset() noexcept
{
    for (auto &aBytes : aHistory) {
        aBytes.fill(IDLE);
    }
}

uint32_t clDecoder::Start() noexcept
{
    constexpr uint64_t CHUNK = clDecimator::CHUNK;
    uPart = source.uBytes;
    uStretch = source.uBytes;
    if (uMaxJobs > 1) {
        uStretch = Quotient(source.uBytes, uMaxJobs * STRETCHES_PER_PART * CHUNK) * CHUNK;
        uStretch = std::max(uStretch, MIN_STRETCH);
        uPart = Quotient(Quotient(source.uBytes, uStretch), uMaxJobs) * uStretch;
    }
    uJobs = static_cast<uint32_t>(Quotient(source.uBytes, uPart));
    for (uint32_t uJob = 0; uJob < uJobs; ++uJob) {
        auNext[uJob] = uJob * uPart;
    }
    return uJobs;
}

void clDecoder::Run(uint32_t uJob, double *pDest) noexcept
{
    clDecimator *pSet = &aDecimators[size_t{uJob} * uChannels];
    for (uint32_t i = 0; i < uJobs; ++i) {
        const uint64_t uOf = (uJob + i) % uJobs;
        const uint64_t uEnd = std::min((uOf + 1) * uPart, source.uBytes);
        uint64_t uFrom;
        while ((uFrom = auNext[uOf].fetch_add(uStretch)) < uEnd) {
            const uint64_t uTo = std::min(uFrom + uStretch, uEnd);
            if (bDecimate) {
                Decode(pSet, uFrom, uTo, pDest);
            } else {
                Unfold(uFrom, uTo, pDest);
            }
        }
    }
}

void clDecoder::Finish() noexcept
{
    const size_t sizeNew =
        static_cast<size_t>(std::min<uint64_t>(source.uBytes, clDecimator::MEMORY));
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        uint8_t *pBytes = aHistory[uChIdx].data();
        std::memmove(pBytes, pBytes + sizeNew, clDecimator::MEMORY - sizeNew);
        Gather(pBytes + clDecimator::MEMORY - sizeNew, sizeNew, source, source.uBytes - sizeNew,
               uChIdx, uChannels);
    }
}

void clDecoder::Decode(clDecimator *pSet, uint64_t uFrom, uint64_t uEnd, double *pDest) noexcept
{
    constexpr uint64_t CHUNK = clDecimator::CHUNK;
    // The samples that are wanted; what leads up to them is decoded for the filters alone.
    const uint64_t uFirst = std::max(uFrom / 2, target.uSkip);
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        if (target.auPlaces[uChIdx] == NO_PLACE) {
            continue;
        }
        if (uFrom == 0) {
            std::copy(aHistory[uChIdx].begin(), aHistory[uChIdx].end(), pSet[uChIdx].GetInput());
        } else {
            Gather(pSet[uChIdx].GetInput(), clDecimator::MEMORY, source,
                   uFrom - clDecimator::MEMORY, uChIdx, uChannels);
        }
        pSet[uChIdx].Decode(clDecimator::MEMORY, dGain);
    }
    while (uFrom < uEnd) {
        const size_t sizeBytes = static_cast<size_t>(std::min(CHUNK, uEnd - uFrom));
        const uint64_t uSample = uFrom / 2;
        // All channels in turn, so that each frame is written while it is in the cache.
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            if (target.auPlaces[uChIdx] == NO_PLACE) {
                continue;
            }
            Gather(pSet[uChIdx].GetInput(), sizeBytes, source, uFrom, uChIdx, uChannels);
            const double *pSamples = pSet[uChIdx].Decode(sizeBytes, dGain);
            for (uint64_t i = std::max(uFirst, uSample); i < uSample + sizeBytes / 2; ++i) {
                pDest[(i - target.uSkip) * target.uPlaces + target.auPlaces[uChIdx]] =
                    pSamples[i - uSample];
            }
        }
        uFrom += sizeBytes;
    }
}

void clDecoder::Unfold(uint64_t uFrom, uint64_t uEnd, double *pDest) const noexcept
{
    const double dOne = dGain * clDecimatorDesign::FULL_SCALE;
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        if (target.auPlaces[uChIdx] == NO_PLACE) {
            continue;
        }
        uint8_t aBytes[clDecimator::CHUNK];
        for (uint64_t uByte = uFrom; uByte < uEnd; uByte += sizeof(aBytes)) {
            const uint64_t uCount = std::min<uint64_t>(sizeof(aBytes), uEnd - uByte);
            Gather(aBytes, static_cast<size_t>(uCount), source, uByte, uChIdx, uChannels);
            double *pTo = pDest + uByte * 8 * target.uPlaces + target.auPlaces[uChIdx];
            for (uint64_t i = 0; i < uCount * 8; ++i) {
                pTo[i * target.uPlaces] = (aBytes[i / 8] >> (7 - i % 8) & 1) != 0 ? dOne : -dOne;
            }
        }
    }
}
