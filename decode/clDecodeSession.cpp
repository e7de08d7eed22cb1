#include "decode/clDecodeSession.h"

#include "base/clCancelDelay.h"
#include "threads/clSignalBlock.h"
#include "threads/clThreadPool.h"

#include <algorithm>
#include <limits>
#include <numeric>

using Signal::BYTES_PER_DECODED;

namespace
{

// Bytes per channel that are fetched at a time: small enough that helpers start early, large enough
// to amortise the system call. Whole runs and whole decoded samples.
constexpr uint64_t GetPiece(uint64_t uRun)
{
    constexpr uint64_t AT_LEAST = 16384;
    const uint64_t uUnit = BYTES_PER_DECODED * uRun;
    return (AT_LEAST + uUnit - 1) / uUnit * uUnit;
}

uint32_t GetJobs(const clDecodeSession::setup_t &setup)
{
    return setup.uWorkers == 0 ? setup.uChannels : std::min(setup.uWorkers, setup.uChannels);
}

std::array<void *, Signal::MAX_CHANNELS> ResizeWork(clDecodeSession::work_t &aWork,
                                                    const clDecodeSession::setup_t &setup)
{
    std::array<void *, Signal::MAX_CHANNELS> apWork{};
    for (uint32_t uChIdx = 0; uChIdx < setup.uChannels; ++uChIdx) {
        apWork[uChIdx] =
            aWork[uChIdx].SetSize(static_cast<int64_t>(clDecoder::GetWorkSize(GetJobs(setup))));
    }
    return apWork;
}

} // namespace

clDecodeSession::clDecodeSession(clThreadPool &threadPool, work_t &aWork, const setup_t &setup)
    : pool(threadPool),
      bWithoutDelay(setup.bWithoutDelay),
      bDecimate(setup.bDecimate),
      decoder(setup.uChannels, GetJobs(setup), ResizeWork(aWork, setup).data(),
              setup.bScalarKernels ? DecimatorKernels::SCALAR : DecimatorKernels::GetFastest())
{
    GetFetchBuffer(setup.uLargestRead, bDecimate ? BYTES_PER_DECODED : 1);
    std::array<uint32_t, Signal::MAX_CHANNELS> auInOrder;
    std::iota(auInOrder.begin(), auInOrder.end(), 0U);
    SetLayout({auInOrder.data(), setup.uChannels, false});
    Restart();
    try {
        const clSignalBlock signals;
        const clCancelDelay cancellation;
        // The calling thread is one of those that decode.
        pool.ThreadPoolCreate(static_cast<long>(GetJobs(setup)) - 1);
    } catch (...) {
        EndWorkers();
        throw;
    }
}

void clDecodeSession::EndWorkers()
{
    pool.ThreadPoolDestroy();
}

void clDecodeSession::RunJob(long lThreadIdx) noexcept
{
    decoder.RunJob(static_cast<uint32_t>(lThreadIdx));
}

void clDecodeSession::SetConversion(bool bDecimateSignal, double dSampleGain) noexcept
{
    bDecimate = bDecimateSignal;
    dGain = dSampleGain;
}

uint64_t clDecodeSession::Read(double *pFrames, uint64_t uFrames, const frame_layout_t &layout,
                               clSignalSource &source)
{
    if (uFrames == 0) {
        return 0;
    }
    SetLayout(layout);
    decoder.target.pFrames = pFrames;
    if (layout.bSilence) {
        std::fill_n(pFrames, uFrames * layout.uPlaces, 0.0);
    }

    constexpr uint64_t MOST = std::numeric_limits<uint64_t>::max() / BYTES_PER_DECODED;
    const uint64_t uWanted = bDecimate ? std::min(uFrames, MOST) * BYTES_PER_DECODED
                                       : uFrames / Signal::SAMPLES_PER_BYTE;
    for (;;) {
        const clSignalSource::next_t next = source.GetNext();
        const uint64_t uNow = std::min(uWanted, next.uLeft);
        const uint64_t uPiece = GetPiece(next.uRun);
        uint8_t *const pBytes = GetFetchBuffer(uNow, GetChannels());
        const uint64_t uFetched = uNow == 0 ? 0 : source.Fetch(pBytes, std::min(uNow, uPiece));
        if (RoundToSamples(uFetched) == 0) {
            break;
        }
        if (uFlushed != 0 || next.uPosition != uFetchEnd) {
            Restart();
        }
        decoder.source = {pBytes, uNow, next.uRun, next.bLsbFirst};
        StartBatch(RoundToSamples(uFetched));
        FetchRest(source, pBytes, uFetched, uPiece);
        const uint64_t uDone = EndBatch();
        uFetchEnd = source.GetNext().uPosition;
        // A batch that is skipped entirely as delay is not the end.
        if (uDone != 0) {
            return uDone;
        }
    }
    return bWithoutDelay ? DecodeSilence(uFrames) : 0;
}

uint64_t clDecodeSession::Flush(double *pBuffer, uint64_t uSize)
{
    const clDecoder::target_t &target = decoder.target;
    const uint64_t uFrames = std::min<uint64_t>(uSize / target.uPlaces, DELAY - uFlushed);
    if (uFrames == 0) {
        return 0;
    }
    if (target.bSilence) {
        std::fill_n(pBuffer, uFrames * target.uPlaces, 0.0);
    }
    decoder.target.pFrames = pBuffer;
    return DecodeSilence(uFrames) * target.uPlaces;
}

void clDecodeSession::Restart() noexcept
{
    decoder.Reset();
    uFetchEnd = UINT64_MAX;
    uSkip = bDecimate && bWithoutDelay ? DELAY : 0;
    uFlushed = 0;
}

void clDecodeSession::SetLayout(const frame_layout_t &layout) noexcept
{
    clDecoder::target_t &target = decoder.target;
    target.uPlaces = layout.uPlaces;
    target.bSilence = layout.bSilence;
    for (uint32_t uChIdx = 0; uChIdx < GetChannels(); ++uChIdx) {
        const uint32_t uPlace = layout.upPlaces[uChIdx];
        // Jobs write at the same time, so two channels with one place would race for it. The later
        // one has it, as in raw reads.
        std::replace(target.auPlaces.begin(), target.auPlaces.begin() + uChIdx, uPlace,
                     clDecoder::NO_PLACE);
        target.auPlaces[uChIdx] = uPlace < layout.uPlaces ? uPlace : clDecoder::NO_PLACE;
    }
}

// Returns the fetch buffer, grown to at least uTimes * uEach bytes.
uint8_t *clDecodeSession::GetFetchBuffer(uint64_t uTimes, uint64_t uEach)
{
    // An overflowing product becomes -1, which SetSize refuses.
    const uint64_t uBytes = uTimes > INT64_MAX / uEach ? UINT64_MAX : uTimes * uEach;
    // Smaller reads keep it, since a player's reads differ in size.
    if (uBytes > static_cast<uint64_t>(allocFetch.GetSize())) {
        allocFetch.SetSize(static_cast<int64_t>(uBytes));
    }
    return static_cast<uint8_t *>(allocFetch.GetPtr());
}

// Rounds down to whole decoded samples.
uint64_t clDecodeSession::RoundToSamples(uint64_t uBytes) const noexcept
{
    return bDecimate ? uBytes / BYTES_PER_DECODED * BYTES_PER_DECODED : uBytes;
}

// Starts a batch of which uBytes bytes per channel have been fetched.
void clDecodeSession::StartBatch(uint64_t uBytes)
{
    decoder.target.uSkip = uSkip;
    decoder.bDecimate = bDecimate;
    decoder.dGain = dGain;
    uHelpers = decoder.StartBatch() - 1;
    decoder.Supply(uBytes);
    if (uHelpers != 0) {
        pool.ThreadPoolStart(uHelpers, nullptr);
    }
}

// Fetches the other bytes of the batch while the helpers decode.
void clDecodeSession::FetchRest(clSignalSource &source, uint8_t *pBytes, uint64_t uFetched,
                                uint64_t uPiece)
{
    try {
        while (uFetched % uPiece == 0 && uFetched < decoder.source.uBytes) {
            const uint64_t uNow = std::min(uPiece, decoder.source.uBytes - uFetched);
            const uint64_t uMore = source.Fetch(pBytes + uFetched * GetChannels(), uNow);
            uFetched += uMore;
            decoder.Supply(RoundToSamples(uFetched));
            if (uMore < uNow) {
                break;
            }
        }
    } catch (...) {
        // Also the cancellation of this thread. The helpers write to the caller's buffer, so the
        // batch must end first.
        EndBatch();
        Restart();
        throw;
    }
}

// Takes part in the batch until it is done. Returns the frames delivered.
uint64_t clDecodeSession::EndBatch()
{
    const clSignalBlock signals;
    const clCancelDelay cancellation;
    decoder.EndSupply();
    // The last part: its bytes were fetched last and are in this processor's cache.
    decoder.RunJob(uHelpers);
    if (uHelpers != 0) {
        pool.ThreadPoolWait();
    }
    const uint64_t uBytes = decoder.EndBatch();
    const uint64_t uFrames =
        bDecimate ? uBytes / BYTES_PER_DECODED : uBytes * Signal::SAMPLES_PER_BYTE;
    const uint64_t uSkipped = std::min(uSkip, uFrames);
    uSkip -= uSkipped;
    return uFrames - uSkipped;
}

// Decodes trailing silence to push out the delayed samples. Returns the frames delivered.
uint64_t clDecodeSession::DecodeSilence(uint64_t uFrames)
{
    std::array<uint8_t, size_t{BYTES_PER_DECODED} * DELAY * Signal::MAX_CHANNELS> aIdle;
    const uint64_t uCount = std::min<uint64_t>(uFrames + uSkip, DELAY - uFlushed);
    if (!bDecimate || uCount == 0) {
        return 0;
    }
    aIdle.fill(Signal::IDLE);
    const uint64_t uBytes = uCount * BYTES_PER_DECODED;
    decoder.source = {aIdle.data(), uBytes, 1, false};
    uFlushed += uCount;
    StartBatch(uBytes);
    return EndBatch();
}
