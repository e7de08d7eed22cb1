// FFmpeg as an independent judge: the one-bit stream it copies out of our DSF file must be the one
// it copies out of the DSDIFF file.

#include "tests/support/VantrelTest.h"

#include <algorithm>

namespace
{

class judge : public vantrel, public testing::WithParamInterface<size_t>
{
};

constexpr size_t BLOCK = 4096;

bytes_t CopyStream(const std::string &strFile)
{
    const run_t run = RunProgram({"ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-i",
                                  strFile, "-map", "0:a:0", "-c", "copy", "-f", "data", "-"});
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    return DSDIFFBuilder::Text(run.strOut);
}

// From runs of one channel each, lowest bit first, to interleaved bytes, highest bit first. FFmpeg
// copies whole blocks but the last, of which it takes what is sound.
bytes_t Interleaved(const bytes_t &runs, size_t uChannels)
{
    bytes_t frames(runs.size());
    for (size_t i = 0; i < runs.size(); ++i) {
        const size_t uGroupStart = i / (BLOCK * uChannels) * BLOCK * uChannels;
        const size_t sizeRun = std::min(BLOCK, (runs.size() - uGroupStart) / uChannels);
        const size_t uChannel = (i - uGroupStart) / sizeRun;
        const size_t uFrame = (i - uGroupStart) % sizeRun;
        frames[uGroupStart + uFrame * uChannels + uChannel] = Reversed(runs[i]);
    }
    return frames;
}

} // namespace

TEST_P(judge, FindsTheSameBitsInBothFiles)
{
    if (RunProgram({"ffmpeg", "-version"}).iStatus != 0) {
        GTEST_SKIP() << "FFmpeg is not installed";
    }
    const size_t uChannels = GetParam();
    for (const size_t uFrames : {size_t{0}, size_t{1}, BLOCK - 1, BLOCK, BLOCK + 1, 64 * BLOCK - 1,
                                 64 * BLOCK, 64 * BLOCK + 1}) {
        for (const uint32_t uRate : {2822400U, 5644800U, 11289600U, 22579200U}) {
            SCOPED_TRACE(testing::Message() << uFrames << " bytes each, " << uRate << " Hz");
            const bytes_t sound = Pattern(uFrames * uChannels);
            ASSERT_EQ(said_t(),
                      Convert(DSDIFFBuilder().ChannelCount(uChannels).Rate(uRate).Sound(sound)));
            const bytes_t fromInput = CopyStream(strIn);
            EXPECT_EQ(sound.size(), fromInput.size());
            EXPECT_TRUE(fromInput == Interleaved(CopyStream(strOut), uChannels));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, judge, testing::Range(size_t{1}, size_t{7}));
