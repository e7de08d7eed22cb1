// FFmpeg as an independent judge: the one-bit stream it copies out of our DSF file must be the one
// it copies out of the DSDIFF file.

#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace
{

constexpr size_t BLOCK = 4096;

bool HasJudge()
{
    try {
        return RunProgram({"ffmpeg", "-version"}).iStatus == 0;
    } catch (const std::system_error &) {
        return false;
    }
}

bytes_t CopyStream(const std::string &strFile)
{
    const run_t run = RunProgram({"ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-i",
                                  strFile, "-map", "0:a:0", "-c", "copy", "-f", "data", "-"});
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    return {run.strOut.begin(), run.strOut.end()};
}

// From runs of one channel each, lowest bit first, to interleaved bytes, highest bit first. FFmpeg
// copies whole blocks but the last, of which it takes what is sound.
bytes_t Interleaved(const bytes_t &runs, size_t sizeChannels)
{
    bytes_t frames(runs.size());
    for (size_t i = 0; i < runs.size(); ++i) {
        const size_t sizeGroupStart = i / (BLOCK * sizeChannels) * BLOCK * sizeChannels;
        const size_t sizeRun = std::min(BLOCK, (runs.size() - sizeGroupStart) / sizeChannels);
        const size_t sizeChannel = (i - sizeGroupStart) / sizeRun;
        const size_t sizeFrame = (i - sizeGroupStart) % sizeRun;
        frames[sizeGroupStart + sizeFrame * sizeChannels + sizeChannel] = Reversed(runs[i]);
    }
    return frames;
}

// Whether the blocks of the last group hold nothing but zeros behind their sound.
bool IsFilledWithZeros(const bytes_t &file, size_t sizeFrames, size_t sizeChannels)
{
    const size_t sizeSound = sizeFrames % BLOCK;
    for (size_t i = 0; sizeSound != 0 && i < sizeChannels; ++i) {
        const auto itBlock = file.end() - static_cast<ptrdiff_t>((sizeChannels - i) * BLOCK);
        if (!std::all_of(itBlock + static_cast<ptrdiff_t>(sizeSound),
                         itBlock + static_cast<ptrdiff_t>(BLOCK),
                         [](uint8_t u) { return u == 0; })) {
            return false;
        }
    }
    return true;
}

class judge : public testing::TestWithParam<size_t>
{
};

} // namespace

TEST_P(judge, FindsTheSameBitsInBothFiles)
{
    if (!HasJudge()) {
        GTEST_SKIP() << "FFmpeg is not installed";
    }
    const size_t sizeChannels = GetParam();
    const TempFolder folder;
    const std::string strIn = folder.Path("in.dff");
    const std::string strOut = folder.Path("out.dsf");
    for (const size_t sizeFrames : {size_t{0}, size_t{1}, BLOCK - 1, BLOCK, BLOCK + 1,
                                    64 * BLOCK - 1, 64 * BLOCK, 64 * BLOCK + 1}) {
        for (const uint32_t uTimes : {64U, 128U, 256U, 512U}) {
            SCOPED_TRACE(testing::Message()
                         << sizeFrames << " bytes each, " << uTimes << " times 44.1 kHz");
            const bytes_t sound = Pattern(sizeFrames * sizeChannels);
            folder.Write("in.dff", DSDIFFBuilder()
                                       .ChannelCount(sizeChannels)
                                       .Rate(uTimes * 44100)
                                       .Sound(sound)
                                       .Build());
            ASSERT_EQ(0, RunProgram({VANTREL_PROGRAM, strIn, strOut}).iStatus);
            const bytes_t fromInput = CopyStream(strIn);
            EXPECT_EQ(sound.size(), fromInput.size());
            EXPECT_TRUE(fromInput == Interleaved(CopyStream(strOut), sizeChannels));
            EXPECT_TRUE(IsFilledWithZeros(folder.Read("out.dsf"), sizeFrames, sizeChannels));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, judge, testing::Range(size_t{1}, size_t{7}));
