#pragma once

#include "decode/clDecimator.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

/**
 * What clDSD decodes with: decimators, the bytes to decode and where the samples go.
 *
 * Its jobs may run at the same time. Each has a part of the batch, in time, and goes through it in
 * stretches, all channels of one after another, waiting where the bytes are not there yet; what it
 * writes stays near its processor from batch to batch. When it is done it helps the others with
 * theirs. All else belongs to the one thread that sets up the batch, supplies it and waits for it.
 */
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): it keeps the processors apart.
class clDecoder
{
public:
    static constexpr uint32_t MAX_CHANNELS = 6;
    /** The byte of a silent channel. */
    static constexpr uint8_t IDLE = 0x96;
    /** The place of a channel whose samples go nowhere. */
    static constexpr uint32_t NO_PLACE = UINT32_MAX;

    /** Bytes, or the room for them: runs of one channel each, one of every channel in turn. */
    struct source_t {
        const uint8_t *cpBytes = nullptr;
        uint64_t uBytes = 0; // per channel
        uint64_t uRun = 1;
        bool bLsbFirst = false;
    };

    /** Frames of samples, and the place in the frame of each channel. */
    struct target_t {
        double *pFrames = nullptr;
        uint32_t uPlaces = 0;
        std::array<uint32_t, MAX_CHANNELS> auPlaces{};
        bool bSilence = false; // other places are silent, not left alone
        uint64_t uSkip = 0;    // samples per channel that are left out at the start
    };

    /**
     * @param uJobs  the most jobs of a batch, 1 to MAX_CHANNELS
     * @param ppWork memory of each channel, GetWorkSize(uJobs) bytes, borrowed
     */
    clDecoder(uint32_t uChannels, uint32_t uJobs, void *const *ppWork,
              const DecimatorKernels::set_t &kernels);

    static constexpr size_t GetWorkSize(uint32_t uJobs) noexcept
    {
        return uJobs * clDecimator::WORK_SIZE + clDecimator::WORK_ALIGNMENT;
    }

    uint32_t GetChannels() const noexcept { return uChannels; }

    /** Forgets all bytes seen; what comes next follows upon silence. */
    void Reset() noexcept;

    /** Begins the batch. @return its jobs: each from 0 on has to run once */
    uint32_t Start() noexcept;

    /** The source holds so many bytes per channel now, whole decoded samples. */
    void Supply(uint64_t uBytes) noexcept;

    /** The source will not hold more: the jobs return when they are through with what there is. */
    void EndSupply() noexcept;

    /** The work of one job. */
    void Run(uint32_t uJob) noexcept;

    /**
     * Keeps what the next batch looks back at; after the last job.
     * @return bytes per channel of the batch
     */
    uint64_t Finish() noexcept;

    // The batch; not empty, set before Start.
    source_t source;
    target_t target;
    bool bDecimate = true; // false gives the one-bit samples themselves, eight a byte
    double dGain = 1.0;    // 1/32 makes full scale 1.0

private:
    uint64_t Take(uint32_t uOf, uint64_t &uFrom) noexcept;
    uint64_t Await(uint64_t uBytes) const noexcept;
    void Decode(clDecimator *pSet, uint64_t uFrom, uint64_t uEnd, bool bLeadUp) const noexcept;
    void Unfold(uint64_t uFrom, uint64_t uEnd) const noexcept;

    uint32_t uChannels;
    uint32_t uMaxJobs;
    /** A set for each job, in it one for each channel. */
    std::vector<clDecimator> aDecimators;
    /** The last bytes of each channel before the batch, the earliest sample in the highest bit. */
    std::array<std::array<uint8_t, clDecimator::MEMORY>, MAX_CHANNELS> aHistory;

    uint32_t uJobs = 0;
    /** Bytes per channel of a part. */
    uint64_t uPart = 0;

    // What the jobs change lies apart from what they only read, by a pair of cache lines.

    /** Where the next stretch of each part begins. */
    alignas(128) std::array<std::atomic<uint64_t>, MAX_CHANNELS> auNext{};
    /** Bytes per channel that are there, and whether there may be more. */
    std::atomic<uint64_t> uSupply{0};
};
