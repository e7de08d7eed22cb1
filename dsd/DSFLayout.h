#pragma once

#include <cstddef>

// Offsets of the fields from the start of their DSF chunk, in bytes; numbers have the lowest byte
// first. docs/formats.md draws the chunks.
namespace DSFLayout
{

// Every chunk.
constexpr size_t ID_SIZE = 4;
constexpr size_t OFFSET_CHUNK_SIZE = ID_SIZE;

// "DSD "
constexpr size_t OFFSET_FILE_SIZE = 12;
constexpr size_t OFFSET_META_POINTER = 20;

// "fmt "
constexpr size_t OFFSET_VERSION = 12;
constexpr size_t OFFSET_FORMAT_ID = 16;
constexpr size_t OFFSET_CHANNEL_TYPE = 20;
constexpr size_t OFFSET_CHANNEL_NUM = 24;
constexpr size_t OFFSET_SAMPLE_RATE = 28;
constexpr size_t OFFSET_BITS_PER_SAMPLE = 32;
constexpr size_t OFFSET_SAMPLE_COUNT = 36;
constexpr size_t OFFSET_BLOCK_SIZE = 44;

} // namespace DSFLayout
