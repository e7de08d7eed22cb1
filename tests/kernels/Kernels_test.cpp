#include "kernels/Kernels.h"

#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/EqualBytes.h"
#include "tests/support/KernelsCheck.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

TEST(Kernels, TheReferenceDoesWhatTheFormatsSay)
{
    const bytes_t bits = {0x01, 0x0F, 0xA5, 0x12, 0x80, 0x96, 0x00, 0xFF};
    bytes_t result(bits.size());
    Kernels::SCALAR.fnReverseBits(result.data(), bits.data(), bits.size());
    EXPECT_TRUE(EqualBytes({0x80, 0xF0, 0xA5, 0x48, 0x01, 0x69, 0x00, 0xFF}, result));

    const bytes_t frames = {1, 2, 3, 4, 5, 6};
    bytes_t blocks(6);
    uint8_t *const apBlocks[] = {&blocks[0], &blocks[4], &blocks[2]};
    Kernels::SCALAR.fnDeinterleave(apBlocks, frames.data(), 2, 3, false);
    EXPECT_TRUE(EqualBytes({1, 4, 3, 6, 2, 5}, blocks));
    Kernels::SCALAR.fnInterleave(blocks.data(), bytes_t{1, 4, 2, 5, 3, 6}.data(), 2, 3, false);
    EXPECT_TRUE(EqualBytes(frames, blocks));
    Kernels::SCALAR.fnInterleave(blocks.data(), bytes_t{0x80, 0x20, 0x40, 0xA0, 0xC0, 0x60}.data(),
                                 2, 3, true);
    EXPECT_TRUE(EqualBytes(frames, blocks));

    // The second channel has no place, the third one takes that of the first.
    bytes_t placed(8);
    const uint32_t auTable[] = {1, 4, 1};
    Kernels::SCALAR.fnPlaceChannels(placed.data(), frames.data(), 2, auTable, 4, 3, 0x96);
    EXPECT_TRUE(EqualBytes({0x96, 3, 0x96, 0x96, 0x96, 6, 0x96, 0x96}, placed));
}

TEST(Kernels, NoDataNeedsNoMemory)
{
    uint8_t *const apNone[7] = {};
    for (const Kernels::set_t *pSet : Kernels::GetSets()) {
        pSet->fnReverseBits(nullptr, nullptr, 0);
        for (uint32_t uChannels = 1; uChannels <= 7; ++uChannels) {
            for (const bool bReverse : {false, true}) {
                pSet->fnDeinterleave(apNone, nullptr, 0, uChannels, bReverse);
                pSet->fnInterleave(nullptr, nullptr, 0, uChannels, bReverse);
            }
            pSet->fnPlaceChannels(nullptr, nullptr, 0, nullptr, 6, uChannels, 0x96);
        }
    }
}

TEST(Kernels, TheFastestSetOfTheProcessorIsInUse)
{
    std::vector<std::string> expected = {"scalar"};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("ssse3") != 0) {
        expected.emplace_back("ssse3");
    }
    if (__builtin_cpu_supports("avx2") != 0) {
        expected.emplace_back("avx2");
    }
    if (__builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
        __builtin_cpu_supports("avx512vbmi") != 0 && __builtin_cpu_supports("gfni") != 0) {
        expected.emplace_back("avx512");
    }
#elif defined(__aarch64__)
    expected.emplace_back("neon");
#endif
    std::vector<std::string> names;
    for (const Kernels::set_t *pSet : Kernels::GetSets()) {
        names.emplace_back(pSet->cpName);
    }
    EXPECT_EQ(expected, names);
    EXPECT_EQ(expected.back(), Kernels::GetFastest().cpName);
}

TEST(Kernels, EverySetDoesWhatTheReferenceDoes)
{
    constexpr size_t VECTOR = 64;
    const bytes_t noise = Pattern(3 * VECTOR * 7);
    for (uint32_t uChannels = 1; uChannels <= 7; ++uChannels) {
        for (size_t uFrames = 0; uFrames <= 3 * VECTOR; ++uFrames) {
            for (size_t uOffset = 0; uOffset < VECTOR; uOffset += 3) {
                kernels_run_t run = {uFrames, uChannels, uChannels, {}, uOffset, 0, false};
                run.uDestOffset = uOffset * 7 % VECTOR;
                run.bReverse = (uFrames + uOffset) % 2 == 0;
                run.auTable.resize(uChannels);
                std::iota(run.auTable.begin(), run.auTable.end(), 0U);
                std::rotate(run.auTable.begin(),
                            run.auTable.begin() + static_cast<ptrdiff_t>(uOffset % uChannels),
                            run.auTable.end());
                if (uOffset % 3 == 0) {
                    run.uPlaces = 6; // the 5.1 frame, with places left over or channels
                }
                SCOPED_TRACE(testing::Message()
                             << uFrames << " frames of " << uChannels << ", offset " << uOffset);
                ASSERT_EQ("", FindWrongKernel(run, noise));
            }
        }
    }
}
