#pragma once

#include "base/Export.h"
#include "base/clAlignedAlloc.h"
#include "decode/Signal.h"
#include "threads/clThreadPool.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

class clDecodeSession;
class clID3tag;
class clSignalSource;
class clStreamReader;
struct frame_layout_t;

/**
 * The common interface of the two DSD file formats: open, read, seek and describe a file.
 *
 * Raw data is one-bit audio: one byte of each channel in turn, each with eight samples, the
 * earliest in the highest bit. Decoded samples have passed a linear-phase low-pass
 * (docs/decoding.md) and have a sixteenth of the DSD rate. All ones give +1.0, all zeros -1.0.
 *
 * The audio is delayed by GetDelay() samples: sample n of each channel is the value at one-bit
 * sample 16 * (n - GetDelay()); Flush gives the missing samples at the end. Silence precedes the
 * audio, so the first 27 samples of each channel after a seek differ from those of an uninterrupted
 * read. The doubles do not depend on the format, the sizes of the reads or the number of workers.
 *
 * One thread at a time. Failures are clXDSDIFF or clXDSF, both clXDSD, unless a member says
 * otherwise; memory shortage is std::runtime_error. The destructor may throw because that of the
 * thread pool does; those of the file classes close the file and ignore errors of that.
 */
class VANTREL_API clDSD : private clThreadPool
{
public:
    clDSD();
    clDSD(const clDSD &) = delete;
    clDSD &operator=(const clDSD &) = delete;
    ~clDSD() noexcept(false) override;

    // The order of the virtual functions is fixed: callers rely on it.

protected:
    void ThreadPoolJob(long lThreadIdx, void *pArg) override;

    /** Called by Open with its further arguments: starts the workers, none for more channels than
     * can be decoded. @throws clXThreadPool when a worker cannot be started; there are none then */
    virtual void ConfigureHook(uint64_t uLargestRead, uint32_t uWorkers, bool bDoubleAmplitude,
                               bool bWithoutDelay, bool bScalarKernels);

    /** Called first by Close: ends the workers. */
    virtual void CloseHook();

    /** Never called: keeps its slot. */
    virtual void ReservedHook();

public:
    /** Opens a file for reading and decoding, and starts the workers.
     * @param pStream at the first byte of the file; owned by this object from the call on, also
     * when it throws
     * @param uLargestRead in decoded samples over all channels; larger reads allocate memory
     * @param uWorkers threads that decode, the calling one included; 0, or more than channels: one
     * per channel
     * @param bDoubleAmplitude all ones give +2.0
     * @param bWithoutDelay removes the delay: the first sample is the one at the position, and
     * reads deliver the last ones without Flush. Only 14 samples then differ after a seek
     * @param bScalarKernels filters without vector instructions; the doubles are the same */
    virtual void Open(clStreamReader *pStream, uint64_t uLargestRead = 0, uint32_t uWorkers = 0,
                      bool bDoubleAmplitude = false, bool bWithoutDelay = false,
                      bool bScalarKernels = false) = 0;

    /** As Open, but only for properties, tag and raw data: decoded reads throw. */
    virtual void OpenMeta(clStreamReader *pStream) = 0;

    /** Closes file and stream; does nothing on a closed object. */
    virtual void Close() = 0;

    /** Reads decoded samples at the output rate, interleaved. Only for a file opened with Open.
     * @param uSize decoded samples over all channels
     * @return samples delivered; fewer than uSize only at the end, where the stream ends early, and
     * where bWithoutDelay leaves samples out; 0 at the end */
    virtual uint64_t Read(double *pBuffer, uint64_t uSize) = 0;

    /** As Read, in frames of six: left, right, centre, low frequencies, left and right surround. */
    virtual uint64_t Read_5_1(double *pBuffer, uint64_t uSize) = 0;

    /** Reads raw bytes, interleaved. @return bytes of sound delivered, 0 at the end */
    virtual uint64_t ReadRaw(void *pBuffer, uint64_t uSize) = 0;

    /** As ReadRaw, in frames of six as Read_5_1; places without a channel get the idle byte. */
    virtual uint64_t ReadRaw_5_1(void *pBuffer, uint64_t uSize) = 0;

    /** Samples per channel of one block, at the output rate. */
    virtual uint32_t GetBlockSamples() const = 0;
    virtual uint32_t GetBlockSize() const = 0;    ///< bytes per channel of one block
    virtual uint32_t GetSampleRate() const = 0;   ///< one-bit samples a second
    virtual uint32_t GetOutputRate() const = 0;   ///< decoded samples a second
    virtual uint32_t GetChannels() const = 0;     ///< of the file
    virtual uint64_t GetOutputSize() const = 0;   ///< decoded samples over all channels
    virtual uint64_t GetOutputLength() const = 0; ///< decoded samples per channel

    /** Seeks to a position in decoded samples over all channels: the start of a frame, in a DSF
     * file of a block group. Other positions are refused, or misplace channels. */
    virtual uint64_t SeekSample(uint64_t uSamples) = 0;
    /** As SeekSample, in decoded samples per channel; in a DSF file a multiple of
     * GetBlockSamples(). */
    virtual uint64_t SeekFrame(uint64_t uFrame) = 0;
    virtual uint64_t GetPosition() const = 0; ///< in a unit that depends on the format

    virtual uint64_t GetDataSize() const = 0; ///< bytes of sound over all channels
    virtual uint64_t GetLength() const = 0;   ///< one-bit samples per channel
    /** Whether the sound is compressed (DST). */
    virtual bool IsCompressed() const;
    /** The file's ID3v2 tag, owned by this object; without frames if the file has none, null if the
     * format has no tags. */
    virtual const clID3tag *GetTag() const;

    /** Delay of the audio in decoded samples per channel; the same for all rates. */
    uint32_t GetDelay() const noexcept;

    /** Delivers the delayed samples, as if silence followed: GetDelay() of each channel, in frames
     * like those of the last decoded read. The next read starts from silence, as after a seek.
     * @param uSize size of pBuffer in samples; nothing happens for less than a frame
     * @return samples delivered, whole frames; 0 when all have been delivered
     * @throws clXDSD unless the file was opened with Open */
    uint64_t Flush(double *pBuffer, uint64_t uSize);

protected:
    /** Closes the file and takes over the next stream.
     * @throws clXDSD for null; what Close throws, and the new stream is deleted then */
    void ReplaceStream(clStreamReader *pStreamReader);

    /** Closes and deletes the stream, also when closing it throws. */
    void CloseStream();

    /** Whether ConfigureHook has prepared decoding for the present number of channels. */
    bool IsDecoding() const;

    /** The common part of the decoded reads; only after IsDecoding. @return frames delivered */
    uint64_t Decode(double *pBuffer, uint64_t uFrames, const frame_layout_t &layout,
                    clSignalSource &source);

    /** The next decoded read starts from silence, as after a seek. */
    void RestartDecoding() noexcept;

    /** Whether the amplitude is doubled, by Open or by bAmplitudeDoubled. */
    bool IsDoubled() const noexcept { return bAmplitudeDoubled || bDoubledByOpen; }

    /** One-bit samples for each decoded one. */
    uint32_t GetDivisor() const noexcept { return bDecimate ? Signal::DECIMATION : 1; }

    void ReverseBits(void *pBuffer, size_t sizeBuffer) const noexcept; ///< of each byte, in place
    /** As ReverseBits, into a destination that does not overlap the source. */
    void ReverseBitsCopy(void *pDest, const void *pSrc, size_t sizeCount) const noexcept;

    /** Doubles the amplitude, independent of bDoubleAmplitude of Open. */
    bool bAmplitudeDoubled = false;
    /** False delivers the one-bit samples themselves; also changes rates and sizes. */
    bool bDecimate = true;

    // Callers rely on the following and on ReservedHook. Only dGain is used here; its place is
    // fixed as well.

    /** Reverses the bits of each byte. */
    static void BuildBitReverse(uint8_t *pArray, size_t sizeArray) noexcept;

    /** Copies samples or bytes of interleaved channels: source channel c goes to place upTable[c]
     * of each frame, which must be below uDestChannels. Other places stay unchanged. uFrames is per
     * channel. */
    static void MapChannels(double *pDest, const double *pSrc, uint64_t uFrames,
                            const uint32_t *upTable, uint32_t uDestChannels,
                            uint32_t uSrcChannels) noexcept;
    /** As above. */
    static void MapChannels(uint8_t *pDest, const uint8_t *pSrc, uint64_t uFrames,
                            const uint32_t *upTable, uint32_t uDestChannels,
                            uint32_t uSrcChannels) noexcept;

    bool bSettingB = false;               ///< not used
    bool bSettingC = false;               ///< not used
    uint64_t uSettingD = 0;               ///< not used
    uint64_t uSettingE = 32;              ///< not used
    int32_t iSettingF = 5;                ///< not used
    int32_t iSettingG = 0;                ///< not used
    double dGain = 0.03125;               ///< scale of decoded samples; 1/32 makes full scale 1.0
    std::array<uint8_t, 256> aBitReverse; ///< entry i is i with its bits reversed

    /** Work buffers of the decoded reads, one per channel. */
    std::array<clAlignedAlloc, Signal::MAX_CHANNELS> aWork;
    uint64_t uPosition = 0; ///< one-bit samples per channel, kept by the seeks

    std::unique_ptr<clStreamReader> pStream; ///< null unless a file is open for reading

private:
    void ApplySettings() noexcept;
    void EndDecoding();

    std::unique_ptr<clDecodeSession> pSession; ///< null unless the file can be decoded
    bool bDoubledByOpen = false;
};
