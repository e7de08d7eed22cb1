#pragma once

#include "decode/Signal.h"
#include "decode/clDecimator.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

/**
 * Decodes batches of bytes of several channels, in several jobs that may run at the same time.
 *
 * Each job owns one contiguous time range ("part") and decodes it in pieces ("stretches"), every
 * channel of a piece before the next piece, so that it writes to the same part of the caller's
 * buffer in every batch. It blocks until the bytes are supplied, and takes stretches of other jobs
 * when its own part is done. All other operations belong to the one thread that sets up the batch,
 * supplies it and waits for the jobs.
 */
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): padding against false sharing.
class clDecoder
{
public:
    /** The place of a channel whose samples go nowhere. */
    static constexpr uint32_t NO_PLACE = UINT32_MAX;

    /** Bytes, or room for them: runs of uRun bytes, one run per channel, channels in rotation. */
    struct source_t {
        const uint8_t *cpBytes = nullptr;
        uint64_t uBytes = 0; // per channel
        uint64_t uRun = 1;
        bool bLsbFirst = false;
    };

    /** Frames of samples, and the place of each channel in a frame. */
    struct target_t {
        double *pFrames = nullptr;
        uint32_t uPlaces = 0;
        std::array<uint32_t, Signal::MAX_CHANNELS> auPlaces{};
        bool bSilence = false; // other places get silence; otherwise they stay as they are
        uint64_t uSkip = 0;    // samples per channel that are left out at the start
    };

    /** @param uJobs the most jobs of a batch, 1 to Signal::MAX_CHANNELS
     * @param ppWork one buffer of GetWorkSize(uJobs) bytes per channel, borrowed: must outlive this
     * object */
    clDecoder(uint32_t uChannels, uint32_t uJobs, void *const *ppWork,
              const DecimatorKernels::set_t &kernels);

    static constexpr size_t GetWorkSize(uint32_t uJobs) noexcept
    {
        return uJobs * clDecimator::WORK_SIZE + clDecimator::WORK_ALIGNMENT;
    }

    uint32_t GetChannels() const noexcept { return uChannels; }

    /** Forgets all bytes seen; the next batch follows silence. */
    void Reset() noexcept;

    /** Begins the batch. @return the number of its jobs; RunJob is to be called once for each */
    uint32_t StartBatch() noexcept;

    /** The source holds uBytes bytes per channel now; whole decoded samples. */
    void Supply(uint64_t uBytes) noexcept;

    /** No more bytes come: the jobs return once they have decoded everything supplied. */
    void EndSupply() noexcept;

    /** The work of one job; returns when no work is left in the batch. */
    void RunJob(uint32_t uJob) noexcept;

    /** Keeps the bytes that the next batch needs; after the last job. @return bytes per channel */
    uint64_t EndBatch() noexcept;

    // The batch; not empty, set before StartBatch.
    source_t source;
    target_t target;
    bool bDecimate = true; // false delivers the one-bit samples themselves
    double dGain = 1.0;    // 1/32 makes full scale 1.0

private:
    uint64_t TakeStretch(uint32_t uOf, uint64_t &uFrom) noexcept;
    uint64_t WaitForBytes(uint64_t uBytes) const noexcept;
    void Decode(clDecimator *pSet, uint64_t uFrom, uint64_t uEnd, bool bWarmUp) const noexcept;
    void ExpandBits(uint64_t uFrom, uint64_t uEnd) const noexcept;

    uint32_t uChannels;
    uint32_t uMaxJobs;
    std::vector<clDecimator> aDecimators; ///< one per job and channel, those of a job side by side
    /** The last bytes of each channel before the batch, the earliest sample in the highest bit. */
    std::array<std::array<uint8_t, clDecimator::MEMORY>, Signal::MAX_CHANNELS> aHistory;

    uint32_t uJobs = 0;
    uint64_t uPart = 0; ///< bytes per channel of a part

    // A pair of cache lines keeps what the jobs change apart from what they only read.

    /** The start of the next stretch of each part, as a byte of each channel. */
    alignas(128) std::array<std::atomic<uint64_t>, Signal::MAX_CHANNELS> auNextStretch{};
    /** Bytes per channel supplied so far, and a flag for more to come. */
    std::atomic<uint64_t> uSupply{0};
};
