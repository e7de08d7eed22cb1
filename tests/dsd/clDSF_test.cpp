#include "dsd/clDSF.h"

#include "base/clException.h"
#include "tests/support/DSFBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ID3Builder.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

using B = DSFBuilder;

} // namespace

TEST(clDSF, ChoosesChannelTypeAndDefaults)
{
    const struct {
        uint32_t uRate;
        uint32_t uChannels;
        uint32_t uExpectedRate;
        uint32_t uExpectedChannels;
        uint32_t uExpectedType;
    } aRows[] = {
        {0, 0, 2822400, 2, 2},   {44100, 1, 44100, 1, 1}, {44100, 2, 44100, 2, 2},
        {44100, 3, 44100, 3, 3}, {44100, 4, 44100, 4, 4}, {44100, 5, 44100, 5, 6},
        {44100, 6, 44100, 6, 7}, {44100, 8, 44100, 8, 2},
    };
    const TempFolder folder;
    clDSF writer;
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.uChannels);
        // A type that was set for the last file does not reach the next one.
        writer.SetChannelType(5);
        writer.Create(folder.Path("a.dsf").c_str(), row.uRate, row.uChannels);
        writer.Close();
        const bytes_t file = folder.Read("a.dsf");
        EXPECT_EQ(B::Number(row.uExpectedType, 4), Part(file, 48, 4));
        EXPECT_EQ(B::Number(row.uExpectedChannels, 4), Part(file, 52, 4));
        EXPECT_EQ(B::Number(row.uExpectedRate, 4), Part(file, 56, 4));
    }
    writer.Create(folder.Path("a.dsf").c_str(), 44100, 4);
    writer.SetChannelType(5);
    writer.SetLength(0);
    EXPECT_EQ(B::Number(5, 4), Part(folder.Read("a.dsf"), 48, 4));
}

TEST(clDSF, ReadHeadersRefusesDamageInWords)
{
    const struct {
        const char *cpCase;
        bytes_t file;
        const char *cpMessage;
    } aRows[] = {
        {"empty", {}, "header chunk size mismatch"},
        {"header size", B().Patch(4, {29}).Build(), "header chunk size mismatch"},
        {"header size before id", B().Patch(0, {'X', 0, 0, 0, 29}).Build(),
         "header chunk size mismatch"},
        {"header id", B().Patch(0, {'X'}).Build(), "id != 'DSD '"},
        {"truncated", Part(B().Build(), 0, 5000), "file size mismatch, incomplete file?"},
        {"format size", B().Patch(32, {51}).Build(), "format chunk size mismatch"},
        {"format id", B().Patch(28, {'X'}).Build(), "id != 'fmt '"},
        {"not raw", B().Patch(44, {1}).Build(), "unsupported data format"},
        {"no data", B().Data({}, 0).Build(), "data chunk size mismatch"},
        {"data id", B().Patch(80, {'X'}).Build(), "id != 'data'"},
        {"tag", B().Trailing({'I', 'D', '3'}).Build(),
         "clID3base::ReadWord(): not enough data left"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpCase);
        clDSF reader;
        EXPECT_THROW_MSG(reader.OpenMeta(new MemoryStream(row.file)), clXDSF,
                         std::string("clDSF::OpenMeta(): clDSF::ReadHeaders(): ") + row.cpMessage);
        EXPECT_THROW_MSG(reader.Open(new MemoryStream(row.file)), clXDSF,
                         std::string("clDSF::Open(): clDSF::ReadHeaders(): ") + row.cpMessage);
    }
}

TEST(clDSF, FindsTheTagBehindTheData)
{
    const bytes_t hugeData = B::Number(UINT64_MAX - 40, 8);
    const bytes_t hugeFile = B::Number(uint64_t{1} << 62, 8);
    const std::string strLong(3 << 20, 'x');
    const struct {
        const char *cpCase;
        MemoryStream *pStream;
        const char *cpTitle;
    } aRows[] = {
        {"no tag", B().Stream(), ""},
        {"tag without a pointer", B().Trailing(TitleTag("abc")).Stream(), "abc"},
        {"other bytes", B().Trailing({'x', 'y', 'z', 'z'}).Stream(), ""},
        {"two bytes", B().Trailing({'I', 'D'}).Stream(), ""},
        {"not seekable", B().Trailing(TitleTag("abc")).Stream()->NotSeekable(), ""},
        {"unknown size", B().Trailing(TitleTag("abc")).Stream()->ClaimSize(0), "abc"},
        {"announced size without the bytes",
         B().Trailing(TitleTag(strLong)).Patch(12, hugeFile).Stream()->ClaimSize(0),
         strLong.c_str()},

        {"data size that wraps", B().Trailing(TitleTag("abc")).Patch(84, hugeData).Stream(), ""},
    };
    clDSF reader;
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpCase);
        reader.OpenMeta(row.pStream);
        EXPECT_STREQ(row.cpTitle, reader.GetTag()->GetTitle().c_str());
        bytes_t out(8192);
        EXPECT_EQ(8192U, reader.ReadRaw(out.data(), out.size()))
            << "the stream is back at the data";
    }
    reader.OpenMeta(B().Trailing(TitleTag("stays")).Stream()->ShortReads(1));
    reader.Close();
    EXPECT_STREQ("stays", reader.GetTag()->GetTitle().c_str());
}

TEST(clDSF, RefusesOperationsOfAnotherState)
{
    uint8_t aBytes[8192] = {};
    double aDecoded[12];
    const TempFolder folder;
    clDSF file;
    const auto ExpectNoReading = [&] {
        EXPECT_THROW_MSG(file.ReadRaw(aBytes, 8192), clXDSF,
                         "clDSF::ReadRaw(): not open for reading");
        EXPECT_THROW_MSG(file.ReadRaw_5_1(aBytes, 12), clXDSF,
                         "clDSF::ReadRaw_5_1(): not open for reading");
        EXPECT_THROW_MSG(file.Read(aDecoded, 0), clXDSF, "clDSF::Read(): not open for reading");
        EXPECT_THROW_MSG(file.Read_5_1(aDecoded, 0), clXDSF,
                         "clDSF::Read_5_1(): not open for reading");
        EXPECT_THROW_MSG(file.SeekSample(0), clXDSF, "clDSF::SeekSample(): not open for reading");
        EXPECT_THROW_MSG(file.SeekFrame(0), clXDSF, "clDSF::SeekFrame(): not open for reading");
        EXPECT_THROW_MSG(file.ReadHeaders(), clXDSF, "clDSF::ReadHeaders(): not open for reading");
    };
    const auto ExpectNoWriting = [&] {
        EXPECT_THROW_MSG(file.WriteRaw(aBytes, 8192), clXDSF,
                         "clDSF::WriteRaw(): not open for writing");
        EXPECT_THROW_MSG(file.WriteMeta(aBytes, 1), clXDSF,
                         "clDSF::WriteMeta(): not open for writing");
        EXPECT_THROW_MSG(file.SetLength(1), clXDSF, "clDSF::SetLength(): not open for writing");
        EXPECT_THROW_MSG(file.WriteHeaders(), clXDSF,
                         "clDSF::WriteHeaders(): not open for writing");
    };
    ExpectNoReading();
    ExpectNoWriting();
    file.OpenMeta(B().Stream());
    ExpectNoWriting();
    EXPECT_EQ(4096U * 8, file.GetLength());
    file.Create(folder.Path("a.dsf").c_str(), 0, 0);
    ExpectNoReading();
    file.Close();
    ExpectNoReading();
    ExpectNoWriting();
}

TEST(clDSF, CreateReportsTheSystemsWords)
{
    const TempFolder folder;
    clDSF writer;
    EXPECT_THROW_MSG(writer.Create(folder.Path("none/a.dsf").c_str(), 0, 0), clXDSF,
                     "clDSF::Create(): clFileIO::Open(): open(): No such file or directory");
    EXPECT_THROW_MSG(writer.Create("/dev/full", 0, 0), clXDSF,
                     "clDSF::Create(): clDSF::WriteHeaders(): clFileIO::Write(): write(): "
                     "No space left on device");
}
