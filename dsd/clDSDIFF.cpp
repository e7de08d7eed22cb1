#include "dsd/clDSDIFF.h"

#include "base/clException.h"
#include "decode/clDecodeSession.h"
#include "dsd/clDSTSound.h"
#include "io/clStreamReader.h"
#include "kernels/Kernels.h"

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

void clDSDIFF::SetDecompression(bool bOn, uint32_t uWorkers)
{
    bDecompression = bOn;
    uDecompressionWorkers = uWorkers;
}

void clDSDIFF::Open(clStreamReader *pStreamReader, uint64_t uLargestRead, uint32_t uWorkers,
                    bool bDoubleAmplitude, bool bWithoutDelay, bool bScalarKernels)
{
    try {
        OpenStream(pStreamReader);
        if (!IsDecompressed() && !form.chunkProperty.IsReadable()) {
            throw clXDSDIFF("unsupported compression");
        }
        ConfigureHook(uLargestRead, uWorkers, bDoubleAmplitude, bWithoutDelay, bScalarKernels);
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
        CloseStream();
    } catch (const clException &caught) {
        WrapException<clXDSDIFF>("clDSDIFF::Close(): ", caught);
    }
}

uint64_t clDSDIFF::Read(double *pBuffer, uint64_t uSize)
{
    constexpr const char *NO_MULTIPLE = "clDSDIFF::Read(): read size must be multiple of channels";

    const uint32_t uChannels = GetChannels();
    if (uChannels != 0 && uSize % uChannels != 0) {
        throw clXDSDIFF(NO_MULTIPLE);
    }
    const uint64_t uFrames = uChannels == 0 ? 0 : uSize / uChannels;
    form.chunkData.CheckRead(uFrames * GetDivisor(), uChannels);
    if (uChannels == 0) {
        throw clXDSDIFF(NO_MULTIPLE);
    }
    const frame_layout_t layout = {form.chunkProperty.GetChannelPlaces(), uChannels, false};
    CheckDecoding("clDSDIFF::Read(): not opened for decoding");
    return Decode(pBuffer, uFrames, layout, *this) * uChannels;
}

uint64_t clDSDIFF::Read_5_1(double *pBuffer, uint64_t uSize)
{
    if (uSize % Signal::MAX_CHANNELS != 0) {
        throw clXDSDIFF("clDSDIFF::Read_5_1(): read size must be multiple of channels");
    }
    const uint64_t uFrames = uSize / Signal::MAX_CHANNELS;
    form.chunkData.CheckRead(uFrames * GetDivisor(), GetChannels());
    const frame_layout_t layout = {form.chunkProperty.GetSpeakerCodes(), Signal::MAX_CHANNELS,
                                   true};
    CheckDecoding("clDSDIFF::Read_5_1(): not opened for decoding");
    return Decode(pBuffer, uFrames, layout, *this) * Signal::MAX_CHANNELS;
}

uint64_t clDSDIFF::ReadRaw(void *pBuffer, uint64_t uSize)
{
    CheckReadRaw(uSize, "clDSDIFF::ReadRaw(): read size must be multiple of channels");
    // Nothing is to be moved, and no incomplete frame can get into the caller's buffer.
    if (uSize == 0 || (form.chunkProperty.IsInOrder() && form.chunkData.Holds(uSize))) {
        return ReadFrames(pBuffer, uSize);
    }
    const uint32_t uChannels = GetChannels();
    uint8_t *pRaw = GetRawBuffer(uSize);
    const uint64_t uRead = ReadFrames(pRaw, uSize);
    Kernels::PlaceChannels(static_cast<uint8_t *>(pBuffer), pRaw, uRead / uChannels,
                           form.chunkProperty.GetChannelPlaces(), uChannels, uChannels,
                           Signal::IDLE);
    return uRead;
}

uint64_t clDSDIFF::ReadStored(void *pBuffer, uint64_t uSize)
{
    CheckReadRaw(uSize, "clDSDIFF::ReadStored(): read size must be multiple of channels");
    return form.chunkData.ReadFully(pBuffer, uSize);
}

const uint32_t *clDSDIFF::GetChannelPlaces() const noexcept
{
    return form.chunkProperty.GetChannelPlaces();
}

uint64_t clDSDIFF::ReadRaw_5_1(void *pBuffer, uint64_t uSize)
{
    constexpr const char *NO_MULTIPLE =
        "clDSDIFF::ReadRaw_5_1(): read size must be multiple of channels";

    const uint32_t uChannels = GetChannels();
    if (uSize % Signal::MAX_CHANNELS != 0) {
        throw clXDSDIFF(NO_MULTIPLE);
    }
    if (uChannels == 0) {
        form.chunkData.CheckReadRaw();
        throw clXDSDIFF(NO_MULTIPLE);
    }
    if (uSize == 0) {
        form.chunkData.CheckReadRaw();
        return 0;
    }
    // A hostile count of channels must not size the raw buffer: a file of more channels than there
    // are places is read in parts no larger than the caller's.
    const uint64_t uFrames = uSize / Signal::MAX_CHANNELS;
    const uint64_t uPartFrames = std::max(uSize / uChannels, uint64_t{1});
    uint8_t *const pDest = static_cast<uint8_t *>(pBuffer);
    uint64_t uDone = 0;
    uint64_t uWanted = 0;
    uint64_t uRead = 0;
    do {
        uWanted = std::min(uFrames - uDone, uPartFrames);
        uint8_t *pRaw = GetRawBuffer(uWanted * uChannels);
        uRead = ReadFrames(pRaw, uWanted * uChannels) / uChannels;
        // A channel of an unknown id has its index as its place: from six on it is left out.
        Kernels::PlaceChannels(pDest + uDone * Signal::MAX_CHANNELS, pRaw,
                               static_cast<size_t>(uRead), form.chunkProperty.GetSpeakerCodes(),
                               Signal::MAX_CHANNELS, uChannels, Signal::IDLE);
        uDone += uRead;
    } while (uRead == uWanted && uDone < uFrames);
    std::fill(pDest + uDone * Signal::MAX_CHANNELS, pDest + uSize, Signal::IDLE);
    return uDone * Signal::MAX_CHANNELS;
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
    RestartDecoding();
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
    if (GetChannels() == 0) {
        return 0;
    }
    // The size of an endless stream is the largest number, and so is its length.
    return std::min(GetDataSize() / GetChannels(), std::numeric_limits<uint64_t>::max() / 8) * 8;
}

bool clDSDIFF::IsCompressed() const
{
    return form.chunkProperty.GetCompression() != clDSDIFFPropChunk::UNCOMPRESSED;
}

const clID3tag *clDSDIFF::GetTag() const
{
    return &form.tag;
}

bool clDSDIFF::HasChannelConflict() const noexcept
{
    return form.chunkProperty.HasChannelConflict();
}

void clDSDIFF::OpenStream(clStreamReader *pStreamReader)
{
    ReplaceStream(pStreamReader);
    form.Read(pStream.get(), bDecompression);
    if (IsDecompressed()) {
        AttachDecompressed();
    } else if (!pStream->IsRemote()) {
        form.chunkData.Seek(0);
    }
    uPosition = 0;
}

// Without a "DST " chunk there is no sound, whatever a "DSD " chunk holds.
void clDSDIFF::AttachDecompressed()
{
    form.chunkData.Detach();
    form.chunkData.uSize = 0;
    if (form.dataDST.uOffset != 0) {
        clDSTSound::source_t source;
        source.data = form.dataDST;
        source.index = form.dataIndex;
        source.uChannels = GetChannels();
        source.uSampleRate = GetSampleRate();
        source.uWorkers = uDecompressionWorkers;
        form.chunkData.Attach(pStream.get(), std::make_unique<clDSTSound>(*pStream, source));
    }
}

bool clDSDIFF::IsDecompressed() const noexcept
{
    return bDecompression && std::memcmp(form.chunkProperty.aCompression, "DST ", 4) == 0;
}

void clDSDIFF::CheckReadRaw(uint64_t uSize, const char *cpNoMultiple) const
{
    const uint32_t uChannels = GetChannels();
    // Without channels there may be no data either; that message is the better one.
    if (uChannels == 0) {
        form.chunkData.CheckReadRaw();
    }
    if (uChannels == 0 || uSize % uChannels != 0) {
        throw clXDSDIFF(cpNoMultiple);
    }
}

void clDSDIFF::CheckDecoding(const char *cpMessage) const
{
    if (!IsDecoding()) {
        throw clXDSDIFF(cpMessage);
    }
}

// Reads once, and then the rest of a frame in which the stream stopped: the channels would change
// places in the next read otherwise.
uint64_t clDSDIFF::ReadFrames(void *pBuffer, uint64_t uBytes)
{
    const uint32_t uChannels = GetChannels();
    const uint64_t uRead = form.chunkData.ReadRaw(pBuffer, uBytes);
    const uint64_t uMissing = (uChannels - uRead % uChannels) % uChannels;
    return uRead + form.chunkData.ReadFully(static_cast<uint8_t *>(pBuffer) + uRead, uMissing);
}

clSignalSource::next_t clDSDIFF::GetNext() const
{
    const clDSDIFFDataChunk &data = form.chunkData;
    next_t next;
    next.uPosition = data.GetReadPos();
    next.uLeft = (data.uSize - std::min(next.uPosition, data.uSize)) / GetChannels();
    return next;
}

uint64_t clDSDIFF::Fetch(uint8_t *pDest, uint64_t uBytes)
{
    const uint32_t uChannels = GetChannels();
    // Complete, since a part of a decoded sample could not be kept for the next read.
    return form.chunkData.ReadFully(pDest, uBytes * uChannels) / uChannels;
}

uint8_t *clDSDIFF::GetRawBuffer(uint64_t uBytes)
{
    return static_cast<uint8_t *>(allocRaw.SetSize(static_cast<int64_t>(uBytes)));
}
