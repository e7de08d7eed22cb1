#pragma once

#include "decode/clDecodeSession.h"
#include "tests/support/Bytes.h"
#include "tests/support/EqualBytes.h"
#include "threads/clThreadPool.h"

#include <algorithm>
#include <functional>

// Decoding without a file: a signal in memory, and a session with a pool of its own.

/** Interleaved bytes, delivered in runs of any length and in either bit order. */
class MemorySource final : public clSignalSource
{
public:
    MemorySource(const bytes_t &sound, uint32_t uChannelCount, uint64_t uRunBytes = 1,
                 bool bLowestFirst = false)
        : uChannels(uChannelCount),
          uRun(uRunBytes),
          bLsbFirst(bLowestFirst),
          uEnd(sound.size() / uChannels),
          runs((uEnd + uRun - 1) / uRun * uRun * uChannels, 0x55)
    {
        for (size_t i = 0; i < uEnd * uChannels; ++i) {
            const uint64_t uAt = i / uChannels;
            runs[(uAt / uRun * uChannels + i % uChannels) * uRun + uAt % uRun] =
                bLsbFirst ? Reversed(sound[i]) : sound[i];
        }
    }

    next_t GetNext() const override
    {
        return {uPosition, runs.size() / uChannels + uMissing - uPosition, uRun, bLsbFirst};
    }

    uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) override
    {
        fnBeforeFetch(uPosition);
        const size_t sizeFrom = uPosition * uChannels;
        const size_t sizeCount = std::min<size_t>(uBytes * uChannels, runs.size() - sizeFrom);
        std::copy_n(runs.data() + sizeFrom, sizeCount, pDest);
        const uint64_t uSound = std::min(sizeCount / uChannels, uEnd - std::min(uEnd, uPosition));
        uPosition += sizeCount / uChannels;
        return uSound;
    }

    /** In bytes per channel, where a run starts. */
    uint64_t uPosition = 0;
    /** Bytes per channel that are announced and not there. */
    uint64_t uMissing = 0;
    std::function<void(uint64_t)> fnBeforeFetch = [](uint64_t) {};

private:
    const uint32_t uChannels;
    const uint64_t uRun;
    const bool bLsbFirst;
    const uint64_t uEnd;
    bytes_t runs;
};

/** A session, and the pool and the memory that it borrows. */
class clDecoding
{
public:
    explicit clDecoding(const clDecodeSession::setup_t &setup)
        : uChannels(setup.uChannels),
          session(pool, aWork, setup)
    {
        pool.pSession = &session;
    }
    clDecoding(const clDecoding &) = delete;
    clDecoding &operator=(const clDecoding &) = delete;
    ~clDecoding() noexcept(false) { session.EndWorkers(); }

    /** One read. */
    samples_t Read(clSignalSource &source, uint64_t uFrames)
    {
        const uint32_t auInOrder[] = {0, 1, 2, 3, 4, 5};
        samples_t out(uFrames * uChannels);
        out.resize(uChannels *
                   session.Read(out.data(), uFrames, {auInOrder, uChannels, false}, source));
        return out;
    }

    /** All samples in reads of uFrames frames, without those of Flush. */
    samples_t ReadToEnd(clSignalSource &source, uint64_t uFrames)
    {
        samples_t all;
        for (samples_t turn; !(turn = Read(source, uFrames)).empty();) {
            all.insert(all.end(), turn.begin(), turn.end());
        }
        return all;
    }

    /** What one Flush with room for sizeRoom samples delivers. */
    samples_t Flush(size_t sizeRoom)
    {
        samples_t out(sizeRoom);
        out.resize(session.Flush(out.data(), sizeRoom));
        return out;
    }

private:
    struct pool_t : clThreadPool {
        void ThreadPoolJob(long lThreadIdx, void *) override { pSession->RunJob(lThreadIdx); }
        clDecodeSession *pSession = nullptr;
    };

    const uint32_t uChannels;
    pool_t pool;
    clDecodeSession::work_t aWork;

public:
    clDecodeSession session;
};
