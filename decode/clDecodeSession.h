#pragma once

#include "base/clAlignedAlloc.h"
#include "decode/Signal.h"
#include "decode/clDecoder.h"
#include "decode/clSignalSource.h"

#include <array>
#include <cstdint>

class clThreadPool;

/** The frames that a decoded read delivers. */
struct frame_layout_t {
    /** One per channel. A place not below uPlaces leaves the channel out; of two channels with the
     * same place the later one is delivered. */
    const uint32_t *upPlaces;
    uint32_t uPlaces; ///< samples in a frame
    bool bSilence;    ///< places without a channel get silence; otherwise they stay as they are
};

/**
 * Decodes one signal from its start to its end: fetches bytes from a source, decodes them on the
 * calling thread and on the workers of a thread pool, and compensates the delay of the filter. One
 * thread at a time. The owner of the pool forwards its jobs to RunJob, and calls EndWorkers before
 * the session is destroyed.
 */
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): that of the decoder, which needs it.
class clDecodeSession
{
public:
    /** Decoded samples by which the filter delays. */
    static constexpr uint32_t DELAY = clDecimatorDesign::DELAY;

    using work_t = std::array<clAlignedAlloc, Signal::MAX_CHANNELS>;

    struct setup_t {
        uint32_t uChannels = 0; ///< 1 to Signal::MAX_CHANNELS
        /** Threads that decode, the calling one included; 0, or more than channels: one per
         * channel. */
        uint32_t uWorkers = 0;
        uint64_t uLargestRead = 0; ///< samples over all channels; larger reads allocate memory
        /** Leaves the first DELAY samples out, and delivers the last ones without Flush. */
        bool bWithoutDelay = false;
        bool bScalarKernels = false;
        bool bDecimate = true; ///< as for SetConversion
    };

    /** Starts the workers. The pool, without workers yet, and the work buffers, which are resized,
     * are borrowed: must outlive this object.
     * @throws clXThreadPool when a worker cannot be started, std::runtime_error when memory is
     * short; there are no workers then */
    clDecodeSession(clThreadPool &threadPool, work_t &aWork, const setup_t &setup);
    clDecodeSession(const clDecodeSession &) = delete;
    clDecodeSession &operator=(const clDecodeSession &) = delete;
    ~clDecodeSession() = default;

    /** Ends the workers. No read may follow. @throws clXThreadPool */
    void EndWorkers();

    /** The work of one worker, for the pool's ThreadPoolJob. */
    void RunJob(long lThreadIdx) noexcept;

    /** How the next operations convert: bDecimateSignal false delivers the one-bit samples at their
     * own rate; a gain of 1.0 / clDecimatorDesign::FULL_SCALE makes full scale 1.0. */
    void SetConversion(bool bDecimateSignal, double dSampleGain) noexcept;

    /** Decodes the next frames; from silence if the source is not where the last read left it.
     * @return frames delivered; fewer than uFrames where the source delivers less and where the
     * delay is left out, 0 only at the end
     * @throws what the source throws; the next read starts from silence then */
    uint64_t Read(double *pFrames, uint64_t uFrames, const frame_layout_t &layout,
                  clSignalSource &source);

    /** Delivers the delayed samples, as if silence followed, in frames like those of the last read.
     * The next read starts from silence. uSize is the room in samples; nothing happens for less
     * than a frame. @return samples, whole frames; 0 when all have been delivered */
    uint64_t Flush(double *pBuffer, uint64_t uSize);

    /** The next read starts from silence. */
    void Restart() noexcept;

    uint32_t GetChannels() const noexcept { return decoder.GetChannels(); }
    bool IsWithoutDelay() const noexcept { return bWithoutDelay; }

private:
    void SetLayout(const frame_layout_t &layout) noexcept;
    uint8_t *GetFetchBuffer(uint64_t uTimes, uint64_t uEach);
    uint64_t RoundToSamples(uint64_t uBytes) const noexcept;
    void StartBatch(uint64_t uBytes);
    void FetchRest(clSignalSource &source, uint8_t *pBytes, uint64_t uFetched, uint64_t uPiece);
    uint64_t EndBatch();
    uint64_t DecodeSilence(uint64_t uFrames);

    clThreadPool &pool;
    const bool bWithoutDelay;
    bool bDecimate;
    double dGain = 1.0 / clDecimatorDesign::FULL_SCALE;
    clDecoder decoder;
    clAlignedAlloc allocFetch;

    /** Position at which the last fetch ended; a read that starts elsewhere follows a seek. */
    uint64_t uFetchEnd = UINT64_MAX;
    uint64_t uSkip = 0;    ///< decoded samples per channel still to be left out
    uint64_t uFlushed = 0; ///< samples of the delay that were delivered
    uint32_t uHelpers = 0; ///< workers with a job in this batch
};
