#pragma once

#include <cstdint>
#include <vector>

/**
 * Where the channels of a file go: by the ids of the "CHNL" chunk of a DSDIFF file, or by the
 * channel type of a DSF file.
 */
namespace ChannelPlaces
{

/** Channels that the 5.1 frame, and a DSF file, can hold. */
constexpr uint32_t MAX_CHANNELS = 6;

/**
 * The place in the delivered data. The table is deliberately uneven: stereo files know the plain
 * left and right alone, all others the left and right of a multichannel set.
 *
 * @param uChannels the channels of the file
 * @param uId       the four characters of the id, the first in the highest byte
 * @param uOwnIdx   given back for ids that are not in the table
 */
uint32_t GetPlace(uint32_t uChannels, uint32_t uId, uint32_t uOwnIdx) noexcept;

/** The place in the 5.1 frame; uOwnIdx for unknown ids. */
uint32_t GetSpeaker(uint32_t uId, uint32_t uOwnIdx) noexcept;

/** The DSF channel type that a conversion gives to a number of channels. */
uint32_t GetTypeOfCount(uint32_t uChannels) noexcept;

/**
 * The places in the 5.1 frame that the channels of a DSF file take, one per channel in the order of
 * the file. A single channel goes to the left.
 *
 * @return null for an unknown type, and for more channels than the type has
 */
const uint32_t *GetSpeakersOfType(uint32_t uType, uint32_t uChannels) noexcept;

/** What a channel is, in the order of the file formats. */
enum class role_t { L, R, C, LFE, LS, RS, UNKNOWN };

/** "L", "LFE" and so on; "?" for UNKNOWN. */
const char *GetName(role_t eRole) noexcept;

/** What the channels of a file are, together. */
struct layout_t {
    /** The DSF channel type; 0 when none names this set. */
    uint32_t uType = 0;
    /**
     * One per channel in the order of the file: its index when the channels are sorted by role.
     * Always a permutation; channels of one role, or of none, stay in the order of the file.
     */
    std::vector<uint32_t> auPlaces;
    /** One per channel in the order of the file. */
    std::vector<role_t> aRoles;
    /** Whether two channels have the same role; uType is 0 then. */
    bool bConflict = false;
};

/**
 * The layout of a DSDIFF file by what its channels are, in any order. One channel with any id is
 * the centre, two channels with unknown ids are left and right; otherwise a set with an unknown id
 * has no type.
 *
 * @param auIds one id per channel, the first character in the highest byte
 */
layout_t GetLayout(const std::vector<uint32_t> &auIds);

/**
 * The layout that the conversion gives to any set of channels: a type by their number alone, the
 * places of GetPlace, those of the file where two channels claim one place. Roles and conflict as
 * GetLayout.
 *
 * @param auIds as for GetLayout; more than six channels have no type
 */
layout_t GetLenientLayout(const std::vector<uint32_t> &auIds);

/**
 * The layout of a DSF file, whose channels are always sorted by role. When type and number
 * disagree, uType is 0 and all roles are unknown; empty for more than six channels.
 */
layout_t GetLayoutOfType(uint32_t uType, uint32_t uChannels);

} // namespace ChannelPlaces
