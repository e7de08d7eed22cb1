#pragma once

#include "kernels/Kernels.h"
#include "tests/support/FirstDifference.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/** The arguments of one comparison. */
struct kernels_run_t {
    size_t uFrames;
    uint32_t uChannels;
    uint32_t uPlaces;              ///< in the frame that PlaceChannels writes
    std::vector<uint32_t> auTable; ///< the place of each channel
    size_t uSrcOffset;             ///< from an aligned address
    size_t uDestOffset;
    bool bReverse;
};

/** Compares every set that this processor can run with the scalar one. The source ends where its
 * memory block ends, so that a sanitizer reports a read past it; the destination has guard bytes on
 * both sides.
 * @param noise at least uFrames * uChannels bytes
 * @return the set, the kernel and the difference; empty when there is none */
inline std::string FindWrongKernel(const kernels_run_t &run, const std::vector<uint8_t> &noise)
{
    using buffer_t = std::vector<uint8_t>;
    constexpr size_t GUARD = 64;

    const size_t sizeBytes = run.uFrames * run.uChannels;
    buffer_t source(run.uSrcOffset + sizeBytes);
    std::copy_n(noise.begin(), sizeBytes, source.begin() + static_cast<long>(run.uSrcOffset));
    const uint8_t *cpSrc = source.data() + run.uSrcOffset;

    const auto Results = [&](const Kernels::set_t &set) {
        std::map<std::string, buffer_t> results;
        const auto Dest = [&](const char *cpName) {
            const size_t sizeDest = std::max(sizeBytes, run.uFrames * run.uPlaces) + 2 * GUARD;
            buffer_t &dest = results[cpName] = buffer_t(run.uDestOffset + sizeDest, 0xA7);
            return &dest[run.uDestOffset + GUARD];
        };
        set.fnReverseBits(Dest("ReverseBits"), cpSrc, sizeBytes);
        uint8_t *const cpInPlace = Dest("ReverseBits in place");
        std::copy_n(cpSrc, sizeBytes, cpInPlace);
        set.fnReverseBits(cpInPlace, cpInPlace, sizeBytes);
        std::vector<uint8_t *> apRuns(run.uChannels, Dest("Deinterleave"));
        for (uint32_t uChIdx = 0; uChIdx < run.uChannels; ++uChIdx) {
            apRuns[uChIdx] += uChIdx * run.uFrames;
        }
        set.fnDeinterleave(apRuns.data(), cpSrc, run.uFrames, run.uChannels, run.bReverse);
        set.fnInterleave(Dest("Interleave"), cpSrc, run.uFrames, run.uChannels, run.bReverse);
        set.fnPlaceChannels(Dest("PlaceChannels"), cpSrc, run.uFrames, run.auTable.data(),
                            run.uPlaces, run.uChannels, 0x96);
        return results;
    };
    const auto expected = Results(Kernels::SCALAR);
    for (const Kernels::set_t *pSet : Kernels::GetSets()) {
        for (const auto &[strName, result] : Results(*pSet)) {
            const std::string strDifference = FirstDifference(expected.at(strName), result);
            if (!strDifference.empty()) {
                return pSet->cpName + (' ' + strName) + ": " + strDifference;
            }
        }
    }
    return "";
}
