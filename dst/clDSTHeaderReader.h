#pragma once

#include "dst/DSTHeader.h"

#include <string>

/**
 * Reads the header of one compressed frame. Every number that it delivers is within the limits of
 * DST::header_t. Single use, one thread.
 */
class clDSTHeaderReader
{
public:
    /** Bytes after the frame that must be readable. */
    static constexpr size_t PADDING = 8;

    /**
     * @param cpFrame       borrowed; PADDING bytes follow
     * @param uChannelBytes decoded bytes of each channel
     * @param bStoredSingle Whether a table of one entry is stored like a longer one. Otherwise its
     *                      entry is ONE_HALF, and nothing is stored.
     */
    clDSTHeaderReader(const uint8_t *cpFrame, uint64_t uSize, uint32_t uChannels,
                      uint32_t uChannelBytes, bool bStoredSingle) noexcept;

    /**
     * Reads the header and checks the first bits of the code.
     *
     * @param header also partly filled after an exception; bHasSingle is valid then
     * @throws clXDST
     */
    void Read(DST::header_t &header);

private:
    uint32_t Field(uint32_t uBits);
    bool Flag() { return Field(1) != 0; }
    uint32_t ZeroBits(uint32_t uMost);
    [[noreturn]] void Refuse(uint64_t uAt, const std::string &strWhat) const;

    void ReadSegmentation(DST::channel_segments_t &aSegments, DST::segment_limits_t limits);
    void ReadSegments(DST::segments_t &segments, DST::segment_limits_t limits,
                      uint32_t &uResolution);
    size_t ReadMapping(DST::channel_segments_t &aSegments);
    void ShareNumbers(const DST::channel_segments_t &aFrom, size_t sizeStep,
                      DST::channel_segments_t &aTo, uint64_t uAt) const;
    template <size_t MOST, class Kind>
    void ReadList(DST::list_t<MOST> &list, const Kind &kind);
    template <size_t MOST, class Kind>
    void ReadCoded(DST::list_t<MOST> &list, const Kind &kind);
    int32_t ReadDifference(uint32_t uLowBits);

    const uint8_t *const cpFrame;
    const uint64_t uEnd;
    const uint32_t uChannels;
    const uint32_t uChannelBytes;
    const bool bStoredSingle;
    /** The next bit. */
    uint64_t uBit = 0;
};
