// Bytes per second of the kernels, for every instruction set of this processor and one to six
// channels, and of memcpy with the same number of bytes in the same run.

#include "kernels/Kernels.h"

#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

constexpr size_t BLOCK = 4096;
// With six channels both buffers fit a second-level cache.
constexpr size_t BLOCKS = 4;

// Buffers of whole block groups.
struct turn_t {
    explicit turn_t(uint32_t uCount)
        : uChannels(uCount),
          source(BLOCK * BLOCKS * uCount, 0x69),
          room(source.size() + 2 * BLOCK),
          pDest(room.data() + (Address(source.data()) - Address(room.data()) + BLOCK / 2) % BLOCK)
    {
    }

    template <class F>
    void Run(benchmark::State &state, const F &fnGroup)
    {
        for ([[maybe_unused]] auto _ : state) {
            for (size_t i = 0; i < source.size(); i += BLOCK * uChannels) {
                fnGroup(pDest + i, &source[i]);
            }
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.size()));
    }

    static uintptr_t Address(const uint8_t *pByte) { return reinterpret_cast<uintptr_t>(pByte); }

    const uint32_t uChannels;
    std::vector<uint8_t> source;
    std::vector<uint8_t> room;
    // Half a page apart: nearly equal offsets within a page are the worst case of memcpy.
    uint8_t *const pDest;
};

void Memcpy(benchmark::State &state, uint32_t uChannels)
{
    turn_t(uChannels).Run(state, [&](uint8_t *pDest, const uint8_t *pSrc) {
        std::memcpy(pDest, pSrc, BLOCK * uChannels);
    });
}

void ReverseBits(benchmark::State &state, const Kernels::set_t *pSet)
{
    turn_t(2).Run(state, [&](uint8_t *pDest, const uint8_t *pSrc) {
        pSet->fnReverseBits(pDest, pSrc, BLOCK * 2);
    });
}

void Deinterleave(benchmark::State &state, const Kernels::set_t *pSet, uint32_t uChannels,
                  bool bReverse)
{
    turn_t(uChannels).Run(state, [&](uint8_t *pDest, const uint8_t *pSrc) {
        uint8_t *apDest[6];
        for (uint32_t uChIdx = 0; uChIdx < uChannels; ++uChIdx) {
            apDest[uChIdx] = pDest + uChIdx * BLOCK;
        }
        pSet->fnDeinterleave(apDest, pSrc, BLOCK, uChannels, bReverse);
    });
}

void Interleave(benchmark::State &state, const Kernels::set_t *pSet, uint32_t uChannels,
                bool bReverse)
{
    turn_t(uChannels).Run(state, [&](uint8_t *pDest, const uint8_t *pSrc) {
        pSet->fnInterleave(pDest, pSrc, BLOCK, uChannels, bReverse);
    });
}

void PlaceChannels(benchmark::State &state, const Kernels::set_t *pSet, uint32_t uChannels)
{
    turn_t(uChannels).Run(state, [&](uint8_t *pDest, const uint8_t *pSrc) {
        const uint32_t auTable[] = {1, 0, 3, 2, 5, 4};
        pSet->fnPlaceChannels(pDest, pSrc, BLOCK, auTable, uChannels, uChannels, 0x96);
    });
}

[[maybe_unused]] const bool bRegistered = [] {
    const auto Add = [](std::string strName, const std::string &strVariant, auto... args) {
        benchmark::RegisterBenchmark(strName.append(strVariant).c_str(), args...);
    };
    const auto sets = Kernels::GetSets();
    for (const Kernels::set_t *pSet : sets) {
        Add("ReverseBits", std::string("/").append(pSet->cpName), ReverseBits, pSet);
    }
    for (uint32_t uChannels = 1; uChannels <= 6; ++uChannels) {
        const std::string strChannels =
            std::string("/").append(std::to_string(uChannels)).append("/");
        Add("memcpy", strChannels, Memcpy, uChannels);
        for (const Kernels::set_t *pSet : sets) {
            const std::string strEnd = std::string(strChannels).append(pSet->cpName);
            Add("Deinterleave", strEnd, Deinterleave, pSet, uChannels, false);
            Add("Deinterleave+reverse", strEnd, Deinterleave, pSet, uChannels, true);
            Add("Interleave", strEnd, Interleave, pSet, uChannels, false);
            Add("Interleave+reverse", strEnd, Interleave, pSet, uChannels, true);
            if (uChannels % 2 == 0) {
                Add("PlaceChannels", strEnd, PlaceChannels, pSet, uChannels);
            }
        }
    }
    return true;
}();

} // namespace
