// Bytes per second of the permutations, beside memcpy of as many bytes in the same run.

#include "dsd/Kernels.h"

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

constexpr size_t BLOCK = 4096;
constexpr size_t BLOCKS = 64;

// What one turn of the converter moves.
struct turn_t {
    explicit turn_t(const benchmark::State &state)
        : uChannels(static_cast<uint32_t>(state.range(0))),
          source(BLOCK * BLOCKS * uChannels, 0x69),
          dest(source.size())
    {
    }

    void Count(benchmark::State &state) const
    {
        state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.size()));
    }

    const uint32_t uChannels;
    std::vector<uint8_t> source;
    std::vector<uint8_t> dest;
};

void Memcpy(benchmark::State &state)
{
    turn_t turn(state);
    for ([[maybe_unused]] auto _ : state) {
        std::memcpy(turn.dest.data(), turn.source.data(), turn.source.size());
        benchmark::DoNotOptimize(turn.dest.data());
        benchmark::ClobberMemory();
    }
    turn.Count(state);
}

void ReverseBits(benchmark::State &state)
{
    turn_t turn(state);
    for ([[maybe_unused]] auto _ : state) {
        Kernels::ReverseBits(turn.dest.data(), turn.source.data(), turn.source.size());
        benchmark::ClobberMemory();
    }
    turn.Count(state);
}

template <bool bBack>
void Rearrange(benchmark::State &state)
{
    turn_t turn(state);
    const size_t sizeGroup = BLOCK * turn.uChannels;
    for ([[maybe_unused]] auto _ : state) {
        for (size_t i = 0; i < turn.source.size(); i += sizeGroup) {
            if constexpr (bBack) {
                Kernels::Interleave(&turn.dest[i], &turn.source[i], BLOCK, turn.uChannels);
            } else {
                Kernels::Deinterleave(&turn.dest[i], BLOCK, &turn.source[i], BLOCK, turn.uChannels);
            }
        }
        benchmark::ClobberMemory();
    }
    turn.Count(state);
}

BENCHMARK(Memcpy)->DenseRange(1, 6);
BENCHMARK(ReverseBits)->DenseRange(1, 6);
BENCHMARK(Rearrange<false>)->Name("Deinterleave")->DenseRange(1, 6);
BENCHMARK(Rearrange<true>)->Name("Interleave")->DenseRange(1, 6);

} // namespace
