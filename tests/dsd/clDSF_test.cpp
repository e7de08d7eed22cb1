#include "dsd/clDSF.h"

#include "base/clException.h"
#include "tests/support/DSFBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ID3Builder.h"
#include "tests/support/TempFolder.h"

#include <functional>
#include <utility>

using B = DSFBuilder;

TEST(clDSF, CreateUsesDefaults)
{
    const TempFolder folder;
    const std::string strPath = folder.Path("a.dsf");
    clDSF writer;
    const auto ExpectHeaders = [&](uint32_t uChannels, uint32_t uType) {
        writer.SetLength(0);
        EXPECT_EQ(B().Channels(uChannels, uType).Data({}, 0).Build(), folder.Read("a.dsf"));
    };
    writer.Create(strPath.c_str(), 0, 0);
    ExpectHeaders(2, 2);
    writer.SetChannelType(5);
    ExpectHeaders(2, 5);
    // A channel type that was set for one file does not apply to the next.
    writer.Create(strPath.c_str(), 2822400, 8);
    ExpectHeaders(8, 2);
    EXPECT_THROW_MSG(writer.Create("/dev/full", 0, 0), clXDSF,
                     "clDSF::Create(): clDSF::WriteHeaders(): clFileIO::Write(): write(): "
                     "No space left on device");
}

TEST(clDSF, ReadHeadersRefusesDamage)
{
    const std::pair<bytes_t, const char *> aRows[] = {
        {{}, "header chunk size mismatch"},
        // The size is checked before the id.
        {B().Patch(0, {'X', 0, 0, 0, 29}).Build(), "header chunk size mismatch"},
        {B().Patch(0, {'X'}).Build(), "id != 'DSD '"},
        {Part(B().Build(), 0, 5000), "file size mismatch, incomplete file?"},
        {B().Patch(32, {51}).Build(), "format chunk size mismatch"},
        {B().Patch(28, {'X'}).Build(), "id != 'fmt '"},
        {B().Patch(44, {1}).Build(), "unsupported data format"},
        {B().Data({}, 0).Build(), "data chunk size mismatch"},
        {B().Patch(80, {'X'}).Build(), "id != 'data'"},
        {B().Trailing({'I', 'D', '3'}).Build(), "clID3base::ReadWord(): not enough data left"},
    };
    for (const auto &[file, cpMessage] : aRows) {
        SCOPED_TRACE(cpMessage);
        const std::string strMessage = std::string("clDSF::ReadHeaders(): ") + cpMessage;
        clDSF reader;
        EXPECT_THROW_MSG(reader.OpenMeta(new MemoryStream(file)), clXDSF,
                         "clDSF::OpenMeta(): " + strMessage);
        EXPECT_THROW_MSG(reader.Open(new MemoryStream(file)), clXDSF,
                         "clDSF::Open(): " + strMessage);
    }
}

TEST(clDSF, FindsTheTagAfterTheData)
{
    const bytes_t hugeData = B::Number(UINT64_MAX - 40, 8);
    const bytes_t hugeFile = B::Number(uint64_t{1} << 62, 8);
    const std::string strLong(3 << 20, 'x');
    const B tagged = B().Trailing(TitleTag("abc"));
    const std::pair<MemoryStream *, std::string> aRows[] = {
        {tagged.Stream(), "abc"},
        {tagged.Stream()->ClaimSize(0), "abc"},
        {tagged.Stream()->NotSeekable(), ""},
        {B().Trailing({'I', 'D'}).Stream(), ""},
        {B().Trailing({'x', 'y', 'z', 'z'}).Stream(), ""},
        // A file size without the bytes, and a data size that wraps.
        {B().Trailing(TitleTag(strLong)).Patch(12, hugeFile).Stream()->ClaimSize(0), strLong},
        {B(tagged).Patch(84, hugeData).Stream(), ""},
        {B().Stream(), ""},
    };
    clDSF reader;
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - aRows);
        reader.OpenMeta(row.first);
        EXPECT_EQ(row.second, reader.GetTag()->GetTitle().c_str());
        bytes_t out(8192);
        EXPECT_EQ(8192U, reader.ReadRaw(out.data(), out.size()))
            << "the stream is back at the data";
    }
    reader.OpenMeta(tagged.Stream()->ShortReads(1));
    reader.Close();
    EXPECT_STREQ("abc", reader.GetTag()->GetTitle().c_str());
}

TEST(clDSF, RefusesOperationsOfAnotherState)
{
    uint8_t aBytes[8192] = {};
    double aDecoded[12];
    const uint32_t auPlaces[] = {0, 1};
    const TempFolder folder;
    clDSF file;
    using calls_t = std::vector<std::pair<std::string, std::function<void()>>>;
    const calls_t reading = {
        {"ReadRaw", [&] { file.ReadRaw(aBytes, 8192); }},
        {"ReadRaw_5_1", [&] { file.ReadRaw_5_1(aBytes, 12); }},
        {"Read", [&] { file.Read(aDecoded, 0); }},
        {"Read_5_1", [&] { file.Read_5_1(aDecoded, 0); }},
        {"SeekSample", [&] { file.SeekSample(0); }},
        {"SeekFrame", [&] { file.SeekFrame(0); }},
        {"ReadHeaders", [&] { file.ReadHeaders(); }},
    };
    const calls_t writing = {
        {"WriteRaw", [&] { file.WriteRaw(aBytes, 8192); }},
        {"WriteFrames", [&] { file.WriteFrames(aBytes, 1, auPlaces); }},
        {"WriteMeta", [&] { file.WriteMeta(aBytes, 1); }},
        {"SetLength", [&] { file.SetLength(1); }},
        {"WriteHeaders", [&] { file.WriteHeaders(); }},
    };
    const auto ExpectNo = [](const calls_t &calls, const char *cpWhat) {
        for (const auto &[strName, fnCall] : calls) {
            EXPECT_THROW_MSG(fnCall(), clXDSF, "clDSF::" + strName + "(): not open for " + cpWhat);
        }
    };
    ExpectNo(reading, "reading");
    file.OpenMeta(B().Stream());
    ExpectNo(writing, "writing");
    EXPECT_EQ(4096U * 8, file.GetLength());
    file.Create(folder.Path("a.dsf").c_str(), 0, 0);
    ExpectNo(reading, "reading");
    file.Close();
    ExpectNo(reading, "reading");
    ExpectNo(writing, "writing");
}
