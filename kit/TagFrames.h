#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

/** The frames of an ID3v2 tag as bytes; their content is not examined. */
namespace TagFrames
{

/** Whether bytes begin as an ID3v2 tag does. */
bool IsTag(const uint8_t *cpBytes, size_t sizeBytes) noexcept;

/** A tag of the same version with only the frames of some ids, of four characters, or three for
 * version 2.2. Compressed frames are left out, because what they expand to has no bound; so are
 * encrypted ones and all after a malformed frame.
 * @return a complete tag, perhaps without frames; no bytes unless the version is 2.2 to 2.4 */
std::vector<uint8_t> Select(const uint8_t *cpTag, size_t sizeTag,
                            std::initializer_list<const char *> ids);

} // namespace TagFrames
