#include "dsd/clDSDIFF.h"

#include "base/clException.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>
#include <limits>

clDSDIFF::clDSDIFF() = default;

clDSDIFF::~clDSDIFF() noexcept(false)
{
    try {
        clDSDIFF::Close();
    } catch (...) {
        // Nothing was written: there is nothing to lose.
    }
}

void clDSDIFF::Open(clStreamReader *pStreamReader, uint64_t uSetting, uint32_t uSelect, bool bFirst,
                    bool bSecond, bool bThird)
{
    try {
        OpenStream(pStreamReader);
        if (form.chunkProperty.GetCompression() == 1) {
            throw clXDSDIFF("unsupported compression");
        }
        ConfigureHook(uSetting, uSelect, bFirst, bSecond, bThird);
    } catch (const clException &caught) {
        WrapException<clXDSDIFF>("clDSDIFF::Open(): ", caught);
    }
}

void clDSDIFF::OpenMeta(clStreamReader *pStreamReader)
{
    try {
        OpenStream(pStreamReader);
    } catch (const clException &caught) {
        WrapException<clXDSDIFF>("clDSDIFF::OpenMeta(): ", caught);
    }
}

void clDSDIFF::Close()
{
    try {
        CloseHook();
        form.chunkData.Detach();
        // The stream goes even if closing it fails.
        const std::unique_ptr<clStreamReader> pOld = std::move(pStream);
        if (pOld) {
            pOld->Close();
        }
    } catch (const clException &caught) {
        WrapException<clXDSDIFF>("clDSDIFF::Close(): ", caught);
    }
}

uint64_t clDSDIFF::Read(double * /*pBuffer*/, uint64_t uSize)
{
    const uint32_t uChannels = GetChannels();
    if (uChannels != 0 && uSize % uChannels != 0) {
        throw clXDSDIFF("clDSDIFF::Read(): read size must be multiple of channels");
    }
    form.chunkData.CheckRead(uSize * GetDivisor(), uChannels);
    throw clXDSDIFF("clDSDIFF::Read(): decoding is not supported");
}

uint64_t clDSDIFF::Read_5_1(double * /*pBuffer*/, uint64_t uSize)
{
    if (uSize % MAX_CHANNELS != 0) {
        throw clXDSDIFF("clDSDIFF::Read_5_1(): read size must be multiple of channels");
    }
    form.chunkData.CheckRead(uSize / MAX_CHANNELS * GetChannels() * GetDivisor(), GetChannels());
    throw clXDSDIFF("clDSDIFF::Read_5_1(): decoding is not supported");
}

uint64_t clDSDIFF::ReadRaw(void *pBuffer, uint64_t uSize)
{
    const uint32_t uChannels = GetChannels();
    // Without channels there may be no data either, and the data chunk says that better.
    if (uChannels == 0) {
        form.chunkData.CheckReadRaw();
    }
    if (uChannels == 0 || uSize % uChannels != 0) {
        throw clXDSDIFF("clDSDIFF::ReadRaw(): read size must be multiple of channels");
    }
    uLastCount = ReadFrames(uSize);
    MapChannels(static_cast<uint8_t *>(pBuffer), RawBytes(), uLastCount / uChannels,
                form.chunkProperty.GetPositions(), uChannels, uChannels);
    return uLastCount;
}

uint64_t clDSDIFF::ReadRaw_5_1(void *pBuffer, uint64_t uSize)
{
    constexpr const char *NO_MULTIPLE =
        "clDSDIFF::ReadRaw_5_1(): read size must be multiple of channels";

    const uint32_t uChannels = GetChannels();
    if (uSize % MAX_CHANNELS != 0) {
        throw clXDSDIFF(NO_MULTIPLE);
    }
    if (uChannels == 0) {
        form.chunkData.CheckReadRaw();
        throw clXDSDIFF(NO_MULTIPLE);
    }
    form.chunkData.CheckReadRaw();
    uint8_t *pDest = static_cast<uint8_t *>(pBuffer);
    if (uSize != 0) {
        std::memset(pDest, IDLE_PATTERN, static_cast<size_t>(uSize));
    }
    // A hostile count of channels must not size the raw buffer: a file of more channels than there
    // are places is read in parts no larger than the caller's.
    const uint64_t uFrames = uSize / MAX_CHANNELS;
    const uint64_t uPartFrames = std::max(uSize / uChannels, uint64_t{1});
    uint64_t uDone = 0;
    uint64_t uWanted = 0;
    uint64_t uRead = 0;
    do {
        uWanted = std::min(uFrames - uDone, uPartFrames);
        uRead = ReadFrames(uWanted * uChannels) / uChannels;
        PlaceSpeakers(pDest + uDone * MAX_CHANNELS, uRead);
        uDone += uRead;
    } while (uRead == uWanted && uDone < uFrames);
    return uDone * MAX_CHANNELS;
}

uint32_t clDSDIFF::GetBlockSamples() const
{
    return GetSampleRate() / 75 / GetDivisor();
}

uint32_t clDSDIFF::GetBlockSize() const
{
    return GetSampleRate() / 600;
}

uint32_t clDSDIFF::GetSampleRate() const
{
    return form.chunkProperty.uSampleRate;
}

uint32_t clDSDIFF::GetOutputRate() const
{
    return GetSampleRate() / GetDivisor();
}

uint32_t clDSDIFF::GetChannels() const
{
    return form.chunkProperty.sChannels.channels;
}

uint64_t clDSDIFF::GetOutputSize() const
{
    // Bytes times 8 alone could leave 64 bits.
    const uint64_t uBytes = GetDataSize();
    const uint32_t uDivisor = GetDivisor();
    return uBytes / uDivisor * 8 + uBytes % uDivisor * 8 / uDivisor;
}

uint64_t clDSDIFF::GetOutputLength() const
{
    return GetChannels() == 0 ? 0 : GetOutputSize() / GetChannels();
}

uint64_t clDSDIFF::SeekSample(uint64_t uSamples)
{
    if (!pStream) {
        throw clXDSDIFF("clDSDIFF::SeekSample(): not open");
    }
    const uint32_t uDivisor = GetDivisor();
    if (uSamples > std::numeric_limits<uint64_t>::max() / uDivisor) {
        throw clXDSDIFF("clDSDIFFDataChunk::Seek(): newpos > length");
    }
    form.chunkData.Seek(uSamples * uDivisor);
    uPosition = GetChannels() == 0 ? 0 : uSamples / GetChannels() * uDivisor;
    return uPosition;
}

uint64_t clDSDIFF::SeekFrame(uint64_t uFrame)
{
    const uint32_t uChannels = GetChannels();
    if (uChannels != 0 && uFrame > std::numeric_limits<uint64_t>::max() / uChannels) {
        throw clXDSDIFF("clDSDIFFDataChunk::Seek(): newpos > length");
    }
    return SeekSample(uFrame * uChannels);
}

uint64_t clDSDIFF::GetPosition() const
{
    return uPosition;
}

uint64_t clDSDIFF::GetDataSize() const
{
    return form.chunkData.uSize;
}

uint64_t clDSDIFF::GetLength() const
{
    return GetChannels() == 0 ? 0 : GetDataSize() / GetChannels() * 8;
}

bool clDSDIFF::IsCompressed() const
{
    return form.chunkProperty.GetCompression() != 0;
}

const clID3tag *clDSDIFF::GetTag() const
{
    return &form.tag;
}

bool clDSDIFF::HasChannelConflict() const noexcept
{
    return form.chunkProperty.HasChannelConflict();
}

// What the two opens share; their prefixes differ.
void clDSDIFF::OpenStream(clStreamReader *pStreamReader)
{
    std::unique_ptr<clStreamReader> pNew(pStreamReader);
    Close();
    if (!pNew) {
        throw clXDSDIFF("no stream");
    }
    pStream = std::move(pNew);
    form.Read(pStream.get());
    if (!pStream->IsRemote()) {
        form.chunkData.Seek(0);
    }
    uPosition = 0;
}

// Reads into the raw buffer. A stream may deliver less than asked and stop inside a frame; the rest
// of that frame then belongs to this read, or the channels would change places in the next one.
uint64_t clDSDIFF::ReadFrames(uint64_t uBytes)
{
    uint8_t *pRaw = static_cast<uint8_t *>(allocRaw.SetSize(static_cast<int64_t>(uBytes)));
    const uint32_t uChannels = GetChannels();
    uint64_t uRead = form.chunkData.ReadRaw(pRaw, uBytes);
    while (uRead % uChannels != 0) {
        const uint64_t uMore = form.chunkData.ReadRaw(pRaw + uRead, uChannels - uRead % uChannels);
        if (uMore == 0) {
            break;
        }
        uRead += uMore;
    }
    return uRead;
}

// Puts frames of the raw buffer into 5.1 frames.
void clDSDIFF::PlaceSpeakers(uint8_t *pDest, uint64_t uFrames) const noexcept
{
    const uint32_t uChannels = GetChannels();
    const uint32_t *upCodes = form.chunkProperty.GetSpeakerCodes();
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        // A channel of an unknown id far back in the file has no place in the frame and is left
        // out.
        if (upCodes[uChIdx] < MAX_CHANNELS) {
            for (uint64_t i = 0; i < uFrames; ++i) {
                pDest[i * MAX_CHANNELS + upCodes[uChIdx]] = RawBytes()[i * uChannels + uChIdx];
            }
        }
    }
}

const uint8_t *clDSDIFF::RawBytes() const noexcept
{
    return static_cast<const uint8_t *>(allocRaw.GetPtr());
}
