#include "dsd/clDSTFrames.h"

#include "dsd/Bytes.h"
#include "dsd/ChunkText.h"
#include "io/clStreamReader.h"

namespace
{

constexpr uint64_t HEADER_SIZE = clDSDIFFChunk::HEADER_SIZE;
constexpr uint64_t INFO_SIZE = 6;
constexpr uint64_t CHECK_SIZE = 4;
// A gap that is read through rather than asked for anew.
constexpr uint64_t SHORT_GAP = 64 << 10;

} // namespace

clDSTFrames::clDSTFrames(clStreamReader &streamFile, const region_t &data)
    : stream(streamFile),
      uStart(data.uOffset),
      uEnd(data.uOffset + data.uSize),
      uNext(data.uOffset)
{
}

bool clDSTFrames::ReadInfo(info_t &info)
{
    chunk_t chunk = {};
    uint8_t aInfo[INFO_SIZE];
    uNext = uStart;
    if (!ReadChunk(chunk) || chunk.uId != Id("FRTE") || chunk.uSize < INFO_SIZE ||
        !ReadAt(chunk.uData, aInfo, sizeof(aInfo))) {
        return false;
    }
    info = {GetBE<uint32_t>(aInfo), GetBE<uint16_t>(aInfo + 4)};
    Pass(chunk);
    return true;
}

bool clDSTFrames::Next(frame_t &frame, void *pBuffer, uint64_t uRoom)
{
    chunk_t chunk = {};
    while (ReadChunk(chunk)) {
        Pass(chunk);
        if (chunk.uId == Id("FRTE")) {
            AddFault(ChunkText(chunk.uId, chunk.uData - HEADER_SIZE) + " is not the first");
        }
        if (chunk.uId == Id("DSTF")) {
            frame = {chunk.uData, chunk.uSize, false, 0};
            if (pBuffer != nullptr && chunk.uSize <= uRoom &&
                !ReadAt(chunk.uData, pBuffer, chunk.uSize)) {
                AddFault("the file ends within " + ChunkText(chunk.uId, chunk.uData - HEADER_SIZE));
                uNext = uEnd;
                return false;
            }
            ReadCheck(frame);
            return true;
        }
    }
    return false;
}

bool clDSTFrames::IsFrame(uint64_t uOffset, uint64_t uSize)
{
    uint8_t aFound[HEADER_SIZE];
    return uOffset >= uStart + HEADER_SIZE && uOffset <= uEnd && uSize <= uEnd - uOffset &&
           ReadAt(uOffset - HEADER_SIZE, aFound, sizeof(aFound)) &&
           GetBE<uint32_t>(aFound) == Id("DSTF") && GetBE<uint64_t>(aFound + 4) == uSize;
}

// At the end a pad byte may be missing. What is left there is no chunk.
bool clDSTFrames::ReadChunk(chunk_t &chunk)
{
    if (uNext >= uEnd) {
        return false;
    }
    if (!ReadHeader()) {
        AddFault(CountText(uEnd - uNext, "byte") + " at byte " + std::to_string(uNext) +
                 " make no chunk");
        uNext = uEnd;
        return false;
    }
    chunk = {GetBE<uint32_t>(aHeader), uNext + HEADER_SIZE, GetBE<uint64_t>(aHeader + 4)};
    if (chunk.uSize > uEnd - chunk.uData) {
        AddFault(ChunkText(chunk.uId, uNext) + " extends beyond the sound data");
        uNext = uEnd;
        return false;
    }
    return true;
}

bool clDSTFrames::ReadHeader()
{
    if (uHeaderAt == uNext) {
        return true;
    }
    uHeaderAt = UINT64_MAX;
    if (uEnd - uNext < HEADER_SIZE || !ReadAt(uNext, aHeader, HEADER_SIZE)) {
        return false;
    }
    uHeaderAt = uNext;
    return true;
}

void clDSTFrames::ReadCheck(frame_t &frame)
{
    uint8_t aCheck[CHECK_SIZE];
    if (uNext < uEnd && ReadHeader() && GetBE<uint32_t>(aHeader) == Id("DSTC") &&
        GetBE<uint64_t>(aHeader + 4) == CHECK_SIZE && uEnd - uNext >= HEADER_SIZE + CHECK_SIZE &&
        ReadAt(uNext + HEADER_SIZE, aCheck, CHECK_SIZE)) {
        frame.bHasCheck = true;
        frame.uCheck = GetBE<uint32_t>(aCheck);
        uNext += HEADER_SIZE + CHECK_SIZE;
    }
}

bool clDSTFrames::ReadAt(uint64_t uPosition, void *pBuffer, uint64_t uSize)
{
    const auto uAt = static_cast<uint64_t>(stream.Tell());
    if (uAt != uPosition) {
        if (stream.IsRemote() && uAt < uPosition && uPosition - uAt <= SHORT_GAP) {
            stream.Skip(static_cast<off_t>(uPosition - uAt));
        } else {
            stream.Seek(static_cast<off_t>(uPosition));
        }
    }
    return stream.ReadFully(pBuffer, static_cast<size_t>(uSize)) == uSize;
}

// The first one is the cause of the others.
void clDSTFrames::AddFault(const std::string &strText)
{
    if (strFault.empty()) {
        strFault = strText;
    }
}
