#include "io/clStreamReaderHTTP.h"

#include "base/clAlloc.h"
#include "base/clException.h"
#include "tests/support/EqualBytes.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ScriptedServer.h"

#include <string>
#include <tuple>
#include <typeinfo>
#include <vector>

using namespace std::string_literals;

namespace
{

struct clProbe : clStreamReaderHTTP {
    explicit clProbe(const std::string &strUrl) : clStreamReaderHTTP(clString(strUrl.c_str())) {}
    using clStreamReaderHTTP::sockConn;
};

std::string Head(const std::string &strStatus, const std::string &strHeaders = "")
{
    return "HTTP/1.1 " + strStatus + "\r\n" + strHeaders + "\r\n";
}

std::string Answer(const std::string &strStatus, const std::string &strBody)
{
    return Head(strStatus, "Content-Length: " + std::to_string(strBody.size()) + "\r\n") + strBody;
}

std::string Repeat(const std::string &strText, int iTimes)
{
    std::string strAll;
    while (iTimes-- > 0) {
        strAll += strText;
    }
    return strAll;
}

void ExpectBytes(const std::string &strExpected, const std::string &strActual)
{
    EXPECT_TRUE(EqualBytes(std::vector<char>(strExpected.begin(), strExpected.end()),
                           std::vector<char>(strActual.begin(), strActual.end())));
}

std::string ReadAll(clStreamReaderHTTP &reader, size_t sizePiece)
{
    std::string strAll;
    std::string strPiece(sizePiece, '\0');
    while (const ssize_t lRead = reader.Read(strPiece.data(), sizePiece)) {
        strAll.append(strPiece, 0, static_cast<size_t>(lRead));
    }
    return strAll;
}

} // namespace

TEST(clStreamReaderHTTP, RequestsAreExact)
{
    ScriptedServer server({{Head("200 OK")}, {Head("206 OK")}, {Head("206 OK")}, {Head("200 OK")}});
    clProbe reader(server.Url("/a/b.dff?x=1"));
    EXPECT_EQ(4096, reader.Seek(4096));
    EXPECT_EQ(4294967296, reader.Seek(4294967296));
    const clProbe hostAlone(server.Url(""));
    const std::string strHeaders = " HTTP/1.1\r\nHost: " + server.Host() +
                                   "\r\nConnection: close\r\n"
                                   "User-Agent: OrvendahlQuistmark/3\r\n";
    const std::string strUsual = "GET /a/b.dff?x=1" + strHeaders;
    const std::vector<std::string> expected = {
        strUsual + "\r\n", strUsual + "Range: bytes=4096-\r\n\r\n",
        strUsual + "Range: bytes=4294967296-\r\n\r\n", "GET /" + strHeaders + "\r\n"};
    EXPECT_EQ(expected, server.Requests());
}

TEST(clStreamReaderHTTP, HeadsArePrintedAndKept)
{
    const std::string strLong(65531, 'l');
    const struct {
        std::string strAnswer, strPrinted;
        std::string strBody = "b";
        int64_t iSize = 0;
        std::string strMimeType = "";
    } aRows[] = {
        {"HTTP/1.1 200 OK\r\nDate: Mon, 01 Jan 2024 10:00:00 GMT\r\nX-A: 1\r\nContent-Length: 4\r\n"
         "Content-Type: text/plain\r\nX-A:2 \t\r\nContent-Type: audio/x-dff\r\n\r\nbody",
         "200 OK\nHeaders:\n\tDate: Mon, 01 Jan 2024 10:00:00 GMT\n\tX-A: 1\n\tContent-Length: 4\n"
         "\tContent-Type: text/plain\n\tX-A: 2\n\tContent-Type: audio/x-dff\n\n",
         "body", 4, "audio/x-dff"},
        // Names are case-sensitive; the first length other than 0 counts.
        {"HTTP/1.0 203 Not Authoritative\ncontent-type: a/b\ncontent-length: 9\n"
         "Content-Length: 0\nContent-Length: 2\nContent-Length: 7\n\nab",
         "203 Not\nHeaders:\n\tcontent-type: a/b\n\tcontent-length: 9\n"
         "\tContent-Length: 0\n\tContent-Length: 2\n\tContent-Length: 7\n\n",
         "ab", 2},
        {"HTTP/1.1 200 OK\r\nA: b\r\nC: d", "200 OK\nHeaders:\n\tA: b\n\n", ""},
        {Head("200 OK", "%s%n: %s%n\r\nno colon\r\n:::\r\n : x\r\nA:\r\nA: b\0\xff: \x7f\r\n"s) +
             "b",
         "200 OK\nHeaders:\n\t%s%n: %s%n\n\tno colon: \n\t: \n\t: x\n\tA: \n\tA: b\n\t\xff: "
         "?\n\n"},
        // Control characters, also of UTF-8, but not the continuation bytes of other characters.
        {Head("200 \33c",
              "a\x1f: \x1b[2J\tb\x7f\x9b.\r\nb: \xc3\x9b\xe2\x80\x93\xc2\x9b\xc2\xa9\r\n") +
             "b",
         "200 ?c\nHeaders:\n\ta?: ?[2J\tb??.\n\tb: \xc3\x9b\xe2\x80\x93\xc2?\xc2\xa9\n\n"},
        // Invalid lengths leave the size unknown.
        {Head("200 OK", "Content-Length: -1\r\nContent-Length: 9223372036854775808\r\n"
                        "Content-Length: 99999999999999999999\r\n"
                        "Content-Length: -18446744073709551615\r\n") +
             "b",
         "200 OK\nHeaders:\n\tContent-Length: -1\n\tContent-Length: 9223372036854775808\n"
         "\tContent-Length: 99999999999999999999\n\tContent-Length: -18446744073709551615\n\n"},
        {Head("200 OK", "Content-Length: 9223372036854775807\r\n") + "b",
         "200 OK\nHeaders:\n\tContent-Length: 9223372036854775807\n\n", "b", INT64_MAX},
        // The longest line and the largest number of lines.
        {Head("200 OK", "A: " + strLong + "\r\n" + strLong + ": b\r\n") + "b",
         "200 OK\nHeaders:\n\tA: " + strLong + "\n\t" + strLong + ": b\n\n"},
        {Head("200 OK", Repeat("A:b\n", 1000)) + "b",
         "200 OK\nHeaders:\n" + Repeat("\tA: b\n", 1000) + "\n"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.strPrinted.substr(0, 200));
        const DescriptorCheck check;
        ScriptedServer server({{row.strAnswer}});
        testing::internal::CaptureStdout();
        clProbe reader(server.Url("/"));
        EXPECT_EQ(row.strPrinted, testing::internal::GetCapturedStdout());
        EXPECT_EQ(row.iSize, reader.GetSize());
        EXPECT_EQ(row.strMimeType, reader.GetMimeType());
        EXPECT_EQ(row.strBody, ReadAll(reader, 1000));
    }
}

TEST(clStreamReaderHTTP, BadUrlsAreRefused)
{
    for (const char *cpUrl : {"http:/x", "HTTP://x/", "https://x/", "http:///x"}) {
        SCOPED_TRACE(cpUrl);
        EXPECT_THROW_MSG(clProbe reader(cpUrl), clXStreamReader,
                         "clStreamReaderHTTP::clStreamReaderHTTP(): invalid URL");
    }
    EXPECT_THROW_MSG(clProbe reader("http://:80/x"), clXSocketAddr,
                     "clSocketAddrDetect::GetAddr(): syntax error");
}

TEST(clStreamReaderHTTP, AnswersThatAreRefused)
{
    const std::string strGetHead = "clStreamReaderHTTP::GetHead(): ";
    const std::string strNoNumber = "clString::ToUInt(): not an integer";
    const std::string strOK = "200 OK\nHeaders:\n";
    const std::string strLine = "HTTP/1.1 200 OK\r\n";
    const std::string strLongLine = strGetHead + "header line longer than 65536 bytes";
    const struct {
        std::string strAnswer, strText, strPrinted;
        const std::type_info &type = typeid(clXStreamReader);
    } aRows[] = {
        {Head("301 Moved Permanently"), strGetHead + "Moved", "301 Moved\n"},
        {Head("500 X Y") + std::string(100000, 'b'), strGetHead + "X", "500 X\n"},
        {"HTTP/1.1 20", strGetHead, "20 \n"},
        {"", strNoNumber, "", typeid(clXString)},
        {strLine + "Content-Length:\r\n", strNoNumber, strOK, typeid(clXString)},
        {Head("404 \33[2J\x9b"), strGetHead + "?[2J?", "404 ?[2J?\n"},
        {"HTTP/1.1 200 " + std::string(65522, 'O') + "\r\n", strLongLine, ""},
        {strLine + std::string(65535, 'l') + "\r\n", strLongLine, strOK},
        // A line of carriage returns has an empty text.
        {strLine + std::string(200000, '\r'), strLongLine, strOK},
        {strLine + Repeat("A:b\n", 1001) + "\n", strGetHead + "more than 1000 header lines",
         strOK + Repeat("\tA: b\n", 1000)},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::PrintToString(row.strAnswer.substr(0, 60)));
        const DescriptorCheck check;
        ScriptedServer server({{row.strAnswer}});
        testing::internal::CaptureStdout();
        try {
            const clProbe probe(server.Url("/"));
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::exception &caught) {
            EXPECT_STREQ(row.type.name(), typeid(caught).name());
            EXPECT_EQ(row.strText, caught.what());
        }
        EXPECT_EQ(row.strPrinted, testing::internal::GetCapturedStdout());
    }
}

TEST(clStreamReaderHTTP, ReadsAndSkipsAcrossSeeks)
{
    std::string strBody;
    for (size_t i = 0; i < 300000; ++i) {
        strBody += static_cast<char>(i * 7 + i / 251);
    }
    ScriptedServer server({{Answer("200 OK", strBody)},
                           {Answer("206 Partial", strBody.substr(299000))},
                           {Answer("200 OK", strBody)}});
    clProbe reader(server.Url("/a.dff"));
    ExpectBytes(strBody, ReadAll(reader, 70001));
    reader.Seek(299000);
    EXPECT_EQ(300000, reader.GetSize());
    EXPECT_FALSE(reader.IsEOF());
    ExpectBytes(strBody.substr(299000), ReadAll(reader, 999));
    // Skip does not wait, so SO_RCVLOWAT makes each read wait for a whole block.
    reader.Seek(0);
    const int iBlock = 65536;
    reader.sockConn.SetOption(SOL_SOCKET, SO_RCVLOWAT, &iBlock, sizeof(iBlock));
    EXPECT_EQ(70000, reader.Skip(70000));
    ExpectBytes(strBody.substr(70000), ReadAll(reader, 65536));
    EXPECT_THROW_MSG(reader.Skip(-1), clXStreamReader, "clStreamReaderHTTP::Skip(): count < 0");
    EXPECT_THROW_MSG(reader.Skip(1), clXStreamReader, "clStreamReaderHTTP::Skip(): short read");
}

TEST(clStreamReaderHTTP, FailedSeeksCloseTheConnection)
{
    const std::string strBody(100, 'b');
    const std::string strMakeRequest = "clStreamReaderHTTP::MakeRequest(): ";
    const std::tuple<off_t, std::string, std::string> aRows[] = {
        {10, Answer("200 OK", strBody), strMakeRequest + "200 for range request"},
        {0, Answer("206 Partial", strBody), strMakeRequest + "206"},
        {100, Head("416 Range Not Satisfiable"), "clStreamReaderHTTP::GetHead(): Range"},
    };
    for (const auto &[lPosition, strAnswer, strText] : aRows) {
        SCOPED_TRACE(strText);
        const DescriptorCheck check;
        ScriptedServer server({{Answer("200 OK", strBody)}, {strAnswer}});
        clProbe reader(server.Url("/"));
        char aBytes[25];
        EXPECT_EQ(25, reader.Read(aBytes, 25));
        EXPECT_THROW_MSG(reader.Seek(-1), clXStreamReader, strMakeRequest + "position < 0");
        EXPECT_THROW_MSG(reader.Seek(lPosition), clXStreamReader, strText);
        EXPECT_THROW_MSG(reader.Read(aBytes, 1), clXStreamReader,
                         "clStreamReaderHTTP::Read(): no connection");
        EXPECT_THROW_MSG(reader.Skip(1), clXStreamReader,
                         "clStreamReaderHTTP::Skip(): no connection");
        EXPECT_EQ(25, reader.Tell());
    }
}

TEST(clStreamReaderHTTP, TruncatedAndStalledBodies)
{
    const DescriptorCheck check;
    const std::string strAnswer = Head("200 OK", "Content-Length: 1000\r\n") + "short";
    ScriptedServer server({{strAnswer}, {strAnswer, ServerAnswer::SILENCE}});
    clProbe reader(server.Url("/"));
    EXPECT_EQ("short", ReadAll(reader, 1000));
    EXPECT_FALSE(reader.IsEOF());
    reader.Seek(0);
    char aBytes[5];
    EXPECT_EQ(5, reader.Read(aBytes, 5));
    EXPECT_THROW_MSG(reader.Read(aBytes, 1), clXStreamReader,
                     "clStreamReaderHTTP::Read(): read timeout");
}

TEST(clStreamReaderHTTP, KnownSizesAreReadInOneRequest)
{
    // The server pauses after 1 MiB for longer than a reader waits before a read.
    const size_t sizePiece = 1 << 20;
    const std::string strBody(3 * sizePiece, 'b');
    const std::string strHead = Head("200 OK", "Content-Length: 9223372036854775807\r\n");
    ScriptedServer server(
        {{strHead + strBody, ServerAnswer::CLOSE, {{strHead.size() + sizePiece, 1200}}}});
    clProbe reader(server.Url("/"));
    clAlloc buffer;
    // A false size takes at most 256 MiB.
    EXPECT_EQ(strBody.size(), reader.ReadFully(buffer, uint64_t{1} << 62));
    EXPECT_GE(256 << 20, buffer.GetSize());
    ExpectBytes(strBody, std::string(static_cast<const char *>(buffer.GetPtr()), strBody.size()));
}
