#pragma once

#include "base/Export.h"

#include <cstdint>
#include <memory>

class clDSTFrameDecoder;

/**
 * Decodes the compressed frames of a DSDIFF file, each on its own: nothing is carried from one to
 * the next.
 *
 * Owns its working memory, about a megabyte and twice the decoded frame; Decode allocates nothing.
 * One object per thread.
 */
class VANTREL_API clDSTDecoder
{
public:
    /**
     * Makes a decoder for frames of one kind.
     *
     * @param uChannels   1 to 6
     * @param uSampleRate one-bit samples per second of each channel: a multiple of 600, at most
     *                    512 * 48000
     * @throws clXDST for any other channels or rate
     */
    clDSTDecoder(uint32_t uChannels, uint32_t uSampleRate);

    /** Whether sound of this rate can be compressed. */
    static bool IsRate(uint32_t uSampleRate) noexcept;

    clDSTDecoder(const clDSTDecoder &) = delete;
    clDSTDecoder &operator=(const clDSTDecoder &) = delete;
    ~clDSTDecoder();

    /** Bytes of one decoded frame over all channels, a 75th of a second. */
    uint64_t GetSoundSize() const noexcept { return uSoundSize; }

    /**
     * Decodes one frame.
     *
     * @param pFrame the data of the frame's chunk
     * @param uSize  in bytes
     * @param pSound GetSoundSize() bytes, the channels in rotation; the earliest sample in the
     *               highest bit
     * @throws clXDST when the frame is damaged; the content of pSound is undefined then
     */
    void Decode(const void *pFrame, uint64_t uSize, void *pSound);

    /**
     * Bits of code that the last decoded frame lacks at its end. They count as zeros, which
     * encoders may leave out.
     */
    uint64_t GetMissingBits() const noexcept { return uMissingBits; }

    /** Whether the last decoded frame lacks bits that were hardly all zeros. */
    bool LooksCut() const noexcept { return bLooksCut; }

private:
    void CopyPlain(const uint8_t *cpFrame, uint64_t uSize, uint8_t *pSound) const;

    uint64_t uSoundSize = 0;
    uint64_t uMissingBits = 0;
    bool bLooksCut = false;
    std::unique_ptr<clDSTFrameDecoder> pDecoder;
};
