#include "dst/clDSTHeaderReader.h"

#include "base/clException.h"

#include <algorithm>
#include <bit>

using namespace DST;

namespace
{

constexpr uint32_t MOST_FIELD_BITS = 24;

// No difference between two legal entries needs as many zero bits.
constexpr uint32_t MOST_ZERO_BITS = 4096;

constexpr uint32_t INTERVAL_BITS = 12;
constexpr uint32_t FIRST_INTERVAL = 4095;

/** How the entries of a list are stored, and predicted from those before them. */
struct filter_kind_t {
    static constexpr uint32_t BITS = 9;
    static constexpr int32_t LEAST = -256;
    static constexpr int32_t MOST = 255;
    static constexpr int32_t WEIGHTS[3][3] = {{-8}, {-16, 8}, {-9, -5, 6}};
    static constexpr const char *ENTRY = "coefficient";

    static int32_t Decode(uint32_t uField)
    {
        return static_cast<int32_t>(uField ^ 256) - 256; // two's complement
    }
};

struct table_kind_t {
    static constexpr uint32_t BITS = 7;
    static constexpr int32_t LEAST = 1;
    static constexpr int32_t MOST = ONE_HALF;
    static constexpr int32_t WEIGHTS[3][3] = {{-8}, {-16, 8}, {-24, 24, -8}};
    static constexpr const char *ENTRY = "probability";

    static int32_t Decode(uint32_t uField) { return static_cast<int32_t>(uField) + 1; }
};

uint32_t BitLength(uint32_t uValue)
{
    return static_cast<uint32_t>(std::bit_width(uValue));
}

} // namespace

clDSTHeaderReader::clDSTHeaderReader(const uint8_t *cpFrameBytes, uint64_t uSize,
                                     uint32_t uChannelCount, uint32_t uBytes, bool bSingle) noexcept
    : cpFrame(cpFrameBytes),
      uEnd(8 * uSize),
      uChannels(uChannelCount),
      uChannelBytes(uBytes),
      bStoredSingle(bSingle)
{
}

void clDSTHeaderReader::Read(header_t &header)
{
    header.bHasSingle = false;
    if (!Flag()) {
        Refuse(0, "the frame is not compressed");
    }
    const bool bSameSegmentation = Flag();
    ReadSegmentation(header.aFilterSegments, FILTER_SEGMENTS);
    if (bSameSegmentation) {
        header.aTableSegments = header.aFilterSegments;
    } else {
        ReadSegmentation(header.aTableSegments, TABLE_SEGMENTS);
    }

    const uint64_t uMapping = uBit;
    const bool bSameMapping = Flag();
    header.sizeFilters = ReadMapping(header.aFilterSegments);
    if (bSameMapping) {
        ShareNumbers(header.aFilterSegments, 1, header.aTableSegments, uMapping);
        header.sizeTables = header.sizeFilters;
    } else {
        header.sizeTables = ReadMapping(header.aTableSegments);
    }

    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        header.abHalf[uChIdx] = Flag();
    }
    for (size_t i = 0; i < header.sizeFilters; ++i) {
        list_t<MAX_ORDER> &filter = header.aFilters[i];
        filter.sizeCount = Field(7) + 1;
        ReadList(filter, filter_kind_t());
    }
    for (size_t i = 0; i < header.sizeTables; ++i) {
        list_t<MAX_TABLE> &table = header.aTables[i];
        table.sizeCount = Field(6) + 1;
        header.bHasSingle = header.bHasSingle || table.sizeCount == 1;
        if (table.sizeCount == 1 && !bStoredSingle) {
            table.aiEntries[0] = ONE_HALF;
        } else {
            ReadList(table, table_kind_t());
        }
    }

    // The code may be shorter, or not be there at all: an encoder may leave out zeros at its end.
    const auto codeBit = [this] { return uBit < uEnd ? Field(1) : 0; };
    if (codeBit() != 0) {
        Refuse(uBit - 1, "the code begins with a 1");
    }
    header.uCodeBit = uBit;
    uint32_t uValue = 0;
    for (uint32_t i = 0; i < INTERVAL_BITS; ++i) {
        uValue = 2 * uValue + codeBit();
    }
    if (uValue >= FIRST_INTERVAL) {
        Refuse(header.uCodeBit, "the code begins outside its interval");
    }
}

uint32_t clDSTHeaderReader::Field(uint32_t uBits)
{
    if (uBits > uEnd - uBit) {
        Refuse(uBit, "the frame ends within its header");
    }
    static_assert(MOST_FIELD_BITS + 7 <= 32 && PADDING >= 4);
    const uint8_t *cpBytes = cpFrame + uBit / 8;
    const uint32_t uWord = static_cast<uint32_t>(cpBytes[0]) << 24 |
                           static_cast<uint32_t>(cpBytes[1]) << 16 |
                           static_cast<uint32_t>(cpBytes[2]) << 8 | cpBytes[3];
    const uint32_t uField = (uWord << uBit % 8 >> 8) >> (MOST_FIELD_BITS - uBits);
    uBit += uBits;
    return uField;
}

// Counts the zeros before the next 1, and skips both.
uint32_t clDSTHeaderReader::ZeroBits(uint32_t uMost)
{
    uint32_t uZeros = 0;
    while (!Flag()) {
        if (++uZeros > uMost) {
            break;
        }
    }
    return uZeros;
}

void clDSTHeaderReader::Refuse(uint64_t uAt, const std::string &strWhat) const
{
    throw clXDST(("clDSTDecoder::Decode(): bit " + std::to_string(uAt) + ": " + strWhat).c_str());
}

void clDSTHeaderReader::ReadSegmentation(channel_segments_t &aSegments, segment_limits_t limits)
{
    const bool bSameForAll = Flag();
    // Stored once, before the first length of all.
    uint32_t uResolution = 0;
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        if (bSameForAll && uChIdx != 0) {
            aSegments[uChIdx] = aSegments[0];
        } else {
            ReadSegments(aSegments[uChIdx], limits, uResolution);
        }
    }
}

void clDSTHeaderReader::ReadSegments(segments_t &segments, segment_limits_t limits,
                                     uint32_t &uResolution)
{
    // Bytes that the segments before the last one may still take.
    uint32_t uRoom = uChannelBytes - std::min(uChannelBytes, limits.uLeast);
    const uint32_t uMostResolution = uRoom;
    segments.sizeCount = 1;
    segments.auStart[0] = 0;
    while (!Flag()) {
        if (uResolution == 0) {
            const uint64_t uAt = uBit;
            uResolution = Field(BitLength(uMostResolution));
            if (uResolution == 0 || uResolution > uMostResolution) {
                Refuse(uAt,
                       "a resolution of segments of " + std::to_string(uResolution) + " bytes");
            }
        }
        const uint64_t uAt = uBit;
        const uint32_t uLength = Field(BitLength(uRoom / uResolution)) * uResolution;
        if (uLength < limits.uLeast || uLength > uRoom) {
            Refuse(uAt, "a segment of " + std::to_string(uLength) + " bytes");
        }
        if (segments.sizeCount == limits.sizeMost) {
            Refuse(uAt, "more than " + std::to_string(limits.sizeMost) + " segments");
        }
        uRoom -= uLength;
        segments.auStart[segments.sizeCount] = segments.auStart[segments.sizeCount - 1] + uLength;
        ++segments.sizeCount;
    }
}

size_t clDSTHeaderReader::ReadMapping(channel_segments_t &aSegments)
{
    const uint64_t uStart = uBit;
    const bool bSameForAll = Flag();
    uint32_t uCount = 1;
    for (uint32_t uChIdx = 0; uChIdx < (bSameForAll ? 1 : uChannels); ++uChIdx) {
        segments_t &segments = aSegments[uChIdx];
        for (size_t i = 0; i < segments.sizeCount; ++i) {
            segments.auNumber[i] = 0;
            if (uChIdx == 0 && i == 0) {
                continue;
            }
            const uint64_t uAt = uBit;
            const uint32_t uNumber = Field(BitLength(uCount));
            if (uNumber > uCount) {
                Refuse(uAt, "number " + std::to_string(uNumber) + " after " +
                                std::to_string(uCount) + " filters or tables");
            }
            uCount += uNumber == uCount ? 1 : 0;
            if (uCount > 2 * uChannels) {
                Refuse(uAt, "more than " + std::to_string(2 * uChannels) + " filters or tables");
            }
            segments.auNumber[i] = uNumber;
        }
    }
    if (bSameForAll) {
        ShareNumbers(aSegments, 0, aSegments, uStart);
    }
    return uCount;
}

// Gives each channel the numbers of the channel uChIdx * sizeStep.
void clDSTHeaderReader::ShareNumbers(const channel_segments_t &aFrom, size_t sizeStep,
                                     channel_segments_t &aTo, uint64_t uAt) const
{
    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        const segments_t &from = aFrom[uChIdx * sizeStep];
        if (aTo[uChIdx].sizeCount != from.sizeCount) {
            Refuse(uAt, "shared numbers for different counts of segments");
        }
        aTo[uChIdx].auNumber = from.auNumber;
    }
}

template <size_t MOST, class Kind>
void clDSTHeaderReader::ReadList(list_t<MOST> &list, const Kind &kind)
{
    if (Flag()) {
        ReadCoded(list, kind);
        return;
    }
    for (size_t i = 0; i < list.sizeCount; ++i) {
        list.aiEntries[i] = static_cast<int16_t>(Kind::Decode(Field(Kind::BITS)));
    }
}

template <size_t MOST, class Kind>
void clDSTHeaderReader::ReadCoded(list_t<MOST> &list, const Kind & /*kind*/)
{
    const uint64_t uStart = uBit;
    const size_t sizeMethod = Field(2);
    if (sizeMethod >= std::size(Kind::WEIGHTS)) {
        Refuse(uStart, "unknown method " + std::to_string(sizeMethod));
    }
    if (list.sizeCount <= sizeMethod) {
        Refuse(uStart, "method " + std::to_string(sizeMethod) + " for a list of " +
                           std::to_string(list.sizeCount));
    }
    for (size_t i = 0; i <= sizeMethod; ++i) {
        list.aiEntries[i] = static_cast<int16_t>(Kind::Decode(Field(Kind::BITS)));
    }
    const uint32_t uLowBits = Field(3);
    for (size_t i = sizeMethod + 1; i < list.sizeCount; ++i) {
        int32_t iPrediction = 0;
        for (size_t t = 0; t <= sizeMethod; ++t) {
            iPrediction += Kind::WEIGHTS[sizeMethod][t] * list.aiEntries[i - 1 - t];
        }
        const uint64_t uAt = uBit;
        const int32_t iDifference = ReadDifference(uLowBits);
        const int32_t iEntry =
            iDifference + (iPrediction >= 0 ? -((iPrediction + 4) / 8) : (-iPrediction + 3) / 8);
        if (iEntry < Kind::LEAST || iEntry > Kind::MOST) {
            Refuse(uAt, Kind::ENTRY + (" of " + std::to_string(iEntry)));
        }
        list.aiEntries[i] = static_cast<int16_t>(iEntry);
    }
}

int32_t clDSTHeaderReader::ReadDifference(uint32_t uLowBits)
{
    const uint32_t uHigh = ZeroBits(MOST_ZERO_BITS);
    const auto iSize = static_cast<int32_t>((uHigh << uLowBits) + Field(uLowBits));
    return iSize != 0 && Flag() ? -iSize : iSize;
}
