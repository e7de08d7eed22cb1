// The raw reads and writes of both file classes, strings beside std::string, tags and chunk walks.

#include "base/clString.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "id3/clID3tag.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFBuilder.h"
#include "tests/support/ID3Builder.h"

#include <benchmark/benchmark.h>

namespace
{

// 64 blocks of every channel, as much as the program reads at a time, and the number of such reads.
constexpr size_t TURN = 64 * 4096;
constexpr size_t TURNS = 8;

void CountBytes(benchmark::State &state, size_t sizeBytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sizeBytes));
}

// Reads a file in memory to its end, repeatedly.
void ReadRaw(benchmark::State &state, clDSD &reader, MemoryStream *pStream, size_t sizeChannels)
{
    reader.OpenMeta(pStream);
    bytes_t turn(TURN * sizeChannels);
    for ([[maybe_unused]] auto _ : state) {
        reader.SeekSample(0);
        while (reader.ReadRaw(turn.data(), turn.size()) != 0) {
            benchmark::ClobberMemory();
        }
    }
    CountBytes(state, reader.GetDataSize());
}

void ReadRawDSDIFF(benchmark::State &state)
{
    const auto sizeChannels = static_cast<size_t>(state.range(0));
    clDSDIFF reader;
    ReadRaw(state, reader,
            DSDIFFBuilder()
                .ChannelCount(sizeChannels)
                .Sound(bytes_t(TURN * TURNS * sizeChannels, 0x69))
                .Stream(),
            sizeChannels);
}

// Every channel moves to another place.
void ReadRawReordered(benchmark::State &state)
{
    clDSDIFF reader;
    ReadRaw(state, reader,
            DSDIFFBuilder()
                .Channels({"LS  ", "RS  ", "MLFT", "MRGT", "LFE ", "C   "})
                .Sound(bytes_t(TURN * TURNS * 6, 0x69))
                .Stream(),
            6);
}

void ReadRawDSF(benchmark::State &state)
{
    constexpr uint32_t auTypes[] = {0, 1, 2, 3, 4, 6, 7};
    const auto uChannels = static_cast<uint32_t>(state.range(0));
    clDSF reader;
    ReadRaw(state, reader,
            DSFBuilder()
                .Channels(uChannels, auTypes[uChannels])
                .Data(bytes_t(TURN * TURNS * uChannels, 0x69), TURN * TURNS * 8)
                .Stream(),
            uChannels);
}

void WriteRawDSF(benchmark::State &state)
{
    const auto uChannels = static_cast<uint32_t>(state.range(0));
    const bytes_t turn(TURN * uChannels, 0x69);
    clDSF writer;
    writer.Create("/dev/null", 2822400, uChannels);
    for ([[maybe_unused]] auto _ : state) {
        writer.WriteRaw(turn.data(), turn.size());
    }
    CountBytes(state, turn.size());
}

BENCHMARK(ReadRawDSDIFF)->Arg(1)->Arg(2)->Arg(6);
BENCHMARK(ReadRawReordered);
BENCHMARK(ReadRawDSF)->Arg(1)->Arg(2)->Arg(6);
BENCHMARK(WriteRawDSF)->Arg(1)->Arg(2)->Arg(6);

// ---- strings ----

template <class STRING>
void Append(benchmark::State &state)
{
    for ([[maybe_unused]] auto _ : state) {
        STRING str;
        for (int i = 0; i < 1000; ++i) {
            str += "sixteen letters ";
        }
        benchmark::DoNotOptimize(str.c_str());
    }
}

template <class STRING>
void Copy(benchmark::State &state)
{
    const STRING str("a text too long for any place inside the object");
    for ([[maybe_unused]] auto _ : state) {
        const STRING strCopy(str);
        benchmark::DoNotOptimize(strCopy.c_str());
    }
}

BENCHMARK(Append<clString>)->Name("Append/clString");
BENCHMARK(Append<std::string>)->Name("Append/std::string");
BENCHMARK(Copy<clString>)->Name("Copy/clString");
BENCHMARK(Copy<std::string>)->Name("Copy/std::string");

// ---- tags and chunks ----

void ParseTag(benchmark::State &state)
{
    const std::string strPicture = std::string("\0image/png\0\3\0", 13) + std::string(1 << 20, 'x');
    const bytes_t tag = ID3Builder(4)
                            .Text("TIT2", "a title")
                            .Text("TPE1", "a performer")
                            .Frame("APIC", strPicture)
                            .Build();
    for ([[maybe_unused]] auto _ : state) {
        clID3tag parsed;
        parsed.Parse(tag.data(), tag.size());
        benchmark::DoNotOptimize(parsed.GetPicture());
    }
    CountBytes(state, tag.size());
}

void WalkChunks(benchmark::State &state)
{
    DSDIFFBuilder builder;
    for (int i = 0; i < 10000; ++i) {
        builder.Before(DSDIFFBuilder::Chunk("COMT", bytes_t(4)));
    }
    const bytes_t file = builder.Build();
    for ([[maybe_unused]] auto _ : state) {
        clDSDIFF reader;
        reader.OpenMeta(new MemoryStream(file));
    }
}

BENCHMARK(ParseTag);
BENCHMARK(WalkChunks);

} // namespace
