#pragma once

#include "base/Export.h"

#include <cstdint>
#include <vector>

/**
 * Where the channels of a file go, by the "CHNL" ids of DSDIFF or the channel type of DSF. An id is
 * a number with its first character in the highest byte.
 */
namespace ChannelPlaces
{

constexpr uint32_t MAX_CHANNELS = 6; ///< of the 5.1 frame and of a DSF file

/** The place in the delivered data; uOwnIdx for unknown ids. A stereo file is matched on "SLFT" and
 * "SRGT" only, any other on "MLFT" and "MRGT". */
VANTREL_API uint32_t GetPlace(uint32_t uChannels, uint32_t uId, uint32_t uOwnIdx) noexcept;

/** The place in the 5.1 frame; uOwnIdx for unknown ids. */
VANTREL_API uint32_t GetSpeaker(uint32_t uId, uint32_t uOwnIdx) noexcept;

/** The DSF channel type for a number of channels. */
VANTREL_API uint32_t GetTypeOfCount(uint32_t uChannels) noexcept;

/** The places in the 5.1 frame of the channels of a DSF file; a single channel goes to the left.
 * Null for an unknown type, and for more channels than the type has. */
VANTREL_API const uint32_t *GetSpeakersOfType(uint32_t uType, uint32_t uChannels) noexcept;

/** What a channel is, in the order of the file formats. */
enum class VANTREL_API role_t {
    L,      ///< left
    R,      ///< right
    C,      ///< centre
    LFE,    ///< low frequencies
    LS,     ///< left surround
    RS,     ///< right surround
    UNKNOWN ///< an id without a role
};

/** "L", "LFE" and so on; "?" for UNKNOWN. */
VANTREL_API const char *GetName(role_t eRole) noexcept;

/** What the channels of a file are; the tables have one entry per channel, in file order. */
struct VANTREL_API layout_t {
    uint32_t uType = 0; ///< the DSF channel type; 0 when none names this set
    /** Index of each channel when sorted by role: a permutation. Equal and unknown roles keep their
     * order. */
    std::vector<uint32_t> auPlaces;
    std::vector<role_t> aRoles; ///< what each channel is
    bool bConflict = false;     ///< two channels have the same role; uType is 0 then
};

/** The layout of a DSDIFF file by the roles of its channels, in any order. A single channel with
 * any id is the centre, two with unknown ids are left and right; other sets with unknown ids have
 * no type. */
VANTREL_API layout_t GetLayout(const std::vector<uint32_t> &auIds);

/** The layout that the conversion uses for any set of channels: the type by their number, the
 * places by GetPlace, or of the file where two channels claim one place. More than six channels
 * have no type. */
VANTREL_API layout_t GetLenientLayout(const std::vector<uint32_t> &auIds);

/** The layout of a DSF file, whose channels are always sorted by role. If type and number disagree,
 * uType is 0 and all roles are unknown; empty for more than six channels. */
VANTREL_API layout_t GetLayoutOfType(uint32_t uType, uint32_t uChannels);

} // namespace ChannelPlaces
