#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

/** The frames of an ID3v2 tag as bytes, without a look at what they hold. */
namespace TagFrames
{

/** Whether bytes begin as an ID3v2 tag does. */
bool IsTag(const uint8_t *cpBytes, size_t sizeBytes) noexcept;

/**
 * A tag of the same version with only some of the frames. Compressed and encrypted frames are left
 * out, because what a compressed one expands to has no bound; frames after a malformed one are
 * left out too.
 *
 * @param ids ids of four characters, or of three for version 2.2
 * @return a complete tag, perhaps without frames; no bytes for what is no tag of versions 2.2 to
 * 2.4
 */
std::vector<uint8_t> Select(const uint8_t *cpTag, size_t sizeTag,
                            std::initializer_list<const char *> ids);

} // namespace TagFrames
