#include "dst/clDSTDecoder.h"

#include "base/clException.h"
#include "dst/clDSTFrameDecoder.h"

#include <cstring>
#include <string>

namespace
{

constexpr uint32_t FRAMES_PER_SECOND = 75;
// Whole bytes in each frame.
constexpr uint32_t RATE_STEP = 8 * FRAMES_PER_SECOND;
// Bounds the memory and the time that a frame takes.
constexpr uint32_t MOST_RATE = 512 * 48000;

constexpr uint64_t LEAST_SIZE = 2;

constexpr uint8_t COMPRESSED = 0x80;
constexpr uint8_t RESERVED = 0x3F;

[[noreturn]] void Refuse(const char *cpOperation, const std::string &strDetail)
{
    throw clXDST((std::string("clDSTDecoder::") + cpOperation + "(): " + strDetail).c_str());
}

} // namespace

clDSTDecoder::clDSTDecoder(uint32_t uChannels, uint32_t uSampleRate)
{
    if (uChannels == 0 || uChannels > DST::MAX_CHANNELS) {
        Refuse("clDSTDecoder", "unsupported channel count " + std::to_string(uChannels));
    }
    if (!IsRate(uSampleRate)) {
        Refuse("clDSTDecoder", "unsupported sample rate " + std::to_string(uSampleRate));
    }
    const uint32_t uChannelBytes = uSampleRate / RATE_STEP;
    uSoundSize = uint64_t{uChannels} * uChannelBytes;
    pDecoder =
        std::make_unique<clDSTFrameDecoder>(uChannels, uChannelBytes, DSTKernels::GetFastest());
}

bool clDSTDecoder::IsRate(uint32_t uSampleRate) noexcept
{
    return uSampleRate != 0 && uSampleRate % RATE_STEP == 0 && uSampleRate <= MOST_RATE;
}

clDSTDecoder::~clDSTDecoder() = default;

void clDSTDecoder::Decode(const void *pFrame, uint64_t uSize, void *pSound)
{
    uMissingBits = 0;
    bLooksCut = false;
    if (uSize < LEAST_SIZE || uSize > 1 + uSoundSize) {
        Refuse("Decode", "a frame of " + std::to_string(uSize) + " bytes");
    }
    const auto *cpFrame = static_cast<const uint8_t *>(pFrame);
    auto *pBytes = static_cast<uint8_t *>(pSound);
    if ((cpFrame[0] & COMPRESSED) == 0) {
        CopyPlain(cpFrame, uSize, pBytes);
        return;
    }
    pDecoder->Decode(cpFrame, uSize, pBytes);
    uMissingBits = pDecoder->GetMissingBits();
    bLooksCut = pDecoder->LooksCut();
}

void clDSTDecoder::CopyPlain(const uint8_t *cpFrame, uint64_t uSize, uint8_t *pSound) const
{
    if ((cpFrame[0] & RESERVED) != 0) {
        Refuse("Decode", "bit 2: reserved bits are set in an uncompressed frame");
    }
    if (uSize != 1 + uSoundSize) {
        Refuse("Decode", "an uncompressed frame of " + std::to_string(uSize) + " bytes");
    }
    std::memcpy(pSound, cpFrame + 1, uSoundSize);
}
