#include "dst/DSTKernels.h"

#include "kernels/SupportedSets.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#define VANTREL_TARGET
#include "dst/DSTKernelsVector.h"

namespace
{

using namespace DSTKernels;

// From the definitions, bit by bit.
void DecodePlain(run_t &run) noexcept
{
    for (size_t i = 0; i < 8 * run.sizeBytes; ++i) {
        for (uint32_t uChIdx = 0; uChIdx < run.uChannels; ++uChIdx) {
            const channel_t &channel = run.aChannels[uChIdx];
            uint8_t *pByte = channel.pBits + i / 8;
            int32_t iSum = 0;
            for (size_t sizeAge = 0; sizeAge < SUMS; ++sizeAge) {
                const size_t sizeAt = 8 * HISTORY + i - 1 - sizeAge;
                const bool bBit =
                    (*(channel.pBits + sizeAt / 8 - HISTORY) << sizeAt % 8 & 0x80) != 0;
                const int32_t iCoefficient = channel.pFilter->aiCoefficients[sizeAge];
                iSum += bBit ? iCoefficient : -iCoefficient;
            }
            const uint32_t uPrediction =
                channel.auPredictions[static_cast<ptrdiff_t>(channel_t::CENTRE) + iSum];
            const uint32_t uProbability =
                i < channel.sizeHalf ? DST::ONE_HALF : uPrediction % (1 << PREDICTION_SHIFT);
            const bool bBit =
                Decide(run.coder, uProbability) == (uPrediction >> PREDICTION_SHIFT != 0);
            const auto uMask = static_cast<uint8_t>(0x80 >> i % 8);
            *pByte = static_cast<uint8_t>(bBit ? *pByte | uMask : *pByte & ~uMask);
        }
        if (i % 8 == 7) {
            SkipZeros(run.coder); // As often as the other sets, which shows in bCut.
        }
    }
}

/** What works on every processor, and what compilers make vector code of. */
struct clTables {
    static void Advance(int16_t *__restrict pSums, const int16_t *pNewer, const int16_t *pOlder)
    {
        for (size_t i = 0; i < SUMS; ++i) {
            pSums[i] = static_cast<int16_t>(pSums[i + 8] + pNewer[i] + pOlder[i]);
        }
    }
};

// Four at a time: filters with large sums have long tables.
void Fill(uint16_t *pEntries, size_t sizeCount, uint16_t uEntry)
{
    const uint64_t uFour = uEntry * uint64_t{0x0001000100010001};
    for (; sizeCount >= 4; sizeCount -= 4, pEntries += 4) {
        std::memcpy(pEntries, &uFour, sizeof(uFour));
    }
    std::fill_n(pEntries, sizeCount, uEntry);
}

} // namespace

const DSTKernels::set_t DSTKernels::PLAIN = {"plain", IsAlwaysSupported, DecodePlain};
const DSTKernels::set_t DSTKernels::TABLES = {"tables", IsAlwaysSupported, DecodeAnyRun<clTables>};

void DSTKernels::SetFilter(filter_t &filter,
                           const DST::list_t<DST::MAX_ORDER> &coefficients) noexcept
{
    std::array<int16_t, SUMS + 8> &aiCoefficients = filter.aiCoefficients;
    aiCoefficients.fill(0);
    std::copy_n(coefficients.aiEntries.begin(), coefficients.sizeCount, aiCoefficients.begin());
    // Only sums of this filter reach 32768, which does not fit 16 bits. Those with -255 are 0 for
    // the same bits, and all others are beyond the longest table as well.
    if (std::all_of(aiCoefficients.begin(), aiCoefficients.begin() + SUMS,
                    [](int16_t iCoefficient) { return iCoefficient == -256; })) {
        std::fill_n(aiCoefficients.begin(), SUMS, static_cast<int16_t>(-255));
    }
    filter.iMost = 0;
    for (const int16_t iCoefficient : aiCoefficients) {
        filter.iMost += std::abs(iCoefficient);
    }

    constexpr size_t USED = filter_t::ROW - filter_t::HALF_BYTE;
    for (size_t i = 0; i < USED; ++i) {
        filter.aaiRows[0][i] = static_cast<int16_t>(-aiCoefficients[i] - aiCoefficients[i + 1] -
                                                    aiCoefficients[i + 2] - aiCoefficients[i + 3]);
    }
    for (size_t sizeBits = 1; sizeBits < 16; ++sizeBits) {
        // One bit more than in a row that is there; the lowest is the newest.
        const int16_t *pFewer = filter.aaiRows[sizeBits & (sizeBits - 1)];
        const int16_t *pAdded = &aiCoefficients[static_cast<size_t>(std::countr_zero(sizeBits))];
        for (size_t i = 0; i < USED; ++i) {
            filter.aaiRows[sizeBits][i] = static_cast<int16_t>(pFewer[i] + 2 * pAdded[i]);
        }
    }

    filter.aiNewest[1] = 0;
    for (size_t sizeAge = 0; sizeAge < 8; ++sizeAge) {
        // One more bit before those that are there, which are the last half of these entries.
        const int16_t *pFewer = filter.aiNewest + (size_t{1} << sizeAge);
        int16_t *pClear = filter.aiNewest + (size_t{2} << sizeAge);
        int16_t *pSet = pClear + (size_t{1} << sizeAge);
        for (size_t i = 0; i < size_t{1} << sizeAge; ++i) {
            pClear[i] = static_cast<int16_t>(pFewer[i] - aiCoefficients[sizeAge]);
            pSet[i] = static_cast<int16_t>(pFewer[i] + aiCoefficients[sizeAge]);
        }
    }
}

void DSTKernels::SetChannelFilter(channel_t &channel, const filter_t &filter) noexcept
{
    channel.pFilter = &filter;
    std::copy(std::begin(filter.aiNewest), std::end(filter.aiNewest), channel.aiNewest);
}

void DSTKernels::SetChannelTable(channel_t &channel,
                                 const DST::list_t<DST::MAX_TABLE> &probabilities,
                                 int32_t iMost) noexcept
{
    channel.pTable = &probabilities;
    // Eight sizes of sums share an entry; those beyond the table share its last one.
    const auto sizeEnd = static_cast<size_t>(iMost) + 1;
    uint16_t *pCentre = channel.auPredictions + channel_t::CENTRE;
    size_t sizeSum = 0;
    for (size_t i = 0; i < probabilities.sizeCount && sizeSum < sizeEnd; ++i) {
        const bool bLast = i + 1 == probabilities.sizeCount;
        const size_t sizeNext = bLast ? sizeEnd : std::min(sizeSum + 8, sizeEnd);
        const auto uEntry = static_cast<uint16_t>(probabilities.aiEntries[i]);
        Fill(pCentre - (sizeNext - 1), sizeNext - sizeSum, uEntry);
        Fill(pCentre + sizeSum, sizeNext - sizeSum,
             static_cast<uint16_t>(uEntry | 1 << PREDICTION_SHIFT));
        sizeSum = sizeNext;
    }
}

void DSTKernels::StartCode(coder_t &coder, const uint8_t *cpFrame, uint64_t uSize,
                           uint64_t uBit) noexcept
{
    coder = {};
    coder.cpFrame = cpFrame;
    coder.cpEnd = cpFrame + uSize;
    coder.cpNext = cpFrame + uBit / 8;
    coder.uInterval = uint64_t{4095} << coder_t::SHIFT;
    Refill(coder);
    coder.uValue <<= uBit % 8;
    coder.uFilled -= uBit % 8;
    SkipZeros(coder);
}

uint64_t DSTKernels::GetCodeBit(const coder_t &coder) noexcept
{
    const auto uNext = static_cast<uint64_t>(coder.cpNext - coder.cpFrame) + coder.uSkipped;
    return 8 * uNext - coder.uFilled + (64 - coder_t::SHIFT);
}

bool DSTKernels::Decide(coder_t &coder, uint32_t uProbability) noexcept
{
    Refill(coder);
    uint64_t uInterval = coder.uInterval >> coder_t::SHIFT;
    const uint64_t uWrong = (uInterval >> 8 | (uInterval >> 7 & 1)) * uProbability;
    const uint64_t uRight = uInterval - uWrong;
    const bool bRight = coder.uValue >> coder_t::SHIFT < uRight;
    coder.uValue -= bRight ? 0 : uRight << coder_t::SHIFT;
    for (uInterval = bRight ? uRight : uWrong; uInterval < 2048; uInterval *= 2) {
        coder.uValue *= 2;
        --coder.uFilled;
    }
    coder.uInterval = uInterval << coder_t::SHIFT;
    return bRight;
}

std::vector<const DSTKernels::set_t *> DSTKernels::GetSets()
{
    return SupportedSets(SETS);
}

const DSTKernels::set_t &DSTKernels::GetFastest() noexcept
{
    static const set_t &fastest = FastestSet(SETS);
    return fastest;
}
