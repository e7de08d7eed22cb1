#pragma once

#include "dsd/clDecimator.h"

#include <array>
#include <cstdint>
#include <vector>

/**
 * What clDSD decodes with: a decimator per channel, the bytes to decode and where the samples go.
 *
 * Its jobs may run at the same time, each sees to channels of its own; all else belongs to the one
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
     * @param ppWork memory for one decimator per channel, borrowed
     * @param uJobs  1 to uChannels
     */
    clDecoder(uint32_t uChannels, uint32_t uJobs, void *const *ppWork,
              const decimator_kernels_t &kernels);

    uint32_t GetChannels() const noexcept { return static_cast<uint32_t>(aDecimators.size()); }
    uint32_t GetJobs() const noexcept { return uJobs; }

    /** Forgets all bytes seen; what comes next follows upon silence. */
    void Reset() noexcept;

    /** The work of one job: the batch, for the channels that are its own. */
    void Run(uint32_t uJob, double *pDest) noexcept;

    // The batch; set while no job runs.
    source_t source;
    target_t target;
    bool bDecimate = true; // false gives the one-bit samples themselves, eight a byte
    double dGain = 1.0;    // 1/32 makes full scale 1.0

private:
    void Decimate(uint32_t uChIdx, uint64_t uFrom, size_t sizeBytes, double *pDest) noexcept;
    void Unfold(uint32_t uChIdx, uint64_t uFrom, size_t sizeBytes, double *pDest) noexcept;

    std::vector<clDecimator> aDecimators;
    uint32_t uJobs;
};
