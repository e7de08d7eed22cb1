#pragma once

#include <cstdint>
#include <vector>

// The description of a compressed frame, apart from its sound.

enum class dst_kind_t { FILTERS, TABLES };

/** The coefficients of a filter or the entries of a table, and how they are written. */
struct dst_list {
    /**
     * Filter: 1 to 128 coefficients of -256 to 255, the one for the most recent sample first.
     * Table: 1 to 64 probabilities of a wrong prediction, in 1/256, of 1 to 128. The filter's sum
     * selects one: |sum| / 8 is the index, at most the last. The entry of a table of one is 128.
     */
    std::vector<int> aEntries;
    bool bCoded = false;   // predicted from the entries before and Rice coded
    unsigned uMethod = 0;  // 0 to 2, and less than the number of entries
    unsigned uLowBits = 0; // of the Rice code, 0 to 7
};

/** The filters or the tables of a frame, and which of them each stretch of a channel uses. */
struct dst_part {
    /** Bytes of all segments but the last; one row for all channels, or one each. */
    bool bSameSegments = true;
    std::vector<std::vector<uint32_t>> aSegments = {{}};
    uint32_t uResolution = 1; // bytes; every length is a multiple

    /** Index in aLists of each segment; one row for all channels, or one each. */
    bool bSameNumbers = true;
    std::vector<std::vector<uint32_t>> aNumbers = {{0}};

    std::vector<dst_list> aLists;
};

/** All that a frame says of itself; its sound is the rest. */
struct dst_frame {
    bool bPlain = false;           // the sound as it is; of the rest, only bFreeBit matters
    bool bFreeBit = false;         // a bit without a meaning
    bool bSameSegmentation = true; // tables use the segments of the filters
    bool bSameMapping = true;      // tables use the numbers of the filters
    dst_part filters;
    dst_part tables;
    std::vector<bool> aHalf; // per channel: the first samples are coded with probability 1/2
    bool bKeepZeros = false; // writes zeros at the end that a decoder would add

    const std::vector<uint32_t> &Segments(dst_kind_t eKind, unsigned uChannel) const
    {
        const dst_part &part = bSameSegmentation || eKind == dst_kind_t::FILTERS ? filters : tables;
        return part.aSegments.at(part.bSameSegments ? 0 : uChannel);
    }

    const std::vector<uint32_t> &Numbers(dst_kind_t eKind, unsigned uChannel) const
    {
        const dst_part &part = bSameMapping || eKind == dst_kind_t::FILTERS ? filters : tables;
        return part.aNumbers.at(part.bSameNumbers ? 0 : uChannel);
    }
};
