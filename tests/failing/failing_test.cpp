// Conversions and parsers with one failing call: each call in turn, until a run makes fewer calls.

#include "base/clException.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "id3/clID3tag.h"
#include "io/clSocket.h"
#include "io/clSocketAddr.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/EqualBytes.h"
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
#include <numeric>
#include <regex>
#include <set>

#include <netdb.h>
#include <sys/wait.h>

int VantrelMain(int iArgs, char **argv); // the renamed main() of the program

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
constexpr char BANNER[] =
    "Vantrel v" VANTREL_VERSION "\nConverts DSDIFF files into DSF files, bit for bit.\n";

// Prefixes of exception texts.
const std::string READER = "clStreamReaderFile::clStreamReaderFile(): ";
const std::string META = "clDSDIFF::OpenMeta(): ";
const std::string FORM = META + "clDSDIFFFormChunk::Read(): ";
const std::vector<std::string> WALK = {
    FORM, FORM + "clDSDIFFVersChunk::Read(): ", FORM + "clDSDIFFPropChunk::Read(): ", ""};
const std::string HEADERS = "clDSF::WriteHeaders(): ";
const std::string CREATE = "clDSF::Create(): ";
const std::string NEW = CREATE + HEADERS;
const std::string WRITE = "clFileIO::Write(): write(): ";
const std::string IN_CLOSE = "clDSDIFF::Close(): ";
const std::string OUT_CLOSE = "clDSF::Close(): ";
const std::string HEAD = "clStreamReaderHTTP::GetHead(): ";
const std::string BLOCK = "clSocket::SetBlocking(): ";

texts_t Each(const std::vector<std::string> &prefixes, const std::string &strText)
{
    texts_t texts;
    for (const std::string &strPrefix : prefixes) {
        texts.insert(strPrefix + strText);
    }
    return texts;
}

// Makes each allocation of a run fail, alone and with all later ones. The run returns its text,
// empty on success. A shortage while an exception is constructed terminates the process; a single
// failure does so only for the uExceptions that a successful run throws and catches.
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
        std::cout << MEMORY << (bOnwards ? ", and all later ones: " : ": ") << failure.uNth - 1
                  << " points, " << uTerminated << " terminated\n";
        EXPECT_TRUE(bOnwards || uTerminated == uExceptions) << uTerminated;
    }
}

// A conversion with tags before and after the sound, and two passes of the copying loop.
class failing : public testing::Test
{
protected:
    struct row_t {
        const char *cpCall;
        std::vector<int> errors;
        texts_t texts; // of exceptions; @ is replaced by the system's text
    };

    void TearDown() override
    {
        if (pidServer != 0) {
            kill(pidServer, SIGKILL);
            waitpid(pidServer, nullptr, 0);
        }
        EXPECT_TRUE(EqualBytes(input, folder.Read("in.dff")));
        EXPECT_TRUE(EqualBytes(TAG, folder.Read("tag")));
    }

    // Runs a conversion, checks what it leaves, and returns its standard error after the banner.
    std::string Run(const failure_t &failure, outcome_t &outcome)
    {
        SCOPED_TRACE(failure.uNth);
        fs::remove(args[2]);
        outcome = RunFailing(failure, [this] {
            char *apArgs[] = {args[0].data(), args[1].data(), args[2].data(), args[3].data()};
            return VantrelMain(4, apArgs);
        });
        const std::string &strErr = outcome.strText;
        EXPECT_EQ(0U, strErr.find(BANNER)) << strErr;
        if (!outcome.bTerminated) {
            EXPECT_EQ(0, outcome.lHeld);
            EXPECT_EQ(strErr == BANNER ? 0 : 1, outcome.iStatus) << strErr;
        }
        EXPECT_TRUE(outcome.bHit || outcome.iStatus == 0) << strErr;
        const bytes_t output = fs::exists(args[2]) ? folder.Read("out.dsf") : bytes_t();
        if (outcome.iStatus == 0 || LooksFinished(output)) {
            EXPECT_TRUE(EqualBytes(expected, output)) << strErr;
        }
        return strErr.substr(std::min(std::strlen(BANNER), strErr.size()));
    }

    // Whether the sample count is not 0 and the data chunk is not empty.
    static bool LooksFinished(const bytes_t &file)
    {
        return file.size() > 92 && Part(file, 64, 8) != bytes_t(8) &&
               Part(file, 84, 8) != DSFBuilder::Number(12, 8);
    }

    // Makes each call of a name fail in turn and expects the set of all texts.
    void FailCalls(const std::vector<row_t> &rows)
    {
        for (const row_t &row : rows) {
            for (const int iError : row.errors) {
                const std::string strError = strerror(iError);
                SCOPED_TRACE(row.cpCall + ("(): " + strError));
                texts_t wanted;
                for (const std::string &strText : row.texts) {
                    wanted.insert(std::regex_replace(strText, std::regex("@"), strError));
                }
                texts_t texts;
                outcome_t outcome = {};
                failure_t failure = {row.cpCall, iError};
                for (auto strText = Run(failure, outcome); outcome.bHit;
                     strText = Run(failure, outcome)) {
                    const bool bException = strText.starts_with("exception: ");
                    texts.insert(bException ? strText.substr(11, strText.size() - 12) : strText);
                    ++failure.uNth;
                }
                EXPECT_EQ(wanted, texts);
                std::cout << row.cpCall << ", error " << iError << ": " << failure.uNth - 1
                          << " points\n";
            }
        }
    }

    // Answers every request with the input, without a length. Runs in a child process, because the
    // test must be single-threaded when it forks.
    void Serve()
    {
        uint16_t uPort = 0;
        const int iListenH = ListenLocally(uPort);
        args[1] = "http://127.0.0.1:" + std::to_string(uPort) + "/a.dff";
        const bytes_t answer =
            B::Text("HTTP/1.1 200 OK\r\nContent-Type: audio/x-dff\r\n\r\n") + input;
        pidServer = fork();
        for (std::string strRequest; pidServer == 0; strRequest.clear()) {
            const int iSockH = accept(iListenH, nullptr, nullptr);
            for (char c = 0; !strRequest.ends_with("\r\n\r\n") && read(iSockH, &c, 1) == 1;) {
                strRequest += c;
            }
            send(iSockH, answer.data(), answer.size(), MSG_NOSIGNAL);
            close(iSockH);
        }
        close(iListenH);
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
    pid_t pidServer = 0;
};

} // namespace

TEST_F(failing, CallsOfALocalConversion)
{
    FailCalls({
        {"stat", {EIO, EINTR}, {"main(): stat(): @"}},
        {"open", {EACCES, EINTR}, Each({READER, CREATE, ""}, "clFileIO::Open(): open(): @")},
        {"posix_fadvise", {EINVAL}, {READER + "clFileIO::Open(): posix_fadvise()"}},
        {"read", {EIO, EINTR}, Each(WALK, "clFileIO::Read(): read(): @")},
        {"read", {SHORT}, {"", "error: the tag file could not be read whole\n"}},
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
    // The wait for a head is continued.
    timeouts.insert({HEAD + "clSocket::Connect()", ""});
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

template <class READER_T>
void ShowFile(const bytes_t &file)
{
    READER_T reader;
    reader.OpenMeta(new MemoryStream(file));
    const clID3tag &tag = *reader.GetTag();
    Show(tag.GetTitle());
    Show(tag.GetComposer());
    Show(tag.GetPerformer());
    std::fprintf(stderr, "%d bytes\n", static_cast<int>(tag.GetPictureSize()));
    // Any failure makes the number 0.
    const int iTrack = tag.GetTrack();
    std::fprintf(stderr, "%s", iTrack == 0 || iTrack == 7 ? "" : "another track\n");
}

void ShowDecompressed(const bytes_t &file)
{
    clDSDIFF reader;
    reader.SetDecompression(true, 2);
    reader.OpenMeta(new MemoryStream(file));
    uint8_t aSound[1000];
    uint64_t uSum = 0;
    while (const uint64_t uRead = reader.ReadRaw(aSound, sizeof(aSound))) {
        uSum = std::accumulate(aSound, aSound + uRead, uSum);
    }
    std::fprintf(stderr, "%d\n", static_cast<int>(uSum));
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
    const bytes_t tag = ID3Builder(2)
                            .Text("TT2", "a title of some length")
                            .Text("TRK", "7")
                            .Frame("PIC", std::string("\0PNG\3d\0picture", 14))
                            .Build();
    const bytes_t dsf = DSFBuilder().Trailing(tag).Build();
    const bytes_t frame = bytes_t(1) + Pattern(128);
    const bytes_t compressed =
        B().Rate(38400).CompressedSound(B::DSTChunks(std::vector<bytes_t>(50, frame))).Build();
    const struct {
        const char *cpName;
        unsigned uExceptions;
        std::function<void()> fnUse;
    } aRows[] = {
        {"DSDIFF", 0, [&] { ShowFile<clDSDIFF>(dsdiff); }},
        {"invalid tag and track", 2, [&] { ShowFile<clDSDIFF>(broken); }},
        {"DSF", 0, [&] { ShowFile<clDSF>(dsf); }},
        {"DST", 0, [&] { ShowDecompressed(compressed); }},
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
        const outcome_t whole = RunFailing({nullptr, 0}, Use);
        FailAllocations(row.uExceptions, [&](const failure_t &failure, outcome_t &outcome) {
            outcome = RunFailing(failure, Use);
            if (outcome.iStatus == 0) {
                EXPECT_EQ(whole.strText, outcome.strText);
                return std::string();
            }
            const size_t uStart = outcome.strText.find("exception: ");
            return outcome.strText.substr(uStart == std::string::npos ? 0 : uStart);
        });
    }
}

namespace
{

class clIdleThread : public clThread
{
public:
    clSemaphore semDone;

private:
    void *Execute(void *pArg) override { return pArg; }
    void ThreadClean() override { semDone.Post(); }
};

class clIdleThreads : public clThreadsBase
{
    void *ThreadBody(void *) override { return nullptr; }
};

} // namespace

// The text ends with the failing call; if it ends with a blank, the system's text follows. The
// optional argument is the index of the failing call, 1 by default.
#define EXPECT_FAILS(statement, type, error, text, ...)                                            \
    do {                                                                                           \
        const std::string strText(text);                                                           \
        const size_t uEnd = strText.rfind("()");                                                   \
        const size_t uStart = strText.rfind(' ', uEnd) + 1;                                        \
        const std::string strCall = strText.substr(uStart, uEnd - uStart);                         \
        const FailureGuard guard({strCall.c_str(), error __VA_OPT__(, ) __VA_ARGS__});             \
        EXPECT_THROW_MSG(statement, type,                                                          \
                         strText + (strText.back() == ' ' ? strerror(error) : ""));                \
    } while (false)

TEST(failing_calls, AreNamedInTheText)
{
    const uint16_t auUnits[] = {'x', 0};
    EXPECT_FAILS(clString::FromLatin1("x"), clXString, EMFILE,
                 "clString::FromLatin1(): iconv_open()");
    EXPECT_FAILS(clString{auUnits}, clXString, EMFILE,
                 "clString::operator=(const uint16_t *): iconv_open()");
    EXPECT_FAILS(clString{L"x"}, clXString, EILSEQ,
                 "clString::operator(const wchar_t *): wcstombs(): ", 2);
    EXPECT_FAILS(clString("x").wc_str(), clXString, EILSEQ, "clString::wc_str(): mbstowcs(): ", 2);

    const TempFolder folder;
    clFileIO file(folder.Write("file", bytes_t(1)).c_str(), clFileIO::ACCESS_READWRITE, 0);
    void *const pMapping = file.Map(0, 1, clFileIO::ACCESS_READ, 0);
    EXPECT_FAILS(file.Unmap(pMapping, 1), clXFileIO, EINVAL, "clFileIO::Unmap(): munmap(): ");
    EXPECT_FAILS(file.SetSize(0), clXFileIO, EIO, "clFileIO::SetSize(): ftruncate()");
    EXPECT_FAILS(clFileIO::GetPageSize(), clXFileIO, EINVAL,
                 "clFileIO::GetPageSize(): sysconf(): ");
    EXPECT_FAILS(clSocketAddrIPv4().AsString(), clXSocketAddr, ENOSPC,
                 "clSocketAddrIPv4::AsString(): inet_ntop()");
    EXPECT_FAILS(clSocketAddrIPv6().AsString(), clXSocketAddr, ENOSPC,
                 "clSocketAddrIPv6::AsString(): inet_ntop()");
    EXPECT_FAILS(clSocketAddrIPv4().AsHostName(), clXSocketAddr, EIO,
                 "clSocketAddrIPv4::AsHostName(): getnameinfo(): ");

    EXPECT_FAILS(clMutex{}, clException, EAGAIN, "clMutex::clMutex(): pthread_mutex_init(): ");
    EXPECT_FAILS(clSemaphore{}, clException, ENOSPC, "clSemaphore::clSemaphore(): sem_init(): ");
    EXPECT_FAILS(clMutex().Wait(), clException, EDEADLK, "clMutex::Wait(): pthread_mutex_lock(): ");
    EXPECT_FAILS(clSemaphore().Post(), clException, EOVERFLOW, "clSemaphore::Post(): sem_post(): ");
    EXPECT_FAILS(clSemaphore().Wait(), clException, EINTR, "clSemaphore::Wait(): sem_wait(): ");
    clIdleThread thread;
    EXPECT_FAILS(thread.Create(nullptr, false), clXThread, EAGAIN,
                 "clThread::Create(): pthread_create(): ");
    EXPECT_FAILS(thread.Create(nullptr, true), clXThread, ESRCH,
                 "clThread::Create(): pthread_detach(): ");
    EXPECT_FAILS(thread.Wait(), clXThread, ESRCH, "clThread::Wait(): pthread_join(): ");
    thread.Wait();
    EXPECT_FAILS(clIdleThreads().Create(nullptr, false), clXThreads, EAGAIN,
                 "clThreadsBase::Create(): pthread_create(): ");
    clThreadPool pool;
    EXPECT_FAILS(pool.ThreadPoolCreate(3), clXThreadPool, EAGAIN,
                 "clThreadPool::ThreadPoolCreate(): pthread_create(): ", 2);
}

TEST(failing_calls, DecompressionNeedsNoWorkers)
{
    const bytes_t frame = bytes_t(1) + Pattern(128);
    clDSDIFF reader;
    reader.SetDecompression(true, 3);
    reader.OpenMeta(new MemoryStream(
        B().Rate(38400).CompressedSound(B::DSTChunks({frame, frame, frame})).Build()));
    const FailureGuard guard({"pthread_create", EAGAIN, 2});
    bytes_t sound(3 * 128);
    EXPECT_EQ(sound.size(), reader.ReadRaw(sound.data(), sound.size()));
    EXPECT_TRUE(EqualBytes(Pattern(128), Part(sound, 256)));
}

TEST(failing_calls, EndedThreadCanBeJoinedAfterAFailedCreate)
{
    clIdleThread thread;
    thread.Create(&thread, false);
    thread.semDone.Wait();
    EXPECT_FAILS(thread.Create(nullptr, false), clXThread, EAGAIN,
                 "clThread::Create(): pthread_create(): ");
    EXPECT_EQ(&thread, thread.Wait());
}
