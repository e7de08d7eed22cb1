#include "dst/clDSTDecoder.h"
#include "dst/clDSTFrameDecoder.h"
#include "fuzz/Target.h"

namespace
{

// Short frames cost little, and have the borders of segments near their ends. The plain kernels,
// which are slow, decode the shorter ones.
constexpr uint32_t aBytes[] = {1, 4, 5, 128, 133, 140, 260, 600};
constexpr uint32_t MOST_PLAIN_BYTES = 140;
constexpr uint32_t BYTES_RATE = 600;

} // namespace

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clInput input(pData, sizeData);
    const uint32_t uChannels = input.Byte() % 6U + 1;
    const uint32_t uBytes = aBytes[input.Byte() % 8U];
    const std::vector<uint8_t> frame = input.Bytes();

    clDSTDecoder decoder(uChannels, uBytes * BYTES_RATE);
    std::vector<uint8_t> sound(decoder.GetSoundSize());
    const bool bDecoded = Try([&] { decoder.Decode(frame.data(), frame.size(), sound.data()); });
    Check(bDecoded || decoder.GetMissingBits() == 0, "bits are missing of a frame without sound");
    if (!bDecoded || uBytes > MOST_PLAIN_BYTES || frame[0] < 0x80) {
        return;
    }
    clDSTFrameDecoder plain(uChannels, uBytes, DSTKernels::PLAIN);
    std::vector<uint8_t> expected(sound.size());
    plain.Decode(frame.data(), frame.size(), expected.data());
    Check(sound == expected, "the kernels decode other bits");
    Check(decoder.GetMissingBits() == plain.GetMissingBits(), "the kernels use other bits");
}
