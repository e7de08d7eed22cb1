#include "dsd/clDSF.h"

#include "base/clException.h"
#include "decode/clDecodeSession.h"
#include "dsd/ChannelPlaces.h"
#include "io/clStreamReader.h"
#include "kernels/Kernels.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace
{

constexpr const char *NO_BLOCK_MULTIPLE = "clDSF::Read(): read size must be multiple of blocksize";
constexpr const char *TOO_MANY_CHANNELS = "clDSF::ConvertData(): channels must be <= 6";

bool IsMultiple(uint64_t uSize, uint64_t uUnit)
{
    return uUnit != 0 && uSize % uUnit == 0;
}

} // namespace

uint64_t clDSF::WriteRaw(const void *pSrc, uint64_t uSize)
{
    CheckWriting("clDSF::WriteRaw(): not open for writing");
    if (!IsMultiple(uSize, GetGroupSize())) {
        throw clXDSF("clDSF::WriteRaw(): write size must be multiple of blocksize");
    }
    uint8_t *pGroups = GetWriteBuffer(uSize);
    ReverseBitsCopy(pGroups, pSrc, static_cast<size_t>(uSize));
    return WriteGroups(pGroups, uSize);
}

uint64_t clDSF::WriteFrames(const void *pSrc, uint64_t uFrames, const uint32_t *upPlaces)
{
    CheckWriting("clDSF::WriteFrames(): not open for writing");
    const uint64_t uGroupSize = GetGroupSize();
    const uint32_t uChannels = GetChannels();
    const uint64_t uBlockSize = GetBlockSize();
    if (uChannels > Signal::MAX_CHANNELS) {
        throw clXDSF("clDSF::WriteFrames(): channels must be <= 6");
    }
    if (uGroupSize == 0 || uFrames > INT64_MAX / uChannels - uBlockSize) {
        throw clXDSF("clDSF::WriteFrames(): write size out of range");
    }
    const uint64_t uSize = (uFrames + uBlockSize - 1) / uBlockSize * uGroupSize;
    uint8_t *const pGroups = GetWriteBuffer(uSize);
    uint8_t *pGroup = pGroups;
    const uint8_t *cpFrames = static_cast<const uint8_t *>(pSrc);
    for (uint64_t uLeft = uFrames; uLeft != 0; pGroup += uGroupSize) {
        const uint64_t uNow = std::min(uLeft, uBlockSize);
        if (uNow < uBlockSize) {
            std::fill_n(pGroup, uGroupSize, uint8_t{0});
        }
        uint8_t *apBlocks[Signal::MAX_CHANNELS] = {};
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            apBlocks[uChIdx] = pGroup + upPlaces[uChIdx] * uBlockSize;
        }
        Kernels::Deinterleave(apBlocks, cpFrames, static_cast<size_t>(uNow), uChannels, true);
        cpFrames += uNow * uChannels;
        uLeft -= uNow;
    }
    return WriteGroups(pGroups, uSize);
}

// A write buffer whose offset within a page equals the file offset's: `rep movs` in the kernel is
// four times slower when the two differ by 1..31 bytes.
uint8_t *clDSF::GetWriteBuffer(uint64_t uSize)
{
    constexpr uint64_t PAGE = 4096;

    // A size that overflows with the page added is passed on without it, for SetSize to refuse.
    const uint64_t uRoom = uSize <= INT64_MAX - PAGE ? uSize + PAGE : uSize;
    auto *const pRoom = static_cast<uint8_t *>(allocRaw.SetSize(static_cast<int64_t>(uRoom)));
    return pRoom + (uDataStart + uDataPos - reinterpret_cast<uintptr_t>(pRoom)) % PAGE;
}

uint64_t clDSF::WriteGroups(const uint8_t *pGroups, uint64_t uSize)
{
    fileOutput.Write(pGroups, static_cast<size_t>(uSize));
    uDataPos += uSize;
    return uSize;
}

uint64_t clDSF::ReadRaw(void *pBuffer, uint64_t uSize)
{
    CheckReading("clDSF::ReadRaw(): not open for reading");
    if (!IsMultiple(uSize, GetGroupSize())) {
        throw clXDSF("clDSF::ReadRaw(): read size must be multiple of blocksize");
    }
    if (uSize == 0) {
        return 0;
    }
    uint8_t *pRaw = static_cast<uint8_t *>(allocRaw.SetSize(static_cast<int64_t>(uSize)));
    const uint64_t uBefore = uDataPos;
    const uint64_t uWanted = std::min(uSize, GetDataCapacity() - uBefore);
    if (uWanted == 0) {
        return 0;
    }
    const ssize_t lRead = pStream->Read(pRaw, static_cast<size_t>(uWanted));
    if (lRead < 0) {
        throw clXDSF("clDSF::ReadRaw(): stream failed");
    }
    const uint64_t uRead = static_cast<uint64_t>(lRead);
    uDataPos += uRead;
    Rearrange(pBuffer, pRaw, uRead, !bMsbFirst);

    if (uDataPos <= GetDataSize()) {
        return uRead;
    }
    // This read reached the padding of the last group; only the bytes before it are sound.
    const uint64_t uSound = GetDataSize() - uBefore;
    if (uBefore > GetDataSize() || uSound > uWanted) {
        throw std::runtime_error("clDSF::ReadRaw(): sizeRead > sizeReq");
    }
    return uSound;
}

uint64_t clDSF::ReadRaw_5_1(void *pBuffer, uint64_t uSize)
{
    constexpr const char *UNKNOWN_LAYOUT = "clDSF::ReadRaw_5_1(): unknown channel layout";

    CheckReading("clDSF::ReadRaw_5_1(): not open for reading");
    const uint32_t uChannels = GetChannels();
    // A hostile count of channels must not size a buffer.
    if (uChannels > Signal::MAX_CHANNELS) {
        throw clXDSF(UNKNOWN_LAYOUT);
    }
    const uint64_t uFrames = uSize / Signal::MAX_CHANNELS;
    const uint64_t uWanted = uFrames * uChannels;
    uint8_t *pRaw = static_cast<uint8_t *>(allocRaw51.SetSize(static_cast<int64_t>(uWanted)));
    const uint64_t uRead = ReadRaw(pRaw, uWanted);

    uint8_t *pDest = static_cast<uint8_t *>(pBuffer);
    const uint32_t *upSpeakers = ChannelPlaces::GetSpeakersOfType(GetChannelType(), uChannels);
    if (upSpeakers == nullptr) {
        std::fill_n(pDest, uSize, Signal::IDLE);
        throw clXDSF(UNKNOWN_LAYOUT);
    }
    const uint64_t uReadFrames = uRead / uChannels;
    Kernels::PlaceChannels(pDest, pRaw, uReadFrames, upSpeakers, Signal::MAX_CHANNELS, uChannels,
                           Signal::IDLE);
    std::fill(pDest + uReadFrames * Signal::MAX_CHANNELS, pDest + uSize, Signal::IDLE);
    return uReadFrames * Signal::MAX_CHANNELS;
}

uint64_t clDSF::Read(double *pBuffer, uint64_t uSize)
{
    constexpr uint32_t aInOrder[] = {0, 1, 2, 3, 4, 5};

    const uint32_t uChannels = GetChannels();
    CheckReading("clDSF::Read(): not open for reading");
    if (uChannels == 0 || uSize % uChannels != 0) {
        throw clXDSF(NO_BLOCK_MULTIPLE);
    }
    const frame_layout_t layout = {aInOrder, uChannels, false};
    return DecodeFrames(pBuffer, uSize / uChannels, layout,
                        "clDSF::Read(): not opened for decoding") *
           uChannels;
}

uint64_t clDSF::Read_5_1(double *pBuffer, uint64_t uSize)
{
    CheckReading("clDSF::Read_5_1(): not open for reading");
    const uint32_t *upSpeakers = ChannelPlaces::GetSpeakersOfType(GetChannelType(), GetChannels());
    if (upSpeakers == nullptr) {
        throw clXDSF("clDSF::Read_5_1(): unknown channel layout");
    }
    // Places without a channel keep the content of the buffer: callers rely on it.
    const frame_layout_t layout = {upSpeakers, Signal::MAX_CHANNELS, false};
    return DecodeFrames(pBuffer, uSize / Signal::MAX_CHANNELS, layout,
                        "clDSF::Read_5_1(): not opened for decoding") *
           Signal::MAX_CHANNELS;
}

uint64_t clDSF::SeekSample(uint64_t uSamples)
{
    constexpr const char *PAST_END = "clDSF::SeekSample(): newpos > length";

    CheckReading("clDSF::SeekSample(): not open for reading");
    if (!IsMultiple(uSamples, uint64_t{GetBlockSamples()} * GetChannels())) {
        throw clXDSF("clDSF::SeekSample(): size must be multiple of blocksize");
    }
    if (uSamples > std::numeric_limits<uint64_t>::max() / GetDivisor()) {
        throw clXDSF(PAST_END);
    }
    SeekBytes(uSamples * GetDivisor() / 8, PAST_END);
    return uSamplePos;
}

uint64_t clDSF::SeekFrame(uint64_t uFrame)
{
    constexpr const char *PAST_END = "clDSF::SeekFrame(): newpos > length";

    CheckReading("clDSF::SeekFrame(): not open for reading");
    // A product that overflows is past the end of every file.
    const uint64_t uFactor = uint64_t{GetChannels()} * GetDivisor();
    if (uFactor != 0 && uFrame > std::numeric_limits<uint64_t>::max() / uFactor) {
        throw clXDSF(PAST_END);
    }
    const uint64_t uTotal = uFrame * uFactor;
    if (!IsMultiple(uTotal, uint64_t{GetBlockSamples()} * GetChannels())) {
        throw clXDSF("clDSF::SeekFrame(): size must be multiple of blocksize");
    }
    SeekBytes(uTotal / 8, PAST_END);
    return uDataPos / GetChannels();
}

void clDSF::RearrangeData(void *pDest, const void *pSrc, uint64_t uSize) const
{
    Rearrange(pDest, pSrc, uSize, false);
}

void clDSF::Rearrange(void *pDest, const void *pSrc, uint64_t uSize, bool bReverse) const
{
    const uint64_t uGroupSize = GetGroupSize();
    if (!IsMultiple(uSize, uGroupSize)) {
        throw clXDSF("clDSF::RearrangeData(): size must be blocksize * channels");
    }
    for (uint64_t uBase = 0; uBase < uSize; uBase += uGroupSize) {
        Kernels::Interleave(static_cast<uint8_t *>(pDest) + uBase,
                            static_cast<const uint8_t *>(pSrc) + uBase, GetBlockSize(),
                            GetChannels(), bReverse);
    }
}

void clDSF::ConvertData(double *const *ppDest, const void *pSrc, uint64_t uSize) const
{
    const uint32_t uChannels = GetChannels();
    if (uChannels > Signal::MAX_CHANNELS) {
        throw clXDSF(TOO_MANY_CHANNELS);
    }
    if (uChannels == 0 || !IsMultiple(uSize, GetBlockSize())) {
        throw clXDSF("clDSF::ConvertData(): size must be multiple of blocksize");
    }
    const double dOne = IsDoubled() ? 2.0 : 1.0;
    const uint32_t uBlockSize = GetBlockSize();
    const uint8_t *cpByte = static_cast<const uint8_t *>(pSrc);
    uint64_t uDone = 0; // samples in the destination of every channel before this group
    for (uint64_t uBlock = 0; uBlock < uSize / uBlockSize; ++uBlock) {
        const uint32_t uChIdx = static_cast<uint32_t>(uBlock % uChannels);
        double *pDest = ppDest[uChIdx] + uDone;
        for (uint32_t i = 0; i < uBlockSize; ++i, ++cpByte) {
            for (int iBit = 0; iBit < 8; ++iBit) {
                const int iShift = bMsbFirst ? 7 - iBit : iBit;
                *pDest++ = (*cpByte >> iShift & 1) != 0 ? dOne : -dOne;
            }
        }
        if (uChIdx == uChannels - 1) {
            uDone += uint64_t{uBlockSize} * 8;
        }
    }
}

uint64_t clDSF::DecodeFrames(double *pBuffer, uint64_t uFrames, const frame_layout_t &layout,
                             const char *cpNotOpened)
{
    // A block of an odd number of bytes ends inside a decoded sample; whole blocks of bytes are
    // needed too.
    if (!IsMultiple(uFrames, GetBlockSamples()) ||
        !IsMultiple(uFrames * GetDivisor(), uint64_t{GetBlockSize()} * 8)) {
        throw clXDSF(NO_BLOCK_MULTIPLE);
    }
    if (GetChannels() > Signal::MAX_CHANNELS) {
        throw clXDSF(TOO_MANY_CHANNELS);
    }
    if (!IsDecoding()) {
        throw clXDSF(cpNotOpened);
    }
    return Decode(pBuffer, uFrames, layout, *this);
}

clSignalSource::next_t clDSF::GetNext() const
{
    const uint32_t uChannels = GetChannels();
    next_t next;
    next.uPosition = uDataPos;
    next.uLeft = (GetDataCapacity() - uDataPos) / uChannels;
    // The last group may be incomplete.
    if ((GetDataCapacity() - uDataPos) % uChannels != 0) {
        ++next.uLeft;
    }
    next.uRun = GetBlockSize();
    next.bLsbFirst = !bMsbFirst;
    return next;
}

uint64_t clDSF::Fetch(uint8_t *pDest, uint64_t uBytes)
{
    const uint64_t uBlockSize = GetBlockSize();
    const uint64_t uWanted = std::min(uBytes * GetChannels(), GetDataCapacity() - uDataPos);
    const uint64_t uRead = pStream->ReadFully(pDest, static_cast<size_t>(uWanted));
    uDataPos += uRead;

    // In a group cut off by the end of the stream, only as many bytes per channel count as the last
    // channel has.
    const uint64_t uGroupSize = GetGroupSize();
    const uint64_t uBeforeLast = uGroupSize - uBlockSize;
    const uint64_t uRest = uRead % uGroupSize;
    uint64_t uSamples =
        (uRead / uGroupSize * uBlockSize + std::max(uRest, uBeforeLast) - uBeforeLast) * 8;
    if (uSamples != 0 && uSamplePos > GetLength()) {
        throw std::runtime_error("clDSF::Read(): sizeRead > sizeReq");
    }
    uSamples = std::min(uSamples, GetLength() - uSamplePos);
    uSamplePos += uSamples;
    return uSamples / 8;
}

uint64_t clDSF::SeekBytes(uint64_t uBytes, const char *cpMessage)
{
    if (uBytes > GetDataCapacity() || uBytes > INT64_MAX - uDataStart) {
        throw clXDSF(cpMessage);
    }
    pStream->Seek(static_cast<off_t>(uDataStart + uBytes));
    uDataPos = uBytes;
    RestartDecoding();
    uSamplePos = uBytes / GetChannels() * 8;
    return uSamplePos;
}
