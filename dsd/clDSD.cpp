#include "dsd/clDSD.h"

#include "decode/clDecoder.h"
#include "kernels/Kernels.h"

#include <numeric>

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

void clDSD::ReservedHook() {}

bool clDSD::IsCompressed() const
{
    return false;
}

const clID3tag *clDSD::GetTag() const
{
    return nullptr;
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
