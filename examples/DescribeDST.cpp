#include "examples/DescribeDST.h"

#include "examples/clDSTModel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace
{

constexpr size_t TABLE_SIZE = 64;
// The filter's sum for a sample that is sure, eight times the index in the table. Coefficients of
// +-1.0 fit their range then.
constexpr double SCALE = 256.0;
// Added to the signal's power, as noise would; else a periodic signal leads to division by zero.
constexpr double NOISE = 1e-5;

bool SampleOf(const std::vector<uint8_t> &aSound, size_t uSample, unsigned uChIdx,
              unsigned uChannels)
{
    return (aSound[uSample / 8 * uChannels + uChIdx] >> (7 - uSample % 8) & 1) != 0;
}

// The autocorrelation of samples of +-1 for the distances 0 to uOrder, per sample.
std::vector<double> Correlate(const std::vector<bool> &aSamples, unsigned uOrder)
{
    // 64 samples in a word, so that it compares as many at once.
    std::vector<uint64_t> aWords(aSamples.size() / 64 + 1);
    for (size_t u = 0; u < aSamples.size(); u++) {
        aWords[u / 64] |= uint64_t{aSamples[u]} << u % 64;
    }
    const auto wordAt = [&](size_t uSample) {
        const size_t uWord = uSample / 64;
        const uint64_t uNext = uWord + 1 < aWords.size() ? aWords[uWord + 1] : 0;
        return uSample % 64 == 0 ? aWords[uWord]
                                 : aWords[uWord] >> uSample % 64 | uNext << (64 - uSample % 64);
    };
    std::vector<double> aSums;
    for (size_t uDistance = 0; uDistance <= uOrder && uDistance < aSamples.size(); uDistance++) {
        const size_t sizePairs = aSamples.size() - uDistance;
        size_t sizeDifferent = 0;
        for (size_t u = 0; u < sizePairs; u += 64) {
            uint64_t uDifferent = wordAt(u) ^ wordAt(u + uDistance);
            if (sizePairs - u < 64) {
                uDifferent &= (uint64_t{1} << (sizePairs - u)) - 1;
            }
            sizeDifferent += static_cast<size_t>(std::popcount(uDifferent));
        }
        aSums.push_back(
            (static_cast<double>(sizePairs) - 2.0 * static_cast<double>(sizeDifferent)) /
            static_cast<double>(aSamples.size()));
    }
    aSums.resize(uOrder + 1);
    return aSums;
}

// Levinson-Durbin: the weights of the last samples, the newest first, that predict the next best.
std::vector<double> Predictor(const std::vector<double> &aSums)
{
    std::vector<double> aWeights;
    double dPower = aSums[0] + NOISE;
    for (size_t uOrder = 0; uOrder + 1 < aSums.size(); uOrder++) {
        double dRest = aSums[uOrder + 1];
        for (size_t u = 0; u < uOrder; u++) {
            dRest -= aWeights[u] * aSums[uOrder - u];
        }
        const double dReflection = dRest / dPower;
        const std::vector<double> aBefore = aWeights;
        for (size_t u = 0; u < uOrder; u++) {
            aWeights[u] -= dReflection * aBefore[uOrder - 1 - u];
        }
        aWeights.push_back(dReflection);
        dPower *= 1.0 - dReflection * dReflection;
    }
    return aWeights;
}

std::vector<int> Quantise(const std::vector<double> &aWeights)
{
    double dLargest = 0.0;
    for (const double dWeight : aWeights) {
        dLargest = std::max(dLargest, std::abs(dWeight));
    }
    const double dScale = std::min(SCALE, 255.0 / std::max(dLargest, 1e-9));
    std::vector<int> aCoefficients;
    aCoefficients.reserve(aWeights.size());
    for (const double dWeight : aWeights) {
        aCoefficients.push_back(static_cast<int>(std::lround(dWeight * dScale)));
    }
    return aCoefficients;
}

// The table that fits how often the channel's predictions are wrong.
dst_list MakeTable(const dst_frame &frame, unsigned uChIdx, const std::vector<bool> &aSamples)
{
    std::vector<std::pair<uint64_t, uint64_t>> aCounts; // samples and errors by index
    clDSTModel model(frame, uChIdx);
    for (const bool bOne : aSamples) {
        const clDSTModel::prediction prediction = model.Predict();
        const size_t uIndex = std::min<size_t>(prediction.uIndex, TABLE_SIZE - 1);
        aCounts.resize(std::max(aCounts.size(), uIndex + 1));
        aCounts[uIndex].first++;
        aCounts[uIndex].second += bOne != prediction.bOne ? 1 : 0;
        model.Push(bOne);
    }
    dst_list table;
    for (const auto &[uSamples, uErrors] : aCounts) {
        // An index without samples says nothing: its entry may be any, and a small step is short.
        const uint64_t uEntry = (256 * uErrors + uSamples / 2) / std::max<uint64_t>(uSamples, 1);
        table.aEntries.push_back(uSamples == 0 && !table.aEntries.empty()
                                     ? table.aEntries.back()
                                     : static_cast<int>(std::clamp<uint64_t>(uEntry, 1, 128)));
    }
    // A table of one entry would mean one half.
    table.aEntries.resize(std::max<size_t>(table.aEntries.size(), 2), table.aEntries.back());
    return table;
}

} // namespace

dst_frame DescribeDST(const clDSTEncoder &encoder, const std::vector<uint8_t> &aSound,
                      unsigned uOrder)
{
    const unsigned uChannels = encoder.GetChannels();
    dst_frame frame;
    frame.aHalf.assign(uChannels, false);
    frame.filters.bSameNumbers = false;
    frame.filters.aNumbers.clear();
    for (unsigned uChIdx = 0; uChIdx < uChannels; uChIdx++) {
        std::vector<bool> aSamples(8 * aSound.size() / uChannels);
        for (size_t u = 0; u < aSamples.size(); u++) {
            aSamples[u] = SampleOf(aSound, u, uChIdx, uChannels);
        }
        frame.filters.aNumbers.push_back({uChIdx});
        frame.filters.aLists.push_back({Quantise(Predictor(Correlate(aSamples, uOrder)))});
        // The model that counts the errors needs some table.
        frame.tables.aLists.push_back({{128}});
        frame.tables.aLists.back() = MakeTable(frame, uChIdx, aSamples);
        ChooseCoding(frame.filters.aLists.back(), dst_kind_t::FILTERS);
        ChooseCoding(frame.tables.aLists.back(), dst_kind_t::TABLES);
    }
    return frame;
}

void ChooseCoding(dst_list &list, dst_kind_t eKind)
{
    list.bCoded = false;
    dst_list best = list;
    size_t sizeBest = clDSTEncoder::CountBits(list, eKind);
    list.bCoded = true;
    for (list.uMethod = 0; list.uMethod < std::min<size_t>(3, list.aEntries.size());
         list.uMethod++) {
        for (list.uLowBits = 0; list.uLowBits < 8; list.uLowBits++) {
            const size_t sizeBits = clDSTEncoder::CountBits(list, eKind);
            if (sizeBits < sizeBest) {
                sizeBest = sizeBits;
                best = list;
            }
        }
    }
    list = best;
}

std::vector<uint8_t> CompressDST(const clDSTEncoder &encoder, const std::vector<uint8_t> &aSound)
{
    std::vector<uint8_t> aFrame = encoder.Encode(DescribeDST(encoder, aSound), aSound);
    if (aFrame.size() <= aSound.size()) {
        return aFrame;
    }
    dst_frame plain;
    plain.bPlain = true;
    return encoder.Encode(plain, aSound);
}
