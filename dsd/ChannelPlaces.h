#pragma once

#include <cstdint>

/**
 * Where the channels of a file go: by the ids of the "CHNL" chunk of a DSDIFF file, or by the
 * channel type of a DSF file.
 */
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

/** The DSF channel type that a conversion gives to a number of channels. */
uint32_t GetTypeOfCount(uint32_t uChannels) noexcept;

/**
 * The places in the 5.1 frame that the channels of a DSF file take, one per channel in the order of
 * the file. A single channel goes to the left.
 *
 * @return null for an unknown type, and for more channels than the type has
 */
const uint32_t *GetSpeakersOfType(uint32_t uType, uint32_t uChannels) noexcept;

} // namespace ChannelPlaces
