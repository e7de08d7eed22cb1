#include "dsd/clDSDIFFMaster.h"

#include "dsd/Bytes.h"
#include "dsd/ChunkText.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr uint64_t HEADER_SIZE = 12;
constexpr uint64_t MARKER_SIZE = 22;
constexpr uint64_t COMMENT_SIZE = 14;
constexpr size_t MAX_FINDINGS = 8;

// Text that follows its count of characters, as far as it is there.
std::string CountedText(const uint8_t *cpCount, uint64_t uSize, bool &bWhole)
{
    const uint32_t uCount = GetBE<uint32_t>(cpCount);
    bWhole = uCount <= uSize - sizeof(uCount);
    const uint64_t uText = std::min<uint64_t>(uCount, uSize - sizeof(uCount));
    return {reinterpret_cast<const char *>(cpCount) + sizeof(uCount), static_cast<size_t>(uText)};
}

} // namespace

void clDSDIFFMaster::Clear()
{
    *this = clDSDIFFMaster();
}

void clDSDIFFMaster::AddInformation(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset)
{
    uint64_t uPos = 0;
    while (uPos < uSize) {
        if (uSize - uPos < HEADER_SIZE) {
            Add(std::to_string(uSize - uPos) + " bytes at the end of chunk 'DIIN' make no chunk");
            return;
        }
        const uint32_t uId = GetBE<uint32_t>(cpData + uPos);
        const uint64_t uChunkSize = GetBE<uint64_t>(cpData + uPos + sizeof(uId));
        const std::string strWhere = ChunkText(uId, uOffset + uPos);
        uPos += HEADER_SIZE;
        if (uChunkSize > uSize - uPos) {
            Add(strWhere + " extends beyond its chunk 'DIIN'");
            return;
        }
        AddChunk(uId, cpData + uPos, uChunkSize, strWhere);
        uPos += uChunkSize + uChunkSize % 2;
    }
}

void clDSDIFFMaster::AddChunk(uint32_t uId, const uint8_t *cpData, uint64_t uSize,
                              const std::string &strWhere)
{
    bool bWhole = true;
    switch (uId) {
    case Id("EMID"):
        strIdentifier.assign(reinterpret_cast<const char *>(cpData), static_cast<size_t>(uSize));
        return;
    case Id("DIAR"):
    case Id("DITI"):
        if (uSize < 4) {
            bWhole = false;
            break;
        }
        (uId == Id("DIAR") ? strArtist : strTitle) = CountedText(cpData, uSize, bWhole);
        break;
    case Id("MARK"):
        if (uSize < MARKER_SIZE) {
            bWhole = false;
            break;
        }
        AddMarker(cpData, uSize, bWhole);
        break;
    default:
        return;
    }
    if (!bWhole) {
        Add(strWhere + " ends early");
    }
}

void clDSDIFFMaster::AddMarker(const uint8_t *cpData, uint64_t uSize, bool &bWhole)
{
    marker_t marker;
    marker.time.uHours = GetBE<uint16_t>(cpData);
    marker.time.uMinutes = cpData[2];
    marker.time.uSeconds = cpData[3];
    marker.time.uSamples = GetBE<uint32_t>(cpData + 4);
    marker.iOffset = static_cast<int32_t>(GetBE<uint32_t>(cpData + 8));
    marker.uType = GetBE<uint16_t>(cpData + 12);
    marker.uChannel = GetBE<uint16_t>(cpData + 14);
    marker.uFlags = GetBE<uint16_t>(cpData + 16);
    marker.strText = CountedText(cpData + 18, uSize - 18, bWhole);
    aMarkers.push_back(std::move(marker));
}

void clDSDIFFMaster::AddComments(const uint8_t *cpData, uint64_t uSize, uint64_t uOffset)
{
    const std::string strWhere = ChunkText(Id("COMT"), uOffset - HEADER_SIZE);
    if (uSize < 2) {
        Add(strWhere + " ends early");
        return;
    }
    const uint16_t uCount = GetBE<uint16_t>(cpData);
    uint64_t uPos = 2;
    for (uint32_t i = 0; i < uCount; ++i) {
        if (uPos > uSize || uSize - uPos < COMMENT_SIZE) {
            Add(strWhere + " has " + std::to_string(i) + " of " + std::to_string(uCount) +
                " comments");
            return;
        }
        const uint8_t *cpComment = cpData + uPos;
        comment_t comment;
        comment.uYear = GetBE<uint16_t>(cpComment);
        comment.uMonth = cpComment[2];
        comment.uDay = cpComment[3];
        comment.uHour = cpComment[4];
        comment.uMinute = cpComment[5];
        comment.uType = GetBE<uint16_t>(cpComment + 6);
        comment.uReference = GetBE<uint16_t>(cpComment + 8);
        bool bWhole = true;
        comment.strText = CountedText(cpComment + 10, uSize - uPos - 10, bWhole);
        const uint64_t uText = comment.strText.size();
        aComments.push_back(std::move(comment));
        if (!bWhole) {
            Add(strWhere + " ends in the text of a comment");
            return;
        }
        uPos += COMMENT_SIZE + uText + uText % 2;
    }
}

int64_t clDSDIFFMaster::GetPosition(const marker_t &marker, uint32_t uSampleRate,
                                    const time_code_t &start) noexcept
{
    // The fields bound this far below the range of the type.
    const auto count = [uSampleRate](const time_code_t &time) {
        const int64_t lSeconds = (int64_t{time.uHours} * 60 + time.uMinutes) * 60 + time.uSeconds;
        return lSeconds * uSampleRate + time.uSamples;
    };
    return count(marker.time) + marker.iOffset - count(start);
}

// The data can be wrong in any number of places.
void clDSDIFFMaster::Add(const std::string &strText)
{
    if (findings.size() < MAX_FINDINGS) {
        findings.push_back({severity_t::CHECK, strText});
    } else if (findings.size() == MAX_FINDINGS) {
        findings.push_back({severity_t::CHECK, "more faults in the chunks 'DIIN' and 'COMT'"});
    }
}
