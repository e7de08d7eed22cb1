#include "dsd/clDSDIFF.h"
#include "dsd/clDSDIFFInspector.h"
#include "fuzz/Use.h"

// Compressed files: the chunks around the frames, and reads and seeks in the decoded sound.

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    // Frames of two bytes may decode to any size: only files whose frames are small.
    constexpr uint32_t MOST_RATE = 38400;

    clInput input(pData, sizeData);
    const uint8_t uWorkers = input.LastByte();
    MemoryStream stream(clInput(input).Bytes());
    clDSDIFFInspector inspector;
    inspector.Inspect(stream);
    if (inspector.uSampleRate > MOST_RATE) {
        return;
    }
    clDSDIFF reader;
    reader.SetDecompression(true, 1 + uWorkers % 3);
    const uint64_t uFrames = sizeData / clDSDIFFChunk::HEADER_SIZE;
    const uint64_t uFrameSize = uint64_t{MOST_RATE / 600} * ChannelPlaces::MAX_CHANNELS;
    UseFile(
        reader, input, [](const clDSD &file) { return file.GetChannels(); }, uFrames * uFrameSize);
}
