// Input over HTTP: the library's reader on a scripted and on a real server, and the program as its
// users see it.

#include "dsd/clDSDIFF.h"
#include "io/CreateStreamReader.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/RunProgram.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WebServer.h"

#include <memory>

#include <gtest/gtest.h>

namespace
{

std::string Text(const bytes_t &bytes, size_t sizeFrom = 0)
{
    return {bytes.begin() + static_cast<ptrdiff_t>(sizeFrom), bytes.end()};
}

// Opens the file, seeks to its first byte of sound, which a server that announced its length needs,
// and reads all of it.
bytes_t ReadSound(const std::string &strUrl)
{
    clDSDIFF reader;
    testing::internal::CaptureStdout();
    reader.OpenMeta(CreateStreamReader(strUrl.c_str()));
    reader.SeekSample(0);
    testing::internal::GetCapturedStdout();
    bytes_t sound;
    bytes_t turn(3000);
    while (const uint64_t uRead = reader.ReadRaw(turn.data(), turn.size())) {
        sound.insert(sound.end(), turn.begin(), turn.begin() + static_cast<ptrdiff_t>(uRead));
    }
    return sound;
}

} // namespace

TEST(remote, SeekMakesAnAnnouncedFileReadable)
{
    const bytes_t sound = Pattern(20000);
    const bytes_t file = DSDIFFBuilder().Sound(sound).Build();
    const size_t sizeStart = file.size() - sound.size();
    ScriptedServer server({{"HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(file.size()) +
                            "\r\n\r\n" + Text(file)},
                           {"HTTP/1.1 206 Partial Content\r\n\r\n" + Text(file, sizeStart)}});
    EXPECT_TRUE(sound == ReadSound(server.Url("/a.dff")));
    ASSERT_EQ(2U, server.Requests().size());
    EXPECT_NE(std::string::npos,
              server.Requests()[1].find("\r\nRange: bytes=" + std::to_string(sizeStart) + "-\r\n"));
}

TEST(remote, ProgramConvertsAFileOfNoAnnouncedLength)
{
    const bytes_t sound = Pattern(1 << 20);
    const bytes_t file = DSDIFFBuilder().Sound(sound).Build();
    const TempFolder folder;
    ScriptedServer server({{"HTTP/1.1 200 OK\r\n\r\n" + Text(file)}});
    const run_t run =
        RunProgram({VANTREL_PROGRAM, server.Url("/a.dff"), folder.Path("remote.dsf")});
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    EXPECT_EQ("200 OK\nHeaders:\n\n", run.strOut);
    EXPECT_EQ(std::string::npos, run.strErr.find("warning")) << run.strErr;
    folder.Write("a.dff", file);
    RunProgram({VANTREL_PROGRAM, folder.Path("a.dff"), folder.Path("local.dsf")});
    EXPECT_TRUE(folder.Read("local.dsf") == folder.Read("remote.dsf"));
    EXPECT_TRUE(ExpectedDSF(sound, 2, 2822400) == folder.Read("remote.dsf"));
}

TEST(remote, ProgramNamesWhatAServerWithholds)
{
    const bytes_t sound = Pattern(20000);
    const bytes_t file = DSDIFFBuilder().Sound(sound).Build();
    const std::string strHead = "HTTP/1.1 200 OK\r\n";
    const std::string strLength = "Content-Length: " + std::to_string(file.size()) + "\r\n";
    const struct {
        std::string strAnswer;
        int iStatus;
        const char *cpMessage;
        size_t sizeSound;
    } aRows[] = {
        {strHead + strLength + "\r\n" + Text(file), 0,
         "warning: read 0 of 20000 announced bytes of sound data: the server announced a length; "
         "download the file first, and it converts whole\n",
         0},
        {strHead + "\r\n" + Text(file).substr(0, file.size() - 5000), 0,
         "warning: read 15000 of 20000 announced bytes of sound data\n", 15000},
        {"HTTP/1.1 404 Not Found\r\n\r\n", 1, "exception: clStreamReaderHTTP::GetHead(): Not\n", 0},
    };
    const TempFolder folder;
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpMessage);
        ScriptedServer server({{row.strAnswer}});
        const run_t run =
            RunProgram({VANTREL_PROGRAM, server.Url("/a.dff"), folder.Path("out.dsf")});
        EXPECT_EQ(row.iStatus, run.iStatus);
        EXPECT_NE(std::string::npos, run.strErr.find(row.cpMessage)) << run.strErr;
        if (row.iStatus == 0) {
            EXPECT_TRUE(ExpectedDSF(Pattern(row.sizeSound), 2, 2822400) == folder.Read("out.dsf"));
        }
    }
}

TEST(remote, nginxServesWhatTheDiskHolds)
{
    const TempFolder folder;
    std::unique_ptr<WebServer> spServer;
    try {
        spServer = std::make_unique<WebServer>(folder.Path(""));
    } catch (const std::system_error &) {
        GTEST_SKIP() << "nginx is not installed";
    }
    const bytes_t sound = Pattern(5000001 * 2);
    folder.Write("a.dff", DSDIFFBuilder().Sound(sound).Build());
    EXPECT_TRUE(sound == ReadSound(spServer->Url("/a.dff")));
}
