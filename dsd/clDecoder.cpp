#include "dsd/clDecoder.h"

#include "dsd/Kernels.h"

#include <algorithm>
#include <cstring>

namespace
{

using source_t = clDecoder::source_t;

// Each stretch has to be led up to, and another worker woken: few and long ones, but enough of them
// to even out what one worker is behind.
constexpr uint64_t MIN_SHARE = 4 * clDecimator::CHUNK;
constexpr uint64_t SHARES_PER_JOB = 8;

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

clDecoder::clDecoder(uint32_t uChannelCount, uint32_t uJobs, void *const *ppWork,
                     const decimator_kernels_t &kernels)
    : uChannels(uChannelCount),
      uMaxJobs(uJobs)
{
    static_assert(MIN_SHARE >= clDecimator::MEMORY);
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
    uNext = 0;
    if (uMaxJobs == 1) {
        uShare = source.uBytes;
        return 1;
    }
    const uint64_t uChunks = source.uBytes / (SHARES_PER_JOB * uMaxJobs * clDecimator::CHUNK) + 1;
    uShare = std::max(uChunks * clDecimator::CHUNK, MIN_SHARE);
    return static_cast<uint32_t>(
        std::clamp<uint64_t>((source.uBytes + uShare - 1) / uShare, 1, uMaxJobs));
}

void clDecoder::Run(uint32_t uJob, double *pDest) noexcept
{
    clDecimator *pSet = &aDecimators[size_t{uJob} * uChannels];
    uint64_t uFrom;
    while ((uFrom = uNext.fetch_add(uShare)) < source.uBytes) {
        const uint64_t uEnd = std::min(uFrom + uShare, source.uBytes);
        if (bDecimate) {
            Decode(pSet, uFrom, uEnd, pDest);
        } else {
            Unfold(uFrom, uEnd, pDest);
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
