#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/MemoryStream.h"

#include <string>

/** Builds DSDIFF files in memory: a plain stereo file unless told otherwise. */
class DSDIFFBuilder
{
public:
    /** A chunk with its pad byte; an lSize of 0 or more replaces the size in its header. */
    static bytes_t Chunk(const std::string &strId, const bytes_t &data, int64_t lSize = -1)
    {
        return HugeChunk(strId, data, lSize < 0 ? data.size() : static_cast<uint64_t>(lSize));
    }

    static bytes_t HugeChunk(const std::string &strId, const bytes_t &data, uint64_t uSize)
    {
        return Text(strId) + Number(uSize, 8) + data + bytes_t(data.size() % 2);
    }

    /** Highest byte first. */
    static bytes_t Number(uint64_t uValue, int iBytes)
    {
        bytes_t bytes;
        while (iBytes-- > 0) {
            bytes.push_back(static_cast<uint8_t>(uValue >> 8 * iBytes));
        }
        return bytes;
    }

    static bytes_t Text(const std::string &strText) { return {strText.begin(), strText.end()}; }

    DSDIFFBuilder() { Rate(2822400).Channels({"SLFT", "SRGT"}).Compression("DSD "); }

    /** 0: no such sub-chunk. */
    DSDIFFBuilder &Rate(uint32_t uRate)
    {
        return Set(rate, uRate == 0 ? bytes_t() : Chunk("FS  ", Number(uRate, 4)));
    }

    /** Empty: no such sub-chunk. */
    DSDIFFBuilder &Channels(const std::vector<std::string> &ids)
    {
        bytes_t data = Number(ids.size(), 2);
        for (const std::string &strId : ids) {
            Append(data, Text(strId));
        }
        return Set(channels, ids.empty() ? bytes_t() : Chunk("CHNL", data));
    }

    /** A number of channels, in the order of delivery. */
    DSDIFFBuilder &ChannelCount(size_t sizeCount)
    {
        static const std::vector<std::vector<std::string>> IDS = {
            {},
            {"C   "},
            {"SLFT", "SRGT"},
            {"MLFT", "MRGT", "C   "},
            {"MLFT", "MRGT", "LS  ", "RS  "},
            {"MLFT", "MRGT", "C   ", "LS  ", "RS  "},
            {"MLFT", "MRGT", "C   ", "LFE ", "LS  ", "RS  "}};
        return Channels(sizeCount < IDS.size() ? IDS[sizeCount]
                                               : std::vector<std::string>(sizeCount, "C001"));
    }

    /** Empty: no such sub-chunk. */
    DSDIFFBuilder &Compression(const std::string &strType)
    {
        const bytes_t data = Text(strType + "\x0Enot compressed") + bytes_t{0};
        return Set(compression, strType.empty() ? bytes_t() : Chunk("CMPR", data));
    }

    /** Adds a property sub-chunk, before or after the others. */
    DSDIFFBuilder &SubChunk(const bytes_t &chunk, bool bFirst = false)
    {
        bytes_t &subChunks = bFirst ? firstSubChunks : lastSubChunks;
        return Set(subChunks, subChunks + chunk);
    }

    /** Adds a chunk before the sound data, or after it. */
    DSDIFFBuilder &Before(const bytes_t &chunk) { return Set(before, before + chunk); }
    DSDIFFBuilder &After(const bytes_t &chunk) { return Set(after, after + chunk); }

    DSDIFFBuilder &Sound(const bytes_t &data, int64_t lSize = -1)
    {
        return Set(sound, Chunk("DSD ", data, lSize));
    }

    /** Compressed sound: the chunks in its container, as DSTChunks() makes them. */
    DSDIFFBuilder &CompressedSound(const bytes_t &chunks, int64_t lSize = -1)
    {
        Set(compression, Chunk("CMPR", Text("DST \013DST Encoded")));
        return Set(sound, Chunk("DST ", chunks, lSize));
    }

    static bytes_t DSTChunks(const std::vector<bytes_t> &frames)
    {
        bytes_t chunks = Chunk("FRTE", Number(frames.size(), 4) + Number(75, 2));
        for (const bytes_t &frame : frames) {
            Append(chunks, Chunk("DSTF", frame));
        }
        return chunks;
    }

    /** Puts a false size into the headers of the form and of the sound data. */
    DSDIFFBuilder &Unbounded(uint64_t uSize)
    {
        const bytes_t size = Number(uSize, 8);
        std::copy(size.begin(), size.end(), sound.begin() + 4);
        return Set(formSize, size);
    }

    DSDIFFBuilder &NoSound() { return Set(sound, {}); }

    /** Replaces the size in the header of the form. */
    DSDIFFBuilder &FormSize(uint64_t uSize)
    {
        formSize = Number(uSize, 8);
        return *this;
    }

    /** Bytes after the form. */
    DSDIFFBuilder &Trailing(const bytes_t &bytes) { return Set(trailing, bytes); }

    bytes_t Build() const
    {
        const bytes_t property =
            Text("SND ") + firstSubChunks + rate + channels + compression + lastSubChunks;
        bytes_t form = Chunk("FRM8", Text("DSD ") + Chunk("FVER", Number(0x01050000, 4)) +
                                         Chunk("PROP", property) + before + sound + after);
        std::copy(formSize.begin(), formSize.end(), form.begin() + 4);
        return form + trailing;
    }

    /** The caller owns the stream. */
    MemoryStream *Stream() const { return new MemoryStream(Build()); }

private:
    DSDIFFBuilder &Set(bytes_t &part, const bytes_t &bytes)
    {
        part = bytes;
        return *this;
    }

    bytes_t rate, channels, compression, firstSubChunks, lastSubChunks;
    bytes_t before, sound = Chunk("DSD ", Pattern(16)), after, trailing, formSize;
};
