#pragma once

#include "dsd/clDSDIFFChunk.h"

#include <cstdint>

class clStreamReader;

/** The steps of the walks through a DSDIFF file. */
namespace ChunkReading
{

using header_t = uint8_t[clDSDIFFChunk::HEADER_SIZE];

/** Throws clXDSDIFF with the detail and the id of the chunk. */
[[noreturn]] void ThrowForChunk(const char *cpDetail, const clDSDIFFChunk &chunk);

/** @throws clXDSDIFF unless bFits */
void CheckSize(const clDSDIFFChunk &chunk, bool bFits);

/** Positions in a file are signed: data from uPosition that ends past their range cannot be
 * skipped. @throws clXDSDIFF for such data */
void CheckRange(const clDSDIFFChunk &chunk, uint64_t uPosition);

/** @return false when the file ends before the header or inside it: no chunk follows */
bool ReadHeader(clStreamReader &stream, header_t &aHeader);

/** As ReadHeader; also fills the chunk and adds the size of the header to uConsumed. */
bool ReadNextHeader(clStreamReader &stream, header_t &aHeader, clDSDIFFChunk &chunk,
                    uint64_t &uConsumed);

/** @return bytes skipped @throws clXDSDIFF as CheckRange */
uint64_t SkipData(clStreamReader &stream, const clDSDIFFChunk &chunk);

/** @return bytes skipped; 0 at the end of the file */
uint64_t SkipPad(clStreamReader &stream);

} // namespace ChunkReading
