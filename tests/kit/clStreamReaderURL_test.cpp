#include "kit/clStreamReaderURL.h"

#include "tests/support/Bytes.h"
#include "tests/support/WebFile.h"

#include <random>

#include <gtest/gtest.h>

namespace
{

std::string Noise(size_t sizeBytes)
{
    const bytes_t bytes = Pattern(sizeBytes);
    return {bytes.begin(), bytes.end()};
}

std::string ReadAll(clStreamReaderURL &stream)
{
    std::string strAll;
    std::string strPiece(50000, '\0');
    while (const ssize_t lRead = stream.Read(strPiece.data(), strPiece.size())) {
        strAll.append(strPiece, 0, static_cast<size_t>(lRead));
    }
    return strAll;
}

class clStreamReaderURL_ : public testing::Test
{
protected:
    DescriptorCheck descriptors;
    WebFile file = {Noise((5 << 20) + 123)};
};

// Of servers that send parts and of those that do not; connections break now and then.
TEST_F(clStreamReaderURL_, ReadsAndSeeksLikeAFile)
{
    for (const bool bParts : {true, false}) {
        file.bParts = bParts;
        ScriptedServer server([&](size_t uNumber, const std::string &strRequest) {
            return file.Answer(strRequest, uNumber % 4 == 2 ? 700000 : SIZE_MAX);
        });
        clStreamReaderURL stream(clURL(server.Url("/a")), 10);
        EXPECT_EQ(static_cast<int64_t>(file.strBytes.size()), stream.GetSize());
        EXPECT_EQ(1641031200, stream.GetTime()->tv_sec);
        std::mt19937 random(7);
        std::string strRead;
        for (int i = 0; i < 60; ++i) {
            const size_t uAt = random() % (file.strBytes.size() + 1000);
            const size_t uSize = random() % (i % 10 == 0 ? 2 << 20 : 4000);
            stream.Seek(static_cast<off_t>(uAt));
            strRead.resize(uSize);
            strRead.resize(stream.ReadFully(strRead.data(), uSize));
            const std::string strExpected =
                file.strBytes.substr(std::min(uAt, file.strBytes.size()), uSize);
            ASSERT_TRUE(strExpected == strRead) << uAt << "+" << uSize;
            ASSERT_EQ(static_cast<off_t>(uAt + strExpected.size()), stream.Tell());
        }
        stream.Seek(0);
        EXPECT_TRUE(file.strBytes == ReadAll(stream));
        EXPECT_TRUE(stream.IsEOF());
    }
}

TEST_F(clStreamReaderURL_, RequestsOnlyWhatIsNotThere)
{
    ScriptedServer server(
        [&](size_t, const std::string &strRequest) { return file.Answer(strRequest); });
    char aBuffer[100];
    {
        clStreamReaderURL stream(clURL(server.Url("/a")), 10);
        // A chunk header, a short chunk, another one: all within what arrives at once.
        for (const off_t lAt : {0, 12, 100, 20, 250000, 4, 3}) {
            stream.Seek(lAt);
            ASSERT_EQ(100U, stream.ReadFully(aBuffer, 100));
        }
        stream.Seek(5 << 20);
        ASSERT_EQ(100U, stream.ReadFully(aBuffer, 100));
        stream.Seek(50);
        ASSERT_TRUE(file.strBytes.substr(50) == ReadAll(stream));
    }
    ASSERT_EQ(3U, server.Requests().size());
    EXPECT_EQ(size_t{5} << 20, WebFile::GetStart(server.Requests()[1]));
    EXPECT_EQ("\"1\"", WebFile::GetIfRange(server.Requests()[1]));
    EXPECT_EQ(50U, WebFile::GetStart(server.Requests()[2]));
    EXPECT_EQ(std::string::npos, server.Requests()[2].find("gzip"));
}

TEST_F(clStreamReaderURL_, AsksForTheVersionThatItHasBegun)
{
    const struct {
        const char *cpVersion;
        const char *cpIfRange;
    } aRows[] = {
        {"ETag: W/\"1\"\r\nLast-Modified: Sat, 01 Jan 2022 10:00:00 GMT\r\n",
         "Sat, 01 Jan 2022 10:00:00 GMT"},
        {"eTaG:  \"x, y\" \r\n", "\"x, y\""},
        {"", ""}, // received once, as versions cannot be told apart
        {"ETag: W/\"1\"\r\n", ""},
    };
    for (const auto &row : aRows) {
        file.strVersion = row.cpVersion;
        ScriptedServer server([&](size_t uNumber, const std::string &strRequest) {
            return file.Answer(strRequest, uNumber == 0 ? 2000000 : SIZE_MAX);
        });
        {
            clStreamReaderURL stream(clURL(server.Url("/a")), 10);
            EXPECT_TRUE(file.strBytes == ReadAll(stream));
        }
        ASSERT_EQ(2U, server.Requests().size());
        EXPECT_EQ(row.cpIfRange, WebFile::GetIfRange(server.Requests()[1]));
        EXPECT_EQ(*row.cpIfRange == '\0' ? 0U : 2000000U, WebFile::GetStart(server.Requests()[1]));
    }
}

// Of several servers that hold the file each names its version in its own way.
TEST_F(clStreamReaderURL_, StaysWithTheServerThatARedirectLedTo)
{
    bool bExpired = false;
    ScriptedServer server([&](size_t uNumber, const std::string &strRequest) -> ServerAnswer {
        if (strRequest.starts_with("GET /a ")) {
            return {"HTTP/1.1 302 Found\r\nContent-Length: 3\r\nLocation: /mirror" +
                    std::to_string(uNumber) + "\r\n\r\nabc"};
        }
        if (bExpired) {
            bExpired = false;
            return {"HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n"};
        }
        return file.Answer(strRequest);
    });
    {
        clStreamReaderURL stream(clURL(server.Url("/a")), 10);
        stream.Seek(5 << 20);
        EXPECT_TRUE(file.strBytes.substr(5 << 20) == ReadAll(stream));
        bExpired = true;
        stream.Seek(10);
        EXPECT_TRUE(file.strBytes.substr(10) == ReadAll(stream));
    }
    ASSERT_EQ(6U, server.Requests().size());
    EXPECT_TRUE(server.Requests()[2].starts_with("GET /mirror0 "));
    EXPECT_TRUE(server.Requests()[4].starts_with("GET /a "));
}

TEST_F(clStreamReaderURL_, LeavesNothingOpenWhenItFails)
{
    for (const char *cpHead : {"404 No\r\n\r\n", "200 OK\r\nContent-Encoding: br\r\n\r\n",
                               "302 Found\r\nLocation: file:///\r\n\r\n"}) {
        ScriptedServer server({{std::string("HTTP/1.1 ") + cpHead}});
        EXPECT_THROW(clStreamReaderURL(clURL(server.Url("/a")), 1), clXInput);
    }
    file.bParts = false;
    WebFile other = {Noise(4000000).replace(5, 1, "?"), "", false};
    ScriptedServer server([&](size_t uNumber, const std::string &strRequest) {
        return uNumber == 0 ? file.Answer(strRequest, 3000000) : other.Answer(strRequest);
    });
    clStreamReaderURL stream(clURL(server.Url("/a")), 1);
    EXPECT_THROW(ReadAll(stream), clXInput);
    EXPECT_THROW(stream.Seek(-1), clXStreamReader);
    stream.Close();
    EXPECT_THROW(ReadAll(stream), clXStreamReader);
}

// A file of the same size that takes the place of the first one, and does not tell its version.
TEST_F(clStreamReaderURL_, NoticesAnotherVersionAlsoAtItsStart)
{
    WebFile other = {std::string(file.strBytes.size(), 'x'), "", false};
    ScriptedServer server([&](size_t uNumber, const std::string &strRequest) {
        return (uNumber < 2 ? file : other).Answer(strRequest);
    });
    clStreamReaderURL stream(clURL(server.Url("/a")), 1);
    stream.Seek(5 << 20);
    EXPECT_TRUE(file.strBytes.substr(5 << 20) == ReadAll(stream));
    stream.Seek(0);
    EXPECT_THROW(ReadAll(stream), clXInput);
}

} // namespace
