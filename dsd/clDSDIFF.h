#pragma once

#include "base/Export.h"
#include "decode/clSignalSource.h"
#include "dsd/clDSD.h"
#include "dsd/clDSDIFFChunk.h"

/**
 * Reads DSDIFF files.
 *
 * Raw data has the channels in the order left, right, centre, low frequencies, left and right
 * surround, whatever their order in the file. A block is 1/75 s. Open and OpenMeta walk through the
 * whole file and return to the first byte of sound; a remote stream stays where the walk has ended,
 * until SeekSample(0).
 */
class VANTREL_API clDSDIFF : public clDSD, private clSignalSource
{
public:
    clDSDIFF();
    ~clDSDIFF() noexcept(false) override;

    /** Whether the next Open or OpenMeta decompresses sound that is compressed with DST, so that
     * sizes, reads and seeks are those of plain sound. Off at first. A read of a frame that cannot
     * be decoded throws clXDSDIFF with its number, from 0 on.
     * @param uWorkers threads that decompress, the calling one included; 0: one per processor */
    void SetDecompression(bool bOn, uint32_t uWorkers = 0);

    /** As clDSD::Open. @throws clXDSDIFF also for compressed sound, unless it is decompressed */
    void Open(clStreamReader *pStreamReader, uint64_t uLargestRead = 0, uint32_t uWorkers = 0,
              bool bDoubleAmplitude = false, bool bWithoutDelay = false,
              bool bScalarKernels = false) override;
    void OpenMeta(clStreamReader *pStreamReader) override;
    void Close() override;

    /** Reads decoded samples, the channels in the order of the raw data.
     * @param uSize a multiple of the channel count
     * @throws clXDSDIFF for any other uSize, for more than six channels, without sound data and
     * after OpenMeta; what the stream throws, and the next read starts from silence */
    uint64_t Read(double *pBuffer, uint64_t uSize) override;

    /** As Read. uSize is a multiple of 6; places without a channel get silence. */
    uint64_t Read_5_1(double *pBuffer, uint64_t uSize) override;

    /** Reads raw bytes, interleaved, in the order of GetChannelId of the property chunk.
     * @param uSize bytes, a multiple of the channel count
     * @return bytes read from the file: whole frames, fewer than uSize where the stream delivers
     * less. If the sound data ends inside a frame, the count also includes that frame's bytes,
     * which are not stored in pBuffer
     * @throws clXDSDIFF for any other uSize, or without sound data; what the stream throws */
    uint64_t ReadRaw(void *pBuffer, uint64_t uSize) override;

    /** As ReadRaw, but in the order of the file, with the bytes of an incomplete last frame, and
     * fewer than uSize bytes only at the end. Channel c belongs at place GetChannelPlaces()[c]. */
    uint64_t ReadStored(void *pBuffer, uint64_t uSize);

    /** One place in the frames of ReadRaw per stored channel, all different; valid until the next
     * open. */
    const uint32_t *GetChannelPlaces() const noexcept;

    /** As ReadRaw. uSize is a multiple of 6; all bytes of pBuffer are written. */
    uint64_t ReadRaw_5_1(void *pBuffer, uint64_t uSize) override;

    uint32_t GetBlockSamples() const override;
    uint32_t GetBlockSize() const override;
    uint32_t GetSampleRate() const override;
    uint32_t GetOutputRate() const override;
    uint32_t GetChannels() const override; ///< 0 without "CHNL"
    uint64_t GetOutputSize() const override;
    uint64_t GetOutputLength() const override;

    /** As clDSD::SeekSample.
     * @param uSamples a multiple of GetChannels(). Others are accepted, but may be inside a frame:
     * later reads then confuse the channels
     * @return the new position in one-bit samples per channel */
    uint64_t SeekSample(uint64_t uSamples) override;
    uint64_t SeekFrame(uint64_t uFrame) override; ///< returns what SeekSample does

    /** One-bit samples per channel, set by seeks only; 0 after opening. */
    uint64_t GetPosition() const override;

    /** As announced; the file may hold less, and a remote stream may announce any size. */
    uint64_t GetDataSize() const override;
    uint64_t GetLength() const override;

    /** As clDSD. @throws clXDSDIFF when the file names no compression, or an unknown one */
    bool IsCompressed() const override;
    const clID3tag *GetTag() const override;

    /** Whether two channels claim one place, so that all keep the order of the file. */
    bool HasChannelConflict() const noexcept;

private:
    void OpenStream(clStreamReader *pStreamReader);
    void AttachDecompressed();
    bool IsDecompressed() const noexcept;
    void CheckReadRaw(uint64_t uSize, const char *cpNoMultiple) const;
    void CheckDecoding(const char *cpMessage) const;
    uint64_t ReadFrames(void *pBuffer, uint64_t uBytes);
    uint8_t *GetRawBuffer(uint64_t uBytes);
    next_t GetNext() const override;
    uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) override;

    clAlignedAlloc allocRaw;
    clDSDIFFFormChunk form;
    bool bDecompression = false;
    uint32_t uDecompressionWorkers = 0;
};
