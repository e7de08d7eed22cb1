#pragma once

#include "examples/DSTFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * Writes the compressed frames of DST sound in a DSDIFF file. A description says which of the many
 * forms of a frame is written; DescribeDST() makes one that compresses well.
 *
 * One object serves any number of frames and threads.
 */
class clDSTEncoder
{
public:
    static constexpr unsigned MAX_CHANNELS = 6;
    static constexpr uint32_t FRAMES_PER_SECOND = 75;

    /** Bytes, eight samples each, of one channel in a frame. */
    static constexpr uint32_t BytesPerChannel(uint32_t uSampleRate) noexcept
    {
        return uSampleRate / (8 * FRAMES_PER_SECOND);
    }

    /** @throws std::invalid_argument unless 1 to 6 channels and a multiple of 600 Hz are given */
    clDSTEncoder(unsigned uChannels, uint32_t uSampleRate);

    /**
     * Encodes one frame exactly as it is described.
     *
     * @param aSound GetSoundSize() bytes: one per channel in turn, earliest sample in the highest
     *               bit
     * @return the frame, which may be longer than a plain one (GetSoundSize() + 1); decoders refuse
     *         such a frame
     * @throws std::invalid_argument when decoders would refuse the description
     */
    std::vector<uint8_t> Encode(const dst_frame &frame, const std::vector<uint8_t> &aSound) const;

    /**
     * Writes the description of a compressed frame as it is, without any check, to test how
     * decoders refuse it. The code that follows in a complete frame is left out.
     */
    std::vector<uint8_t> EncodeHeader(const dst_frame &frame) const;

    unsigned GetChannels() const noexcept { return uChannels; }
    size_t GetSoundSize() const noexcept { return size_t{uChannels} * uBytes; }

    /** Bits that the coefficients or entries take in a frame. */
    static size_t CountBits(const dst_list &list, dst_kind_t eKind);

    /** The check value of one frame's sound, for the chunk "DSTC". */
    static uint32_t CheckValue(const std::vector<uint8_t> &aSound) noexcept;

private:
    void Check(const dst_frame &frame) const;
    void CheckSegments(const dst_part &part, dst_kind_t eKind) const;
    void CheckNumbers(const dst_frame &frame, dst_kind_t eKind) const;

    unsigned uChannels;
    uint32_t uBytes; // per channel and frame
};
