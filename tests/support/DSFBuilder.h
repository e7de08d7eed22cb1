#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/MemoryStream.h"

#include <string>

/** Builds DSF files in memory: as made one group of stereo blocks, and whatever is asked for beyond
 * that. */
class DSFBuilder
{
public:
    DSFBuilder &Channels(uint32_t uCount, uint32_t uType)
    {
        uChannels = uCount;
        uChannelType = uType;
        return *this;
    }

    DSFBuilder &BlockSize(uint32_t uSize)
    {
        uBlockSize = uSize;
        return *this;
    }

    DSFBuilder &BitsPerSample(uint32_t uBits)
    {
        uBitsPerSample = uBits;
        return *this;
    }

    /** Block groups as they stand in the file, and the count of samples per channel that is sound.
     */
    DSFBuilder &Data(const bytes_t &bytes, uint64_t uSampleCount)
    {
        data = bytes;
        uSamples = uSampleCount;
        return *this;
    }

    /** Bytes behind the data chunk. */
    DSFBuilder &Trailing(const bytes_t &bytes)
    {
        trailing = bytes;
        return *this;
    }

    /** Replaces bytes of the finished file. */
    DSFBuilder &Patch(size_t sizeOffset, const bytes_t &bytes)
    {
        patches.emplace_back(sizeOffset, bytes);
        return *this;
    }

    /** A number with its lowest byte first. */
    static bytes_t Number(uint64_t uValue, int iBytes)
    {
        bytes_t bytes;
        for (int i = 0; i < iBytes; ++i) {
            bytes.push_back(static_cast<uint8_t>(uValue >> 8 * i));
        }
        return bytes;
    }

    bytes_t Build() const
    {
        bytes_t file;
        const auto Put = [&](const std::string &strId, uint64_t uSize) {
            file.insert(file.end(), strId.begin(), strId.end());
            Append(file, Number(uSize, 8));
        };
        Put("DSD ", 28);
        Append(file, Number(92 + data.size() + trailing.size(), 8));
        Append(file, Number(0, 8));
        Put("fmt ", 52);
        for (const uint32_t uField : {1U, 0U, uChannelType, uChannels, 2822400U, uBitsPerSample}) {
            Append(file, Number(uField, 4));
        }
        Append(file, Number(uSamples, 8));
        Append(file, Number(uBlockSize, 4));
        Append(file, Number(0, 4));
        Put("data", 12 + data.size());
        Append(file, data);
        Append(file, trailing);
        for (const auto &patch : patches) {
            std::copy(patch.second.begin(), patch.second.end(),
                      file.begin() + static_cast<ptrdiff_t>(patch.first));
        }
        return file;
    }

    /** The file as a stream; the caller owns it. */
    MemoryStream *Stream() const { return new MemoryStream(Build()); }

private:
    uint32_t uChannels = 2;
    uint32_t uChannelType = 2;
    uint32_t uBlockSize = 4096;
    uint32_t uBitsPerSample = 1;
    uint64_t uSamples = 4096 * 8;
    bytes_t data = bytes_t(8192, 0x69);
    bytes_t trailing;
    std::vector<std::pair<size_t, bytes_t>> patches;
};
