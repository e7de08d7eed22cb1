#pragma once

#include "decode/clDecodeSession.h"
#include "tests/support/Bytes.h"
#include "tests/support/EqualBytes.h"
#include "threads/clThreadPool.h"

#include <algorithm>
#include <functional>

// Decoding without a file: a signal in memory, and a session with its own pool.

/** Interleaved bytes, the earliest sample of each in the highest bit. */
class MemorySource final : public clSignalSource
{
public:
    MemorySource(const bytes_t &bytes, uint32_t uChannelCount)
        : uChannels(uChannelCount),
          sound(bytes)
    {
    }

    next_t GetNext() const override
    {
        return {uPosition, sound.size() / uChannels + uMissing - uPosition};
    }

    uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) override
    {
        fnBeforeFetch(uPosition);
        const uint64_t uFetched = std::min(uBytes, sound.size() / uChannels - uPosition);
        std::copy_n(sound.data() + uPosition * uChannels, uFetched * uChannels, pDest);
        uPosition += uFetched;
        return uFetched;
    }

    uint64_t uPosition = 0; ///< in bytes per channel
    uint64_t uMissing = 0;  ///< bytes per channel that are announced and missing
    std::function<void(uint64_t)> fnBeforeFetch = [](uint64_t) {};

private:
    const uint32_t uChannels;
    const bytes_t sound;
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

    samples_t Read(clSignalSource &source, uint64_t uFrames)
    {
        const uint32_t auInOrder[] = {0, 1, 2, 3, 4, 5};
        samples_t out(uFrames * uChannels);
        out.resize(uChannels *
                   session.Read(out.data(), uFrames, {auInOrder, uChannels, false}, source));
        return out;
    }

    /** All samples in reads of uFrames frames, without Flush. */
    samples_t ReadToEnd(clSignalSource &source, uint64_t uFrames)
    {
        samples_t all;
        for (samples_t turn; !(turn = Read(source, uFrames)).empty();) {
            all.insert(all.end(), turn.begin(), turn.end());
        }
        return all;
    }

    /** One Flush with room for sizeRoom samples. */
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
