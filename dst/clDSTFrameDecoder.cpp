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

constexpr list_t<MAX_TABLE> HALF_TABLE = {1, {ONE_HALF}};

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
      aFilters(2 * size_t{uChannelCount}),
      pRun(std::make_unique<run_t>())
{
}

void clDSTFrameDecoder::Decode(const uint8_t *cpFrame, uint64_t uSize, uint8_t *pSound)
{
    std::copy_n(cpFrame, uSize, aFrame.begin());
    std::fill_n(aFrame.begin() + static_cast<ptrdiff_t>(uSize), PADDING, uint8_t{0});
    ReadHeader(uSize);
    SetFilters();
    StartCode(pRun->coder, aFrame.data(), uSize, header.uCodeBit);
    Decide(pRun->coder, FirstProbability(header.aFilters[0]));
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
    const coder_t &coder = pRun->coder;
    const uint64_t uUsed = GetCodeBit(coder);
    const auto uFrameBits = 8 * static_cast<uint64_t>(coder.cpEnd - coder.cpFrame);
    return uUsed - std::min(uUsed, uFrameBits);
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

void clDSTFrameDecoder::SetFilters()
{
    iMostSum = 0;
    for (size_t i = 0; i < header.sizeFilters; ++i) {
        SetFilter(aFilters[i], header.aFilters[i]);
        iMostSum = std::max(iMostSum, aFilters[i].iMost);
    }
}

void clDSTFrameDecoder::DecodeBits()
{
    run_t &run = *pRun;
    run.uChannels = uChannels;
    for (channel_t &channel : run.aChannels) {
        channel.pFilter = nullptr;
        channel.pTable = nullptr;
    }
    for (size_t sizeFrom = 0; sizeFrom < uChannelBytes; sizeFrom += run.sizeBytes) {
        size_t sizeEnd = uChannelBytes;
        bool bPlain = false;
        for (size_t c = 0; c < uChannels; ++c) {
            SetChannel(c, sizeFrom, sizeEnd);
            bPlain = bPlain || run.aChannels[c].sizeHalf != 0;
        }
        run.sizeBytes = sizeEnd - sizeFrom;
        (bPlain ? PLAIN : kernels).fnDecode(run);
    }
}

// Prepares a channel for a run from a byte on, and shortens the run to where it changes.
void clDSTFrameDecoder::SetChannel(size_t sizeChIdx, size_t sizeFrom, size_t &sizeEnd)
{
    channel_t &channel = pRun->aChannels[sizeChIdx];
    const segments_t &filters = header.aFilterSegments[sizeChIdx];
    const segments_t &tables = header.aTableSegments[sizeChIdx];
    const size_t sizeFilter = FindSegment(filters, sizeFrom);
    const size_t sizeTable = FindSegment(tables, sizeFrom);
    const filter_t &filter = aFilters[filters.auNumber[sizeFilter]];
    const list_t<MAX_TABLE> *pTable = &header.aTables[tables.auNumber[sizeTable]];
    sizeEnd = GetSegmentEnd(filters, sizeFilter, sizeEnd);
    sizeEnd = GetSegmentEnd(tables, sizeTable, sizeEnd);

    // The samples that use ONE_HALF are whole bytes, which have a table of their own, and perhaps
    // a part of one.
    const size_t sizeHalf =
        header.abHalf[sizeChIdx] ? header.aFilters[filters.auNumber[0]].sizeCount : 0;
    channel.sizeHalf = 0;
    if (sizeFrom < sizeHalf / 8) {
        pTable = &HALF_TABLE;
        sizeEnd = std::min(sizeEnd, sizeHalf / 8);
    } else if (8 * sizeFrom < sizeHalf) {
        channel.sizeHalf = sizeHalf - 8 * sizeFrom;
        sizeEnd = sizeFrom + 1;
    }

    if (channel.pFilter != &filter) {
        SetChannelFilter(channel, filter);
    }
    if (channel.pTable != pTable) {
        SetChannelTable(channel, *pTable, iMostSum);
    }
    channel.pBits = GetBits(sizeChIdx) + sizeFrom;
}

uint8_t *clDSTFrameDecoder::GetBits(size_t sizeChIdx)
{
    return aBits.data() + sizeChIdx * (HISTORY + uChannelBytes) + HISTORY;
}
