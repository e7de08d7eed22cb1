// What becomes of a conversion, and of the parsers, when one of their calls fails: each of them,
// one after another, until a run comes through untouched.

#include "base/clException.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "id3/clID3tag.h"
#include "io/clSocket.h"
#include "io/clSocketAddr.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/ID3Builder.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TempFolder.h"
#include "threads/clSemaphore.h"
#include "threads/clThread.h"
#include "threads/clThreadPool.h"
#include "threads/clThreadsBase.h"

#include <csignal>
#include <cstring>
#include <iostream>
#include <optional>
#include <regex>
#include <set>

#include <netdb.h>
#include <sys/wait.h>

int VantrelMain(int iArgs, char **argv); // the program's main, renamed

namespace
{

using B = DSDIFFBuilder;
using texts_t = std::set<std::string>;
namespace fs = std::filesystem;

const bytes_t TAG = ID3Builder(3)
                        .Text("TIT2", std::string("\xFF\xFEt\0i\0t\0l\0e\0", 12), 1)
                        .Text("TPE1", "a long name of a performer")
                        .Text("TRCK", "7/12")
                        .Frame("APIC", std::string("\0image/png\0\3cover\0picture", 25))
                        .Build();

constexpr int SHORT = failure_t::SHORT;
constexpr char BANNER[] = "Vantrel v1.2.2\nConverts DSDIFF files into DSF files, bit for bit.\n";

// Where a failure comes from.
const std::string READER = "clStreamReaderFile::clStreamReaderFile(): ";
const std::string META = "clDSDIFF::OpenMeta(): ";
const std::string FORM = META + "clDSDIFFFormChunk::Read(): ";
const std::string PROP = FORM + "clDSDIFFPropChunk::Read(): ";
const std::string VERS = FORM + "clDSDIFFVersChunk::Read(): ";
const std::string HEADERS = "clDSF::WriteHeaders(): ";
const std::string CREATE = "clDSF::Create(): ";
const std::string NEW = CREATE + HEADERS;
const std::string WRITE = "clFileIO::Write(): write(): ";
const std::string IN_CLOSE = "clDSDIFF::Close(): ";
const std::string OUT_CLOSE = "clDSF::Close(): ";
const std::string HEAD = "clStreamReaderHTTP::GetHead(): ";
const std::string BLOCK = "clSocket::SetBlocking(): ";
const std::vector<std::string> WALK = {FORM, VERS, PROP, ""};

texts_t Each(const std::vector<std::string> &prefixes, const std::string &strText)
{
    texts_t texts;
    for (const std::string &strPrefix : prefixes) {
        texts.insert(strPrefix + strText);
    }
    return texts;
}

// Answers every request with a file of no announced length. A process of its own, since the test
// must have one thread alone when it forks.
class FileServer
{
public:
    explicit FileServer(const bytes_t &file)
    {
        uint16_t uPort = 0;
        const int iListenH = ListenLocally(uPort);
        strUrl = "http://127.0.0.1:" + std::to_string(uPort) + "/a.dff";
        const std::string strAnswer = "HTTP/1.1 200 OK\r\nContent-Type: audio/x-dff\r\n\r\n" +
                                      std::string(file.begin(), file.end());
        pid = fork();
        for (std::string strRequest; pid == 0; strRequest.clear()) {
            const int iSockH = accept(iListenH, nullptr, nullptr);
            char c = 0;
            while (strRequest.find("\r\n\r\n") == std::string::npos && read(iSockH, &c, 1) == 1) {
                strRequest += c;
            }
            send(iSockH, strAnswer.data(), strAnswer.size(), MSG_NOSIGNAL);
            close(iSockH);
        }
        close(iListenH);
    }
    FileServer(const FileServer &) = delete;
    FileServer &operator=(const FileServer &) = delete;
    ~FileServer()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    std::string strUrl;

private:
    pid_t pid = 0;
};

// Lets every allocation of a run fail, alone and with all that follow it. The run returns its text,
// empty when all went well. A shortage while an exception is made ends the process, and that is
// right; a single one meets only the exceptions that the run makes and catches on its way.
template <class RUN>
void FailAllocations(unsigned uExceptions, RUN run)
{
    static const std::regex SHORTAGE(
        "exception: (cl[A-Z][^:]*::[^:]*: )*(std::bad_alloc|clAlloc::SetSize\\(\\): malloc\\(\\)|"
        "clAlloc::Resize\\(\\): realloc\\(\\)|clAlignedAlloc::SetSize\\(\\): posix_memalign\\(\\)|"
        "clString::Tok\\(\\): strdup\\(\\): Cannot allocate memory|"
        "clString::FloatC\\(\\): std::ostringstream::fail\\(\\))\n");
    for (const bool bOnwards : {false, true}) {
        unsigned uTerminated = 0;
        outcome_t outcome = {};
        failure_t failure = {MEMORY, ENOMEM, 0, bOnwards};
        do {
            ++failure.uNth;
            SCOPED_TRACE(testing::Message() << failure.uNth << (bOnwards ? " and on" : ""));
            const std::string strText = run(failure, outcome);
            if (outcome.bTerminated) {
                ++uTerminated;
                continue;
            }
            EXPECT_EQ(0, outcome.lHeld);
            EXPECT_EQ(strText.empty() ? 0 : 1, outcome.iStatus);
            EXPECT_TRUE(strText.empty() || std::regex_match(strText, SHORTAGE)) << strText;
            EXPECT_TRUE(outcome.bHit || strText.empty()) << strText;
        } while (outcome.bHit);
        std::cout << MEMORY << (bOnwards ? ", on and on: " : ": ") << failure.uNth - 1
                  << " points, " << uTerminated << " terminated\n";
        EXPECT_TRUE(bOnwards || uTerminated == uExceptions) << uTerminated;
    }
}

// A conversion with all that one can have, and two turns of the loop.
class failing : public testing::Test
{
protected:
    struct row_t {
        const char *cpCall;
        std::vector<int> errors;
        texts_t texts; // behind "exception: "; @ stands for the system's text
    };

    void TearDown() override
    {
        EXPECT_TRUE(input == folder.Read("in.dff"));
        EXPECT_TRUE(TAG == folder.Read("tag"));
    }

    // Runs a conversion and looks at what it left. Returns what it said behind the banner.
    std::string Run(const failure_t &failure, outcome_t &outcome)
    {
        fs::remove(args[2]);
        outcome = RunForked(failure, [this] {
            char *apArgs[] = {args[0].data(), args[1].data(), args[2].data(), args[3].data()};
            return VantrelMain(4, apArgs);
        });
        const std::string strErr = outcome.acText;
        EXPECT_EQ(0U, strErr.find(BANNER)) << strErr;
        if (!outcome.bTerminated) {
            EXPECT_EQ(0, outcome.lHeld);
            EXPECT_EQ(strErr == BANNER ? 0 : 1, outcome.iStatus) << strErr;
        }
        const bytes_t output = fs::exists(args[2]) ? folder.Read("out.dsf") : bytes_t();
        if (outcome.iStatus == 0 || LooksFinished(output)) {
            EXPECT_TRUE(expected == output) << strErr;
        }
        return strErr.substr(std::min(std::strlen(BANNER), strErr.size()));
    }

    // A count of samples, and a data chunk that a reader takes.
    static bool LooksFinished(const bytes_t &file)
    {
        return file.size() > 92 && bytes_t(8, 0) != bytes_t(&file[64], &file[72]) &&
               DSFBuilder::Number(12, 8) != bytes_t(&file[84], &file[92]);
    }

    // Lets one call after another by a name fail, and expects all that the program may say then.
    void FailCalls(const std::vector<row_t> &rows)
    {
        for (const row_t &row : rows) {
            for (const int iError : row.errors) {
                SCOPED_TRACE(testing::Message() << row.cpCall << "(): " << strerror(iError));
                FailCall(row, iError);
            }
        }
    }

    void FailCall(const row_t &row, int iError)
    {
        texts_t wanted;
        for (std::string strText : row.texts) {
            if (!strText.empty()) {
                strText.insert(0, strText.find("error: ") == 0 ? "" : "exception: ");
                strText += '\n';
            }
            wanted.insert(std::regex_replace(strText, std::regex("@"), strerror(iError)));
        }
        texts_t texts;
        outcome_t outcome = {};
        failure_t failure = {row.cpCall, iError};
        for (;; ++failure.uNth) {
            SCOPED_TRACE(failure.uNth);
            const std::string strText = Run(failure, outcome);
            if (!outcome.bHit) {
                EXPECT_EQ("", strText);
                break;
            }
            texts.insert(strText);
        }
        std::cout << row.cpCall << ", error " << iError << ": " << failure.uNth - 1 << " points\n";
        EXPECT_EQ(wanted, texts);
    }

    void Serve()
    {
        server.emplace(input);
        args[1] = server->strUrl;
    }

    const TempFolder folder;
    const bytes_t sound = Pattern(65 * 4096 + 1);
    const bytes_t input = B().ChannelCount(1)
                              .Before(B::Chunk("ID3 ", TAG))
                              .Sound(sound)
                              .After(B::Chunk("ID3 ", TAG))
                              .Trailing(TAG)
                              .Build();
    const bytes_t expected = ExpectedDSF(sound, 1, 2822400, &TAG);
    std::string args[4] = {"vantrel", folder.Write("in.dff", input), folder.Path("out.dsf"),
                           folder.Write("tag", TAG)};
    std::optional<FileServer> server;
};

} // namespace

TEST_F(failing, CallsOfALocalConversion)
{
    FailCalls({
        {"stat", {EIO, EINTR}, {"main(): stat(): @"}},
        {"open", {EACCES, EINTR}, Each({READER, CREATE, ""}, "clFileIO::Open(): open(): @")},
        {"posix_fadvise", {EINVAL}, {READER + "clFileIO::Open(): posix_fadvise()"}},
        {"read", {EIO, EINTR}, Each(WALK, "clFileIO::Read(): read(): @")},
        {"read", {SHORT}, {"", "error: the tag file could not be read whole"}},
        {"lseek", {EIO}, Each({FORM, META, NEW, HEADERS, ""}, "clFileIO::Seek(): lseek(): @")},
        {"fstat", {EIO}, Each({FORM, NEW, HEADERS, ""}, "clFileIO::Size(): fstat()")},
        {"write", {ENOSPC, EIO, EINTR}, Each({NEW, HEADERS, ""}, WRITE + "@")},
        {"write", {SHORT}, Each({NEW, HEADERS, ""}, WRITE + strerror(ENOSPC))},
        {"close", {EIO, EINTR}, Each({IN_CLOSE, OUT_CLOSE, ""}, "clFileIO::Close(): close(): @")},
    });
}

TEST_F(failing, CallsOfARemoteConversion)
{
    Serve();
    texts_t timeouts = Each(WALK, "clStreamReaderHTTP::Read(): read timeout");
    timeouts.insert({HEAD + "read timeout", HEAD + "clSocket::Connect()"});
    texts_t waits = Each(WALK, "clSocket::WaitRead(): select(): @");
    waits.insert("clSocket::WaitReadWrite(): select(): @");
    FailCalls({
        {"getaddrinfo", {EAI_AGAIN}, {"clSocketAddrDetect::GetAddr(): getaddrinfo(): @"}},
        {"socket", {EMFILE}, {"clSocket::Create(): socket(): @"}},
        {"fcntl", {EIO}, {BLOCK + "fcntl(F_GETFL)", BLOCK + "fcntl(F_SETFL)"}},
        {"connect", {ECONNREFUSED, EINTR}, {"clSocket::Connect(): connect(): @"}},
        {"send", {EPIPE, EINTR}, {"clSocket::Send(): send(): @"}},
        {"send", {SHORT}, {"clSocket::SendLine(): short Send()"}},
        {"select", {ENOMEM}, waits},
        {"select", {EINTR}, timeouts},
        {"recv", {ECONNRESET, EINTR}, Each(WALK, "clSocket::Recv(): recv(): @")},
        {"recv", {SHORT}, {""}},
        {"close",
         {EIO, EINTR},
         {IN_CLOSE + "clSocket::Close(): close(): @", OUT_CLOSE + "clFileIO::Close(): close(): @",
          "clFileIO::Close(): close(): @"}},
    });
}

TEST_F(failing, AllocationsOfALocalConversion)
{
    FailAllocations(0, [this](auto &failure, auto &outcome) { return Run(failure, outcome); });
}

TEST_F(failing, AllocationsOfARemoteConversion)
{
    Serve();
    FailAllocations(0, [this](auto &failure, auto &outcome) { return Run(failure, outcome); });
}

namespace
{

void Show(const clString &str)
{
    std::fprintf(stderr, "%s\n", str.c_str());
}

void ShowTag(const clID3tag &tag)
{
    Show(tag.GetTitle());
    Show(tag.GetComposer());
    Show(tag.GetPerformer());
    std::fprintf(stderr, "%d bytes\n", static_cast<int>(tag.GetPictureSize()));
    // Whatever keeps the number from being read makes it 0.
    const int iTrack = tag.GetTrack();
    std::fprintf(stderr, "%s", iTrack == 0 || iTrack == 7 ? "" : "another track\n");
}

template <class READER_T>
void ShowFile(const bytes_t &file)
{
    READER_T reader;
    reader.OpenMeta(new MemoryStream(file));
    ShowTag(*reader.GetTag());
}

void ShowStrings()
{
    clString str(L"wide text, as it comes");
    const clString strCopy(str);
    str += " and goes";
    str.Insert(strCopy, 4);
    str.ToUpper();
    Show(str);
    Show(clString::FromLatin1("latin \xE9") + " and more of it");
    for (const clString &strToken : str.Split(" ,")) {
        Show(strToken);
    }
    clAlloc lines;
    std::memcpy(lines.SetSize(28), " first line \nand the second\n", 28);
    Show(clString::SplitLines(lines).at(1));
    str.FloatC(1.0 / 3);
    Show(str);
}

} // namespace

TEST(failing_parsers, Allocations)
{
    const bytes_t dsdiff = B().Before(B::Chunk("ID3 ", TAG)).Trailing(TAG).Build();
    const bytes_t broken = B().Before(B::Chunk("ID3 ", bytes_t(5))).Build();
    const bytes_t id3 = ID3Builder(2)
                            .Text("TT2", "a title of some length")
                            .Text("TRK", "7")
                            .Frame("PIC", std::string("\0PNG\3d\0picture", 14))
                            .Build();
    const bytes_t dsf = DSFBuilder().Trailing(TAG).Build();
    const struct {
        const char *cpName;
        unsigned uExceptions;
        std::function<void()> fnUse;
    } aRows[] = {
        {"DSDIFF", 0, [&] { ShowFile<clDSDIFF>(dsdiff); }},
        {"tag and track that are none", 2, [&] { ShowFile<clDSDIFF>(broken); }},
        {"DSF", 0, [&] { ShowFile<clDSF>(dsf); }},
        {"ID3v2.2", 0,
         [&] {
             clID3tag tag;
             tag.Parse(id3.data(), id3.size());
             ShowTag(tag);
         }},
        {"strings", 0, ShowStrings},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        std::cout << row.cpName << ", ";
        const auto Use = [&row] {
            try {
                row.fnUse();
                return 0;
            } catch (const std::exception &caught) {
                std::fprintf(stderr, "exception: %s\n", caught.what());
                return 1;
            }
        };
        const outcome_t whole = RunForked({nullptr, 0}, Use);
        FailAllocations(row.uExceptions, [&](const failure_t &failure, outcome_t &outcome) {
            outcome = RunForked(failure, Use);
            if (outcome.iStatus == 0) {
                EXPECT_STREQ(whole.acText, outcome.acText);
                return std::string();
            }
            const char *const cpException = std::strstr(outcome.acText, "exception: ");
            return std::string(cpException != nullptr ? cpException : outcome.acText);
        });
    }
}

namespace
{

class clIdleThread : public clThread
{
    void *Execute(void *) override { return nullptr; }
};

class clIdleThreads : public clThreadsBase
{
    void *ThreadBody(void *) override { return nullptr; }
};

} // namespace

// The text ends with that of the error when it ends with a blank.
#define EXPECT_FAILS(call, error, nth, statement, type, text)                                      \
    do {                                                                                           \
        const FailureGuard guard({call, error, nth});                                              \
        const std::string strText(text);                                                           \
        EXPECT_THROW_MSG(statement, type,                                                          \
                         strText + (strText.back() == ' ' ? strerror(error) : ""));                \
    } while (false)

TEST(failing_calls, SayWhichOneItWas)
{
    const uint16_t auUnits[] = {'x', 0};
    EXPECT_FAILS("iconv_open", EMFILE, 1, clString::FromLatin1("x"), clXString,
                 "clString::FromLatin1(): iconv_open()");
    EXPECT_FAILS("iconv_open", EMFILE, 1, clString{auUnits}, clXString,
                 "clString::operator=(const uint16_t *): iconv_open()");
    EXPECT_FAILS("wcstombs", EILSEQ, 2, clString{L"x"}, clXString,
                 "clString::operator(const wchar_t *): wcstombs(): ");
    EXPECT_FAILS("mbstowcs", EILSEQ, 2, clString("x").wc_str(), clXString,
                 "clString::wc_str(): mbstowcs(): ");

    const TempFolder folder;
    clFileIO file(folder.Write("file", bytes_t(1)).c_str(), clFileIO::ACCESS_READWRITE, 0);
    void *const pMapping = file.Map(0, 1, clFileIO::ACCESS_READ, 0);
    EXPECT_FAILS("munmap", EINVAL, 1, file.Unmap(pMapping, 1), clXFileIO,
                 "clFileIO::Unmap(): munmap(): ");
    EXPECT_FAILS("ftruncate", EIO, 1, file.SetSize(0), clXFileIO,
                 "clFileIO::SetSize(): ftruncate()");
    EXPECT_FAILS("sysconf", EINVAL, 1, clFileIO::GetPageSize(), clXFileIO,
                 "clFileIO::GetPageSize(): sysconf(): ");
    EXPECT_FAILS("inet_ntop", ENOSPC, 1, clSocketAddrIPv4().AsString(), clXSocketAddr,
                 "clSocketAddrIPv4::AsString(): inet_ntop()");
    EXPECT_FAILS("inet_ntop", ENOSPC, 1, clSocketAddrIPv6().AsString(), clXSocketAddr,
                 "clSocketAddrIPv6::AsString(): inet_ntop()");
    EXPECT_FAILS("getnameinfo", EIO, 1, clSocketAddrIPv4().AsHostName(), clXSocketAddr,
                 "clSocketAddrIPv4::AsHostName(): getnameinfo(): ");

    EXPECT_FAILS("pthread_mutex_init", EAGAIN, 1, clMutex{}, clException,
                 "clMutex::clMutex(): pthread_mutex_init(): ");
    EXPECT_FAILS("sem_init", ENOSPC, 1, clSemaphore{}, clException,
                 "clSemaphore::clSemaphore(): sem_init(): ");
    EXPECT_FAILS("pthread_mutex_lock", EDEADLK, 1, clMutex().Wait(), clException,
                 "clMutex::Wait(): pthread_mutex_lock(): ");
    EXPECT_FAILS("sem_post", EOVERFLOW, 1, clSemaphore().Post(), clException,
                 "clSemaphore::Post(): sem_post(): ");
    EXPECT_FAILS("sem_wait", EINTR, 1, clSemaphore().Wait(), clException,
                 "clSemaphore::Wait(): sem_wait(): ");
    clIdleThread thread;
    EXPECT_FAILS("pthread_create", EAGAIN, 1, thread.Create(nullptr, false), clXThread,
                 "clThread::Create(): pthread_create(): ");
    EXPECT_FAILS("pthread_detach", ESRCH, 1, thread.Create(nullptr, true), clXThread,
                 "clThread::Create(): pthread_detach(): ");
    EXPECT_FAILS("pthread_join", ESRCH, 1, thread.Wait(), clXThread,
                 "clThread::Wait(): pthread_join(): ");
    thread.Wait();
    EXPECT_FAILS("pthread_create", EAGAIN, 1, clIdleThreads().Create(nullptr, false), clXThreads,
                 "clThreadsBase::Create(): pthread_create(): ");
    clThreadPool pool;
    EXPECT_FAILS("pthread_create", EAGAIN, 2, pool.ThreadPoolCreate(3), clXThreadPool,
                 "clThreadPool::ThreadPoolCreate(): pthread_create(): ");
}
