#pragma once

#include "dsd/Kernels.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

/** One run of the permutations. */
struct kernels_run_t {
    size_t sizeFrames;
    uint32_t uChannels;
    uint32_t uPlaces;              ///< of a frame that channels are placed in
    std::vector<uint32_t> auTable; ///< one place per channel
    size_t sizeSrcOffset;          ///< from an aligned address
    size_t sizeDestOffset;
    bool bReverse;
};

/**
 * Holds every set that this processor has against the plain one. The source ends with the memory
 * that holds it, so that a sanitizer sees a read behind it; the destination has guards around it.
 *
 * @param noise at least sizeFrames * uChannels bytes
 * @return set and kernel that differ from the truth; empty when none does
 */
inline std::string FindWrongKernel(const kernels_run_t &run, const std::vector<uint8_t> &noise)
{
    using buffer_t = std::vector<uint8_t>;
    constexpr size_t GUARD = 64;

    const size_t sizeBytes = run.sizeFrames * run.uChannels;
    buffer_t source(run.sizeSrcOffset + sizeBytes);
    std::copy_n(noise.begin(), sizeBytes, source.begin() + static_cast<long>(run.sizeSrcOffset));
    const uint8_t *cpSrc = source.data() + run.sizeSrcOffset;
    const size_t sizePlaced = run.sizeFrames * run.uPlaces;

    const auto Results = [&](const Kernels::set_t &set) {
        const size_t sizeDest = run.sizeDestOffset + std::max(sizeBytes, sizePlaced) + 2 * GUARD;
        std::vector<buffer_t> results(5, buffer_t(sizeDest, 0xA7));
        const auto Dest = [&](size_t i) { return &results[i][run.sizeDestOffset + GUARD]; };
        set.fnReverseBits(Dest(0), cpSrc, sizeBytes);
        std::copy_n(cpSrc, sizeBytes, Dest(1));
        set.fnReverseBits(Dest(1), Dest(1), sizeBytes);
        std::vector<uint8_t *> apRuns;
        for (uint32_t uChIdx = 0; uChIdx < run.uChannels; ++uChIdx) {
            apRuns.push_back(Dest(2) + uChIdx * run.sizeFrames);
        }
        set.fnDeinterleave(apRuns.data(), cpSrc, run.sizeFrames, run.uChannels, run.bReverse);
        set.fnInterleave(Dest(3), cpSrc, run.sizeFrames, run.uChannels, run.bReverse);
        set.fnPlaceChannels(Dest(4), cpSrc, run.sizeFrames, run.auTable.data(), run.uPlaces,
                            run.uChannels, 0x96);
        return results;
    };
    const std::vector<buffer_t> truth = Results(Kernels::SCALAR);
    for (const Kernels::set_t *pSet : Kernels::GetSets()) {
        const std::vector<buffer_t> results = Results(*pSet);
        for (size_t i = 0; i < truth.size(); ++i) {
            if (results[i] != truth[i]) {
                const char *const acpNames[] = {"ReverseBits", "ReverseBits in place",
                                                "Deinterleave", "Interleave", "PlaceChannels"};
                return std::string(pSet->cpName) + ' ' + acpNames[i];
            }
        }
    }
    return "";
}
