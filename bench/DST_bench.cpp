// Speed of decoding compressed frames with each set of kernels, as a multiple of real time.

#include "dst/clDSTFrameDecoder.h"
#include "tests/support/DSTFrames.h"

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

constexpr uint32_t BYTES = 4704; // 2822400 Hz
constexpr size_t FRAMES = 8;
constexpr double FRAMES_PER_SECOND = 75;

void Decode(benchmark::State &state, const DSTKernels::set_t &set, uint32_t uChannels)
{
    std::vector<bytes_t> aFrames;
    DSTFrames frames(1, uChannels, 600 * BYTES, true);
    while (aFrames.size() < FRAMES) {
        aFrames.push_back(frames.NextWithRandomCode(BYTES * uChannels / 2));
    }
    clDSTFrameDecoder decoder(uChannels, BYTES, set);
    bytes_t sound(size_t{BYTES} * uChannels);
    size_t sizeAt = 0;
    for ([[maybe_unused]] auto _ : state) {
        decoder.Decode(aFrames[sizeAt].data(), aFrames[sizeAt].size(), sound.data());
        benchmark::DoNotOptimize(sound.data());
        sizeAt = (sizeAt + 1) % FRAMES;
    }
    state.counters["x"] = benchmark::Counter(
        static_cast<double>(state.iterations()) / FRAMES_PER_SECOND, benchmark::Counter::kIsRate);
}

// Before main(), as BENCHMARK does.
[[maybe_unused]] const bool bRegistered = [] {
    for (const DSTKernels::set_t *pSet : DSTKernels::GetSets()) {
        for (const uint32_t uChannels : {1U, 2U, 6U}) {
            benchmark::RegisterBenchmark(
                (std::string(pSet->cpName) + "/" + std::to_string(uChannels)).c_str(),
                [pSet, uChannels](benchmark::State &state) { Decode(state, *pSet, uChannels); });
        }
    }
    return true;
}();

} // namespace
