#include "base/clException.h"
#include "decode/clDecoder.h"
#include "dsd/clDSD.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include <pthread.h>
#include <signal.h> // for sigfillset()

// The decoding side of clDSD: the hooks, the batches and what is left at the end.

namespace
{

constexpr uint32_t DELAY = clDecimatorDesign::DELAY;

// Bytes per channel that are fetched at a time: few enough for the helpers to start soon, enough to
// be worth a call of the system. Whole runs and whole decoded samples.
constexpr uint64_t GetPiece(uint64_t uRun)
{
    constexpr uint64_t AT_LEAST = 16384;
    const uint64_t uUnit = 2 * uRun;
    return (AT_LEAST + uUnit - 1) / uUnit * uUnit;
}

/**
 * Keeps signals and cancellations from the calling thread, and signals from the threads it starts.
 * Either would break off the wait for a batch, whose jobs go on writing into the caller's buffer; a
 * worker that a signal wakes ends for good.
 */
class clUndisturbed
{
public:
    clUndisturbed()
    {
        sigset_t most;
        sigfillset(&most);
        // A fault of the thread's own stays one that handlers hear of.
        for (const int iSignal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
            sigdelset(&most, iSignal);
        }
        pthread_sigmask(SIG_BLOCK, &most, &old);
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &iState);
    }
    clUndisturbed(const clUndisturbed &) = delete;
    clUndisturbed &operator=(const clUndisturbed &) = delete;
    ~clUndisturbed()
    {
        pthread_setcancelstate(iState, nullptr);
        pthread_sigmask(SIG_SETMASK, &old, nullptr);
    }

private:
    sigset_t old{};
    int iState = PTHREAD_CANCEL_ENABLE;
};

} // namespace

void clDSD::ThreadPoolJob(long lThreadIdx, void *)
{
    if (pDecoder) {
        pDecoder->RunJob(static_cast<uint32_t>(lThreadIdx));
    }
}

void clDSD::ConfigureHook(uint64_t uSetting, uint32_t uSelect, bool bFirst, bool bSecond,
                          bool bThird)
{
    EndDecoding();
    const uint32_t uChannels = GetChannels();
    if (uChannels == 0 || uChannels > Signal::MAX_CHANNELS) {
        return;
    }
    try {
        std::array<void *, Signal::MAX_CHANNELS> apWork{};
        const uint32_t uJobs = uSelect == 0 ? uChannels : std::min(uSelect, uChannels);
        for (uint32_t i = 0; i < uChannels; ++i) {
            apWork[i] = aWork[i].SetSize(static_cast<int64_t>(clDecoder::GetWorkSize(uJobs)));
        }
        GetFetchBuffer(uSetting, std::max(GetDivisor() / 8, 1U));

        pDecoder = std::make_unique<clDecoder>(uChannels, uJobs, apWork.data(),
                                               bThird ? DecimatorKernels::SCALAR
                                                      : DecimatorKernels::GetFastest());
        pDecoder->target.uPlaces = uChannels;
        std::iota(pDecoder->target.auPlaces.begin(), pDecoder->target.auPlaces.end(), 0U);
        bDoubledByOpen = bFirst;
        bWithoutDelay = bSecond;
        RestartDecoding();

        const clUndisturbed undisturbed;
        // The thread that reads is a worker itself.
        ThreadPoolCreate(static_cast<long>(uJobs) - 1);
    } catch (...) {
        EndDecoding();
        throw;
    }
}

void clDSD::CloseHook()
{
    EndDecoding();
}

uint32_t clDSD::GetDelay() const noexcept
{
    return bDecimate && !bWithoutDelay ? DELAY : 0;
}

uint64_t clDSD::Flush(double *pBuffer, uint64_t uSize)
{
    if (!pDecoder) {
        throw clXDSD("clDSD::Flush(): not opened for decoding");
    }
    const clDecoder::target_t &target = pDecoder->target;
    const uint64_t uFrames = std::min<uint64_t>(uSize / target.uPlaces, DELAY - uDrained);
    if (uFrames == 0) {
        return 0;
    }
    if (target.bSilence) {
        std::fill_n(pBuffer, uFrames * target.uPlaces, 0.0);
    }
    pDecoder->target.pFrames = pBuffer;
    return Drain(uFrames) * target.uPlaces;
}

bool clDSD::IsDecoding() const
{
    return pDecoder && pDecoder->GetChannels() == GetChannels();
}

uint64_t clDSD::Decode(double *pBuffer, uint64_t uFrames, const places_t &places, clFeed &source)
{
    if (uFrames == 0) {
        return 0;
    }
    clDecoder::target_t &target = pDecoder->target;
    target.pFrames = pBuffer;
    target.uPlaces = places.uPlaces;
    target.bSilence = places.bSilence;
    for (uint32_t i = 0; i < GetChannels(); ++i) {
        const uint32_t uPlace = places.upTable[i];
        // Of two channels with one place the later one has it, as with raw bytes. The jobs write at
        // the same time, so they cannot decide that.
        std::replace(target.auPlaces.begin(), target.auPlaces.begin() + i, uPlace,
                     clDecoder::NO_PLACE);
        target.auPlaces[i] = uPlace < places.uPlaces ? uPlace : clDecoder::NO_PLACE;
    }
    if (places.bSilence) {
        std::fill_n(pBuffer, uFrames * places.uPlaces, 0.0);
    }

    const uint64_t uWanted =
        bDecimate ? std::min(uFrames, std::numeric_limits<uint64_t>::max() / 2) * 2 : uFrames / 8;
    for (;;) {
        const feed_t feed = source.GetFeed();
        const uint64_t uNow = std::min(uWanted, feed.uLeft);
        const uint64_t uPiece = GetPiece(feed.uRun);
        uint8_t *const pBytes = GetFetchBuffer(uNow, GetChannels());
        const uint64_t uFetched = uNow == 0 ? 0 : source.Fetch(pBytes, std::min(uNow, uPiece));
        if (GetWhole(uFetched) == 0) {
            break;
        }
        if (uDrained != 0 || feed.uPosition != uFetchEnd) {
            RestartDecoding();
        }
        pDecoder->source = {pBytes, uNow, feed.uRun, feed.bLsbFirst};
        StartJobs(GetWhole(uFetched));
        FetchRest(source, pBytes, uFetched, uPiece);
        const uint64_t uDone = FinishJobs();
        uFetchEnd = source.GetFeed().uPosition;
        // All that was fetched may have gone into the delay; that is not the end.
        if (uDone != 0) {
            return uDone;
        }
    }
    return bWithoutDelay ? Drain(uFrames) : 0;
}

void clDSD::RestartDecoding() noexcept
{
    if (pDecoder) {
        pDecoder->Reset();
    }
    uFetchEnd = UINT64_MAX;
    uSkip = bDecimate && bWithoutDelay ? DELAY : 0;
    uDrained = 0;
}

void clDSD::EndDecoding()
{
    ThreadPoolDestroy();
    pDecoder.reset();
    allocFetch.Free();
    for (clAlignedAlloc &alloc : aWork) {
        alloc.Free();
    }
    bDoubledByOpen = false;
    bWithoutDelay = false;
}

// Memory for so many times so many bytes.
uint8_t *clDSD::GetFetchBuffer(uint64_t uTimes, uint32_t uEach)
{
    // What leaves 63 bits becomes a size that no buffer can have.
    const uint64_t uBytes = uTimes > INT64_MAX / uEach ? UINT64_MAX : uTimes * uEach;
    // Kept for all smaller reads: a player's are not all of one size.
    if (uBytes > static_cast<uint64_t>(allocFetch.GetSize())) {
        allocFetch.SetSize(static_cast<int64_t>(uBytes));
    }
    return static_cast<uint8_t *>(allocFetch.GetPtr());
}

// Half a decoded sample at the end is none.
uint64_t clDSD::GetWhole(uint64_t uBytes) const noexcept
{
    return bDecimate ? uBytes / 2 * 2 : uBytes;
}

// Begins a batch of which so many bytes per channel are there.
void clDSD::StartJobs(uint64_t uBytes)
{
    pDecoder->target.uSkip = uSkip;
    pDecoder->bDecimate = bDecimate;
    pDecoder->dGain = IsDoubled() ? 2.0 * dGain : dGain;
    uHelpers = pDecoder->StartBatch() - 1;
    pDecoder->Supply(uBytes);
    if (uHelpers != 0) {
        ThreadPoolStart(uHelpers, nullptr);
    }
}

// Fetches what is still missing of the batch, while the helpers decode what is there.
void clDSD::FetchRest(clFeed &source, uint8_t *pBytes, uint64_t uFetched, uint64_t uPiece)
{
    try {
        while (uFetched % uPiece == 0 && uFetched < pDecoder->source.uBytes) {
            const uint64_t uNow = std::min(uPiece, pDecoder->source.uBytes - uFetched);
            const uint64_t uMore = source.Fetch(pBytes + uFetched * GetChannels(), uNow);
            uFetched += uMore;
            pDecoder->Supply(GetWhole(uFetched));
            if (uMore < uNow) {
                break;
            }
        }
    } catch (...) {
        // A cancellation comes by here, too. The helpers work in memory that is the caller's.
        FinishJobs();
        RestartDecoding();
        throw;
    }
}

// Takes part in the batch until it is done. @return frames delivered
uint64_t clDSD::FinishJobs()
{
    const clUndisturbed undisturbed;
    pDecoder->EndSupply();
    // The last part: its bytes came last and are in this processor's cache.
    pDecoder->RunJob(uHelpers);
    if (uHelpers != 0) {
        ThreadPoolWait();
    }
    const uint64_t uFrames = pDecoder->EndBatch() * 8 / GetDivisor();
    const uint64_t uLeftOut = std::min(uSkip, uFrames);
    uSkip -= uLeftOut;
    return uFrames - uLeftOut;
}

// The samples that are late, by decoding the silence behind the audio. @return frames delivered
uint64_t clDSD::Drain(uint64_t uFrames)
{
    std::array<uint8_t, size_t{2} * DELAY * Signal::MAX_CHANNELS> aIdle;
    const uint64_t uCount = std::min<uint64_t>(uFrames + uSkip, DELAY - uDrained);
    if (!bDecimate || uCount == 0) {
        return 0;
    }
    aIdle.fill(Signal::IDLE);
    pDecoder->source = {aIdle.data(), 2 * uCount, 1, false};
    uDrained += uCount;
    StartJobs(2 * uCount);
    return FinishJobs();
}
