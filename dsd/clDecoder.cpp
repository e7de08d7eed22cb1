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
    for (uint32_t uChIdx = uJob; uChIdx < aDecimators.size(); uChIdx += uJobs) {
        if (bDecimate) {
            Decimate(uChIdx, pDest);
        } else {
            Unfold(uChIdx, pDest);
        }
    }
}

// A channel without a place is decoded all the same: the next read may have one for it.
void clDecoder::Decimate(uint32_t uChIdx, double *pDest) noexcept
{
    clDecimator &decimator = aDecimators[uChIdx];
    const uint32_t uPlace = target.auPlaces[uChIdx];
    uint64_t uSkip = target.uSkip;
    uint64_t uFrame = 0;
    for (uint64_t uFrom = 0; uFrom < source.uBytes;) {
        const size_t sizeBytes =
            static_cast<size_t>(std::min<uint64_t>(clDecimator::CHUNK, source.uBytes - uFrom));
        Gather(decimator.GetInput(), sizeBytes, source, uFrom, uChIdx, aDecimators.size());
        uFrom += sizeBytes;
        const double *pSamples = decimator.Decode(sizeBytes, dGain);
        const size_t sizeSkip = static_cast<size_t>(std::min<uint64_t>(uSkip, sizeBytes / 2));
        uSkip -= sizeSkip;
        for (size_t i = sizeSkip; uPlace != NO_PLACE && i < sizeBytes / 2; ++i) {
            pDest[uFrame++ * target.uPlaces + uPlace] = pSamples[i];
        }
    }
}

void clDecoder::Unfold(uint32_t uChIdx, double *pDest) const noexcept
{
    const uint32_t uPlace = target.auPlaces[uChIdx];
    const double dOne = dGain * clDecimatorDesign::FULL_SCALE;
    uint64_t uFrame = 0;
    for (uint64_t uFrom = 0; uPlace != NO_PLACE && uFrom < source.uBytes; ++uFrom) {
        uint8_t uByte = 0;
        Gather(&uByte, 1, source, uFrom, uChIdx, aDecimators.size());
        for (int iBit = 7; iBit >= 0; --iBit) {
            pDest[uFrame++ * target.uPlaces + uPlace] = (uByte >> iBit & 1) != 0 ? dOne : -dOne;
        }
    }
}
