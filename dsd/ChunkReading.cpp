#include "dsd/ChunkReading.h"

#include "base/clException.h"
#include "dsd/ChunkText.h"
#include "io/clStreamReader.h"

#include <string>

void ChunkReading::ThrowForChunk(const char *cpDetail, const clDSDIFFChunk &chunk)
{
    throw clXDSDIFF((std::string(cpDetail) + ", chunk '" + IdText(chunk.uId) + "'").c_str());
}

void ChunkReading::CheckSize(const clDSDIFFChunk &chunk, bool bFits)
{
    if (!bFits) {
        ThrowForChunk("size mismatch", chunk);
    }
}

void ChunkReading::CheckRange(const clDSDIFFChunk &chunk, uint64_t uPosition)
{
    if (uPosition > INT64_MAX || chunk.uSize > INT64_MAX - uPosition) {
        ThrowForChunk("size out of range", chunk);
    }
}

bool ChunkReading::ReadHeader(clStreamReader &stream, header_t &aHeader)
{
    return stream.ReadFully(aHeader, sizeof(aHeader)) == sizeof(aHeader);
}

bool ChunkReading::ReadNextHeader(clStreamReader &stream, header_t &aHeader, clDSDIFFChunk &chunk,
                                  uint64_t &uConsumed)
{
    if (!ReadHeader(stream, aHeader)) {
        return false;
    }
    chunk.SetHeader(aHeader);
    uConsumed += clDSDIFFChunk::HEADER_SIZE;
    return true;
}

uint64_t ChunkReading::SkipData(clStreamReader &stream, const clDSDIFFChunk &chunk)
{
    CheckRange(chunk, static_cast<uint64_t>(stream.Tell()));
    stream.Skip(static_cast<off_t>(chunk.uSize));
    return chunk.uSize;
}

uint64_t ChunkReading::SkipPad(clStreamReader &stream)
{
    uint8_t uPad;
    return stream.ReadFully(&uPad, 1);
}
