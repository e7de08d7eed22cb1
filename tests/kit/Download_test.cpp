// URLs as inputs of the program: on scripted servers that do what servers should not, and on nginx.

#include "tests/support/ID3Builder.h"
#include "tests/support/KitTest.h"
#include "tests/support/Nginx.h"
#include "tests/support/WebFile.h"

#include <array>
#include <sstream>

#include <sys/stat.h>

namespace
{

class kit_download : public kit_test
{
public:
    ~kit_download() override { EXPECT_EQ(0, chdir("/")); }

protected:
    kit_download()
    {
        folder.Write("in.dff", local);
        EXPECT_EQ(0, Run("convert", {strIn, "-o", strOut}).iStatus);
        expected = folder.Read("in.dsf");
        fs::remove(strOut);
        file.strBytes.assign(local.begin(), local.end());
        const std::string strFolder = folder.Path("");
        EXPECT_EQ(0, chdir(strFolder.c_str()));
    }

    /** Converts a URL and expects the output of the local file, or one line that tells why not. */
    void Convert(const std::string &strURL, const std::string &strReason,
                 std::vector<std::string> args = {})
    {
        args.insert(args.begin(), {strURL, "-o", "out.dsf"});
        const run_t run = Run("convert", args);
        EXPECT_EQ("", run.strOut);
        EXPECT_EQ(strReason.empty() ? 0 : 1, run.iStatus) << run.strErr;
        if (strReason.empty()) {
            EXPECT_NE(std::string::npos, run.strErr.find(", verified)")) << run.strErr;
            EXPECT_TRUE(fs::exists("out.dsf") && expected == folder.Read("out.dsf"));
            fs::remove("out.dsf");
        } else {
            const std::string strEnd = "\n0 converted, 0 skipped, 1 failed\n";
            EXPECT_TRUE(run.strErr.starts_with("vantrel-kit: " + strURL + ": " + strReason))
                << run.strErr;
            EXPECT_TRUE(run.strErr.ends_with(strEnd));
            EXPECT_EQ(2, std::count(run.strErr.begin(), run.strErr.end(), '\n')) << run.strErr;
        }
        EXPECT_EQ(std::set<std::string>{"in.dff"}, Files());
    }

    void ConvertFrom(const std::string &strWhat, const server_script_t &script,
                     const std::string &strReason, const std::vector<std::string> &args = {})
    {
        SCOPED_TRACE(strWhat);
        ScriptedServer server(script);
        Convert(server.Url("/a.dff"), strReason, args);
    }

    ServerAnswer Plain(const std::string &strRequest) const { return file.Answer(strRequest); }

    // The tag after the sound takes two further requests; larger than what is kept in memory.
    const bytes_t local = DSDIFFBuilder()
                              .Channels({"SRGT", "SLFT"})
                              .Sound(Pattern(3000000))
                              .After(DSDIFFBuilder::Chunk("ID3 ", TitleTag("title")))
                              .Build();
    bytes_t expected;
    WebFile file;
};

std::string Redirect(const std::string &strTo)
{
    return "HTTP/1.1 302 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: " + strTo +
           "\r\n\r\n";
}

std::string Chunked(const std::string &strBytes)
{
    std::ostringstream text;
    text << "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" << std::hex;
    for (size_t i = 0; i < strBytes.size(); i += 70001) {
        const std::string strPiece = strBytes.substr(i, 70001);
        text << strPiece.size() << "\r\n" << strPiece << "\r\n";
    }
    text << "0\r\nETag: \"of the trailer\"\r\n\r\n";
    return text.str();
}

} // namespace

TEST_F(kit_download, WhateverTheServerMakesOfTheFile)
{
    using answer_t =
        std::function<ServerAnswer(const WebFile &file, const std::string &strRequest)>;
    const struct {
        const char *cpWhat;
        answer_t fnAnswer;
    } aRows[] = {
        {"parts", [](const WebFile &of, const std::string &r) { return of.Answer(r); }},
        {"no parts",
         [](WebFile of, const std::string &r) {
             of.bParts = false;
             return of.Answer(r);
         }},
        {"parts, but no version",
         [](WebFile of, const std::string &r) {
             of.strVersion.clear();
             return of.Answer(r);
         }},
        {"short parts",
         [](WebFile of, const std::string &r) {
             of.sizeLongest = 400000;
             return of.Answer(r);
         }},
        {"to the end of the connection",
         [](const WebFile &of, const std::string &) {
             return ServerAnswer{"HTTP/1.0 200 OK\r\n\r\n" + of.strBytes};
         }},
        {"chunked",
         [](const WebFile &of, const std::string &) { return ServerAnswer{Chunked(of.strBytes)}; }},
        {"pauses",
         [](const WebFile &of, const std::string &r) {
             ServerAnswer answer = of.Answer(r);
             answer.pauses = {{5, 600}, {answer.strBytes.size() / 2, 600}};
             return answer;
         }},
        {"interim answers and ten redirects",
         [](const WebFile &of, const std::string &r) {
             // From /a.dff to /1 and so on.
             const int iStep = r[5] == 'a' ? 0 : std::stoi(r.substr(5, 2));
             return iStep < 10 ? ServerAnswer{"HTTP/1.1 103 Early Hints\r\nETag: \"0\"\r\n\r\n" +
                                              Redirect("/" + std::to_string(iStep + 1))}
                               : of.Answer(r);
         }},
    };
    for (const auto &row : aRows) {
        ConvertFrom(
            row.cpWhat,
            [&](size_t, const std::string &strRequest) { return row.fnAnswer(file, strRequest); },
            "");
    }
}

TEST_F(kit_download, ConnectionsThatBreakAreResumed)
{
    for (const bool bParts : {true, false}) {
        file.bParts = bParts;
        // Each connection a little further, from within the head on.
        ConvertFrom(
            "ten times in one file",
            [&](size_t uNumber, const std::string &strRequest) {
                ServerAnswer answer = Plain(strRequest);
                const std::array<size_t, 10> aCuts = {0,      10,     150,    1000,    20000,
                                                      300000, 500000, 900000, 1400000, 2900000};
                answer.strBytes.resize(
                    std::min(uNumber < 10 ? aCuts[uNumber] : SIZE_MAX, answer.strBytes.size()));
                return answer;
            },
            "");
        ConvertFrom(
            "the server is away for a time",
            [&](size_t uNumber, const std::string &strRequest) {
                return uNumber == 1 ? ServerAnswer{"HTTP/1.1 503 Busy\r\n\r\n"}
                                    : file.Answer(strRequest, uNumber == 0 ? 2000000 : SIZE_MAX);
            },
            "");
    }
    // The second request is for the tag after the sound.
    file.bParts = true;
    ConvertFrom(
        "away for good",
        [&](size_t uNumber, const std::string &strRequest) {
            return file.Answer(strRequest, uNumber == 0 ? 2000000 : 0);
        },
        "the connection broke at byte " + std::to_string(file.strBytes.find("ID3 ")) +
            ", and 5 further tries failed: ");
}

TEST_F(kit_download, AFileThatChangesIsNeverMixed)
{
    const char CHANGED[] = "the file was changed while it was read";
    WebFile other = file;
    other.strVersion = "ETag: \"2\"\r\n";
    other.strBytes[100000] ^= 1;
    WebFile longer = file;
    longer.strBytes += "more";
    WebFile deaf = other; // sends a part, whatever the version
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE(i);
        const bool bParts = i % 2 == 0;
        file.bParts = other.bParts = longer.bParts = bParts;
        ConvertFrom(
            "changed",
            [&](size_t uNumber, const std::string &strRequest) {
                if (uNumber == 0) {
                    return file.Answer(strRequest, 1500000);
                }
                if (i < 2) {
                    return other.Answer(strRequest);
                }
                if (i < 4) {
                    return longer.Answer(strRequest);
                }
                if (i < 6) {
                    const size_t uAt = strRequest.find("If-Range");
                    return deaf.Answer(strRequest.substr(0, uAt));
                }
                // Without a version the bytes themselves are compared, and a whole file where a
                // part of a version was requested is another one.
                WebFile nameless = other;
                nameless.strVersion.clear();
                nameless.bParts = false;
                return nameless.Answer(strRequest);
            },
            CHANGED);
    }
}

TEST_F(kit_download, AnswersThatAreNotTheFile)
{
    const auto with = [&](const std::string &strStatus, const std::string &strMore) {
        return ServerAnswer{"HTTP/1.1 " + strStatus + "\r\n" + strMore + "\r\n"};
    };
    file.bParts = false;
    WebFile compressed = file;
    compressed.strMore = "Content-Encoding: gzip\r\n";
    const ServerAnswer part = {"HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 10-19/20\r\n"
                               "Content-Length: 10\r\n\r\n0123456789"};
    const struct {
        const char *cpReason;
        ServerAnswer answer;
    } aRows[] = {
        {"the server answers 404 Not Found", with("404 Not Found", "Content-Length: 0\r\n")},
        {"the server answers 401 Who: a user name and a password are needed",
         with("401 Who", "WWW-Authenticate: Basic\r\n")},
        {"the server answers 503", with("503", "")},
        {"the server answers 204 Nothing", with("204 Nothing", "")},
        {"the server redirects more than 10 times", {Redirect("/a.dff")}},
        {"the server redirects to something that is neither http nor https",
         {Redirect("file:///etc/passwd")}},
        {"the server redirects to something that is neither http nor https",
         {Redirect("ftp://127.0.0.1/a.dff")}},
        {"the server sends headers without end",
         with("200 OK",
              []() {
                  std::string strHeaders;
                  while (strHeaders.size() < 300000) {
                      strHeaders += "X: " + std::string(1000, 'x') + "\r\n";
                  }
                  return strHeaders;
              }())},
        {"the server sends the file compressed (gzip), which was not requested",
         compressed.Answer("")},
        {"the server sends another part of the file than was requested", part},
        {"not a DSDIFF file", with("200 OK", "Content-Length: 5\r\n\r\nhello")},
        {"not a DSDIFF file", with("200 OK", "Content-Length: 0\r\n")},
        {"not a DSDIFF file", with("416 No", "Content-Range: bytes */0\r\nContent-Length: 0\r\n")},
        {"the server has sent nothing for 1 s", {"", ServerAnswer::SILENCE}},
        {"the server has sent nothing for 1 s",
         {Plain("").strBytes.substr(0, 2500000), ServerAnswer::SILENCE}},
    };
    for (const auto &row : aRows) {
        ConvertFrom(row.cpReason, [&](size_t, const std::string &) { return row.answer; },
                    row.cpReason, {"--timeout", "1"});
    }
    uint16_t uPort = 0;
    close(ListenLocally(uPort));
    const std::string strURL = "http://127.0.0.1:" + std::to_string(uPort) + "/a.dff";
    const run_t run = Run("check", {strURL});
    EXPECT_EQ(1, run.iStatus);
    EXPECT_TRUE(run.strOut.starts_with("bad: " + strURL + ": the server cannot be reached: "))
        << run.strOut;
}

TEST_F(kit_download, ASignalEndsTheWait)
{
    ScriptedServer server({{file.Answer("").strBytes.substr(0, 100000), ServerAnswer::SILENCE}});
    const run_t run = Run("convert", {server.Url("/a.dff"), "-o", "out.dsf"}, [](pid_t pid) {
        usleep(500000);
        kill(pid, SIGTERM);
    });
    EXPECT_EQ(128 + SIGTERM, run.iStatus);
    EXPECT_EQ("vantrel-kit: stopped by a signal\n", run.strErr);
    EXPECT_EQ(std::set<std::string>{"in.dff"}, Files());
}

TEST_F(kit_download, SecretsAreNotShown)
{
    std::string strCommandLine;
    ScriptedServer server([&](size_t, const std::string &strRequest) {
        ServerAnswer answer = file.Answer(strRequest);
        answer.pauses = {{0, 1000}};
        return answer;
    });
    const std::string strHost = server.Host();
    const run_t run =
        Run("convert", {"http://me:pass%20word@" + strHost + "/b.dff?id=1&token=abcd", "--json"},
            [&](pid_t pid) {
                for (int i = 0; i < 100 && strCommandLine.find("***") == std::string::npos; ++i) {
                    usleep(10000);
                    strCommandLine = TakeText(
                        open(("/proc/" + std::to_string(pid) + "/cmdline").c_str(), O_RDONLY));
                }
            });
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    EXPECT_EQ(expected, folder.Read("b.dsf"));
    for (const std::string &strText : {run.strOut, run.strErr, strCommandLine}) {
        EXPECT_NE(std::string::npos, strText.find("/b.dff?id=1&token="));
        EXPECT_EQ(std::string::npos, strText.find("pass"));
        EXPECT_EQ(std::string::npos, strText.find("abcd"));
        EXPECT_EQ(std::string::npos, strText.find("me:"));
    }
    EXPECT_NE(std::string::npos,
              server.Requests()[0].find("\r\nAuthorization: Basic bWU6cGFzcyB3b3Jk\r\n"));
    // Wrong usage, each with another message that names the URL or its option.
    const std::string strURL = "http://u:secret@h/a";
    const std::vector<std::string> aRows[] = {
        {strURL},
        {"compare", folder.Path(""), strURL},
        {"convert", strURL, strURL},
        {"convert", "--tag=" + strURL, strIn},
    };
    for (std::vector<std::string> args : aRows) {
        args.insert(args.begin(), VANTREL_KIT_PROGRAM);
        const run_t wrong = RunProgram(args);
        EXPECT_EQ(2, wrong.iStatus);
        EXPECT_NE(std::string::npos,
                  wrong.strErr.find(args.back() == strIn ? "--tag" : "http://h/a"))
            << wrong.strErr;
        EXPECT_EQ(std::string::npos, wrong.strErr.find("secret")) << wrong.strErr;
    }
}

TEST_F(kit_download, EveryCommandReadsFromNginx)
{
    if (!HasNginx()) {
        GTEST_SKIP() << "nginx is not installed";
    }
    fs::create_directory("site");
    folder.Write("site/a b.dff", local);
    fs::last_write_time("site/a b.dff", fs::file_time_type() + std::chrono::hours(10));
    const std::string strName = folder.Path("site/a b.dff");
    struct stat status = {};
    EXPECT_EQ(0, stat(strName.c_str(), &status));
    const std::string strKey = folder.Path("key.pem");
    EXPECT_EQ(0, RunProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                             "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", strKey, "-out",
                             folder.Path("cert.pem"), "-days", "2", "-subj", "/CN=localhost",
                             "-addext", "subjectAltName=IP:127.0.0.1"})
                     .iStatus);
    for (const bool bSecure : {false, true}) {
        const std::string strMore =
            bSecure ? "ssl_certificate cert.pem; ssl_certificate_key key.pem;" : "";
        WithNginx(folder, strMore, [&](const std::string &strHost) {
            const std::string strURL =
                (bSecure ? "https://" : "http://") + strHost + "/site/a%20b.dff";
            if (bSecure) {
                const run_t refused = Run("convert", {strURL});
                EXPECT_EQ(1, refused.iStatus);
                EXPECT_NE(std::string::npos,
                          refused.strErr.find(": the certificate of the server is not trusted: "));
                EXPECT_FALSE(fs::exists("a b.dsf"));
                setenv("SSL_CERT_FILE", "cert.pem", 1);
            }
            EXPECT_EQ(0, Run("convert", {strURL}).iStatus);
            EXPECT_EQ(expected, folder.Read("a b.dsf"));
            struct stat converted = {};
            EXPECT_EQ(0, stat("a b.dsf", &converted));
            EXPECT_EQ(status.st_mtim.tv_sec, converted.st_mtim.tv_sec);
            EXPECT_EQ("ok: " + strURL + "\n", Run("check", {strURL}).strOut);
            EXPECT_EQ("identical: 2 channels, 12000000 samples per channel, 2822400 Hz\n",
                      Run("compare", {strURL, "a b.dsf"}).strOut);
            const run_t info = Run("info", {"--digest", strURL});
            EXPECT_EQ("File           " + strURL, info.strOut.substr(0, info.strOut.find('\n')));
            const std::string strLocal = Run("info", {"--digest", strIn}).strOut;
            EXPECT_EQ(strLocal.substr(strLocal.find('\n')),
                      info.strOut.substr(info.strOut.find('\n')));
            unsetenv("SSL_CERT_FILE");
            fs::remove("a b.dsf");
        });
    }
}
