// Files of many GiB, and the memory that they take.

#include "tests/support/VantrelTest.h"

#include <fstream>

namespace
{

constexpr uint32_t CHANNELS = 6;
constexpr uint32_t RATE = 512 * 44100;
constexpr uint64_t GROUP = 4096 * CHANNELS;
constexpr uint64_t HEADERS = 92;

void WriteAt(std::fstream &file, uint64_t uOffset, const bytes_t &bytes)
{
    file.seekp(static_cast<std::streamoff>(uOffset));
    file.write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

bytes_t ReadAt(std::ifstream &file, uint64_t uOffset, size_t uCount)
{
    bytes_t bytes(uCount);
    file.seekg(static_cast<std::streamoff>(uOffset));
    file.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(uCount));
    return bytes;
}

} // namespace

TEST_F(vantrel, ConvertsMoreThanFourGiBInLittleMemory)
{
    constexpr uint64_t uFrames = (uint64_t{5} << 30) / CHANNELS + 1;
    constexpr uint64_t uGroups = (uFrames + 4095) / 4096;
    if (fs::space(folder.Path("")).available < uint64_t{7} << 30) {
        GTEST_SKIP() << "too little space on disk";
    }
    // A hole with sound in the groups around 4 GiB and in the last one.
    const uint64_t uMiddle = (uint64_t{4} << 30) / GROUP;
    const uint64_t uLastFrames = uFrames - (uGroups - 1) * 4096;
    const bytes_t middle = Pattern(2 * GROUP);
    const bytes_t last = Pattern(uLastFrames * CHANNELS);
    const DSDIFFBuilder builder = DSDIFFBuilder().ChannelCount(CHANNELS).Rate(RATE);
    const uint64_t uStart = WriteSparse(builder, uFrames * CHANNELS);
    {
        std::fstream in(strIn);
        WriteAt(in, uStart + uMiddle * GROUP, middle);
        WriteAt(in, uStart + (uGroups - 1) * GROUP, last);
    }
    const bytes_t tag = Pattern(100);
    const run_t big = RunProgram({PROGRAM, strIn, strOut, folder.Write("tag", tag)});
    EXPECT_EQ(0, big.iStatus) << big.strErr;

    const auto Blocks = [](const bytes_t &sound) {
        return Part(ExpectedDSF(sound, CHANNELS, RATE), HEADERS);
    };
    const auto Number = [](uint64_t u) { return DSFBuilder::Number(u, 8); };
    const uint64_t uEnd = HEADERS + uGroups * GROUP;
    EXPECT_EQ(uEnd + tag.size(), fs::file_size(strOut));
    std::ifstream out(strOut);
    EXPECT_EQ(Number(uEnd + tag.size()), ReadAt(out, 12, 8)) << "file size";
    EXPECT_EQ(Number(uEnd), ReadAt(out, 20, 8)) << "tag pointer";
    EXPECT_EQ(Number(uFrames * 8), ReadAt(out, 64, 8)) << "sample count";
    EXPECT_EQ(Number(12 + uGroups * GROUP), ReadAt(out, 84, 8)) << "data chunk";
    EXPECT_TRUE(Blocks(middle) == ReadAt(out, HEADERS + uMiddle * GROUP, 2 * GROUP));
    EXPECT_TRUE(Blocks(last) + tag == ReadAt(out, uEnd - GROUP, GROUP + tag.size()));
    // The same memory as for a small file, from the first to the last byte.
    WriteSparse(builder, (uint64_t{2} << 20) / CHANNELS * CHANNELS);
    const run_t small = RunProgram({PROGRAM, strIn, strOut});
    EXPECT_EQ(small.strErr, big.strErr);
    EXPECT_LT(big.lPeakSize, 16 * 1024);
    EXPECT_LT(std::abs(big.lPeakSize - small.lPeakSize), 512) << big.lPeakSize;
    std::printf("peak resident: 2 MiB %ld KiB, 5 GiB %ld KiB\n", small.lPeakSize, big.lPeakSize);
}
