#pragma once

#include "dsd/clDecimator.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

/**
 * What clDSD decodes with: decimators, the bytes to decode and where the samples go.
 *
 * Its jobs may run at the same time. Each has a part of the batch, in time, and goes through it in
 * stretches, all channels of one after another: so what it writes stays in its processor's cache
 * from batch to batch. When it is done it helps the others with theirs. All else belongs to the one
 * thread that sets up the batch and waits for it.
 */
class clDecoder
{
public:
    static constexpr uint32_t MAX_CHANNELS = 6;
    /** The byte of a silent channel. */
    static constexpr uint8_t IDLE = 0x96;
    /** The place of a channel whose samples go nowhere. */
    static constexpr uint32_t NO_PLACE = UINT32_MAX;

    /** Whole decoded samples of bytes: runs of one channel each, one of every channel in turn. */
    struct source_t {
        const uint8_t *cpBytes = nullptr;
        uint64_t uBytes = 0; // per channel
        uint64_t uRun = 1;
        bool bLsbFirst = false;
    };

    /** Frames of samples, and the place in the frame of each channel. */
    struct target_t {
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
              const decimator_kernels_t &kernels);

    static constexpr size_t GetWorkSize(uint32_t uJobs) noexcept
    {
        return uJobs * clDecimator::WORK_SIZE;
    }

    uint32_t GetChannels() const noexcept { return uChannels; }

    /** Forgets all bytes seen; what comes next follows upon silence. */
    void Reset() noexcept;

    /** Divides the batch. @return its jobs: each from 0 on has to run once */
    uint32_t Start() noexcept;

    /** The work of one job. */
    void Run(uint32_t uJob, double *pDest) noexcept;

    /** Keeps what the next batch looks back at; after the last job. */
    void Finish() noexcept;

    // The batch; not empty, set before Start.
    source_t source;
    target_t target;
    bool bDecimate = true; // false gives the one-bit samples themselves, eight a byte
    double dGain = 1.0;    // 1/32 makes full scale 1.0

private:
    void Decode(clDecimator *pSet, uint64_t uFrom, uint64_t uEnd, double *pDest) noexcept;
    void Unfold(uint64_t uFrom, uint64_t uEnd, double *pDest) const noexcept;

    uint32_t uChannels;
    uint32_t uMaxJobs;
    /** A set for each job, in it one for each channel. */
    std::vector<clDecimator> aDecimators;
    /** The last bytes of each channel before the batch, the earliest sample in the highest bit. */
    std::array<std::array<uint8_t, clDecimator::MEMORY>, MAX_CHANNELS> aHistory;

    // Bytes per channel.
    uint64_t uPart = 0;
    uint64_t uStretch = 0;
    /** Where the next stretch of each part begins. */
    std::array<std::atomic<uint64_t>, MAX_CHANNELS> auNext{};
    uint32_t uJobs = 0;
};
