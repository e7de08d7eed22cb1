#pragma once

#include <cstdint>

/** Where the channels of a DSDIFF file go, by the ids of its "CHNL" chunk. */
namespace ChannelPlaces
{

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

} // namespace ChannelPlaces
