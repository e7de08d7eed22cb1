#pragma once

#include "base/clAlignedAlloc.h"
#include "decode/Signal.h"
#include "threads/clThreadPool.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

class clDecoder;
class clID3tag;
class clStreamReader;

/**
 * What the two DSD file formats have in common: one interface to open, read, seek and describe a
 * file.
 *
 * Raw data is one-bit audio, eight samples of one channel a byte, the earliest in the highest bit,
 * one byte of each channel in turn. The output rate is that of decoded samples, a sixteenth of the
 * DSD rate.
 *
 * Decoded samples have gone through a low-pass of linear phase (docs/decoding.md). All ones give
 * +1.0, all zeros -1.0. The audio is preceded by silence and comes GetDelay() samples late: sample
 * n of each channel stands for one-bit sample 16 * (n - GetDelay()), and at the end of the file
 * Flush gives those that are still on their way. After a seek silence precedes the audio as well,
 * so that the first 27 samples of each channel differ from those of an uninterrupted read and all
 * later ones are the same. The doubles do not depend on the format, the sizes of the reads or the
 * number of workers.
 *
 * One thread at a time. Failures are clXDSDIFF or clXDSF, both clXDSD, unless a member says
 * otherwise; buffers that cannot be had are std::runtime_error.
 *
 * The destructor may throw because that of the thread pool does; those of the file classes close
 * the file and swallow errors of that.
 */
class clDSD : private clThreadPool
{
public:
    clDSD();
    clDSD(const clDSD &) = delete;
    clDSD &operator=(const clDSD &) = delete;
    ~clDSD() noexcept(false) override;

protected:
    void ThreadPoolJob(long lThreadIdx, void *pArg) override;

    /**
     * Called by Open with its further arguments, which it describes: starts the workers. A file of
     * more channels than can be decoded gets none, and decoded reads then say so.
     *
     * @throws clXThreadPool when a worker cannot be started; there are none then
     */
    virtual void ConfigureHook(uint64_t uSetting, uint32_t uSelect, bool bFirst, bool bSecond,
                               bool bThird);

    /** Called by Close first of all: ends the workers. */
    virtual void CloseHook();

    virtual void ReservedHook();

public:
    /**
     * Opens a file for reading, decoding included, and starts the workers for that.
     *
     * @param pStream the file from its first byte on; owned by this object from the call on, also
     * when it throws
     * @param uSetting the largest decoded read to come, in decoded samples over all channels: reads
     * up to it allocate nothing. Larger ones work too
     * @param uSelect  the number of workers, the thread that reads being one of them; 0, or more
     * than there are channels, is one for each channel. A read too short to be worth dividing is
     * left to fewer
     * @param bFirst   doubles the amplitude: all ones give +2.0
     * @param bSecond  takes the delay out: the first sample, and that after a seek, stands for the
     * position itself, and at the end the reads go on until the delayed samples are delivered too.
     * After a seek only 14 samples differ then
     * @param bThird   filters without vector instructions, to the same doubles
     */
    virtual void Open(clStreamReader *pStream, uint64_t uSetting = 0, uint32_t uSelect = 0,
                      bool bFirst = false, bool bSecond = false, bool bThird = false) = 0;

    /** As Open, without preparing to decode: for the figures, the tag and the raw data. */
    virtual void OpenMeta(clStreamReader *pStream) = 0;

    /** Closes the file; nothing happens on a closed object. */
    virtual void Close() = 0;

    /**
     * Decoded samples at the output rate, interleaved. Only for a file opened with Open. The audio
     * comes GetDelay() samples late, unless bSecond of Open takes that out.
     *
     * @param uSize decoded samples over all channels
     * @return the samples delivered; less than uSize only at the end, where the stream ends early,
     * and where bSecond of Open has taken out the delay; 0 at the end
     */
    virtual uint64_t Read(double *pBuffer, uint64_t uSize) = 0;

    /** As Read, in frames of six: left, right, centre, low frequencies, left and right surround. */
    virtual uint64_t Read_5_1(double *pBuffer, uint64_t uSize) = 0;

    /** Raw bytes, interleaved. @return bytes of sound delivered, 0 at the end */
    virtual uint64_t ReadRaw(void *pBuffer, uint64_t uSize) = 0;

    /**
     * As ReadRaw, in frames of six bytes in the order of Read_5_1; places without a channel carry
     * the idle pattern.
     */
    virtual uint64_t ReadRaw_5_1(void *pBuffer, uint64_t uSize) = 0;

    /** Samples per channel of one block, at the output rate. */
    virtual uint32_t GetBlockSamples() const = 0;
    /** Bytes per channel of one block. */
    virtual uint32_t GetBlockSize() const = 0;
    /** One-bit samples a second, in Hz. */
    virtual uint32_t GetSampleRate() const = 0;
    /** Decoded samples a second, in Hz. */
    virtual uint32_t GetOutputRate() const = 0;
    virtual uint32_t GetChannels() const = 0;
    /** Decoded samples over all channels. */
    virtual uint64_t GetOutputSize() const = 0;
    /** Decoded samples per channel. */
    virtual uint64_t GetOutputLength() const = 0;

    /** Moves to a position counted in decoded samples over all channels. Only the start of a frame,
     * and in a DSF file that of a group of blocks, is a place to read sound from. */
    virtual uint64_t SeekSample(uint64_t uSamples) = 0;
    /** Moves to a position counted in decoded samples per channel; in a DSF file a multiple of
     * GetBlockSamples(). */
    virtual uint64_t SeekFrame(uint64_t uFrame) = 0;
    virtual uint64_t GetPosition() const = 0;

    /** Bytes of sound over all channels. */
    virtual uint64_t GetDataSize() const = 0;
    /** One-bit samples per channel. */
    virtual uint64_t GetLength() const = 0;
    /** Whether the sound is compressed (DST), which none of the reads understands. */
    virtual bool IsCompressed() const;
    /** The file's ID3v2 tag, without frames when it has none; owned by this object. Null without
     * one. */
    virtual const clID3tag *GetTag() const;

    /** Decoded samples of each channel by which the audio is late; the same for all rates. */
    uint32_t GetDelay() const noexcept;

    /**
     * The decoded samples that the delay holds back, as if silence followed: GetDelay() of each
     * channel in frames like those of the last Read or Read_5_1, fewer when called again. Reading
     * goes on behind it as after a seek.
     *
     * @param uSize size of pBuffer in samples; nothing happens when it is no whole frame
     * @return the samples delivered, whole frames; 0 when there are no more
     * @throws clXDSD unless the file was opened with Open
     */
    uint64_t Flush(double *pBuffer, uint64_t uSize);

    /** What decoded reads are made of: runs of one channel each, one of every channel in turn. */
    struct feed_t {
        /** Position in the file. */
        uint64_t uPosition = 0;
        /** Bytes per channel from there on, at most, as the file announces them. */
        uint64_t uLeft = 0;
        /** Bytes in a run. */
        uint64_t uRun = 1;
        bool bLsbFirst = false;
    };

    /**
     * Where a decoded read gets its bytes. An interface of its own, since a virtual function more
     * in clDSD would move those that a subclass adds.
     */
    class clFeed
    {
    public:
        /** What the next fetch finds. */
        virtual feed_t GetFeed() const = 0;

        /**
         * Fetches the next bytes, and moves on after them.
         *
         * @param pDest  room for uBytes of each channel
         * @param uBytes per channel; whole runs, or all that is left
         * @return bytes per channel fetched; less than uBytes only at the end
         */
        virtual uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) = 0;

    protected:
        ~clFeed() = default;
    };

protected:
    /** How the channels lie in the frames of a decoded read. */
    struct places_t {
        /** One per channel; a channel without a place below uPlaces is left out. */
        const uint32_t *upTable;
        uint32_t uPlaces;
        /** Whether places without a channel get silence; otherwise they stay as they are. */
        bool bSilence;
    };

    /** Whether ConfigureHook has prepared decoding as many channels as there are now. */
    bool IsDecoding() const;

    /** The common part of the decoded reads. @return frames delivered */
    uint64_t Decode(double *pBuffer, uint64_t uFrames, const places_t &places, clFeed &source);

    /** Lets the next decoded read begin with silence before it, as after a seek. */
    void RestartDecoding() noexcept;

    bool IsDoubled() const noexcept { return bDoubleAmplitude || bDoubledByOpen; }

    /** One-bit samples for each decoded one. */
    uint32_t GetDivisor() const noexcept { return bDecimate ? Signal::DECIMATION : 1; }

    /** Reverses the bits of each byte of an array in place. */
    static void BuildBitReverse(uint8_t *pArray, size_t sizeArray) noexcept;
    void ReverseBits(void *pBuffer, size_t sizeBuffer) const noexcept;
    /** The source must not overlap the destination. */
    void ReverseBitsCopy(void *pDest, const void *pSrc, size_t sizeCount) const noexcept;

    /**
     * Copies channels between two interleaved layouts: source channel c goes to place upTable[c] of
     * each frame; places that no channel goes to stay as they are.
     *
     * @param uFrames samples, or bytes, per channel
     * @param upTable one place below uDestChannels per source channel
     */
    static void MapChannels(double *pDest, const double *pSrc, uint64_t uFrames,
                            const uint32_t *upTable, uint32_t uDestChannels,
                            uint32_t uSrcChannels) noexcept;
    static void MapChannels(uint8_t *pDest, const uint8_t *pSrc, uint64_t uFrames,
                            const uint32_t *upTable, uint32_t uDestChannels,
                            uint32_t uSrcChannels) noexcept;

    // Settings of the decoding reads; raw reads and figures use bDecimate alone.
    bool bDoubleAmplitude = false;
    bool bDecimate = true;
    bool bSettingB = false;
    bool bSettingC = false;
    uint64_t uSettingD = 0;
    uint64_t uSettingE = 32;
    int32_t iSettingF = 5;
    int32_t iSettingG = 0;
    double dGain = 0.03125;

    /** Entry i is i with its eight bits in reverse order. */
    std::array<uint8_t, 256> aBitReverse;

    /** One work buffer per channel. */
    std::array<clAlignedAlloc, Signal::MAX_CHANNELS> aWork;

    /** Position in one-bit samples per channel, kept by the seeks. */
    uint64_t uPosition = 0;

private:
    void EndDecoding();
    uint8_t *GetFetchBuffer(uint64_t uTimes, uint32_t uEach);
    uint64_t GetWhole(uint64_t uBytes) const noexcept;
    void StartJobs(uint64_t uBytes);
    void FetchRest(clFeed &source, uint8_t *pBytes, uint64_t uFetched, uint64_t uPiece);
    uint64_t FinishJobs();
    uint64_t Drain(uint64_t uFrames);

    /** Null unless the file can be decoded. */
    std::unique_ptr<clDecoder> pDecoder;
    clAlignedAlloc allocFetch;
    bool bDoubledByOpen = false;
    bool bWithoutDelay = false;

    /** Where the last fetch ended; the next one is the continuation only if it starts there. */
    uint64_t uFetchEnd = UINT64_MAX;
    /** Decoded samples of each channel to be left out, and of the delay those delivered. */
    uint64_t uSkip = 0;
    uint64_t uDrained = 0;

    /** Workers of the pool that have a job in this batch. */
    uint32_t uHelpers = 0;
};
