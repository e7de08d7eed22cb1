#pragma once

#include "base/clAlignedAlloc.h"
#include "dsd/clDSF.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class clInputFile;

/**
 * The sound of a DSDIFF or DSF file as frames: one byte of each channel, eight samples a byte, the
 * earliest in the highest bit. Unused bits of the last frame are zero.
 *
 * Delivers as many samples as the inspection of the file has found, or throws. Every read looks
 * whether the program was told to stop. One thread at a time; buffers stay for the next file.
 */
class clSoundReader
{
public:
    /** Reads ask for a multiple of this many frames. */
    static constexpr size_t UNIT_FRAMES = 4096;

    /**
     * Starts at the first frame of a file.
     *
     * @param input borrowed, until the next Open or Close; its Judge has found no fault
     * @throws clException, std::runtime_error
     */
    void Open(clInputFile &input);

    /** Lets go of the file; nothing happens without one. */
    void Close();

    /** Goes back to the first frame. */
    void Rewind();

    /**
     * Reads frames with the channels in the standard order: left, right, centre, low frequencies,
     * left and right surround, as far as the file has them.
     *
     * @param pBuffer    room for sizeFrames frames
     * @param sizeFrames a multiple of UNIT_FRAMES; GetReadFrames() is a good one
     * @return frames read, fewer than sizeFrames only at the end
     * @throws clXInput when the file delivers less than was found in it; what the stream
     * throws; clXStopped
     */
    size_t Read(uint8_t *pBuffer, size_t sizeFrames);

    /** As Read, with the channels in the order of the file. */
    size_t ReadStored(uint8_t *pBuffer, size_t sizeFrames);

    /** For each channel in the order of the file its place among the channels of the standard
     * order; all different. */
    const std::vector<uint32_t> &GetPlaces() const noexcept { return auPlaces; }
    /** The channel type for a DSF file of this sound. */
    uint32_t GetType() const noexcept { return uType; }
    uint32_t GetChannels() const noexcept { return uChannels; }
    /** One-bit samples per channel. */
    uint64_t GetSamples() const noexcept { return uSamples; }
    /** Frames of a read that keeps what is moved in the cache of a processor. */
    size_t GetReadFrames() const noexcept;

private:
    void ChoosePlaces();
    size_t ReadDSF(uint8_t *pBuffer, size_t sizeFrames);

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
    clAlignedAlloc allocStored;
};
