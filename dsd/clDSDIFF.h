#pragma once

#include "decode/clSignalSource.h"
#include "dsd/clDSD.h"
#include "dsd/clDSDIFFChunk.h"

#include <memory>

/**
 * Reads DSDIFF files.
 *
 * Raw data comes with the channels in a fixed order, whatever their order in the file: left, right,
 * then centre, low frequencies, left and right surround as far as the file has them. A block is a
 * seventy-fifth of a second, the frame of a compact disc.
 *
 * Opening with either operation walks the whole file and leaves it at the first byte of sound; a
 * remote stream stays where the walk has left it, SeekSample(0) brings it there.
 */
class clDSDIFF : public clDSD, private clSignalSource
{
public:
    clDSDIFF();
    ~clDSDIFF() noexcept(false) override;

    /** @throws clXDSDIFF also for compressed sound */
    void Open(clStreamReader *pStreamReader, uint64_t uLargestRead = 0, uint32_t uWorkers = 0,
              bool bDoubleAmplitude = false, bool bWithoutDelay = false,
              bool bScalarKernels = false) override;
    void OpenMeta(clStreamReader *pStreamReader) override;
    void Close() override;

    /**
     * Decoded samples, the channels in the order of the raw data, late by GetDelay() unless
     * bWithoutDelay of Open takes that out.
     *
     * @param uSize a multiple of the channel count
     * @throws clXDSDIFF for any other uSize, for more than six channels, without sound data and
     * after OpenMeta; what the stream throws, and reading goes on behind that as after a seek
     */
    uint64_t Read(double *pBuffer, uint64_t uSize) override;

    /** @param uSize a multiple of 6; all of it is written, places without a channel get silence */
    uint64_t Read_5_1(double *pBuffer, uint64_t uSize) override;

    /**
     * Raw bytes, interleaved, in the order of GetChannelId of the property chunk.
     *
     * @param uSize bytes, a multiple of the channel count
     * @return bytes read from the file: whole frames, fewer than asked where the stream delivers
     * less; only at the end of sound data that is no whole number of frames up to a frame more than
     *         was delivered to pBuffer
     * @throws clXDSDIFF for any other uSize, or without sound data; what the stream throws
     */
    uint64_t ReadRaw(void *pBuffer, uint64_t uSize) override;

    /**
     * As ReadRaw, in the order of the file and with the bytes of an unfinished last frame: for a
     * caller that moves every byte anyway. Channel c belongs at place GetPositions()[c].
     */
    uint64_t ReadStored(void *pBuffer, uint64_t uSize);

    /** One place in the frames of ReadRaw per stored channel, all different; valid until the next
     * open. */
    const uint32_t *GetPositions() const noexcept;

    /** @param uSize bytes, a multiple of 6; all of them are written */
    uint64_t ReadRaw_5_1(void *pBuffer, uint64_t uSize) override;

    uint32_t GetBlockSamples() const override;
    uint32_t GetBlockSize() const override;
    uint32_t GetSampleRate() const override;
    uint32_t GetOutputRate() const override;
    uint32_t GetChannels() const override;
    uint64_t GetOutputSize() const override;
    uint64_t GetOutputLength() const override;

    /**
     * @param uSamples a multiple of GetChannels(). Others are accepted too, but may be positions
     * inside a frame: the channels then change places in all that is read
     * @return the new position in one-bit samples per channel
     */
    uint64_t SeekSample(uint64_t uSamples) override;
    uint64_t SeekFrame(uint64_t uFrame) override;

    /** One-bit samples per channel, as the last seek left it; 0 after opening. */
    uint64_t GetPosition() const override;

    /** As the file announces it; it may hold less. A remote stream may announce any size. */
    uint64_t GetDataSize() const override;
    uint64_t GetLength() const override;

    /** @throws clXDSDIFF when the file does not say, or names an unknown compression */
    bool IsCompressed() const override;
    const clID3tag *GetTag() const override;

    /**
     * Whether the next open reads chunks to the end of the stream, whatever size the form
     * announces, and leaves out chunks that extend beyond it; of sound data it takes what is there.
     * Off at first. Remote streams are read as without it.
     */
    void SetWalkToEnd(bool bOn) noexcept;

    /** Whether two channels claim one place, so that all were left in the order of the file. */
    bool HasChannelConflict() const noexcept;

private:
    void OpenStream(clStreamReader *pStreamReader);
    void CheckReadRaw(uint64_t uSize, const char *cpNoMultiple) const;
    void CheckDecoding(const char *cpMessage) const;
    uint64_t ReadFrames(void *pBuffer, uint64_t uBytes);
    uint8_t *RawBuffer(uint64_t uBytes);
    next_t GetNext() const override;
    uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) override;

    clAlignedAlloc allocRaw;
    uint64_t uLastCount = 0;
    std::unique_ptr<clStreamReader> pStream;
    clDSDIFFFormChunk form;
};
