#include "dst/clDSTFrameDecoder.h"

#include "base/clException.h"
#include "dst/clDSTHeaderReader.h"

#include <algorithm>

using namespace DST;
using namespace DSTKernels;

namespace
{

// The past of the first bits of every frame.
constexpr uint8_t INITIAL_HISTORY = 0xAA;

constexpr size_t PADDING = std::max(CODE_PADDING, clDSTHeaderReader::PADDING);

// How probable a wrong prediction is of the first bit of the code, which carries no audio.
uint32_t FirstProbability(const list_t<MAX_ORDER> &filter)
{
    const auto uCoefficient = static_cast<uint32_t>(filter.aiEntries[0]);
    uint32_t uMirrored = 0;
    for (uint32_t uBit = 0; uBit < 7; ++uBit) {
        uMirrored |= (uCoefficient >> uBit & 1) << (6 - uBit);
    }
    return uMirrored + 1;
}

// The segment that a byte is in.
size_t FindSegment(const segments_t &segments, size_t sizeByte)
{
    size_t i = segments.sizeCount - 1;
    while (segments.auStart[i] > sizeByte) {
        --i;
    }
    return i;
}

// Where the segment ends, or sizeEnd, whichever is first.
size_t GetSegmentEnd(const segments_t &segments, size_t sizeSegment, size_t sizeEnd)
{
    return sizeSegment + 1 == segments.sizeCount
               ? sizeEnd
               : std::min<size_t>(sizeEnd, segments.auStart[sizeSegment + 1]);
}

} // namespace

clDSTFrameDecoder::clDSTFrameDecoder(uint32_t uChannelCount, uint32_t uBytes, const set_t &set)
    : uChannels(uChannelCount),
      uChannelBytes(uBytes),
      kernels(set),
      aFrame(1 + size_t{uChannelCount} * uBytes + PADDING),
      aBits(uChannelCount * (HISTORY + uBytes), INITIAL_HISTORY),
      aTables(2 * size_t{uChannelCount} * TABLE_SIZE),
      aFilters(2 * size_t{uChannelCount})
{
}

void clDSTFrameDecoder::Decode(const uint8_t *cpFrame, uint64_t uSize, uint8_t *pSound)
{
    std::copy_n(cpFrame, uSize, aFrame.begin());
    std::fill_n(aFrame.begin() + static_cast<ptrdiff_t>(uSize), PADDING, uint8_t{0});
    ReadHeader(uSize);
    SetTables();
    StartCode(run.coder, aFrame.data(), uSize, header.uCodeBit);
    Decide(run.coder, FirstProbability(header.aFilters[0]));
    DecodeBits();
    for (size_t c = 0; c < uChannels; ++c) {
        const uint8_t *pBits = GetBits(c);
        for (size_t i = 0; i < uChannelBytes; ++i) {
            pSound[i * uChannels + c] = pBits[i];
        }
    }
}

uint64_t clDSTFrameDecoder::GetMissingBits() const noexcept
{
    const uint64_t uUsed = GetCodeBit(run.coder);
    return uUsed - std::min(uUsed, 8 * run.coder.uEnd);
}

void clDSTFrameDecoder::ReadHeader(uint64_t uSize)
{
    try {
        clDSTHeaderReader(aFrame.data(), uSize, uChannels, uChannelBytes, false).Read(header);
    } catch (const clXDST &) {
        if (!header.bHasSingle) {
            throw;
        }
        // Encoders differ in what they store of a table of one entry. What fails the usual way is
        // tried the other way; if that fails too, the usual way explains it.
        try {
            clDSTHeaderReader(aFrame.data(), uSize, uChannels, uChannelBytes, true).Read(header);
            return;
        } catch (const clXDST &) { // NOLINT(bugprone-empty-catch)
        }
        throw;
    }
}

void clDSTFrameDecoder::SetTables()
{
    int32_t iMost = 0;
    for (size_t i = 0; i < header.sizeFilters; ++i) {
        SetFilter(aFilters[i], header.aFilters[i]);
        iMost = std::max(iMost, aFilters[i].iMost);
    }
    for (size_t i = 0; i < header.sizeTables; ++i) {
        SetTable(aTables.data() + i * TABLE_SIZE, header.aTables[i], iMost);
    }
}

void clDSTFrameDecoder::DecodeBits()
{
    run.uChannels = uChannels;
    for (size_t sizeFrom = 0; sizeFrom < uChannelBytes; sizeFrom += run.sizeBytes) {
        const size_t sizeHalf = SetRun(sizeFrom);
        (sizeHalf != 0 ? PLAIN : kernels).fnDecode(run);
    }
}

// Prepares the longest run from a byte on. Returns how many of its samples are special.
size_t clDSTFrameDecoder::SetRun(size_t sizeFrom)
{
    size_t sizeEnd = uChannelBytes;
    size_t sizeMostHalf = 0;
    for (size_t c = 0; c < uChannels; ++c) {
        run_t::channel_t &channel = run.aChannels[c];
        const segments_t &filters = header.aFilterSegments[c];
        const segments_t &tables = header.aTableSegments[c];
        const size_t sizeFilter = FindSegment(filters, sizeFrom);
        const size_t sizeTable = FindSegment(tables, sizeFrom);
        channel.pFilter = &aFilters[filters.auNumber[sizeFilter]];
        channel.pTable = aTables.data() + tables.auNumber[sizeTable] * TABLE_SIZE + TABLE_CENTRE;
        channel.pBits = GetBits(c) + sizeFrom;
        const size_t sizeHalf =
            header.abHalf[c] ? header.aFilters[filters.auNumber[0]].sizeCount : 0;
        channel.sizeHalf = sizeHalf - std::min(sizeHalf, 8 * sizeFrom);
        sizeMostHalf = std::max(sizeMostHalf, channel.sizeHalf);
        sizeEnd = GetSegmentEnd(filters, sizeFilter, sizeEnd);
        sizeEnd = GetSegmentEnd(tables, sizeTable, sizeEnd);
    }
    run.sizeBytes = sizeEnd - sizeFrom;
    if (sizeMostHalf != 0) {
        run.sizeBytes = std::min(run.sizeBytes, (sizeMostHalf + 7) / 8);
    }
    return sizeMostHalf;
}

uint8_t *clDSTFrameDecoder::GetBits(size_t sizeChIdx)
{
    return aBits.data() + sizeChIdx * (HISTORY + uChannelBytes) + HISTORY;
}
