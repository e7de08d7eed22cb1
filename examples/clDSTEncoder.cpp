#include "examples/clDSTEncoder.h"

#include "examples/clDSTModel.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace
{

// What filters and tables write differently.
struct form {
    uint32_t uLeast;      // bytes of the shortest segment
    size_t sizeSegments;  // at most, per channel
    unsigned uLengthBits; // of the number of entries less one
    unsigned uEntryBits;
    int iBias; // subtracted from an entry that is written as it is
    int iMin;
    int iMax;
    std::array<std::array<int, 3>, 3> aWeights; // by method; the entry before first
};

constexpr form FILTER_FORM = {128, 4, 7, 9, 0, -256, 255, {{{-8, 0, 0}, {-16, 8, 0}, {-9, -5, 6}}}};
constexpr form TABLE_FORM = {4, 8, 6, 7, 1, 1, 128, {{{-8, 0, 0}, {-16, 8, 0}, {-24, 24, -8}}}};

constexpr unsigned METHODS = 3;
constexpr unsigned CODE_BITS = 12;

const form &FormOf(dst_kind_t eKind)
{
    return eKind == dst_kind_t::FILTERS ? FILTER_FORM : TABLE_FORM;
}

const dst_part &PartOf(const dst_frame &frame, dst_kind_t eKind)
{
    return eKind == dst_kind_t::FILTERS ? frame.filters : frame.tables;
}

void Require(bool bTrue, const char *cpText)
{
    if (!bTrue) {
        throw std::invalid_argument(cpText);
    }
}

unsigned BitLength(uint64_t uValue)
{
    return static_cast<unsigned>(std::bit_width(uValue));
}

/** Bits one after the other, the first one in the highest bit of the first byte. */
class clBits
{
public:
    // The lowest uCount bits of the value, the highest of them first.
    void Put(uint64_t uValue, unsigned uCount)
    {
        while (uCount-- > 0) {
            if (sizeBits % 8 == 0) {
                aBytes.push_back(0);
            }
            const unsigned uBit = uValue >> uCount & 1;
            aBytes.back() = static_cast<uint8_t>(aBytes.back() | uBit << (7 - sizeBits % 8));
            sizeBits++;
        }
    }

    void PutSigned(int iValue, unsigned uCount) { Put(static_cast<uint64_t>(iValue), uCount); }
    void PutFlag(bool bValue) { Put(bValue ? 1 : 0, 1); }

    // Adds one to the number that all bits are.
    void Increment()
    {
        bool bCarry = true;
        for (size_t sizeBit = sizeBits; bCarry && sizeBit-- > 0;) {
            const unsigned uMask = 0x80U >> sizeBit % 8;
            aBytes[sizeBit / 8] = static_cast<uint8_t>(aBytes[sizeBit / 8] ^ uMask);
            bCarry = (aBytes[sizeBit / 8] & uMask) == 0;
        }
    }

    size_t GetSize() const { return sizeBits; }
    std::vector<uint8_t> Take() { return std::move(aBytes); }

private:
    std::vector<uint8_t> aBytes;
    size_t sizeBits = 0;
};

/**
 * Writes decisions as the place of an interval in the interval of all codes. What a later decision
 * adds to the place may carry into bits that are written; the first bit, a zero, ends every carry.
 */
class clDecisionCoder
{
public:
    explicit clDecisionCoder(clBits &bitsOut) : bits(bitsOut) { bits.Put(0, 1); }

    // uProbability is that of a decision that is not good.
    void Put(bool bGood, unsigned uProbability)
    {
        const unsigned uStep = uInterval >> 8 | (uInterval >> 7 & 1);
        const unsigned uBad = uStep * uProbability;
        if (bGood) {
            uInterval -= uBad;
        } else {
            Advance(uInterval - uBad);
            uInterval = uBad;
        }
        while (uInterval < LIMIT / 2) {
            bits.Put(uPlace >> (CODE_BITS - 1), 1);
            uPlace = uPlace << 1 & (LIMIT - 1);
            uInterval <<= 1;
        }
    }

    // Every place within the interval is the same to a decoder: takes the one with most zeros.
    void Finish()
    {
        unsigned uZeros = CODE_BITS;
        while ((uPlace + uInterval - 1) >> uZeros << uZeros < uPlace) {
            uZeros--;
        }
        Advance(((uPlace + uInterval - 1) >> uZeros << uZeros) - uPlace);
        bits.Put(uPlace, CODE_BITS);
    }

private:
    static constexpr unsigned LIMIT = 1U << CODE_BITS;

    void Advance(unsigned uDistance)
    {
        uPlace += uDistance;
        if (uPlace >= LIMIT) {
            bits.Increment();
            uPlace -= LIMIT;
        }
    }

    clBits &bits;
    unsigned uInterval = LIMIT - 1;
    unsigned uPlace = 0;
};

void PutSegments(clBits &bits, const dst_part &part, uint32_t uLeast, uint32_t uBytes)
{
    // Only a broken description leaves less than nothing.
    const auto room = [](int64_t lRoom) {
        return static_cast<uint64_t>(std::max<int64_t>(lRoom, 0));
    };
    const uint32_t uResolution = std::max(part.uResolution, 1U);
    const int64_t lWhole = int64_t{uBytes} - uLeast;
    bool bResolution = false;
    bits.PutFlag(part.bSameSegments);
    for (const std::vector<uint32_t> &aLengths : part.aSegments) {
        int64_t lRoom = lWhole;
        for (const uint32_t uLength : aLengths) {
            bits.PutFlag(false);
            if (!bResolution) {
                bits.Put(part.uResolution, BitLength(room(lWhole)));
                bResolution = true;
            }
            bits.Put(uLength / uResolution, BitLength(room(lRoom) / uResolution));
            lRoom -= uLength;
        }
        bits.PutFlag(true);
    }
}

void PutNumbers(clBits &bits, const dst_part &part)
{
    bits.PutFlag(part.bSameNumbers);
    bool bFirst = true;
    uint64_t uCount = 1;
    for (const std::vector<uint32_t> &aRow : part.aNumbers) {
        for (const uint32_t uNumber : aRow) {
            if (!bFirst) {
                bits.Put(uNumber, BitLength(uCount));
                uCount += uNumber == uCount ? 1 : 0;
            }
            bFirst = false;
        }
    }
}

void PutList(clBits &bits, const dst_list &list, const form &form)
{
    const std::vector<int> &aEntries = list.aEntries;
    bits.Put(aEntries.size() - 1, form.uLengthBits);
    if (&form == &TABLE_FORM && aEntries.size() == 1) {
        return;
    }
    bits.PutFlag(list.bCoded);
    size_t sizePlain = aEntries.size();
    if (list.bCoded) {
        bits.Put(list.uMethod, 2);
        sizePlain = std::min<size_t>(sizePlain, list.uMethod + 1);
    }
    for (size_t u = 0; u < sizePlain; u++) {
        bits.PutSigned(aEntries[u] - form.iBias, form.uEntryBits);
    }
    if (!list.bCoded) {
        return;
    }
    bits.Put(list.uLowBits, 3);
    for (size_t u = sizePlain; u < aEntries.size() && list.uMethod < METHODS; u++) {
        int iSum = 0;
        for (size_t uBack = 0; uBack <= list.uMethod; uBack++) {
            iSum += form.aWeights[list.uMethod][uBack] * aEntries[u - 1 - uBack];
        }
        const int iDifference = aEntries[u] + (iSum >= 0 ? (iSum + 4) / 8 : -((3 - iSum) / 8));
        const auto uSize = static_cast<unsigned>(std::abs(iDifference));
        for (unsigned uHigh = uSize >> list.uLowBits; uHigh > 0; uHigh--) {
            bits.Put(0, 1);
        }
        bits.Put(1, 1);
        bits.Put(uSize, list.uLowBits);
        if (iDifference != 0) {
            bits.PutFlag(iDifference < 0);
        }
    }
}

void PutHeader(clBits &bits, const dst_frame &frame, uint32_t uBytes)
{
    bits.PutFlag(true); // not plain
    bits.PutFlag(frame.bSameSegmentation);
    PutSegments(bits, frame.filters, FILTER_FORM.uLeast, uBytes);
    if (!frame.bSameSegmentation) {
        PutSegments(bits, frame.tables, TABLE_FORM.uLeast, uBytes);
    }
    bits.PutFlag(frame.bSameMapping);
    PutNumbers(bits, frame.filters);
    if (!frame.bSameMapping) {
        PutNumbers(bits, frame.tables);
    }
    for (const bool bHalf : frame.aHalf) {
        bits.PutFlag(bHalf);
    }
    for (const dst_list &list : frame.filters.aLists) {
        PutList(bits, list, FILTER_FORM);
    }
    for (const dst_list &list : frame.tables.aLists) {
        PutList(bits, list, TABLE_FORM);
    }
}

// The free bit is coded with the lowest seven bits of a coefficient in reverse order.
unsigned FreeBitProbability(int iCoefficient)
{
    unsigned uReverse = 0;
    for (unsigned u = 0; u < 7; u++) {
        uReverse = uReverse << 1 | (static_cast<unsigned>(iCoefficient) >> u & 1);
    }
    return uReverse + 1;
}

void CheckList(const dst_list &list, const form &form)
{
    const std::vector<int> &aEntries = list.aEntries;
    const size_t sizeMost = size_t{1} << form.uLengthBits;
    Require(!aEntries.empty() && aEntries.size() <= sizeMost, "DST: wrong number of entries");
    Require(std::ranges::all_of(
                aEntries, [&](int iEntry) { return iEntry >= form.iMin && iEntry <= form.iMax; }),
            "DST: an entry is out of range");
    if (&form == &TABLE_FORM && aEntries.size() == 1) {
        Require(aEntries[0] == 128, "DST: the only entry of a table is 128");
    } else if (list.bCoded) {
        Require(list.uMethod < METHODS && list.uMethod < aEntries.size(), "DST: wrong method");
        Require(list.uLowBits < 8, "DST: too many low bits");
    }
}

} // namespace

clDSTEncoder::clDSTEncoder(unsigned uChannelCount, uint32_t uSampleRate)
    : uChannels(uChannelCount),
      uBytes(BytesPerChannel(uSampleRate))
{
    Require(uChannels >= 1 && uChannels <= MAX_CHANNELS, "DST: 1 to 6 channels");
    Require(uBytes > 0 && uSampleRate % (8 * FRAMES_PER_SECOND) == 0,
            "DST: the rate is no multiple of 600 Hz");
}

std::vector<uint8_t> clDSTEncoder::Encode(const dst_frame &frame,
                                          const std::vector<uint8_t> &aSound) const
{
    Require(aSound.size() == GetSoundSize(), "DST: the sound is not one frame");
    if (frame.bPlain) {
        std::vector<uint8_t> aFrame = {static_cast<uint8_t>(frame.bFreeBit ? 0x40 : 0)};
        aFrame.insert(aFrame.end(), aSound.begin(), aSound.end());
        return aFrame;
    }
    Check(frame);
    clBits bits;
    PutHeader(bits, frame, uBytes);
    const size_t sizeHeader = bits.GetSize();

    clDecisionCoder coder(bits);
    coder.Put(frame.bFreeBit, FreeBitProbability(frame.filters.aLists[0].aEntries[0]));
    std::vector<clDSTModel> aModels;
    for (unsigned uChIdx = 0; uChIdx < uChannels; uChIdx++) {
        aModels.emplace_back(frame, uChIdx);
    }
    for (size_t uSample = 0; uSample < size_t{8} * uBytes; uSample++) {
        const uint8_t *cpBytes = &aSound[uSample / 8 * uChannels];
        for (clDSTModel &model : aModels) {
            const bool bOne = (*cpBytes++ >> (7 - uSample % 8) & 1) != 0;
            const clDSTModel::prediction prediction = model.Predict();
            coder.Put(bOne == prediction.bOne, prediction.uProbability);
            model.Push(bOne);
        }
    }
    coder.Finish();

    std::vector<uint8_t> aFrame = bits.Take();
    const size_t sizeLeast = std::max<size_t>((sizeHeader + 7) / 8, 2);
    while (!frame.bKeepZeros && aFrame.size() > sizeLeast && aFrame.back() == 0) {
        aFrame.pop_back();
    }
    return aFrame;
}

std::vector<uint8_t> clDSTEncoder::EncodeHeader(const dst_frame &frame) const
{
    clBits bits;
    PutHeader(bits, frame, uBytes);
    return bits.Take();
}

size_t clDSTEncoder::CountBits(const dst_list &list, dst_kind_t eKind)
{
    clBits bits;
    PutList(bits, list, FormOf(eKind));
    return bits.GetSize();
}

uint32_t clDSTEncoder::CheckValue(const std::vector<uint8_t> &aSound) noexcept
{
    constexpr uint32_t POLYNOMIAL = 0x80000011;
    uint32_t uValue = 0;
    for (const uint8_t uByte : aSound) {
        uValue ^= uint32_t{uByte} << 24;
        for (unsigned u = 0; u < 8; u++) {
            uValue = uValue << 1 ^ ((uValue >> 31) != 0 ? POLYNOMIAL : 0);
        }
    }
    return uValue;
}

void clDSTEncoder::Check(const dst_frame &frame) const
{
    Require(frame.aHalf.size() == uChannels, "DST: one half-probability flag per channel");
    for (const dst_kind_t eKind : {dst_kind_t::FILTERS, dst_kind_t::TABLES}) {
        if (eKind == dst_kind_t::FILTERS || !frame.bSameSegmentation) {
            CheckSegments(PartOf(frame, eKind), eKind);
        }
    }
    for (const dst_kind_t eKind : {dst_kind_t::FILTERS, dst_kind_t::TABLES}) {
        CheckNumbers(frame, eKind);
        for (const dst_list &list : PartOf(frame, eKind).aLists) {
            CheckList(list, FormOf(eKind));
        }
    }
}

void clDSTEncoder::CheckSegments(const dst_part &part, dst_kind_t eKind) const
{
    const form &form = FormOf(eKind);
    Require(part.aSegments.size() == (part.bSameSegments ? 1 : uChannels),
            "DST: segments for other channels");
    for (const std::vector<uint32_t> &aLengths : part.aSegments) {
        Require(aLengths.size() < form.sizeSegments, "DST: too many segments");
        uint64_t uLeft = uBytes;
        for (const uint32_t uLength : aLengths) {
            Require(uLength >= form.uLeast && uLength + uint64_t{form.uLeast} <= uLeft,
                    "DST: a segment is too short");
            Require(part.uResolution > 0 && part.uResolution <= uBytes - form.uLeast &&
                        uLength % part.uResolution == 0,
                    "DST: the resolution does not fit the segments");
            uLeft -= uLength;
        }
    }
}

void clDSTEncoder::CheckNumbers(const dst_frame &frame, dst_kind_t eKind) const
{
    const dst_part &part = frame.bSameMapping ? frame.filters : PartOf(frame, eKind);
    Require(part.aNumbers.size() == (part.bSameNumbers ? 1 : uChannels),
            "DST: numbers for other channels");
    for (unsigned uChIdx = 0; uChIdx < uChannels; uChIdx++) {
        Require(frame.Numbers(eKind, uChIdx).size() == frame.Segments(eKind, uChIdx).size() + 1,
                "DST: not one number per segment");
    }
    uint32_t uCount = 0;
    for (const std::vector<uint32_t> &aRow : part.aNumbers) {
        for (const uint32_t uNumber : aRow) {
            Require(uNumber <= uCount, "DST: a number is used before the one below it");
            uCount += uNumber == uCount ? 1 : 0;
        }
    }
    Require(uCount <= 2 * uChannels, "DST: too many filters or tables");
    Require(uCount == PartOf(frame, eKind).aLists.size(), "DST: not one list per number");
}
