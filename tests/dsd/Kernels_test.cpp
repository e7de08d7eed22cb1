#include "dsd/Kernels.h"

#include "tests/support/DSDIFFBuilder.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace
{

constexpr uint8_t GUARD = 0xA7;

} // namespace

TEST(Kernels, ReverseBitsSwapsFirstAndLast)
{
    const bytes_t source = {0x01, 0x0F, 0xA5, 0x12, 0x80, 0x96, 0x00, 0xFF};
    const bytes_t expected = {0x80, 0xF0, 0xA5, 0x48, 0x01, 0x69, 0x00, 0xFF};
    bytes_t result(source.size());
    Kernels::ReverseBits(result.data(), source.data(), source.size());
    EXPECT_EQ(expected, result);
    Kernels::ReverseBits(result.data(), result.data(), result.size());
    EXPECT_EQ(source, result);
}

TEST(Kernels, DeinterleaveFillsTheFrontOfEachBlock)
{
    const bytes_t source = {1, 2, 3, 4, 5, 6};
    bytes_t result(3 * 4 + 1, GUARD);
    Kernels::Deinterleave(result.data(), 4, source.data(), 2, 3);
    EXPECT_EQ((bytes_t{1, 4, GUARD, GUARD, 2, 5, GUARD, GUARD, 3, 6, GUARD, GUARD, GUARD}), result);
}

TEST(Kernels, InterleaveUndoesDeinterleave)
{
    for (uint32_t uChannels = 1; uChannels <= 6; ++uChannels) {
        for (const size_t sizeBlock : {1U, 31U, 32U, 33U, 4096U}) {
            SCOPED_TRACE(testing::Message() << uChannels << " channels, blocks of " << sizeBlock);
            const bytes_t source = Pattern(sizeBlock * uChannels);
            bytes_t blocks(source.size() + 1, GUARD);
            bytes_t result(source.size() + 1, GUARD);
            Kernels::Deinterleave(blocks.data(), sizeBlock, source.data(), sizeBlock, uChannels);
            Kernels::Interleave(result.data(), blocks.data(), sizeBlock, uChannels);
            EXPECT_EQ(GUARD, blocks.back());
            EXPECT_EQ(GUARD, result.back());
            EXPECT_TRUE(std::equal(source.begin(), source.end(), result.begin()));
        }
    }
}
