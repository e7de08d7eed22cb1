#pragma once

#include "base/clAlignedAlloc.h"
#include "dsd/clDSF.h"
#include "dsd/clDSTSound.h"
#include "kit/clFrameReport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class clDigest;
class clInputFile;

/**
 * The sound of a DSDIFF or DSF file as frames: one byte of each channel, eight samples a byte, the
 * earliest in the highest bit. Unused bits of the last frame are zero.
 *
 * Delivers as many samples as the inspection has found, or throws. Every read checks for a stop of
 * the program. One thread at a time; buffers stay for the next file.
 */
class clSoundReader
{
public:
    static constexpr size_t UNIT_FRAMES = 4096; ///< divides the size of every read

    /** Starts at the first frame of a file, borrowed until the next Open or Close; its Judge has
     * found no fault.
     * @param bLenient puts silence in the place of compressed frames that cannot be decoded
     * @throws clException, std::runtime_error */
    void Open(clInputFile &input, bool bLenient = false);

    /** Does nothing without a file. */
    void Close();

    void Rewind();

    /** Reads frames with the channels in the order left, right, centre, low frequencies, left and
     * right surround, as far as the file has them. sizeFrames is a multiple of UNIT_FRAMES;
     * GetReadFrames() is a good one. @return frames read, fewer than sizeFrames only at the end
     * @throws clXInput when the file delivers less than the inspection found, clXFrame for a
     * compressed frame; what the stream throws; clXStopped */
    size_t Read(uint8_t *pBuffer, size_t sizeFrames);

    /** As Read, with the channels in the order of the file. */
    size_t ReadStored(uint8_t *pBuffer, size_t sizeFrames);

    /** Adds all frames that are read from now on, in the order of Read, to a digest. It is borrowed
     * until the next Open or Close. */
    void SetDigest(clDigest *pNewDigest) noexcept { pDigest = pNewDigest; }

    /** The place of each channel of the file in the order of Read; all different. */
    const std::vector<uint32_t> &GetPlaces() const noexcept { return auPlaces; }
    /** The channel type for a DSF file of this sound. */
    uint32_t GetType() const noexcept { return uType; }
    uint32_t GetChannels() const noexcept { return uChannels; }
    /** One-bit samples per channel. */
    uint64_t GetSamples() const noexcept { return uSamples; }
    /** Bytes of all frames. */
    uint64_t GetSize() const noexcept { return uFrames * uChannels; }
    /** What was wrong with the compressed frames when they were first read. */
    const clFrameReport &GetFrameReport() const noexcept { return frameReport; }
    /** Frames of a read that keeps what is moved in the cache of a processor. */
    size_t GetReadFrames() const noexcept;

private:
    void ChoosePlaces();
    void OpenDST(bool bLenient);
    size_t ReadDSDIFF(uint8_t *pBuffer, size_t sizeFrames);
    size_t ReadDSF(uint8_t *pBuffer, size_t sizeFrames);
    void AddToDigest(const uint8_t *pStored, size_t sizeFrames);

    clInputFile *pInput = nullptr;
    std::vector<uint32_t> auPlaces;
    uint32_t uType = 0;
    uint32_t uChannels = 0;
    bool bInOrder = true;
    uint64_t uSamples = 0;
    /** Frames in all and delivered. */
    uint64_t uFrames = 0;
    uint64_t uDone = 0;
    clDSF dsf;
    std::unique_ptr<clDSTSound> pDST; ///< null for sound that is not compressed
    clFrameReport frameReport;
    bool bRewound = false;
    clDigest *pDigest = nullptr;
    clAlignedAlloc allocStored;
    clAlignedAlloc allocPlaced;
};
