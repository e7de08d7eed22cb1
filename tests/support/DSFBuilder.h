#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/MemoryStream.h"

#include <map>
#include <string>

/** Builds DSF files in memory: one group of stereo blocks unless told otherwise. */
class DSFBuilder
{
public:
    DSFBuilder &Channels(uint32_t uCount, uint32_t uType)
    {
        return Set(uChannels, uCount).Set(uChannelType, uType);
    }

    DSFBuilder &BlockSize(uint32_t uSize) { return Set(uBlockSize, uSize); }
    DSFBuilder &BitsPerSample(uint32_t uBits) { return Set(uBitsPerSample, uBits); }

    /** Block groups in the layout of the file, and the sample count. */
    DSFBuilder &Data(const bytes_t &bytes, uint64_t uSampleCount)
    {
        return Set(data, bytes).Set(uSamples, uSampleCount);
    }

    /** Bytes after the data chunk. */
    DSFBuilder &Trailing(const bytes_t &bytes) { return Set(trailing, bytes); }

    /** Replaces bytes of the finished file. */
    DSFBuilder &Patch(size_t uOffset, const bytes_t &bytes) { return Set(patches[uOffset], bytes); }

    /** Lowest byte first. */
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
        bytes_t file = Chunk("DSD ", 28) + Number(92 + data.size() + trailing.size(), 8) +
                       Number(0, 8) + Chunk("fmt ", 52);
        for (const uint32_t uField : {1U, 0U, uChannelType, uChannels, 2822400U, uBitsPerSample}) {
            Append(file, Number(uField, 4));
        }
        Append(file, Number(uSamples, 8) + Number(uBlockSize, 4) + Number(0, 4) +
                         Chunk("data", 12 + data.size()) + data + trailing);
        for (const auto &[uOffset, bytes] : patches) {
            std::copy(bytes.begin(), bytes.end(), &file[uOffset]);
        }
        return file;
    }

    /** The caller owns the stream. */
    MemoryStream *Stream() const { return new MemoryStream(Build()); }

private:
    static bytes_t Chunk(const std::string &strId, uint64_t uSize)
    {
        return bytes_t(strId.begin(), strId.end()) + Number(uSize, 8);
    }

    template <class T>
    DSFBuilder &Set(T &field, const T &value)
    {
        field = value;
        return *this;
    }

    uint32_t uChannels = 2;
    uint32_t uChannelType = 2;
    uint32_t uBlockSize = 4096;
    uint32_t uBitsPerSample = 1;
    uint64_t uSamples = 4096 * 8;
    bytes_t data = bytes_t(8192, 0x69);
    bytes_t trailing;
    std::map<size_t, bytes_t> patches;
};
