#include "dsd/clDSTBatch.h"

#include "base/clCancelDelay.h"
#include "dsd/DSTCheck.h"
#include "threads/clSignalBlock.h"

#include <algorithm>
#include <thread>

namespace
{

// Frames for each thread: with fewer, threads wait for the last one more often.
constexpr size_t FRAMES_PER_THREAD = 16;
// Compressed and decoded frames of a batch.
constexpr uint64_t BATCH_BYTES = 4 << 20;

} // namespace

clDSTBatch::clDSTBatch(uint32_t uChannels, uint32_t uSampleRate, uint32_t uWorkers, uint64_t uMost)
    : uChannelCount(uChannels),
      uRate(uSampleRate)
{
    aDecoders.push_back(std::make_unique<clDSTDecoder>(uChannels, uSampleRate));
    uSoundSize = aDecoders.front()->GetSoundSize();
    const size_t sizeThreads =
        uWorkers != 0 ? uWorkers : std::max(std::thread::hardware_concurrency(), 1U);
    const size_t sizeFit = std::max<size_t>(BATCH_BYTES / (2 * uSoundSize + 1), sizeThreads);
    sizeCount = std::min(sizeFit, FRAMES_PER_THREAD * sizeThreads);
    sizeCount = static_cast<size_t>(std::min<uint64_t>(sizeCount, std::max<uint64_t>(uMost, 1)));
    aDecoders.resize(std::min(sizeThreads, sizeCount));
}

clDSTBatch::~clDSTBatch() noexcept(false)
{
    ThreadPoolDestroy();
}

uint8_t *clDSTBatch::GetFrame(size_t i)
{
    if (!bStarted) {
        Start();
    }
    return static_cast<uint8_t *>(allocFrames.GetPtr()) + i * GetFrameRoom();
}

void clDSTBatch::Decode(size_t sizeFrames, const uint64_t *upSizes, const uint8_t *pChecks)
{
    upFrameSizes = upSizes;
    pWithCheck = pChecks;
    sizeEnd = sizeFrames;
    sizeNext = 0;
    const size_t sizeHelpers = std::min(aDecoders.size(), sizeFrames) - 1;
    const clSignalBlock signals;
    const clCancelDelay cancellation;
    if (sizeHelpers != 0) {
        ThreadPoolStart(static_cast<long>(sizeHelpers), nullptr);
    }
    WorkOff(*aDecoders.front());
    if (sizeHelpers != 0) {
        ThreadPoolWait();
    }
}

void clDSTBatch::Start()
{
    allocFrames.SetSize(static_cast<int64_t>(sizeCount * GetFrameRoom()));
    allocSound.SetSize(static_cast<int64_t>(sizeCount * uSoundSize));
    aResults.resize(sizeCount);
    for (auto &pDecoder : aDecoders) {
        if (!pDecoder) {
            pDecoder = std::make_unique<clDSTDecoder>(uChannelCount, uRate);
        }
    }
    try {
        const clSignalBlock signals;
        const clCancelDelay cancellation;
        ThreadPoolCreate(static_cast<long>(aDecoders.size()) - 1);
    } catch (const clXThreadPool &) {
        // What the system does not give as threads, the calling one does.
        ThreadPoolDestroy();
        aDecoders.resize(1);
    } catch (...) {
        ThreadPoolDestroy();
        throw;
    }
    bStarted = true;
}

void clDSTBatch::WorkOff(clDSTDecoder &decoder) noexcept
{
    for (size_t i = sizeNext++; i < sizeEnd; i = sizeNext++) {
        DecodeFrame(decoder, i);
    }
}

void clDSTBatch::DecodeFrame(clDSTDecoder &decoder, size_t i)
{
    result_t &result = aResults[i];
    result = {};
    try {
        decoder.Decode(GetFrame(i), upFrameSizes[i], GetSound(i));
    } catch (const clXDST &caught) {
        result.fault = caught;
        return;
    }
    result.bLooksCut = decoder.LooksCut();
    if (pWithCheck[i] != 0) {
        result.uCheck = DSTCheck::Compute(GetSound(i), static_cast<size_t>(uSoundSize));
    }
}

void clDSTBatch::ThreadPoolJob(long lThreadIdx, void *)
{
    WorkOff(*aDecoders[static_cast<size_t>(lThreadIdx) + 1]);
}
