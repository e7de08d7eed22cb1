#include "base/clException.h"
#include "dsd/clDSD.h"
#include "dsd/clDecoder.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include <pthread.h>
#include <signal.h> // for sigfillset()

// The decoding side of clDSD: the hooks, the batches and what is left at the end.

namespace
{

constexpr uint32_t DELAY = clDecimatorDesign::DELAY;

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

void clDSD::ThreadPoolJob(long lThreadIdx, void *pArg)
{
    if (pDecoder) {
        pDecoder->Run(static_cast<uint32_t>(lThreadIdx), static_cast<double *>(pArg));
    }
}

void clDSD::ConfigureHook(uint64_t uSetting, uint32_t uSelect, bool bFirst, bool bSecond,
                          bool bThird)
{
    static_assert(clDecoder::MAX_CHANNELS == MAX_CHANNELS && clDecoder::IDLE == IDLE_PATTERN);

    EndDecoding();
    const uint32_t uChannels = GetChannels();
    if (uChannels == 0 || uChannels > MAX_CHANNELS) {
        return;
    }
    try {
        std::array<void *, MAX_CHANNELS> apWork{};
        const uint32_t uJobs = uSelect == 0 ? uChannels : std::min(uSelect, uChannels);
        for (uint32_t i = 0; i < uChannels; ++i) {
            apWork[i] = aWork[i].SetSize(static_cast<int64_t>(clDecoder::GetWorkSize(uJobs)));
        }
        // What leaves 64 bits becomes a size that no buffer can have.
        const uint64_t uBytesPerSample = std::max(GetDivisor() / 8, 1U);
        GetFetchBuffer(uSetting > INT64_MAX / uBytesPerSample ? UINT64_MAX
                                                              : uSetting * uBytesPerSample);

        pDecoder = std::make_unique<clDecoder>(uChannels, uJobs, apWork.data(),
                                               bThird ? DecimatorKernels::SCALAR
                                                      : DecimatorKernels::GetBest());
        pDecoder->target.uPlaces = uChannels;
        std::iota(pDecoder->target.auPlaces.begin(), pDecoder->target.auPlaces.end(), 0U);
        bDoubledByOpen = bFirst;
        bWithoutDelay = bSecond;
        RestartDecoding();

        const clUndisturbed undisturbed;
        ThreadPoolCreate(static_cast<long>(uJobs));
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
    if (target.bSilence) {
        std::fill_n(pBuffer, uFrames * target.uPlaces, 0.0);
    }
    return Drain(pBuffer, uFrames) * target.uPlaces;
}

bool clDSD::IsDecoding() const
{
    return pDecoder && pDecoder->GetChannels() == GetChannels();
}

uint8_t *clDSD::GetFetchBuffer(uint64_t uBytes)
{
    // Kept for all smaller reads: a player's are not all of one size.
    if (uBytes > static_cast<uint64_t>(allocFetch.GetSize())) {
        allocFetch.SetSize(static_cast<int64_t>(uBytes));
    }
    return static_cast<uint8_t *>(allocFetch.GetPtr());
}

uint64_t clDSD::Decode(double *pBuffer, uint64_t uFrames, const places_t &places,
                       const fetch_t &fetch)
{
    if (uFrames == 0) {
        return 0;
    }
    clDecoder::target_t &target = pDecoder->target;
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
        const fetched_t fetched = fetch(uWanted);
        // Half a decoded sample at the end is none.
        const uint64_t uBytes = bDecimate ? fetched.uBytes / 2 * 2 : fetched.uBytes;
        if (uBytes == 0) {
            break;
        }
        if (uDrained != 0 || fetched.uStart != uFetchEnd) {
            RestartDecoding();
        }
        uFetchEnd = fetched.uEnd;
        pDecoder->source = {fetched.cpBytes, uBytes, fetched.uRun, fetched.bLsbFirst};
        // All that was fetched may have gone into the delay; that is not the end.
        const uint64_t uDone = RunJobs(pBuffer);
        if (uDone != 0) {
            return uDone;
        }
    }
    return bWithoutDelay ? Drain(pBuffer, uFrames) : 0;
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

// One batch. @return frames delivered
uint64_t clDSD::RunJobs(double *pBuffer)
{
    const uint64_t uFrames = pDecoder->source.uBytes * 8 / GetDivisor();
    pDecoder->target.uSkip = std::min(uSkip, uFrames);
    pDecoder->bDecimate = bDecimate;
    pDecoder->dGain = IsDoubled() ? 2.0 * dGain : dGain;
    uSkip -= pDecoder->target.uSkip;

    std::array<void *, MAX_CHANNELS> apArgs;
    apArgs.fill(pBuffer);
    const clUndisturbed undisturbed;
    ThreadPoolSubmit(static_cast<long>(pDecoder->Start()), apArgs.data());
    pDecoder->Finish();
    return uFrames - pDecoder->target.uSkip;
}

// The samples that are late, by decoding the silence behind the audio. @return frames delivered
uint64_t clDSD::Drain(double *pBuffer, uint64_t uFrames)
{
    std::array<uint8_t, size_t{2} * DELAY * MAX_CHANNELS> aIdle;
    const uint64_t uCount = std::min<uint64_t>(uFrames + uSkip, DELAY - uDrained);
    if (!bDecimate || uCount == 0) {
        return 0;
    }
    aIdle.fill(IDLE_PATTERN);
    pDecoder->source = {aIdle.data(), 2 * uCount, 1, false};
    uDrained += uCount;
    return RunJobs(pBuffer);
}
