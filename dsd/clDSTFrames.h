#pragma once

#include "dsd/Findings.h"
#include "dsd/clDSDIFFChunk.h"

#include <cstdint>
#include <string>

class clStreamReader;

/**
 * Finds the compressed frames in the data of a "DST " chunk: a "FRTE" chunk with their number, then
 * a "DSTF" chunk for each, perhaps followed by a "DSTC" chunk with its check value. Knows nothing
 * of what a frame contains.
 *
 * Reads forward: a remote stream is asked for the bytes in their order. The stream may be moved by
 * others between two calls.
 */
class clDSTFrames
{
public:
    /** Frames of a second; no other number is in use. */
    static constexpr uint32_t RATE = 75;

    struct info_t {
        uint32_t uFrames = 0;
        uint16_t uRate = 0;
    };

    struct frame_t {
        /** Of the frame itself, after the header of its chunk. */
        uint64_t uOffset = 0;
        uint64_t uSize = 0;
        bool bHasCheck = false;
        uint32_t uCheck = 0;
    };

    /**
     * @param streamFile borrowed: must outlive this object
     * @param data       the data of the chunk, as far as the file has them
     */
    clDSTFrames(clStreamReader &streamFile, const region_t &data);

    /** Reads the "FRTE" chunk, which comes first. @return whether it is there */
    bool ReadInfo(info_t &info);

    /**
     * Finds the next frame and reads it.
     *
     * @param pBuffer gets the frame unless it is larger than uRoom; null: no frame is read
     * @return whether there was one that is complete
     */
    bool Next(frame_t &frame, void *pBuffer = nullptr, uint64_t uRoom = 0);

    /** Where the chunk that the next call looks at begins. */
    uint64_t GetPosition() const noexcept { return uNext; }

    /** Goes to the chunk that begins at a position. */
    void GoTo(uint64_t uPosition) noexcept { uNext = uPosition; }

    /** Whether a "DSTF" chunk with this frame is there. */
    bool IsFrame(uint64_t uOffset, uint64_t uSize);

    /** What is wrong with the chunks seen so far; empty when nothing is. */
    const std::string &GetFault() const noexcept { return strFault; }

private:
    struct chunk_t {
        uint32_t uId;
        uint64_t uData;
        uint64_t uSize;
    };

    bool ReadChunk(chunk_t &chunk);
    bool ReadHeader();
    void Pass(const chunk_t &chunk) noexcept
    {
        uNext = chunk.uData + chunk.uSize + chunk.uSize % 2;
    }
    void ReadCheck(frame_t &frame);
    bool ReadAt(uint64_t uPosition, void *pBuffer, uint64_t uSize);
    void AddFault(const std::string &strText);

    clStreamReader &stream;
    const uint64_t uStart;
    const uint64_t uEnd;
    uint64_t uNext;
    /** The header last read, which may be needed again: a remote stream does not go back. */
    uint8_t aHeader[clDSDIFFChunk::HEADER_SIZE] = {};
    uint64_t uHeaderAt = UINT64_MAX;
    std::string strFault;
};
