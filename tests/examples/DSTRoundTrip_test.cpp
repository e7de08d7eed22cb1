#include "dst/clDSTDecoder.h"
#include "tests/support/DSTFrames.h"
#include "tests/support/EqualBytes.h"

#include <gtest/gtest.h>

// What the encoder makes is what the decoder takes: frames of every form, by number of channels.

class dst_round_trip : public testing::TestWithParam<unsigned>
{
};

TEST_P(dst_round_trip, EveryFormDecodesToItsSound)
{
    const unsigned uChannels = GetParam();
    // 6 bytes per channel and frame are too short for a segment, 300 have all kinds.
    for (const uint32_t uRate : {3600U, 180000U, 2822400U, 5644800U, 11289600U}) {
        SCOPED_TRACE(uRate);
        clDSTDecoder decoder(uChannels, uRate);
        DSTFrames frames(uRate + uChannels, uChannels, uRate);
        bytes_t sound(decoder.GetSoundSize());
        for (int i = uRate > 180000 ? 2 : 60; i > 0; --i) {
            SCOPED_TRACE(i);
            const dst_sample sample = frames.Next();
            decoder.Decode(sample.coded.data(), sample.coded.size(), sound.data());
            ASSERT_TRUE(EqualBytes(sample.sound, sound));
            EXPECT_FALSE(decoder.LooksCut());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, dst_round_trip, testing::Range(1U, 7U));
