#include "base/clAlloc.h"
#include "base/clException.h"
#include "dsd/Bytes.h"
#include "dsd/ChunkReading.h"
#include "dsd/TagRegion.h"
#include "dsd/clDSDIFFChunk.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>

// The walk through a file: clDSDIFFFormChunk.

using namespace ChunkReading;

namespace
{

bool IsTag(const void *pBytes, size_t sizeBytes)
{
    return sizeBytes >= 3 && std::memcmp(pBytes, "ID3", 3) == 0;
}

// The data at the position of the stream, as far as the file has them.
region_t GetRegion(clStreamReader &stream, const clDSDIFFChunk &header)
{
    const auto uOffset = static_cast<uint64_t>(stream.Tell());
    const auto uStreamSize = static_cast<uint64_t>(std::max<int64_t>(stream.GetSize(), 0));
    // The size of a remote stream may be unknown: its data end where it does.
    const uint64_t uEnd = stream.IsRemote() ? uint64_t{INT64_MAX} : uStreamSize;
    return {uOffset, std::min(header.uSize, uEnd - std::min(uEnd, uOffset))};
}

} // namespace

void clDSDIFFFormChunk::Read(clStreamReader *pStream, bool bStopAtDST)
{
    // Unlike the other chunks this one wraps every failure, those of buffers included.
    try {
        chunkVersion.uVersion = 0;
        chunkProperty.Clear();
        chunkData.Detach();
        chunkData.uSize = 0;
        tag.Reset();
        dataDST = {};
        dataIndex = {};

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
        Walk(pStream, bStopAtDST);
        if (!bStopAtDST || !pStream->IsRemote() || dataDST.uOffset == 0) {
            ReadTrailingTag(*pStream);
        }
    } catch (const std::exception &caught) {
        WrapException<clXDSDIFF>("clDSDIFFFormChunk::Read(): ", caught);
    }
}

void clDSDIFFFormChunk::Walk(clStreamReader *pStream, bool bStopAtDST)
{
    uint64_t uConsumed = sizeof(aType);
    while (uConsumed < uSize) {
        header_t aHeader;
        clDSDIFFChunk header;
        if (!ReadNextHeader(*pStream, aHeader, header, uConsumed)) {
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
            uRead = chunkData.Attach(pStream);
            if (pStream->IsRemote()) {
                return;
            }
            break;
        case Id("DST "):
            dataDST = GetRegion(*pStream, header);
            if (pStream->IsRemote() && bStopAtDST) {
                return;
            }
            uRead = SkipData(*pStream, header);
            break;
        case Id("DSTI"):
            dataIndex = GetRegion(*pStream, header);
            uRead = SkipData(*pStream, header);
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
    // A truncated file may announce any size; allocate no more than it can hold.
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
        // After the sound data was attached, this requests all of it and discards it: callers rely
        // on it. One read, so that the request is the same wherever the walk has ended.
        bytes.SetSize(lLeft);
        const ssize_t lRead = stream.Read(bytes.GetPtr(), static_cast<size_t>(lLeft));
        if (lRead > 0 && IsTag(bytes.GetPtr(), static_cast<size_t>(lRead))) {
            ParseTag(bytes.GetPtr(), static_cast<size_t>(lRead));
        }
        return;
    }
    // After a form that announces too little comes sound data, which must not be read into memory.
    uint8_t aStart[TagRegion::HEADER_SIZE];
    const size_t sizeLeft =
        static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(lLeft), TagRegion::MAX_SIZE));
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
        // A damaged tag must not make the sound unreadable.
    }
}
