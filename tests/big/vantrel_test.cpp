// Files of many GiB, and the memory that they take.

#include "tests/support/DSFModel.h"
#include "tests/support/VantrelTest.h"

#include <fcntl.h>

namespace
{

constexpr uint32_t CHANNELS = 6;
constexpr uint32_t RATE = 512 * 44100;
constexpr uint64_t GROUP = 4096 * CHANNELS;
constexpr uint64_t HEADERS = 92;

class Descriptor
{
public:
    Descriptor(const std::string &strPath, int iFlags) : iFileH(open(strPath.c_str(), iFlags)) {}
    ~Descriptor() { close(iFileH); }

    void Write(const bytes_t &bytes, uint64_t uOffset) const
    {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
                  pwrite(iFileH, bytes.data(), bytes.size(), static_cast<off_t>(uOffset)));
    }

    bytes_t Read(uint64_t uCount, uint64_t uOffset) const
    {
        bytes_t bytes(uCount);
        bytes.resize(static_cast<size_t>(
            pread(iFileH, bytes.data(), bytes.size(), static_cast<off_t>(uOffset))));
        return bytes;
    }

private:
    const int iFileH;
};

} // namespace

TEST_F(vantrel, ConvertsMoreThanFourGiBInLittleMemory)
{
    constexpr uint64_t uFrames = (uint64_t{5} << 30) / CHANNELS + 1;
    constexpr uint64_t uSound = uFrames * CHANNELS;
    constexpr uint64_t uGroups = (uFrames + 4095) / 4096;
    if (std::filesystem::space(folder.Path("")).available < uint64_t{7} << 30) {
        GTEST_SKIP() << "too little space on disk";
    }
    // A hole with sound in the groups around 4 GiB and in the last one.
    const uint64_t uMiddle = (uint64_t{4} << 30) / GROUP;
    const uint64_t uLastFrames = uFrames - (uGroups - 1) * 4096;
    const bytes_t middle = Pattern(2 * GROUP);
    const bytes_t last = Pattern(uLastFrames * CHANNELS);
    const DSDIFFBuilder builder = DSDIFFBuilder().ChannelCount(CHANNELS).Rate(RATE);
    const uint64_t uStart = WriteSparse(builder, uSound);
    {
        const Descriptor in(folder.Path("in.dff"), O_WRONLY);
        in.Write(middle, uStart + uMiddle * GROUP);
        in.Write(last, uStart + (uGroups - 1) * GROUP);
    }
    const bytes_t tag = Pattern(100);
    const run_t big =
        Run({folder.Path("in.dff"), folder.Path("out.dsf"), folder.Write("tag", tag)});
    EXPECT_EQ("", big.strErr);
    EXPECT_EQ(0, big.iStatus);
    {
        const Descriptor out(folder.Path("out.dsf"), O_RDONLY);
        const bytes_t header = out.Read(HEADERS, 0);
        const auto Number = [](uint64_t u) { return DSFBuilder::Number(u, 8); };
        const uint64_t uEnd = HEADERS + uGroups * GROUP;
        EXPECT_EQ(Number(uEnd + tag.size()), Part(header, 12, 8)) << "file size";
        EXPECT_EQ(Number(uEnd), Part(header, 20, 8)) << "tag pointer";
        EXPECT_EQ(Number(uFrames * 8), Part(header, 64, 8)) << "sample count";
        EXPECT_EQ(Number(12 + uGroups * GROUP), Part(header, 84, 8)) << "data chunk";
        const auto Blocks = [](const bytes_t &sound) {
            const bytes_t file = ExpectedDSF(sound, CHANNELS, RATE);
            return Part(file, HEADERS);
        };
        EXPECT_TRUE(Blocks(middle) == out.Read(2 * GROUP, HEADERS + uMiddle * GROUP));
        bytes_t end = Blocks(last);
        end.insert(end.end(), tag.begin(), tag.end());
        EXPECT_TRUE(end == out.Read(GROUP + 1000, HEADERS + (uGroups - 1) * GROUP));
    }
    // The same memory as for a small file, from the first to the last byte.
    WriteSparse(builder, (uint64_t{2} << 20) / CHANNELS * CHANNELS);
    const run_t small = Run({folder.Path("in.dff"), folder.Path("out.dsf")});
    EXPECT_LT(big.lPeakSize, 16 * 1024);
    EXPECT_LT(std::abs(big.lPeakSize - small.lPeakSize), 512) << big.lPeakSize;
    RecordProperty("KiB", static_cast<int>(big.lPeakSize));
    std::printf("peak resident: 2 MiB %ld KiB, 5 GiB %ld KiB\n", small.lPeakSize, big.lPeakSize);
}
