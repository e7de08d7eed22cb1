#pragma once

#include <cstddef>

// Offsets of the fields inside the DSF chunks; the lowest byte comes first everywhere. Drawn in
// docs/formats.md.
namespace DSFLayout
{

// Every chunk.
constexpr size_t CHUNK_SIZE = 4;

// "DSD "
constexpr size_t FILE_SIZE = 12;
constexpr size_t META_POINTER = 20;

// "fmt "
constexpr size_t VERSION = 12;
constexpr size_t FORMAT_ID = 16;
constexpr size_t CHANNEL_TYPE = 20;
constexpr size_t CHANNEL_NUM = 24;
constexpr size_t SAMPLE_RATE = 28;
constexpr size_t BITS_PER_SAMPLE = 32;
constexpr size_t SAMPLE_COUNT = 36;
constexpr size_t BLOCK_SIZE = 44;

} // namespace DSFLayout
