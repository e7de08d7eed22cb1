#pragma once

#include "examples/clDSTEncoder.h"
#include "examples/clDSTModel.h"
#include "tests/support/Bytes.h"

#include <algorithm>
#include <initializer_list>
#include <random>

/** A frame, what it decodes to, and its bytes. */
struct dst_sample {
    dst_frame frame;
    bytes_t sound;
    bytes_t coded;
};

/**
 * Makes valid frames of every form at random, decided by the seed alone. Their sound comes out of
 * the description, with somewhat fewer wrong predictions than the tables announce.
 */
class DSTFrames
{
public:
    /** @param bSimple only frames that FFmpeg decodes: one segment, no plain ones, no short tables
     */
    DSTFrames(unsigned uSeed, unsigned uChannelCount, uint32_t uRate, bool bSimple = false)
        : encoder(uChannelCount, uRate),
          random(uSeed),
          uChannels(uChannelCount),
          uBytes(clDSTEncoder::BytesPerChannel(uRate)),
          bOnlySimple(bSimple)
    {
    }

    dst_sample Next()
    {
        for (;;) {
            dst_sample sample{MakeFrame(), Pattern(encoder.GetSoundSize()), {}};
            if (!sample.frame.bPlain) {
                MakeSound(sample);
            }
            sample.coded = encoder.Encode(sample.frame, sample.sound);
            if (sample.coded.size() <= sample.sound.size() + 1) {
                return sample;
            }
        }
    }

    /** A frame with random bytes for a code, which fit any header. */
    bytes_t NextWithRandomCode(size_t sizeCode)
    {
        for (;;) {
            dst_frame frame = MakeFrame();
            frame.bPlain = false;
            // The first bit of a code is 0.
            bytes_t coded = encoder.EncodeHeader(frame) + bytes_t{0};
            for (size_t i = 0; i < sizeCode; ++i) {
                coded.push_back(static_cast<uint8_t>(Between(0, 255)));
            }
            if (coded.size() <= encoder.GetSoundSize() + 1) {
                return coded;
            }
        }
    }

private:
    bool Chance(int iPercent) { return Between(1, 100) <= iPercent; }
    int Between(int iFirst, int iLast)
    {
        return iFirst + static_cast<int>(random() % static_cast<unsigned>(iLast - iFirst + 1));
    }
    template <class T>
    T OneOf(std::initializer_list<T> values)
    {
        return values.begin()[Between(0, static_cast<int>(values.size()) - 1)];
    }

    dst_frame MakeFrame()
    {
        dst_frame frame;
        frame.bPlain = !bOnlySimple && Chance(5);
        frame.bFreeBit = Chance(50);
        frame.bKeepZeros = Chance(50);
        frame.bSameSegmentation = bOnlySimple || Chance(40);
        MakeSegments(frame.filters, 128, 4);
        MakeSegments(frame.tables, 4, 8);
        frame.bSameMapping = Chance(40);
        for (unsigned u = 0; u < uChannels; u++) {
            frame.aHalf.push_back(Chance(40));
            frame.bSameMapping =
                frame.bSameMapping && CountSegments(frame, dst_kind_t::FILTERS, u) ==
                                          CountSegments(frame, dst_kind_t::TABLES, u);
        }
        size_t sizeLists = MakeNumbers(frame, frame.filters, dst_kind_t::FILTERS);
        while (frame.filters.aLists.size() < sizeLists) {
            frame.filters.aLists.push_back(MakeFilter());
        }
        if (!frame.bSameMapping) {
            sizeLists = MakeNumbers(frame, frame.tables, dst_kind_t::TABLES);
        }
        while (frame.tables.aLists.size() < sizeLists) {
            frame.tables.aLists.push_back(MakeTable());
        }
        return frame;
    }

    static size_t CountSegments(const dst_frame &frame, dst_kind_t eKind, unsigned uChannel)
    {
        return frame.Segments(eKind, uChannel).size() + 1;
    }

    void MakeSegments(dst_part &part, int iLeast, int iMost)
    {
        part.bSameSegments = bOnlySimple || Chance(40);
        const int iWhole = static_cast<int>(uBytes) - iLeast;
        part.aSegments.resize(part.bSameSegments ? 1 : uChannels);
        if (bOnlySimple || iWhole < iLeast) {
            return;
        }
        const int iStep = OneOf({1, iLeast, Between(1, iWhole), Between(1, 2 * iLeast)});
        part.uResolution = static_cast<uint32_t>(iStep);
        for (std::vector<uint32_t> &aLengths : part.aSegments) {
            int iRoom = iWhole;
            const int iFirst = (iLeast + iStep - 1) / iStep;
            for (int i = Between(1, iMost); i > 1 && iFirst <= iRoom / iStep; i--) {
                // Half of them short, so that there is room for all.
                const int iLast = Chance(50) ? iRoom / iStep : std::min(2 * iFirst, iRoom / iStep);
                const int iLength = iStep * Between(iFirst, iLast);
                aLengths.push_back(static_cast<uint32_t>(iLength));
                iRoom -= iLength;
            }
        }
    }

    size_t MakeNumbers(const dst_frame &frame, dst_part &part, dst_kind_t eKind)
    {
        part.bSameNumbers = Chance(40);
        for (unsigned u = 1; u < uChannels; u++) {
            part.bSameNumbers = part.bSameNumbers &&
                                CountSegments(frame, eKind, u) == CountSegments(frame, eKind, 0);
        }
        part.aNumbers.assign(part.bSameNumbers ? 1 : uChannels, {});
        uint32_t uCount = 0;
        for (unsigned uRow = 0; uRow < part.aNumbers.size(); uRow++) {
            while (part.aNumbers[uRow].size() < CountSegments(frame, eKind, uRow)) {
                // The next new one more often than at random, to reach the largest numbers.
                const uint32_t uLast = std::min(uCount, 2 * uChannels - 1);
                const uint32_t uNumber =
                    Chance(50) ? uLast : static_cast<uint32_t>(Between(0, static_cast<int>(uLast)));
                part.aNumbers[uRow].push_back(uNumber);
                uCount += uNumber == uCount ? 1 : 0;
            }
        }
        return uCount;
    }

    dst_list MakeFilter()
    {
        return MakeList(dst_kind_t::FILTERS, OneOf({1, 2, 3, 8, 127, 128, Between(1, 128)}), -256,
                        255);
    }

    dst_list MakeTable()
    {
        const int iLength = OneOf({1, 2, 3, 63, 64, Between(2, 64)});
        return iLength > 1   ? MakeList(dst_kind_t::TABLES, iLength, 1, OneOf({8, 40, 128}))
               : bOnlySimple ? MakeList(dst_kind_t::TABLES, 2, 1, 128)
                             : dst_list{{128}};
    }

    dst_list MakeList(dst_kind_t eKind, int iEntries, int iMin, int iMax)
    {
        // Anything, the ends of the range, or a walk in small steps or none, which codes well.
        const int iStyle = Between(0, 3);
        const int iStep = Between(0, 20);
        dst_list list;
        int iEntry = Between(iMin, iMax);
        while (static_cast<int>(list.aEntries.size()) < iEntries) {
            iEntry = iStyle == 0   ? Between(iMin, iMax)
                     : iStyle == 1 ? OneOf({iMin, iMax})
                                   : std::clamp(iEntry + Between(-iStep, iStep), iMin, iMax);
            list.aEntries.push_back(iEntry);
        }
        list.bCoded = Chance(70);
        list.uMethod = static_cast<unsigned>(Between(0, std::min(iEntries, 3) - 1));
        list.uLowBits = static_cast<unsigned>(Between(0, 7));
        if (clDSTEncoder::CountBits(list, eKind) > 4000) {
            list.bCoded = false; // else it might fill the frame
        }
        return list;
    }

    void MakeSound(dst_sample &sample)
    {
        // As tables announce, seldom, and never: a frame may then end with its last table.
        const unsigned uRange = OneOf({320U, 320U, 2000U, 0U});
        for (unsigned uChannel = 0; uChannel < uChannels; uChannel++) {
            clDSTModel model(sample.frame, uChannel);
            for (size_t u = 0; u < size_t{8} * uBytes; u++) {
                const clDSTModel::prediction prediction = model.Predict();
                const bool bWrong = uRange > 0 && random() % uRange < prediction.uProbability;
                const bool bOne = prediction.bOne != bWrong;
                uint8_t &uByte = sample.sound[u / 8 * uChannels + uChannel];
                uByte = static_cast<uint8_t>(uByte << 1 | (bOne ? 1 : 0));
                model.Push(bOne);
            }
        }
    }

    clDSTEncoder encoder;
    std::mt19937 random;
    unsigned uChannels;
    uint32_t uBytes;
    bool bOnlySimple;
};
