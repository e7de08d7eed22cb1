#include "dsd/clDSDIFFChunk.h"

#include "base/clAlloc.h"
#include "base/clException.h"
#include "decode/Signal.h"
#include "dsd/Bytes.h"
#include "dsd/ChannelPlaces.h"
#include "dsd/ChunkText.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <numeric>

namespace
{

[[noreturn]] void ThrowForChunk(const char *cpDetail, const clDSDIFFChunk &chunk)
{
    throw clXDSDIFF((std::string(cpDetail) + ", chunk '" + IdText(chunk.uId) + "'").c_str());
}

void CheckSize(const clDSDIFFChunk &chunk, bool bFits)
{
    if (!bFits) {
        ThrowForChunk("size mismatch", chunk);
    }
}

// Positions in a file are signed: data that ends past their range cannot be skipped.
void CheckRange(const clDSDIFFChunk &chunk, uint64_t uPosition)
{
    if (uPosition > INT64_MAX || chunk.uSize > INT64_MAX - uPosition) {
        ThrowForChunk("size out of range", chunk);
    }
}

using header_t = uint8_t[clDSDIFFChunk::HEADER_SIZE];

// Reads one header. A file that ends here, or in the middle of it, has no further chunk.
bool ReadHeader(clStreamReader &stream, header_t &aHeader)
{
    return stream.ReadFully(aHeader, sizeof(aHeader)) == sizeof(aHeader);
}

// One step of a walk: reads the next header and counts it. False at the end of the file.
bool ReadNextHeader(clStreamReader &stream, header_t &aHeader, clDSDIFFChunk &chunk,
                    uint64_t &uConsumed)
{
    if (!ReadHeader(stream, aHeader)) {
        return false;
    }
    chunk.SetHeader(aHeader);
    uConsumed += clDSDIFFChunk::HEADER_SIZE;
    return true;
}

// One step of a walk to the end of the file, whose chunks must be there: sound data is cut to what
// is there, another chunk that is not is left out and ends the walk.
bool ReadPresentHeader(clStreamReader &stream, header_t &aHeader, clDSDIFFChunk &chunk,
                       uint64_t &uConsumed, bool bInForm)
{
    if (!ReadHeader(stream, aHeader)) {
        return false;
    }
    chunk.SetHeader(aHeader);
    // After the form there may be a tag as well.
    if (!bInForm && !IsId(chunk.uId)) {
        stream.Skip(-static_cast<off_t>(clDSDIFFChunk::HEADER_SIZE));
        return false;
    }
    uConsumed += clDSDIFFChunk::HEADER_SIZE;
    const int64_t lLeft = std::max<int64_t>(stream.GetSize() - stream.Tell(), 0);
    const bool bCut = chunk.uSize > static_cast<uint64_t>(lLeft);
    if (bCut && chunk.uId != Id("DSD ")) {
        stream.Skip(lLeft);
        return false;
    }
    chunk.uSize = bCut ? static_cast<uint64_t>(lLeft) : chunk.uSize;
    return true;
}

// Moves over data that is not looked at.
uint64_t SkipData(clStreamReader &stream, const clDSDIFFChunk &chunk)
{
    CheckRange(chunk, static_cast<uint64_t>(stream.Tell()));
    stream.Skip(static_cast<off_t>(chunk.uSize));
    return chunk.uSize;
}

uint64_t SkipPad(clStreamReader &stream)
{
    uint8_t uPad;
    return stream.ReadFully(&uPad, 1);
}

// Header and footer of an ID3v2 tag are of one size; what is between them is counted in 28 bits.
constexpr size_t TAG_HEADER_SIZE = 10;
constexpr int64_t MAX_TAG_SIZE = (int64_t{1} << 28) + 2 * TAG_HEADER_SIZE;

bool IsTag(const void *pBytes, size_t sizeBytes)
{
    return sizeBytes >= 3 && std::memcmp(pBytes, "ID3", 3) == 0;
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
            // Behind the last sub-chunk of a chunk of odd size there is one pad byte, not two, and
            // it belongs to the chunk.
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
    auPositions.clear();
    auSpeakerCodes.clear();
    bConflict = false;
    bInOrder = true;
}

uint32_t clDSDIFFPropChunk::GetCompression() const
{
    switch (GetBE<uint32_t>(reinterpret_cast<const uint8_t *>(aCompression))) {
    case Id("DSD "):
        return 0;
    case Id("DST "):
        return 1;
    default:
        throw clXDSDIFF("clDSDIFFPropChunk::GetCompression(): unknown compression");
    }
}

const char *clDSDIFFPropChunk::GetSpeakerConfig() const
{
    // The set-ups that the DSDIFF format description names.
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
    return auPositions[uChIdx];
}

// Returns the bytes consumed behind the sub-chunk's header.
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
    // The name may carry a pad byte of its own that the size counts.
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
    auPositions.resize(uChannels);
    auSpeakerCodes.resize(uChannels);
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        const uint32_t uChannelId = sChannels.auIds[uChIdx];
        auPositions[uChIdx] = ChannelPlaces::GetPlace(uChannels, uChannelId, uChIdx);
        auSpeakerCodes[uChIdx] = ChannelPlaces::GetSpeaker(uChannelId, uChIdx);
    }
    bConflict = !IsPermutation(auPositions);
    if (bConflict) {
        // One of the two channels would be lost.
        std::iota(auPositions.begin(), auPositions.end(), 0U);
    }
    bInOrder = std::is_sorted(auPositions.begin(), auPositions.end());
}

// ---- clDSDIFFDataChunk ----

uint64_t clDSDIFFDataChunk::Attach(clStreamReader *pStreamReader)
{
    pStream = pStreamReader;
    uReadPos = 0;
    uDataStart = static_cast<uint64_t>(pStream->Tell());
    uPresent = 0;
    if (pStream->IsRemote()) {
        // Never skipped, so any size will do: a source that does not know it announces the largest.
        return 0;
    }
    const auto uStreamSize = static_cast<uint64_t>(std::max<int64_t>(pStream->GetSize(), 0));
    uPresent = std::min(uSize, uStreamSize - std::min(uStreamSize, uDataStart));
    return SkipData(*pStream, *this);
}

void clDSDIFFDataChunk::Detach() noexcept
{
    pStream = nullptr;
}

uint64_t clDSDIFFDataChunk::ReadRaw(void *pBuffer, uint64_t uBytes)
{
    CheckReadRaw();
    if (uReadPos >= uSize || uBytes == 0) {
        return 0;
    }
    const ssize_t lRead =
        pStream->Read(pBuffer, static_cast<size_t>(std::min(uBytes, uSize - uReadPos)));
    if (lRead < 0) {
        throw clXDSDIFF("clDSDIFFDataChunk::ReadRaw(): stream failed");
    }
    uReadPos += static_cast<uint64_t>(lRead);
    return static_cast<uint64_t>(lRead);
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
    pStream->Seek(static_cast<off_t>(uDataStart + uBits / 8));
    uReadPos = uBits / 8;
}

// ---- clDSDIFFFormChunk ----

void clDSDIFFFormChunk::Read(clStreamReader *pStream)
{
    // Unlike the other chunks this one wraps every failure, those of buffers included.
    try {
        chunkVersion.uVersion = 0;
        chunkProperty.Clear();
        chunkData.Detach();
        chunkData.uSize = 0;
        tag.Reset();

        header_t aHeader;
        if (!ReadHeader(*pStream, aHeader) || GetBE<uint32_t>(aHeader) != Id("FRM8")) {
            throw clXDSDIFF("id != 'FRM8'");
        }
        SetHeader(aHeader);
        std::fill(std::begin(aType), std::end(aType), '\0');
        pStream->ReadFully(aType, sizeof(aType));
        if (std::memcmp(aType, "DSD ", sizeof(aType)) != 0) {
            throw clXDSDIFF("type != 'DSD '");
        }
        Walk(pStream);
        ReadTrailingTag(*pStream);
    } catch (const std::exception &caught) {
        WrapException<clXDSDIFF>("clDSDIFFFormChunk::Read(): ", caught);
    }
}

void clDSDIFFFormChunk::Walk(clStreamReader *pStream)
{
    const bool bToEnd = bWalkToEnd && !pStream->IsRemote();
    uint64_t uConsumed = sizeof(aType);
    while (bToEnd || uConsumed < uSize) {
        header_t aHeader;
        clDSDIFFChunk header;
        if (!(bToEnd ? ReadPresentHeader(*pStream, aHeader, header, uConsumed, uConsumed < uSize)
                     : ReadNextHeader(*pStream, aHeader, header, uConsumed))) {
            break;
        }

        uint64_t uRead = 0;
        switch (header.uId) {
        case Id("FVER"):
            chunkVersion.SetHeader(aHeader);
            uRead = chunkVersion.Read(pStream);
            break;
        case Id("PROP"):
            chunkProperty.SetHeader(aHeader);
            uRead = chunkProperty.Read(pStream);
            break;
        case Id("DSD "):
            chunkData.SetHeader(aHeader);
            chunkData.uSize = header.uSize;
            uRead = chunkData.Attach(pStream);
            if (pStream->IsRemote()) {
                return;
            }
            break;
        case Id("ID3 "):
            uRead = ReadTagChunk(*pStream, header);
            break;
        default:
            uRead = SkipData(*pStream, header);
            break;
        }
        uConsumed += uRead;
        if (header.uSize % 2 != 0) {
            uConsumed += SkipPad(*pStream);
        }
    }
}

uint64_t clDSDIFFFormChunk::ReadTagChunk(clStreamReader &stream, const clDSDIFFChunk &header)
{
    clAlloc bytes;
    if (header.uSize > INT64_MAX) {
        bytes.SetSize(static_cast<int64_t>(header.uSize)); // throws: no buffer is that large
    }
    // A file that was cut may announce any size here; what it holds is enough.
    uint64_t uTagSize = header.uSize;
    const int64_t lStreamSize = stream.GetSize();
    if (lStreamSize > 0) {
        const int64_t lLeft = lStreamSize - stream.Tell();
        uTagSize = std::min(uTagSize, static_cast<uint64_t>(std::max<int64_t>(lLeft, 0)));
    }
    const uint64_t uRead = stream.ReadFully(bytes, uTagSize);
    ParseTag(bytes.GetPtr(), uRead);
    return uRead;
}

void clDSDIFFFormChunk::ReadTrailingTag(clStreamReader &stream)
{
    const int64_t lLeft = stream.GetSize() - stream.Tell();
    if (lLeft <= 0) {
        return;
    }
    clAlloc bytes;
    if (stream.IsRemote()) {
        // This asks for all of the sound data and drops it; one read, so that the end of the walk
        // costs the same wherever it is.
        bytes.SetSize(lLeft);
        const ssize_t lRead = stream.Read(bytes.GetPtr(), static_cast<size_t>(lLeft));
        if (lRead > 0 && IsTag(bytes.GetPtr(), static_cast<size_t>(lRead))) {
            ParseTag(bytes.GetPtr(), static_cast<size_t>(lRead));
        }
        return;
    }
    // A form that announces too little is followed by sound data, which needs no buffer.
    uint8_t aStart[TAG_HEADER_SIZE];
    const size_t sizeLeft = static_cast<size_t>(std::min(lLeft, MAX_TAG_SIZE));
    const size_t sizeStart = stream.ReadFully(aStart, std::min(sizeLeft, sizeof(aStart)));
    if (IsTag(aStart, sizeStart)) {
        auto *pBytes = static_cast<uint8_t *>(bytes.SetSize(static_cast<int64_t>(sizeLeft)));
        std::memcpy(pBytes, aStart, sizeStart);
        const size_t sizeRest = stream.ReadFully(pBytes + sizeStart, sizeLeft - sizeStart);
        ParseTag(pBytes, sizeStart + sizeRest);
    }
}

void clDSDIFFFormChunk::ParseTag(const void *pBytes, uint64_t uBytes)
{
    try {
        tag.Parse(pBytes, uBytes);
    } catch (const clXID3tag &) {
        // The sound is worth more than its tag.
    }
}
