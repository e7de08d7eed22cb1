#pragma once

#include "base/clAlloc.h"
#include "base/clException.h"
#include "dst/clDSTDecoder.h"
#include "threads/clThreadPool.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

/**
 * Decodes a number of compressed frames at a time, on the calling thread and on workers. Memory and
 * workers are there from the first GetFrame on.
 *
 * One thread at a time. The destructor may throw because that of the thread pool does.
 */
class clDSTBatch : private clThreadPool
{
public:
    struct result_t {
        /** Why the frame cannot be decoded. */
        std::optional<clXDST> fault;
        bool bLooksCut = false;
        /** The check value of the sound, if it was asked for. */
        uint32_t uCheck = 0;
    };

    /**
     * @param uWorkers threads that decode, the calling one included; 0: one for each processor
     * @param uMost    frames that there are at most
     * @throws clXDST as the constructor of clDSTDecoder
     */
    clDSTBatch(uint32_t uChannels, uint32_t uSampleRate, uint32_t uWorkers, uint64_t uMost);
    ~clDSTBatch() noexcept(false) override;

    /** Frames that fit in. */
    size_t GetCount() const noexcept { return sizeCount; }

    /** Bytes of a decoded frame. */
    uint64_t GetSoundSize() const noexcept { return uSoundSize; }

    /** Bytes that a compressed frame has at most: one more than when it is decoded. */
    uint64_t GetFrameRoom() const noexcept { return uSoundSize + 1; }

    /** Where compressed frame i is to be put. */
    uint8_t *GetFrame(size_t i);

    /**
     * Decodes the frames 0 to sizeFrames - 1.
     *
     * @param upSizes the size of each; one above GetFrameRoom() is a fault
     * @param pChecks which check values to compute
     */
    void Decode(size_t sizeFrames, const uint64_t *upSizes, const uint8_t *pChecks);

    const result_t &GetResult(size_t i) const { return aResults[i]; }
    /** Where decoded frame i is. */
    uint8_t *GetSound(size_t i)
    {
        return static_cast<uint8_t *>(allocSound.GetPtr()) + i * uSoundSize;
    }

private:
    void Start();
    void WorkOff(clDSTDecoder &decoder) noexcept;
    void DecodeFrame(clDSTDecoder &decoder, size_t i);
    void ThreadPoolJob(long lThreadIdx, void *pArg) override;

    const uint32_t uChannelCount;
    const uint32_t uRate;
    uint64_t uSoundSize = 0;
    size_t sizeCount = 0;
    /** One for each thread, the first for the calling one; the others are made with the workers. */
    std::vector<std::unique_ptr<clDSTDecoder>> aDecoders;
    bool bStarted = false;
    clAlloc allocFrames;
    clAlloc allocSound;
    std::vector<result_t> aResults;

    // The batch that is being decoded.

    const uint64_t *upFrameSizes = nullptr;
    const uint8_t *pWithCheck = nullptr;
    size_t sizeEnd = 0;
    std::atomic<size_t> sizeNext{0};
};
