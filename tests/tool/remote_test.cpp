// Input over HTTP: the library's reader on a scripted and on a real server, and the program as its
// users see it.

#include "dsd/clDSDIFF.h"
#include "io/CreateStreamReader.h"
#include "tests/support/Nginx.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/VantrelTest.h"

namespace
{

using remote = vantrel;

constexpr char OK[] = "HTTP/1.1 200 OK\r\n";

std::string Text(const bytes_t &bytes)
{
    return {bytes.begin(), bytes.end()};
}

// Opens the file, seeks to its first byte of sound, which a server that announced its length needs,
// and reads all of it.
bytes_t ReadSound(const std::string &strUrl)
{
    clDSDIFF reader;
    reader.OpenMeta(CreateStreamReader(strUrl.c_str()));
    reader.SeekSample(0);
    bytes_t sound;
    bytes_t turn(3000);
    while (const uint64_t uRead = reader.ReadRaw(turn.data(), turn.size())) {
        Append(sound, Part(turn, 0, uRead));
    }
    return sound;
}

} // namespace

TEST_F(remote, SeekMakesAnAnnouncedFileReadable)
{
    const bytes_t sound = Pattern(20000);
    const bytes_t file = DSDIFFBuilder().Sound(sound).Build();
    const std::string strSize = std::to_string(file.size());
    ScriptedServer server({{OK + ("Content-Length: " + strSize + "\r\n\r\n" + Text(file))},
                           {"HTTP/1.1 206 Partial Content\r\n\r\n" + Text(sound)}});
    EXPECT_TRUE(sound == ReadSound(server.Url("/a.dff")));
    ASSERT_EQ(2U, server.Requests().size());
    const std::string strStart = std::to_string(file.size() - sound.size());
    EXPECT_NE(std::string::npos,
              server.Requests()[1].find("\r\nRange: bytes=" + strStart + "-\r\n"));
}

TEST_F(remote, ProgramConvertsWhatItGetsAndNamesTheRest)
{
    const bytes_t sound = Pattern(1 << 20);
    const std::string strFile = Text(DSDIFFBuilder().Sound(sound).Build());
    // What a source announces that does not know its length yet.
    const auto Unbounded = [&](uint64_t uSize) {
        return OK + ("\r\n" + Text(DSDIFFBuilder().Sound(sound).Unbounded(uSize).Build()));
    };
    const std::string strLength = "Content-Length: " + std::to_string(strFile.size()) + "\r\n";
    const struct {
        std::string strAnswer;
        const char *cpMessage;
        size_t sizeSound;
    } aRows[] = {
        {OK + ("\r\n" + strFile), "bit.\n", sound.size()},
        {OK + ("\r\n" + strFile.substr(0, strFile.size() - 5000)),
         "\nwarning: read 1043576 of 1048576 announced bytes of sound data\n", sound.size() - 5000},
        {OK + strLength + "\r\n" + strFile,
         "\nwarning: read 0 of 1048576 announced bytes of sound data: the server announced a "
         "length; download the file first, and it converts whole\n",
         0},
        {Unbounded(UINT64_MAX),
         "\nwarning: read 1048576 of 18446744073709551615 announced bytes of sound data\n",
         sound.size()},
    };
    for (const auto &row : aRows) {
        ScriptedServer server({{row.strAnswer}});
        const run_t run = RunProgram({PROGRAM, server.Url("/a.dff"), strOut});
        EXPECT_EQ(0, run.iStatus);
        EXPECT_TRUE(run.strErr.ends_with(row.cpMessage)) << run.strErr;
        EXPECT_TRUE(run.strOut.starts_with("200 OK\nHeaders:\n")) << run.strOut;
        EXPECT_TRUE(ExpectedDSF(Part(sound, 0, row.sizeSound), 2, 2822400) == Output());
    }
    ScriptedServer server({{"HTTP/1.1 404 Not Found\r\n\r\n"}});
    const run_t run = RunProgram({PROGRAM, server.Url("/a.dff"), strOut});
    EXPECT_EQ(1, run.iStatus);
    EXPECT_TRUE(run.strErr.ends_with("\nexception: clStreamReaderHTTP::GetHead(): Not\n"));
}

TEST_F(remote, ProgramWaitsForServersThatFetchTheFileFirst)
{
    const bytes_t sound = Pattern(10000);
    const std::string strHead = OK + std::string("A: b\r\nC: d\r\n\r\n");
    ScriptedServer server({{strHead + Text(DSDIFFBuilder().Sound(sound).Build()),
                            ServerAnswer::CLOSE,
                            {{0, 2000}, {strHead.find("C:"), 1500}}}});
    const run_t run = RunProgram({PROGRAM, server.Url("/a.dff"), strOut});
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    EXPECT_TRUE(ExpectedDSF(sound, 2, 2822400) == Output());
}

TEST_F(remote, nginxServesWhatTheDiskHolds)
{
    if (!HasNginx()) {
        GTEST_SKIP() << "nginx is not installed";
    }
    const bytes_t sound = Pattern(5000001 * 2);
    folder.Write("a.dff", DSDIFFBuilder().Sound(sound).Build());
    WithNginx(folder, "", [&](const std::string &strHost) {
        EXPECT_NO_THROW(EXPECT_TRUE(sound == ReadSound("http://" + strHost + "/a.dff")));
    });
}
