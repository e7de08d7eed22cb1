// The encoder against frames that are known to the bit, and against FFmpeg's decoder.

#include "examples/clDSTEncoder.h"

#include "examples/DescribeDST.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSTFrames.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

using builder_t = DSDIFFBuilder;

bytes_t Hex(const std::string &strDigits)
{
    bytes_t bytes;
    for (size_t i = 0; i < strDigits.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(strDigits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

bytes_t DecodedByFFmpeg(const std::string &strFile)
{
    const run_t run =
        RunProgram({"ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-i", strFile,
                    "-map", "0:a:0", "-c:a", "pcm_f32le", "-f", "f32le", "-"});
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    EXPECT_EQ("", run.strErr);
    return builder_t::Text(run.strOut);
}

class dst_judge : public testing::TestWithParam<unsigned>
{
};

} // namespace

TEST(clDSTEncoder, WritesKnownFrames)
{
    dst_frame one;
    one.bKeepZeros = true;
    one.aHalf = {false};
    one.filters.aLists = {{{253, -9, 255, -9, 253, -9, 255, 0}}};
    one.tables.aLists = {{{128, 1}}};
    const bytes_t header = Hex("fc1cfdfbbffeefdfbbfc000bf807f9fffffd40");
    EXPECT_EQ(header + bytes_t(27), clDSTEncoder(1, 2822400).Encode(one, bytes_t(4704, 0x69)));
    one.bKeepZeros = false;
    EXPECT_EQ(header, clDSTEncoder(1, 2822400).Encode(one, bytes_t(4704, 0x69)));

    // Segments, numbers and coded lists of every kind.
    dst_frame two;
    two.bKeepZeros = true;
    two.bSameSegmentation = two.bSameMapping = false;
    two.aHalf = {false, true};
    two.filters = {false, {{}, {2304}}, 128, false, {{0}, {1, 0}}, {}};
    two.filters.aLists = {{{0, -190, 0, -255, 0, -190, 0, -141}, true, 1, 7},
                          {{253, -255, 253, -250, 0, 0, 0, 0, 0}, true, 2, 6}};
    two.tables = {false, {{4000}, {2304, 1200}}, 4, false, {{0, 0}, {1, 2, 1}}, {}};
    two.tables.aLists = {{{128, 128, 1}}, {{1, 1}}, {{128, 128, 128, 1}, true, 0, 5}};
    bytes_t sound;
    for (size_t i = 0; i < 4704; ++i) {
        Append(sound, {0x69, static_cast<uint8_t>(i < 2304 ? 0x33 : 0x96)});
    }
    EXPECT_EQ(Hex("90201280047d124025921943d0050b9f817b1fc17b3f065c467ec05fb8f34482d0f7810027ff"
                  "e00100001cff60807f7fbb4bf87c3c40") +
                  bytes_t(24) + Hex("01ee") + bytes_t(28),
              clDSTEncoder(2, 2822400).Encode(two, sound));
}

TEST(clDSTEncoder, ChecksWithItsPolynomial)
{
    EXPECT_EQ(0x80000011, clDSTEncoder::CheckValue({0, 1}));
    EXPECT_EQ(0x80000033, clDSTEncoder::CheckValue({2}));
}

TEST_P(dst_judge, DecodesTheSameSound)
{
    if (RunProgram({"ffmpeg", "-version"}).iStatus != 0) {
        GTEST_SKIP() << "FFmpeg is not installed";
    }
    const unsigned uChannels = GetParam();
    const TempFolder folder;
    for (const uint32_t uRate : {2822400U, 5644800U, 11289600U}) {
        SCOPED_TRACE(testing::Message() << uChannels << " channels, " << uRate << " Hz");
        DSTFrames frames(uChannels, uChannels, uRate, true);
        bytes_t sound;
        std::vector<bytes_t> coded;
        while (coded.size() < (uRate == 2822400 ? 9 : 2)) {
            const dst_sample sample = frames.Next();
            Append(sound, sample.sound);
            coded.push_back(coded.empty() ? CompressDST({uChannels, uRate}, sample.sound)
                                          : sample.coded);
        }
        builder_t builder;
        builder.ChannelCount(uChannels).Rate(uRate).Sound(sound);
        const bytes_t raw = DecodedByFFmpeg(folder.Write("raw.dff", builder.Build()));
        builder.CompressedSound(builder_t::DSTChunks(coded));
        EXPECT_EQ(sound.size() * 4, raw.size());
        EXPECT_TRUE(raw == DecodedByFFmpeg(folder.Write("dst.dff", builder.Build())));
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, dst_judge, testing::Range(1U, 7U));
