#include "dsd/clDSTSound.h"

#include "base/clException.h"
#include "decode/Signal.h"
#include "dsd/Bytes.h"
#include "dsd/clDSTBatch.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>

namespace
{

// Frames between two places that are kept for seeks; a file of the smallest frames is then no
// reason for much memory.
constexpr uint64_t PLACE_STEP = 256;

constexpr uint64_t INDEX_ENTRY_SIZE = 12;

} // namespace

clDSTSound::clDSTSound(clStreamReader &streamFile, const source_t &source)
    : frames(streamFile, source.data),
      stream(streamFile),
      index(source.index)
{
    try {
        clDSTFrames::info_t info;
        if (!frames.ReadInfo(info)) {
            throw clXDSDIFF("no chunk 'FRTE' at the start of the sound data");
        }
        uFrames = source.uFrames.value_or(info.uFrames);
        pBatch = std::make_unique<clDSTBatch>(source.uChannels, source.uSampleRate, source.uWorkers,
                                              uFrames);
    } catch (const clException &caught) {
        WrapException<clXDSDIFF>("clDSTSound::clDSTSound(): ", caught);
    }
    auPlaces.push_back(frames.GetPosition());
}

std::string clDSTSound::GetName(const frame_t &frame)
{
    return "DST frame " + std::to_string(frame.uNumber) + " at byte " +
           std::to_string(frame.uOffset);
}

clDSTSound::~clDSTSound() noexcept(false) = default;

uint64_t clDSTSound::GetSize() const noexcept
{
    return uFrames * pBatch->GetSoundSize();
}

uint64_t clDSTSound::Read(void *pBuffer, uint64_t uBytes)
{
    auto *pDest = static_cast<uint8_t *>(pBuffer);
    const uint64_t uFrameSize = pBatch->GetSoundSize();
    uint64_t uDone = 0;
    while (uDone < uBytes) {
        const uint8_t *const cpSound = TakeFrame();
        if (cpSound == nullptr) {
            break;
        }
        const uint64_t uFrom = uPosition % uFrameSize;
        const uint64_t uNow = std::min(uBytes - uDone, uFrameSize - uFrom);
        std::memcpy(pDest + uDone, cpSound + uFrom, static_cast<size_t>(uNow));
        uPosition += uNow;
        uDone += uNow;
    }
    return uDone;
}

void clDSTSound::Seek(uint64_t uByte)
{
    uPosition = uByte;
}

// The decoded frame at the position; null at the end.
const uint8_t *clDSTSound::TakeFrame()
{
    const uint64_t uFrame = uPosition / pBatch->GetSoundSize();
    if (uFrame >= uFrames) {
        return nullptr;
    }
    if (uFrame < uFirst || uFrame - uFirst >= aBatch.size()) {
        aBatch.clear();
        if (!GoToFrame(uFrame) || !FillBatch()) {
            return nullptr;
        }
    }
    const auto i = static_cast<size_t>(uFrame - uFirst);
    if (aReported[i] == 0) {
        Report(i);
        aReported[i] = 1;
    }
    return pBatch->GetSound(i);
}

void clDSTSound::Report(size_t i)
{
    const clDSTBatch::result_t &result = pBatch->GetResult(i);
    frame_t frame;
    frame.uNumber = uFirst + i;
    frame.uOffset = aBatch[i].uOffset;
    frame.bLooksCut = result.bLooksCut;
    if (result.fault) {
        frame.strFault = GetName(frame) + ": " + result.fault->what();
    } else if (aChecks[i] != 0) {
        frame.eCheck = result.uCheck == aBatch[i].uCheck ? check_t::GOOD : check_t::WRONG;
    }
    const bool bGoOn = report && report(frame);
    if (result.fault) {
        if (!bGoOn) {
            throw clXDSDIFF(frame.strFault.c_str());
        }
        std::memset(pBatch->GetSound(i), Signal::IDLE, static_cast<size_t>(pBatch->GetSoundSize()));
    }
}

// Reads and decodes the frames from the next one on. Returns whether there is one.
bool clDSTSound::FillBatch()
{
    uFirst = uNextFrame;
    auSizes.clear();
    aChecks.clear();
    aReported.clear();
    const auto sizeMost =
        static_cast<size_t>(std::min<uint64_t>(pBatch->GetCount(), uFrames - uNextFrame));
    try {
        clDSTFrames::frame_t frame;
        while (aBatch.size() < sizeMost &&
               NextFrame(frame, pBatch->GetFrame(aBatch.size()), pBatch->GetFrameRoom())) {
            aBatch.push_back(frame);
            auSizes.push_back(frame.uSize);
            aReported.push_back(0);
            aChecks.push_back(report && frame.bHasCheck ? 1 : 0);
        }
        if (!aBatch.empty()) {
            pBatch->Decode(aBatch.size(), auSizes.data(), aChecks.data());
        }
    } catch (...) {
        // Frames that were read and not decoded must not be delivered.
        aBatch.clear();
        throw;
    }
    return !aBatch.empty();
}

bool clDSTSound::NextFrame(clDSTFrames::frame_t &frame, void *pBuffer, uint64_t uRoom)
{
    if (uNextFrame == auPlaces.size() * PLACE_STEP) {
        auPlaces.push_back(frames.GetPosition());
    }
    const uint64_t uStart = frames.GetPosition();
    try {
        if (!frames.Next(frame, pBuffer, uRoom)) {
            return false;
        }
    } catch (...) {
        // The frame is still the next one.
        frames.GoTo(uStart);
        throw;
    }
    ++uNextFrame;
    return true;
}

// Makes a frame the next one of the walk. Returns false when there are not as many frames.
bool clDSTSound::GoToFrame(uint64_t uFrame)
{
    if (uFrame == uNextFrame || GoByIndex(uFrame)) {
        return true;
    }
    const uint64_t uPlace = std::min<uint64_t>(uFrame / PLACE_STEP, auPlaces.size() - 1);
    if (uFrame < uNextFrame || uPlace * PLACE_STEP > uNextFrame) {
        frames.GoTo(auPlaces[static_cast<size_t>(uPlace)]);
        uNextFrame = uPlace * PLACE_STEP;
    }
    clDSTFrames::frame_t frame;
    while (uNextFrame < uFrame) {
        if (!NextFrame(frame, nullptr, 0)) {
            return false;
        }
    }
    return true;
}

// By the entry of the index, if it leads to a frame.
bool clDSTSound::GoByIndex(uint64_t uFrame)
{
    uint8_t aEntry[INDEX_ENTRY_SIZE];
    if (stream.IsRemote() || uFrame >= index.uSize / INDEX_ENTRY_SIZE) {
        return false;
    }
    stream.Seek(static_cast<off_t>(index.uOffset + uFrame * INDEX_ENTRY_SIZE));
    if (stream.ReadFully(aEntry, sizeof(aEntry)) != sizeof(aEntry)) {
        return false;
    }
    // The entry names the frame, or the header of its chunk.
    const auto uOffset = GetBE<uint64_t>(aEntry);
    const auto uSize = GetBE<uint32_t>(aEntry + sizeof(uOffset));
    for (const uint64_t uHeader : {uint64_t{0}, uint64_t{clDSDIFFChunk::HEADER_SIZE}}) {
        if (uOffset <= UINT64_MAX - uHeader && frames.IsFrame(uOffset + uHeader, uSize)) {
            frames.GoTo(uOffset + uHeader - clDSDIFFChunk::HEADER_SIZE);
            uNextFrame = uFrame;
            return true;
        }
    }
    return false;
}
