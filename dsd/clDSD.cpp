#include "dsd/clDSD.h"

#include "base/clException.h"
#include "decode/clDecodeSession.h"
#include "io/clStreamReader.h"
#include "kernels/Kernels.h"

#include <numeric>
#include <utility>

namespace
{

template <class T>
void CopyChannels(T *pDest, const T *pSrc, uint64_t uFrames, const uint32_t *upTable,
                  uint32_t uDestChannels, uint32_t uSrcChannels)
{
    for (uint32_t uChIdx = 0; uFrames != 0 && uChIdx < uSrcChannels; ++uChIdx) {
        T *pTo = pDest + upTable[uChIdx];
        const T *pFrom = pSrc + uChIdx;
        for (uint64_t i = 0; i < uFrames; ++i) {
            pTo[i * uDestChannels] = pFrom[i * uSrcChannels];
        }
    }
}

} // namespace

clDSD::clDSD()
{
    std::iota(aBitReverse.begin(), aBitReverse.end(), uint8_t{0});
    BuildBitReverse(aBitReverse.data(), aBitReverse.size());
}

clDSD::~clDSD() noexcept(false) = default;

void clDSD::ThreadPoolJob(long lThreadIdx, void *)
{
    if (pSession) {
        pSession->RunJob(lThreadIdx);
    }
}

void clDSD::ConfigureHook(uint64_t uLargestRead, uint32_t uWorkers, bool bDoubleAmplitude,
                          bool bWithoutDelay, bool bScalarKernels)
{
    EndDecoding();
    const uint32_t uChannels = GetChannels();
    if (uChannels == 0 || uChannels > Signal::MAX_CHANNELS) {
        return;
    }
    try {
        clDecodeSession::setup_t setup;
        setup.uChannels = uChannels;
        setup.uWorkers = uWorkers;
        setup.uLargestRead = uLargestRead;
        setup.bWithoutDelay = bWithoutDelay;
        setup.bScalarKernels = bScalarKernels;
        setup.bDecimate = bDecimate;
        clThreadPool &pool = *this;
        pSession = std::make_unique<clDecodeSession>(pool, aWork, setup);
        bDoubledByOpen = bDoubleAmplitude;
    } catch (...) {
        EndDecoding();
        throw;
    }
}

void clDSD::CloseHook()
{
    EndDecoding();
}

void clDSD::ReservedHook() {}

bool clDSD::IsCompressed() const
{
    return false;
}

const clID3tag *clDSD::GetTag() const
{
    return nullptr;
}

uint32_t clDSD::GetDelay() const noexcept
{
    const bool bWithoutDelay = pSession && pSession->IsWithoutDelay();
    return bDecimate && !bWithoutDelay ? clDecodeSession::DELAY : 0;
}

uint64_t clDSD::Flush(double *pBuffer, uint64_t uSize)
{
    if (!pSession) {
        throw clXDSD("clDSD::Flush(): not opened for decoding");
    }
    ApplySettings();
    return pSession->Flush(pBuffer, uSize);
}

void clDSD::ReplaceStream(clStreamReader *pStreamReader)
{
    std::unique_ptr<clStreamReader> pNew(pStreamReader);
    Close();
    if (!pNew) {
        throw clXDSD("no stream");
    }
    pStream = std::move(pNew);
}

void clDSD::CloseStream()
{
    const std::unique_ptr<clStreamReader> pOld = std::move(pStream);
    if (pOld) {
        pOld->Close();
    }
}

bool clDSD::IsDecoding() const
{
    return pSession && pSession->GetChannels() == GetChannels();
}

uint64_t clDSD::Decode(double *pBuffer, uint64_t uFrames, const frame_layout_t &layout,
                       clSignalSource &source)
{
    ApplySettings();
    return pSession->Read(pBuffer, uFrames, layout, source);
}

void clDSD::RestartDecoding() noexcept
{
    if (pSession) {
        ApplySettings();
        pSession->Restart();
    }
}

void clDSD::BuildBitReverse(uint8_t *pArray, size_t sizeArray) noexcept
{
    Kernels::ReverseBits(pArray, pArray, sizeArray);
}

void clDSD::ReverseBits(void *pBuffer, size_t sizeBuffer) const noexcept
{
    ReverseBitsCopy(pBuffer, pBuffer, sizeBuffer);
}

void clDSD::ReverseBitsCopy(void *pDest, const void *pSrc, size_t sizeCount) const noexcept
{
    Kernels::ReverseBits(static_cast<uint8_t *>(pDest), static_cast<const uint8_t *>(pSrc),
                         sizeCount);
}

void clDSD::MapChannels(double *pDest, const double *pSrc, uint64_t uFrames,
                        const uint32_t *upTable, uint32_t uDestChannels,
                        uint32_t uSrcChannels) noexcept
{
    CopyChannels(pDest, pSrc, uFrames, upTable, uDestChannels, uSrcChannels);
}

void clDSD::MapChannels(uint8_t *pDest, const uint8_t *pSrc, uint64_t uFrames,
                        const uint32_t *upTable, uint32_t uDestChannels,
                        uint32_t uSrcChannels) noexcept
{
    CopyChannels(pDest, pSrc, uFrames, upTable, uDestChannels, uSrcChannels);
}

// The settings are members that a subclass may change at any time.
void clDSD::ApplySettings() noexcept
{
    pSession->SetConversion(bDecimate, IsDoubled() ? 2.0 * dGain : dGain);
}

void clDSD::EndDecoding()
{
    if (pSession) {
        pSession->EndWorkers();
    }
    pSession.reset();
    for (clAlignedAlloc &alloc : aWork) {
        alloc.Free();
    }
    bDoubledByOpen = false;
}
