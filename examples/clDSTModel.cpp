#include "examples/clDSTModel.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <limits>

clDSTModel::track::track(const dst_frame &frame, dst_kind_t eKind, unsigned uChannel)
    : aSegments(frame.Segments(eKind, uChannel)),
      aNumbers(frame.Numbers(eKind, uChannel))
{
    SetEnd();
}

void clDSTModel::track::SetEnd()
{
    // The last segment has no length; it lasts as long as the frame.
    uEnd = sizeSegment < aSegments.size() ? uEnd + uint64_t{8} * aSegments[sizeSegment]
                                          : std::numeric_limits<uint64_t>::max();
}

uint32_t clDSTModel::track::NumberAt(uint64_t uNow)
{
    if (uNow == uEnd) {
        sizeSegment++;
        SetEnd();
    }
    return aNumbers[sizeSegment];
}

clDSTModel::clDSTModel(const dst_frame &frame, unsigned uChannel)
    : aTables(frame.tables.aLists),
      filters(frame, dst_kind_t::FILTERS, uChannel),
      tables(frame, dst_kind_t::TABLES, uChannel)
{
    for (const dst_list &list : frame.filters.aLists) {
        aSums.push_back(MakeSums(list.aEntries));
    }
    const dst_list &first = frame.filters.aLists[filters.aNumbers[0]];
    uHalfEnd = frame.aHalf[uChannel] ? first.aEntries.size() : 0;
}

clDSTModel::prediction clDSTModel::Predict()
{
    const sums_t &aFilter = aSums[filters.NumberAt(uSample)];
    int iSum = 0;
    for (unsigned u = 0; u < 8; u++) {
        iSum += aFilter[u][uRecent >> 8 * u & 0xFF] + aFilter[u + 8][uOlder >> 8 * u & 0xFF];
    }
    const std::vector<int> &aEntries = aTables[tables.NumberAt(uSample)].aEntries;
    const uint32_t uIndex = static_cast<uint32_t>(std::abs(iSum)) >> 3;
    const int iEntry = aEntries[std::min<size_t>(uIndex, aEntries.size() - 1)];
    const unsigned uProbability = uSample < uHalfEnd ? 128 : static_cast<unsigned>(iEntry);
    return {iSum >= 0, uProbability, uIndex};
}

void clDSTModel::Push(bool bOne) noexcept
{
    uOlder = uOlder << 1 | uRecent >> 63;
    uRecent = uRecent << 1 | (bOne ? 1 : 0);
    uSample++;
}

clDSTModel::sums_t clDSTModel::MakeSums(const std::vector<int> &aCoefficients)
{
    sums_t aSums{};
    for (size_t uByte = 0; uByte < aSums.size(); uByte++) {
        const auto coefficient = [&](size_t uBit) {
            const size_t uPlace = 8 * uByte + uBit;
            return uPlace < aCoefficients.size() ? aCoefficients[uPlace] : 0;
        };
        for (size_t uBit = 0; uBit < 8; uBit++) {
            aSums[uByte][0] -= coefficient(uBit);
        }
        for (unsigned u = 1; u < 256; u++) {
            // Without its lowest one, the byte is one whose sum is known.
            const int iCoefficient = coefficient(static_cast<size_t>(std::countr_zero(u)));
            aSums[uByte][u] = aSums[uByte][u & (u - 1)] + 2 * iCoefficient;
        }
    }
    return aSums;
}
