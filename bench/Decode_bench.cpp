// Speed of decoding a file in memory, and of the two filter stages alone, as a multiple of real
// time.

#include "decode/clDecimator.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"

#include <vector>

#include <benchmark/benchmark.h>

namespace
{

constexpr uint32_t RATE = 2822400;
constexpr size_t BYTES_PER_SECOND = RATE / 8;

// Arguments: channels, workers (0 is one per channel), vector code or not.
template <class File>
void Read(benchmark::State &state)
{
    const auto uChannels = static_cast<uint32_t>(state.range(0));
    const bytes_t sound = Pattern(4 * BYTES_PER_SECOND * uChannels);
    File file;
    if constexpr (std::is_same_v<File, clDSF>) {
        file.Open(new MemoryStream(ExpectedDSF(sound, uChannels, RATE)), 0,
                  static_cast<uint32_t>(state.range(1)), false, false, state.range(2) == 0);
    } else {
        file.Open(DSDIFFBuilder().ChannelCount(uChannels).Sound(sound).Stream(), 0,
                  static_cast<uint32_t>(state.range(1)), false, false, state.range(2) == 0);
    }
    std::vector<double> aOut(size_t{16} * 2048 * uChannels);
    uint64_t uFrames = 0;
    for ([[maybe_unused]] auto _ : state) {
        file.SeekSample(0);
        while (const uint64_t uRead = file.Read(aOut.data(), aOut.size())) {
            uFrames += uRead / uChannels;
        }
    }
    state.counters["x"] = benchmark::Counter(static_cast<double>(uFrames) / file.GetOutputRate(),
                                             benchmark::Counter::kIsRate);
}

void Arguments(benchmark::internal::Benchmark *pBenchmark)
{
    pBenchmark->ArgNames({"channels", "workers", "vector"})->UseRealTime();
    for (const int64_t lVector : {0, 1}) {
        pBenchmark->Args({2, 1, lVector})->Args({2, 2, lVector})->Args({6, 1, lVector});
    }
    pBenchmark->Args({6, 0, 1});
}

void Decimate(benchmark::State &state)
{
    const DecimatorKernels::set_t &set =
        state.range(0) == 0 ? DecimatorKernels::SCALAR : DecimatorKernels::GetFastest();
    std::vector<double> aWork(clDecimator::WORK_SIZE / sizeof(double) + 1);
    clDecimator decimator(aWork.data(), set);
    const bytes_t sound = Pattern(256 * clDecimator::CHUNK);
    size_t sizeAt = 0;
    for ([[maybe_unused]] auto _ : state) {
        std::copy_n(&sound[sizeAt], clDecimator::CHUNK, decimator.GetInput());
        benchmark::DoNotOptimize(decimator.Decode(clDecimator::CHUNK, 1.0));
        sizeAt = (sizeAt + clDecimator::CHUNK) % sound.size();
    }
    state.counters["x"] = benchmark::Counter(
        static_cast<double>(state.iterations() * clDecimator::CHUNK) / BYTES_PER_SECOND,
        benchmark::Counter::kIsRate);
    state.SetLabel(set.cpName);
}

BENCHMARK(Read<clDSDIFF>)->Apply(Arguments);
BENCHMARK(Read<clDSF>)->Apply(Arguments);
BENCHMARK(Decimate)->ArgName("vector")->Arg(0)->Arg(1);

} // namespace
