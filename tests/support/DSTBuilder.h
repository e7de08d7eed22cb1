#pragma once

#include "tests/support/Bytes.h"

#include <cstdlib>
#include <random>

/** Writes a frame bit by bit, the highest bit of each byte first. */
class clBitWriter
{
public:
    /** The low uBits bits of uValue. */
    clBitWriter &Bits(uint64_t uValue, uint32_t uBits)
    {
        while (uBits-- > 0) {
            if (sizeBits++ % 8 == 0) {
                bytes.push_back(0);
            }
            bytes.back() = static_cast<uint8_t>(bytes.back() | (uValue >> uBits & 1)
                                                                   << (7 - (sizeBits - 1) % 8));
        }
        return *this;
    }

    size_t GetBits() const { return sizeBits; }
    const bytes_t &GetBytes() const { return bytes; }

private:
    bytes_t bytes;
    size_t sizeBits = 0;
};

/**
 * Makes valid headers of compressed frames by chance. Any code fits them, so random bytes after a
 * header are a frame.
 */
class clDSTBuilder
{
public:
    /** What judges without the whole format cannot decode is left out on demand. */
    clDSTBuilder(uint32_t uSeed, uint32_t uChannelCount, uint32_t uBytes, bool bSimpleFrames)
        : random(uSeed),
          uChannels(uChannelCount),
          uChannelBytes(uBytes),
          bSimple(bSimpleFrames)
    {
    }

    /** A header and sizeCode bytes of code. */
    bytes_t Frame(size_t sizeCode)
    {
        writer = clBitWriter();
        writer.Bits(1, 1);
        const bool bSameSegments = bSimple || Chance(2);
        writer.Bits(bSameSegments, 1);
        const counts_t filters = Segmentation(128, 4);
        const counts_t tables = bSameSegments ? filters : Segmentation(4, 8);
        const bool bSameMapping = filters == tables && Chance(2);
        writer.Bits(bSameMapping, 1);
        const uint32_t uFilters = Mapping(filters);
        const uint32_t uTables = bSameMapping ? uFilters : Mapping(tables);
        writer.Bits(random(), uChannels);
        for (uint32_t i = 0; i < uFilters; ++i) {
            List(Chance(3) ? Below(128) + 1 : 128, true);
        }
        for (uint32_t i = 0; i < uTables; ++i) {
            List(Below(bSimple ? 63 : 64) + (bSimple ? 2 : 1), false);
        }
        writer.Bits(0, 2); // of the code: a first bit of 0, a value that is not all ones
        while (writer.GetBits() % 8 != 0) {
            writer.Bits(random(), 1);
        }
        for (size_t i = 0; i < sizeCode; ++i) {
            writer.Bits(random(), 8);
        }
        return writer.GetBytes();
    }

private:
    using counts_t = std::vector<uint32_t>;

    uint32_t Below(uint32_t uLimit) { return static_cast<uint32_t>(random() % uLimit); }
    bool Chance(uint32_t uOneIn) { return Below(uOneIn) == 0; }

    static uint32_t BitLength(uint32_t uValue)
    {
        uint32_t uBits = 0;
        for (; uValue != 0; uValue /= 2) {
            ++uBits;
        }
        return uBits;
    }

    // The segments of each channel.
    counts_t Segmentation(uint32_t uLeast, uint32_t uMost)
    {
        const bool bSameForAll = bSimple || Chance(2);
        writer.Bits(bSameForAll, 1);
        uint32_t uResolution = 0;
        counts_t counts;
        for (uint32_t c = 0; c < (bSameForAll ? 1 : uChannels); ++c) {
            uint32_t uRoom = uChannelBytes > uLeast ? uChannelBytes - uLeast : 0;
            counts.push_back(1);
            while (!bSimple && counts.back() < uMost && uRoom > 2 * uLeast && !Chance(4)) {
                writer.Bits(0, 1);
                if (uResolution == 0) {
                    uResolution = Below(2 * uLeast) + 1;
                    writer.Bits(uResolution, BitLength(uChannelBytes - uLeast));
                }
                const uint32_t uFirst = (uLeast + uResolution - 1) / uResolution;
                const uint32_t uScaled = uFirst + Below(uRoom / uResolution - uFirst + 1) / 2;
                writer.Bits(uScaled, BitLength(uRoom / uResolution));
                uRoom -= uScaled * uResolution;
                ++counts.back();
            }
            writer.Bits(1, 1);
        }
        counts.resize(uChannels, counts[0]);
        return counts;
    }

    // Returns how many filters or tables there are.
    uint32_t Mapping(const counts_t &counts)
    {
        const bool bSameForAll = counts == counts_t(uChannels, counts[0]) && Chance(3);
        writer.Bits(bSameForAll, 1);
        uint32_t uCount = 1;
        for (uint32_t c = 0; c < (bSameForAll ? 1 : uChannels); ++c) {
            for (uint32_t i = c == 0 ? 1 : 0; i < counts[c]; ++i) {
                const uint32_t uNumber = Below(std::min(uCount + 1, 2 * uChannels));
                writer.Bits(uNumber, BitLength(uCount));
                uCount += uNumber == uCount ? 1 : 0;
            }
        }
        return uCount;
    }

    // Coefficients that get smaller with the age of the bit, or probabilities.
    int32_t Entry(uint32_t i, uint32_t uCount, bool bFilter, int32_t iScale)
    {
        if (bFilter) {
            const auto iMost =
                1 + iScale * static_cast<int32_t>(uCount - i) / static_cast<int32_t>(uCount);
            return static_cast<int32_t>(Below(static_cast<uint32_t>(2 * iMost))) - iMost;
        }
        return static_cast<int32_t>(1 + Below(129 - 128 * i / uCount) * 127 / 128);
    }

    void List(uint32_t uCount, bool bFilter)
    {
        writer.Bits(uCount - 1, bFilter ? 7 : 6);
        if (uCount == 1 && !bFilter) {
            return;
        }
        constexpr int32_t aaiFilter[3][3] = {{-8}, {-16, 8}, {-9, -5, 6}};
        constexpr int32_t aaiTable[3][3] = {{-8}, {-16, 8}, {-24, 24, -8}};
        const int32_t iScale = Chance(2) ? 255 : 20;
        const bool bCoded = Chance(2);
        const uint32_t uMethod = Below(std::min(uCount, 3U));
        const uint32_t uLowBits = Below(8);
        writer.Bits(bCoded, 1);
        if (bCoded) {
            writer.Bits(uMethod, 2);
        }
        std::vector<int32_t> aiEntries;
        for (uint32_t i = 0; i < uCount; ++i) {
            const int32_t iEntry = Entry(i, uCount, bFilter, iScale);
            if (bCoded && i == uMethod + 1) {
                writer.Bits(uLowBits, 3);
            }
            if (!bCoded || i <= uMethod) {
                writer.Bits(static_cast<uint64_t>(iEntry - (bFilter ? 0 : 1)), bFilter ? 9 : 7);
            } else {
                int32_t iPrediction = 0;
                for (uint32_t t = 0; t <= uMethod; ++t) {
                    iPrediction +=
                        (bFilter ? aaiFilter : aaiTable)[uMethod][t] * aiEntries[i - 1 - t];
                }
                Difference(
                    iEntry + (iPrediction >= 0 ? (iPrediction + 4) / 8 : -((-iPrediction + 3) / 8)),
                    uLowBits);
            }
            aiEntries.push_back(iEntry);
        }
        if (bCoded && uCount == uMethod + 1) {
            writer.Bits(uLowBits, 3);
        }
    }

    void Difference(int32_t iValue, uint32_t uLowBits)
    {
        const auto uSize = static_cast<uint32_t>(std::abs(iValue));
        for (uint32_t i = 0; i < uSize >> uLowBits; ++i) {
            writer.Bits(0, 1);
        }
        writer.Bits(1, 1).Bits(uSize, uLowBits);
        if (iValue != 0) {
            writer.Bits(iValue < 0, 1);
        }
    }

    std::mt19937 random;
    const uint32_t uChannels;
    const uint32_t uChannelBytes;
    const bool bSimple;
    clBitWriter writer;
};
