#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/MemoryStream.h"

#include <string>

/** Bytes that differ from their neighbours in every channel count up to six. */
inline bytes_t Pattern(size_t sizeBytes)
{
    bytes_t bytes(sizeBytes);
    uint32_t uState = 12345;
    for (uint8_t &uByte : bytes) {
        uState = uState * 1664525 + 1013904223;
        uByte = static_cast<uint8_t>(uState >> 24);
    }
    return bytes;
}

/** Builds DSDIFF files in memory: as made a plain stereo file, and whatever is asked for beyond
 * that. */
class DSDIFFBuilder
{
public:
    /** A chunk with its pad byte; lSize replaces the size in its header when it is not negative. */
    static bytes_t Chunk(const std::string &strId, const bytes_t &data, int64_t lSize = -1)
    {
        return HugeChunk(strId, data, lSize < 0 ? data.size() : static_cast<uint64_t>(lSize));
    }

    static bytes_t HugeChunk(const std::string &strId, const bytes_t &data, uint64_t uSize)
    {
        bytes_t chunk(strId.begin(), strId.end());
        Append(chunk, Number(uSize, 8));
        Append(chunk, data);
        if (data.size() % 2 != 0) {
            chunk.push_back(0);
        }
        return chunk;
    }

    /** A number with its highest byte first. */
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
        rate = uRate == 0 ? bytes_t() : Chunk("FS  ", Number(uRate, 4));
        return *this;
    }

    /** None: no such sub-chunk. */
    DSDIFFBuilder &Channels(const std::vector<std::string> &ids)
    {
        bytes_t data = Number(ids.size(), 2);
        for (const std::string &strId : ids) {
            Append(data, Text(strId));
        }
        channels = ids.empty() ? bytes_t() : Chunk("CHNL", data);
        return *this;
    }

    /** As many channels as asked for, in the order that they are delivered in. */
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
        if (sizeCount < IDS.size()) {
            return Channels(IDS[sizeCount]);
        }
        return Channels(std::vector<std::string>(sizeCount, "C001"));
    }

    /** Empty: no such sub-chunk. */
    DSDIFFBuilder &Compression(const std::string &strType)
    {
        bytes_t data = Text(strType);
        Append(data, Text("\x0Enot compressed"));
        data.push_back(0);
        compression = strType.empty() ? bytes_t() : Chunk("CMPR", data);
        return *this;
    }

    /** One more property sub-chunk, in front of the others or behind them. */
    DSDIFFBuilder &SubChunk(const bytes_t &chunk, bool bFirst = false)
    {
        Append(bFirst ? firstSubChunks : lastSubChunks, chunk);
        return *this;
    }

    /** One more chunk in front of the sound data. */
    DSDIFFBuilder &Before(const bytes_t &chunk)
    {
        Append(before, chunk);
        return *this;
    }

    DSDIFFBuilder &Sound(const bytes_t &data, int64_t lSize = -1)
    {
        sound = Chunk("DSD ", data, lSize);
        return *this;
    }

    DSDIFFBuilder &NoSound()
    {
        sound.clear();
        return *this;
    }

    /** One more chunk behind the sound data. */
    DSDIFFBuilder &After(const bytes_t &chunk)
    {
        Append(after, chunk);
        return *this;
    }

    /** Bytes behind the form. */
    DSDIFFBuilder &Trailing(const bytes_t &bytes)
    {
        trailing = bytes;
        return *this;
    }

    bytes_t Build() const
    {
        bytes_t property = Text("SND ");
        for (const bytes_t *pPart :
             {&firstSubChunks, &rate, &channels, &compression, &lastSubChunks}) {
            Append(property, *pPart);
        }
        bytes_t form = Text("DSD ");
        Append(form, Chunk("FVER", Number(0x01050000, 4)));
        Append(form, Chunk("PROP", property));
        for (const bytes_t *pPart : {&before, &sound, &after}) {
            Append(form, *pPart);
        }
        bytes_t file = Chunk("FRM8", form);
        Append(file, trailing);
        return file;
    }

    /** The file as a stream; the caller owns it. */
    MemoryStream *Stream() const { return new MemoryStream(Build()); }

private:
    bytes_t rate, channels, compression, firstSubChunks, lastSubChunks;
    bytes_t before, sound = Chunk("DSD ", Pattern(16)), after, trailing;
};
