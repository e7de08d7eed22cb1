#pragma once

#include "dst/DSTHeader.h"
#include "dst/DSTKernels.h"

#include <memory>
#include <vector>

/**
 * Decodes compressed frames with one set of kernels. Owns all memory that it needs, for the
 * largest frame. One thread at a time.
 */
class clDSTFrameDecoder
{
public:
    /**
     * @param uChannels     1 to DST::MAX_CHANNELS
     * @param uChannelBytes decoded bytes of each channel in a frame
     */
    clDSTFrameDecoder(uint32_t uChannels, uint32_t uChannelBytes, const DSTKernels::set_t &set);

    /**
     * Decodes a frame whose first bit says that it is compressed. Allocates nothing.
     *
     * @param uSize at most the bytes of the decoded sound, and one
     * @throws clXDST; pSound is unchanged then
     */
    void Decode(const uint8_t *cpFrame, uint64_t uSize, uint8_t *pSound);

    /** Of the last frame, see clDSTDecoder. */
    uint64_t GetMissingBits() const noexcept;
    bool LooksCut() const noexcept { return pRun->coder.bCut; }

private:
    void ReadHeader(uint64_t uSize);
    void SetFilters();
    void DecodeBits();
    void SetChannel(size_t sizeChIdx, size_t sizeFrom, size_t &sizeEnd);
    uint8_t *GetBits(size_t sizeChIdx);

    const uint32_t uChannels;
    const uint32_t uChannelBytes;
    const DSTKernels::set_t &kernels;
    /** The frame and what may be read after it. */
    std::vector<uint8_t> aFrame;
    /** For each channel its history and its decoded bytes. */
    std::vector<uint8_t> aBits;
    std::vector<DSTKernels::filter_t> aFilters;
    DST::header_t header = {};
    /** The most that a sum of one of them can be. */
    int32_t iMostSum = 0;
    std::unique_ptr<DSTKernels::run_t> pRun;
};
