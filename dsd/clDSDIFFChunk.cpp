#include "dsd/clDSDIFFChunk.h"

#include "base/clException.h"
#include "decode/Signal.h"
#include "dsd/Bytes.h"
#include "dsd/ChannelPlaces.h"
#include "dsd/ChunkReading.h"
#include "dsd/clDSTSound.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <numeric>
#include <utility>

using namespace ChunkReading;

namespace
{

// The values of "CMPR"; a new compression is a row here.
struct compression_t {
    uint32_t uId;
    uint32_t uNumber;
    bool bReadable;
};

constexpr compression_t aCompressions[] = {{Id("DSD "), clDSDIFFPropChunk::UNCOMPRESSED, true},
                                           {Id("DST "), clDSDIFFPropChunk::DST, false}};

const compression_t &FindCompression(const char (&aId)[4])
{
    const auto uId = GetBE<uint32_t>(reinterpret_cast<const uint8_t *>(aId));
    for (const compression_t &compression : aCompressions) {
        if (compression.uId == uId) {
            return compression;
        }
    }
    throw clXDSDIFF("clDSDIFFPropChunk::GetCompression(): unknown compression");
}

bool IsPermutation(const std::vector<uint32_t> &auPlaces)
{
    std::vector<bool> aTaken(auPlaces.size());
    for (uint32_t uPlace : auPlaces) {
        if (aTaken[uPlace]) {
            return false;
        }
        aTaken[uPlace] = true;
    }
    return true;
}

} // namespace

// ---- clDSDIFFChunk ----

clDSDIFFChunk::~clDSDIFFChunk() noexcept(false) = default;

void clDSDIFFChunk::SetHeader(const uint8_t *cpHeader) noexcept
{
    std::memcpy(aId, cpHeader, sizeof(aId));
    uId = GetBE<uint32_t>(cpHeader);
    uSize = GetBE<uint64_t>(cpHeader + sizeof(aId));
}

// ---- clDSDIFFVersChunk ----

uint64_t clDSDIFFVersChunk::Read(clStreamReader *pStream)
{
    try {
        CheckSize(*this, uSize == 4);
        uint8_t aVersion[4] = {};
        const uint64_t uConsumed = pStream->ReadFully(aVersion, sizeof(aVersion));
        uVersion = GetBE<uint32_t>(aVersion);
        return uConsumed;
    } catch (const clException &caught) {
        WrapException<clXDSDIFF>("clDSDIFFVersChunk::Read(): ", caught);
    }
}

// ---- clDSDIFFPropChunk ----

uint64_t clDSDIFFPropChunk::Read(clStreamReader *pStream)
{
    try {
        Clear();
        CheckSize(*this, uSize >= sizeof(aType));
        uint64_t uConsumed = pStream->ReadFully(aType, sizeof(aType));
        if (std::memcmp(aType, "SND ", sizeof(aType)) != 0) {
            throw clXDSDIFF("type != 'SND '");
        }
        CheckRange(*this, 0);
        while (uConsumed < uSize) {
            header_t aHeader;
            clDSDIFFChunk header;
            if (!ReadNextHeader(*pStream, aHeader, header, uConsumed)) {
                break;
            }
            uConsumed += ReadSubChunk(*pStream, header);
            // The last sub-chunk of a chunk of odd size has no pad byte of its own: the one that
            // follows belongs to the chunk.
            if (header.uSize % 2 != 0 && uConsumed < uSize) {
                uConsumed += SkipPad(*pStream);
            }
        }
        return uConsumed;
    } catch (const clException &caught) {
        WrapException<clXDSDIFF>("clDSDIFFPropChunk::Read(): ", caught);
    }
}

void clDSDIFFPropChunk::Clear()
{
    std::fill(std::begin(aType), std::end(aType), '\0');
    uSampleRate = 0;
    sChannels = channels_t();
    std::fill(std::begin(aCompression), std::end(aCompression), '\0');
    uNameLength = 0;
    strCompressionName.clear();
    sStart = start_t();
    uSpeakers = SPEAKERS_UNDEFINED;
    auPlaces.clear();
    auSpeakerCodes.clear();
    bConflict = false;
    bInOrder = true;
}

uint32_t clDSDIFFPropChunk::GetCompression() const
{
    return FindCompression(aCompression).uNumber;
}

bool clDSDIFFPropChunk::IsReadable() const
{
    return FindCompression(aCompression).bReadable;
}

const char *clDSDIFFPropChunk::GetSpeakerConfig() const
{
    // The values that the DSDIFF 1.5 description names.
    switch (uSpeakers) {
    case 0:
        return "stereo";
    case 3:
        return "5 channels";
    case 4:
        return "5.1 channels";
    case SPEAKERS_UNDEFINED:
        return "undefined";
    default:
        throw clXDSDIFF("clDSDIFFPropChunk::GetSpeakerConfig(): unknown speaker config");
    }
}

uint32_t clDSDIFFPropChunk::GetChannelId(uint32_t uChIdx) const
{
    if (uChIdx >= sChannels.channels) {
        throw clXDSDIFF("clDSDIFFPropChunk::GetChannelId(): uChIdx >= sChannels.channels");
    }
    return auPlaces[uChIdx];
}

// Returns the bytes consumed after the header of the sub-chunk.
uint64_t clDSDIFFPropChunk::ReadSubChunk(clStreamReader &stream, const clDSDIFFChunk &header)
{
    uint8_t aData[8] = {};
    uint64_t uRead = 0;
    switch (header.uId) {
    case Id("FS  "):
        CheckSize(header, header.uSize == 4);
        uRead = stream.ReadFully(aData, 4);
        uSampleRate = GetBE<uint32_t>(aData);
        return uRead;
    case Id("CHNL"):
        CheckSize(header, header.uSize >= 2);
        return ReadChannels(stream, header);
    case Id("CMPR"):
        CheckSize(header, header.uSize >= 2);
        return ReadCompression(stream, header);
    case Id("ABSS"):
        CheckSize(header, header.uSize == 8);
        uRead = stream.ReadFully(aData, 8);
        sStart.uHours = GetBE<uint16_t>(aData);
        sStart.uMinutes = aData[2];
        sStart.uSeconds = aData[3];
        sStart.uSamples = GetBE<uint32_t>(aData + 4);
        return uRead;
    case Id("LSCO"):
        CheckSize(header, header.uSize == 2);
        uRead = stream.ReadFully(aData, 2);
        uSpeakers = GetBE<uint16_t>(aData);
        return uRead;
    default:
        return SkipData(stream, header);
    }
}

uint64_t clDSDIFFPropChunk::ReadChannels(clStreamReader &stream, const clDSDIFFChunk &header)
{
    uint8_t aCount[2] = {};
    uint64_t uRead = stream.ReadFully(aCount, sizeof(aCount));
    const uint16_t uCount = GetBE<uint16_t>(aCount);
    CheckSize(header, header.uSize - sizeof(aCount) == uint64_t{uCount} * 4);

    std::vector<uint8_t> aIds(size_t{uCount} * 4);
    uRead += stream.ReadFully(aIds.data(), aIds.size());
    sChannels.channels = uCount;
    sChannels.auIds.resize(uCount);
    for (size_t i = 0; i < uCount; ++i) {
        sChannels.auIds[i] = GetBE<uint32_t>(&aIds[i * 4]);
    }
    MapChannelIds();
    return uRead;
}

uint64_t clDSDIFFPropChunk::ReadCompression(clStreamReader &stream, const clDSDIFFChunk &header)
{
    uint8_t aFixed[5] = {};
    uint64_t uRead = stream.ReadFully(aFixed, sizeof(aFixed));
    uNameLength = aFixed[4];
    // Writers differ on whether the pad byte of the name counts in the size.
    const uint64_t uPlain = sizeof(aFixed) + uNameLength;
    const bool bPadded = uPlain % 2 != 0 && header.uSize == uPlain + 1;
    if (header.uSize != uPlain && !bPadded) {
        ThrowForChunk("name size mismatch", header);
    }
    std::memcpy(aCompression, aFixed, sizeof(aCompression));
    std::vector<char> aName(static_cast<size_t>(header.uSize) - sizeof(aFixed) + 1);
    uRead += stream.ReadFully(aName.data(), aName.size() - 1);
    aName[uNameLength] = '\0';
    strCompressionName = aName.data();
    return uRead;
}

void clDSDIFFPropChunk::MapChannelIds()
{
    const uint32_t uChannels = sChannels.channels;
    auPlaces.resize(uChannels);
    auSpeakerCodes.resize(uChannels);
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        const uint32_t uChannelId = sChannels.auIds[uChIdx];
        auPlaces[uChIdx] = ChannelPlaces::GetPlace(uChannels, uChannelId, uChIdx);
        auSpeakerCodes[uChIdx] = ChannelPlaces::GetSpeaker(uChannelId, uChIdx);
    }
    bConflict = !IsPermutation(auPlaces);
    if (bConflict) {
        // One of the two channels would be lost otherwise.
        std::iota(auPlaces.begin(), auPlaces.end(), 0U);
    }
    bInOrder = std::is_sorted(auPlaces.begin(), auPlaces.end());
}

// ---- clDSDIFFDataChunk ----

clDSDIFFDataChunk::clDSDIFFDataChunk() = default;

clDSDIFFDataChunk::~clDSDIFFDataChunk() noexcept(false) = default;

uint64_t clDSDIFFDataChunk::Attach(clStreamReader *pStreamReader)
{
    Detach();
    pStream = pStreamReader;
    uReadPos = 0;
    uDataStart = static_cast<uint64_t>(pStream->Tell());
    uPresent = 0;
    if (pStream->IsRemote()) {
        // Never skipped, so any size is accepted: a source that does not know its own announces
        // the largest.
        return 0;
    }
    const auto uStreamSize = static_cast<uint64_t>(std::max<int64_t>(pStream->GetSize(), 0));
    uPresent = std::min(uSize, uStreamSize - std::min(uStreamSize, uDataStart));
    return SkipData(*pStream, *this);
}

void clDSDIFFDataChunk::Attach(clStreamReader *pStreamReader,
                               std::unique_ptr<clDSTSound> pDecompressed)
{
    Detach();
    pStream = pStreamReader;
    pSound = std::move(pDecompressed);
    uReadPos = 0;
    // Of whole frames only, however few of them the file has.
    uSize = uPresent = pSound->GetSize();
}

void clDSDIFFDataChunk::Detach() noexcept
{
    pStream = nullptr;
    pSound.reset();
}

uint64_t clDSDIFFDataChunk::ReadRaw(void *pBuffer, uint64_t uBytes)
{
    CheckReadRaw();
    if (uReadPos >= uSize || uBytes == 0) {
        return 0;
    }
    const uint64_t uWanted = std::min(uBytes, uSize - uReadPos);
    if (pSound) {
        const uint64_t uRead = pSound->Read(pBuffer, uWanted);
        uReadPos += uRead;
        return uRead;
    }
    const ssize_t lRead = pStream->Read(pBuffer, static_cast<size_t>(uWanted));
    if (lRead < 0) {
        throw clXDSDIFF("clDSDIFFDataChunk::ReadRaw(): stream failed");
    }
    uReadPos += static_cast<uint64_t>(lRead);
    return static_cast<uint64_t>(lRead);
}

uint64_t clDSDIFFDataChunk::ReadFully(void *pBuffer, uint64_t uBytes)
{
    CheckReadRaw();
    uint64_t uRead = 0;
    while (uRead < uBytes) {
        const uint64_t uMore = ReadRaw(static_cast<uint8_t *>(pBuffer) + uRead, uBytes - uRead);
        if (uMore == 0) {
            break;
        }
        uRead += uMore;
    }
    return uRead;
}

void clDSDIFFDataChunk::CheckReadRaw() const
{
    if (pStream == nullptr) {
        throw clXDSDIFF("clDSDIFFDataChunk::ReadRaw(): no data");
    }
}

void clDSDIFFDataChunk::CheckRead(uint64_t uBits, uint32_t uChannels) const
{
    if (pStream == nullptr) {
        throw clXDSDIFF("clDSDIFFDataChunk::Read(): no data");
    }
    if (uChannels > Signal::MAX_CHANNELS) {
        throw clXDSDIFF("clDSDIFFDataChunk::Read(): channels must be <= 6");
    }
    if (uBits % 8 != 0) {
        throw clXDSDIFF("clDSDIFFDataChunk::Read(): size must be multiple of 8");
    }
}

void clDSDIFFDataChunk::Seek(uint64_t uBits)
{
    if (pStream == nullptr) {
        return;
    }
    if (uBits % 8 != 0) {
        throw clXDSDIFF("clDSDIFFDataChunk::Seek(): size must be multiple of 8");
    }
    if (uBits / 8 > uSize) {
        throw clXDSDIFF("clDSDIFFDataChunk::Seek(): newpos > length");
    }
    if (pSound) {
        pSound->Seek(uBits / 8);
    } else {
        pStream->Seek(static_cast<off_t>(uDataStart + uBits / 8));
    }
    uReadPos = uBits / 8;
}
