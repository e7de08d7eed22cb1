#include "dsd/clDecoder.h"

#include "dsd/Kernels.h"

#include <algorithm>
#include <cstring>

namespace
{

using source_t = clDecoder::source_t;

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

clDecoder::clDecoder(uint32_t uChannels, uint32_t uJobCount, void *const *ppWork,
                     const decimator_kernels_t &kernels)
    : uJobs(uJobCount)
{
    clDecimatorDesign::Get(); // computed here, where it may run out of memory, not in a job
    for (uint32_t i = 0; i < uChannels; ++i) {
        aDecimators.emplace_back(ppWork[i], kernels);
    }
    Reset();
}

void clDecoder::Reset() noexcept
{
    for (clDecimator &decimator : aDecimators) {
        decimator.Reset(IDLE);
    }
}

void clDecoder::Run(uint32_t uJob, double *pDest) noexcept
{
    // All channels of the job in turn, so that each frame is written while it is in the cache.
    for (uint64_t uFrom = 0; uFrom < source.uBytes; uFrom += clDecimator::CHUNK) {
        const size_t sizeBytes =
            static_cast<size_t>(std::min<uint64_t>(clDecimator::CHUNK, source.uBytes - uFrom));
        for (uint32_t uChIdx = uJob; uChIdx < aDecimators.size(); uChIdx += uJobs) {
            Gather(aDecimators[uChIdx].GetInput(), sizeBytes, source, uFrom, uChIdx,
                   aDecimators.size());
            if (bDecimate) {
                Decimate(uChIdx, uFrom, sizeBytes, pDest);
            } else {
                Unfold(uChIdx, uFrom, sizeBytes, pDest);
            }
        }
    }
}

// A channel without a place is decoded all the same: the next read may have one for it.
void clDecoder::Decimate(uint32_t uChIdx, uint64_t uFrom, size_t sizeBytes, double *pDest) noexcept
{
    const double *pSamples = aDecimators[uChIdx].Decode(sizeBytes, dGain);
    const uint64_t uFirst = uFrom / 2;
    const uint64_t uEnd = uFirst + sizeBytes / 2;
    if (target.auPlaces[uChIdx] == NO_PLACE || uEnd <= target.uSkip) {
        return;
    }
    const uint64_t uStart = std::max(uFirst, target.uSkip);
    double *pTo = pDest + (uStart - target.uSkip) * target.uPlaces + target.auPlaces[uChIdx];
    for (uint64_t i = 0; i < uEnd - uStart; ++i) {
        pTo[i * target.uPlaces] = pSamples[uStart - uFirst + i];
    }
}

void clDecoder::Unfold(uint32_t uChIdx, uint64_t uFrom, size_t sizeBytes, double *pDest) noexcept
{
    if (target.auPlaces[uChIdx] == NO_PLACE) {
        return;
    }
    const uint8_t *cpBytes = aDecimators[uChIdx].GetInput();
    const double dOne = dGain * clDecimatorDesign::FULL_SCALE;
    double *pTo = pDest + uFrom * 8 * target.uPlaces + target.auPlaces[uChIdx];
    for (size_t i = 0; i < sizeBytes * 8; ++i) {
        pTo[i * target.uPlaces] = (cpBytes[i / 8] >> (7 - i % 8) & 1) != 0 ? dOne : -dOne;
    }
}
