#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/** What the header of a compressed frame says, with room for the most that it can say. */
namespace DST
{

constexpr size_t MAX_CHANNELS = 6;
constexpr size_t MAX_LISTS = 2 * MAX_CHANNELS;
constexpr size_t MAX_ORDER = 128;
constexpr size_t MAX_TABLE = 64;

/** Probabilities are 256ths, at most one half. */
constexpr uint32_t ONE_HALF = 128;

/** The segments of a channel may be no shorter, in bytes, and no more than this. */
struct segment_limits_t {
    uint32_t uLeast;
    size_t sizeMost;
};
constexpr segment_limits_t FILTER_SEGMENTS = {128, 4};
constexpr segment_limits_t TABLE_SEGMENTS = {4, 8};

/** A filter's coefficients, the one for the newest bit first, or the entries of a table. */
template <size_t MOST>
struct list_t {
    size_t sizeCount;
    std::array<int16_t, MOST> aiEntries;
};

/** The parts of a channel's frame that use a filter, or a table, each. */
struct segments_t {
    size_t sizeCount;
    /** In bytes of the channel; the last segment ends with the frame. */
    std::array<uint32_t, TABLE_SEGMENTS.sizeMost> auStart;
    /** The number of the filter or table. */
    std::array<uint32_t, TABLE_SEGMENTS.sizeMost> auNumber;
};
using channel_segments_t = std::array<segments_t, MAX_CHANNELS>;

struct header_t {
    channel_segments_t aFilterSegments;
    channel_segments_t aTableSegments;
    /** Whether the first samples, as many as its first filter has coefficients, use ONE_HALF. */
    std::array<bool, MAX_CHANNELS> abHalf;
    size_t sizeFilters;
    std::array<list_t<MAX_ORDER>, MAX_LISTS> aFilters;
    size_t sizeTables;
    std::array<list_t<MAX_TABLE>, MAX_LISTS> aTables;
    /** Whether a table has one entry, see clDSTHeaderReader. */
    bool bHasSingle;
    /** The bit of the frame at which the code begins, after the one that is 0. */
    uint64_t uCodeBit;
};

} // namespace DST
