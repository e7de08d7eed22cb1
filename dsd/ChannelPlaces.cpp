#include "dsd/ChannelPlaces.h"

#include "dsd/Bytes.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <numeric>

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
constexpr uint32_t aTypesByCount[] = {2, 1, 2, 3, 4, 6, 7};

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

ChannelPlaces::role_t RoleOf(uint32_t uSpeaker) noexcept
{
    return uSpeaker < ChannelPlaces::MAX_CHANNELS ? static_cast<ChannelPlaces::role_t>(uSpeaker)
                                                  : ChannelPlaces::role_t::UNKNOWN;
}

// The roles of a channel type, sorted.
std::vector<ChannelPlaces::role_t> RolesOf(uint32_t uType)
{
    // The single channel is the centre, although the 5.1 frame has it on the left.
    if (uType == 1) {
        return {ChannelPlaces::role_t::C};
    }
    const type_t &type = aTypes[uType];
    std::vector<ChannelPlaces::role_t> aRoles(type.uChannels);
    std::transform(type.auSpeakers, type.auSpeakers + type.uChannels, aRoles.begin(), RoleOf);
    return aRoles;
}

std::vector<ChannelPlaces::role_t> RolesOf(const std::vector<uint32_t> &auIds)
{
    using ChannelPlaces::role_t;

    std::vector<role_t> aRoles(auIds.size());
    std::transform(auIds.begin(), auIds.end(), aRoles.begin(), [](uint32_t uId) {
        return RoleOf(ChannelPlaces::GetSpeaker(uId, ChannelPlaces::MAX_CHANNELS));
    });
    if (aRoles.size() == 1) {
        aRoles = {role_t::C};
    } else if (aRoles == std::vector<role_t>{role_t::UNKNOWN, role_t::UNKNOWN}) {
        aRoles = {role_t::L, role_t::R};
    }
    return aRoles;
}

// The index of each channel once the channels are sorted.
template <class T>
std::vector<uint32_t> SortedPlaces(const std::vector<T> &aKeys)
{
    std::vector<uint32_t> auSorted(aKeys.size());
    std::iota(auSorted.begin(), auSorted.end(), 0U);
    std::stable_sort(auSorted.begin(), auSorted.end(),
                     [&](uint32_t uA, uint32_t uB) { return aKeys[uA] < aKeys[uB]; });
    std::vector<uint32_t> auPlaces(aKeys.size());
    for (uint32_t uPlace = 0; uPlace < auSorted.size(); ++uPlace) {
        auPlaces[auSorted[uPlace]] = uPlace;
    }
    return auPlaces;
}

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
    return uChannels < std::size(aTypesByCount) ? aTypesByCount[uChannels] : 2;
}

const uint32_t *ChannelPlaces::GetSpeakersOfType(uint32_t uType, uint32_t uChannels) noexcept
{
    if (uType == 0 || uType >= std::size(aTypes) || uChannels > aTypes[uType].uChannels) {
        return nullptr;
    }
    return aTypes[uType].auSpeakers;
}

const char *ChannelPlaces::GetName(role_t eRole) noexcept
{
    constexpr const char *aNames[] = {"L", "R", "C", "LFE", "LS", "RS"};
    const auto sizeRole = static_cast<size_t>(eRole);
    return sizeRole < std::size(aNames) ? aNames[sizeRole] : "?";
}

ChannelPlaces::layout_t ChannelPlaces::GetLayout(const std::vector<uint32_t> &auIds)
{
    layout_t layout;
    layout.aRoles = RolesOf(auIds);
    layout.auPlaces = SortedPlaces(layout.aRoles);

    std::vector<role_t> aSorted = layout.aRoles;
    std::sort(aSorted.begin(), aSorted.end());
    const auto unknown = std::find(aSorted.begin(), aSorted.end(), role_t::UNKNOWN);
    layout.bConflict = std::adjacent_find(aSorted.begin(), unknown) != unknown;
    for (uint32_t uType = 1; uType < std::size(aTypes) && layout.uType == 0; ++uType) {
        layout.uType = RolesOf(uType) == aSorted ? uType : 0;
    }
    return layout;
}

ChannelPlaces::layout_t ChannelPlaces::GetLenientLayout(const std::vector<uint32_t> &auIds)
{
    layout_t layout = GetLayout(auIds);
    const auto uChannels = static_cast<uint32_t>(auIds.size());
    layout.uType = uChannels == 0 || uChannels > MAX_CHANNELS ? 0 : GetTypeOfCount(uChannels);

    for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
        layout.auPlaces[uChIdx] = GetPlace(uChannels, auIds[uChIdx], uChIdx);
    }
    // A permutation is its own list of sorted places, and nothing else is.
    if (SortedPlaces(layout.auPlaces) != layout.auPlaces) {
        std::iota(layout.auPlaces.begin(), layout.auPlaces.end(), 0U);
    }
    return layout;
}

ChannelPlaces::layout_t ChannelPlaces::GetLayoutOfType(uint32_t uType, uint32_t uChannels)
{
    layout_t layout;
    if (uChannels > MAX_CHANNELS) {
        return layout;
    }
    layout.auPlaces.resize(uChannels);
    std::iota(layout.auPlaces.begin(), layout.auPlaces.end(), 0U);
    layout.aRoles.assign(uChannels, role_t::UNKNOWN);
    if (uType != 0 && uType < std::size(aTypes) && aTypes[uType].uChannels == uChannels) {
        layout.uType = uType;
        layout.aRoles = RolesOf(uType);
    }
    return layout;
}
