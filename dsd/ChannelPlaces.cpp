#include "dsd/ChannelPlaces.h"

#include "dsd/Bytes.h"

#include <cstddef>
#include <iterator>

namespace
{

struct place_t {
    uint32_t uId;
    uint32_t uPlace;
};

// By the count of channels.
constexpr place_t aStereo[] = {{Id("SLFT"), 0}, {Id("SRGT"), 1}};
constexpr place_t aThree[] = {{Id("MLFT"), 0}, {Id("MRGT"), 1}, {Id("C   "), 2}, {Id("LFE "), 2}};
constexpr place_t aFour[] = {{Id("MLFT"), 0}, {Id("MRGT"), 1}, {Id("C   "), 2},
                             {Id("LFE "), 3}, {Id("LS  "), 2}, {Id("RS  "), 3}};
constexpr place_t aFive[] = {
    {Id("MLFT"), 0}, {Id("MRGT"), 1}, {Id("C   "), 2}, {Id("LS  "), 3}, {Id("RS  "), 4}};
constexpr place_t aSix[] = {{Id("MLFT"), 0}, {Id("MRGT"), 1}, {Id("C   "), 2},
                            {Id("LFE "), 3}, {Id("LS  "), 4}, {Id("RS  "), 5}};

constexpr place_t aSpeakers[] = {{Id("SLFT"), 0}, {Id("MLFT"), 0}, {Id("SRGT"), 1},
                                 {Id("MRGT"), 1}, {Id("C   "), 2}, {Id("LFE "), 3},
                                 {Id("LS  "), 4}, {Id("RS  "), 5}};

// By the count of channels. Four channels are always left, right and two surrounds, never the
// front, centre and low frequencies of type 5.
constexpr uint32_t auTypes[] = {2, 1, 2, 3, 4, 6, 7};

struct type_t {
    uint32_t uChannels;
    uint32_t auSpeakers[6];
};

// By the channel type. Mono is not copied to both fronts: callers rely on it.
constexpr type_t aTypes[] = {
    {0, {}},                 // no such type
    {1, {0}},                // 1: mono
    {2, {0, 1}},             // 2: stereo
    {3, {0, 1, 2}},          // 3: three channels
    {4, {0, 1, 4, 5}},       // 4: quad
    {4, {0, 1, 2, 3}},       // 5: four channels
    {5, {0, 1, 2, 4, 5}},    // 6: five channels
    {6, {0, 1, 2, 3, 4, 5}}, // 7: 5.1 channels
};

template <size_t N>
uint32_t Place(const place_t (&aPlaces)[N], uint32_t uId, uint32_t uOwnIdx) noexcept
{
    for (const place_t &place : aPlaces) {
        if (place.uId == uId) {
            return place.uPlace;
        }
    }
    return uOwnIdx;
}

} // namespace

uint32_t ChannelPlaces::GetPlace(uint32_t uChannels, uint32_t uId, uint32_t uOwnIdx) noexcept
{
    switch (uChannels) {
    case 2:
        return Place(aStereo, uId, uOwnIdx);
    case 3:
        return Place(aThree, uId, uOwnIdx);
    case 4:
        return Place(aFour, uId, uOwnIdx);
    case 5:
        return Place(aFive, uId, uOwnIdx);
    case 6:
        return Place(aSix, uId, uOwnIdx);
    default:
        return uOwnIdx;
    }
}

uint32_t ChannelPlaces::GetSpeaker(uint32_t uId, uint32_t uOwnIdx) noexcept
{
    return Place(aSpeakers, uId, uOwnIdx);
}

uint32_t ChannelPlaces::GetTypeOfCount(uint32_t uChannels) noexcept
{
    return uChannels < std::size(auTypes) ? auTypes[uChannels] : 2;
}

const uint32_t *ChannelPlaces::GetSpeakersOfType(uint32_t uType, uint32_t uChannels) noexcept
{
    if (uType == 0 || uType >= std::size(aTypes) || uChannels > aTypes[uType].uChannels) {
        return nullptr;
    }
    return aTypes[uType].auSpeakers;
}
