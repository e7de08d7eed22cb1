#include "kit/clReporter.h"

#include "kit/Printable.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;

constexpr auto INTERVAL = 100ms;
constexpr char PREFIX[] = "vantrel-kit: ";

/** Holds a mutex as long as it lives. */
class clLock
{
public:
    explicit clLock(clMutex &mtxHeld) : mtx(mtxHeld) { mtx.Wait(); }
    clLock(const clLock &) = delete;
    clLock &operator=(const clLock &) = delete;
    ~clLock() { mtx.Release(); }

private:
    clMutex &mtx;
};

// 0, or the error of the write that failed.
int WriteAll(int iFileH, const std::string &strText)
{
    size_t sizeDone = 0;
    while (sizeDone < strText.size()) {
        const ssize_t lWritten =
            write(iFileH, strText.data() + sizeDone, strText.size() - sizeDone);
        if (lWritten >= 0) {
            sizeDone += static_cast<size_t>(lWritten);
        } else if (errno == EAGAIN) {
            // Another process that shares the descriptor has set it so.
            struct pollfd entry = {iFileH, POLLOUT, 0};
            poll(&entry, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

} // namespace

clReporter::clReporter(bool bQuietRun) : bQuiet(bQuietRun), line(STDERR_FILENO) {}

clReporter::~clReporter() noexcept(false)
{
    line.Clear();
}

void clReporter::Fail(const std::string &strPath, const std::string &strReason)
{
    PutMessage(PREFIX + strPath + ": " + strReason);
}

void clReporter::Fail(const std::string &strReason)
{
    PutMessage(PREFIX + strReason);
}

void clReporter::Warn(const std::string &strPath, const std::string &strReason)
{
    if (!bQuiet) {
        PutMessage(PREFIX + strPath + ": warning: " + strReason);
    }
}

void clReporter::Hint(const std::string &strPath, const std::string &strReason)
{
    if (!bQuiet) {
        PutMessage(PREFIX + strPath + ": hint: " + strReason);
    }
}

void clReporter::Note(const std::string &strLine)
{
    if (!bQuiet) {
        PutMessage(strLine);
    }
}

void clReporter::PutResult(size_t sizeIdx, std::string strText)
{
    const clLock lock(mtx);
    mapWaiting.emplace(sizeIdx, std::move(strText));
    for (auto next = mapWaiting.begin(); next != mapWaiting.end() && next->first == sizeNextResult;
         ++sizeNextResult) {
        WriteResult(next->second);
        next = mapWaiting.erase(next);
    }
}

void clReporter::PutJson(const std::string &strLine)
{
    PutText(strLine + "\n");
}

void clReporter::PutText(const std::string &strText)
{
    const clLock lock(mtx);
    WriteResult(strText);
}

void clReporter::StartProgress(uint64_t uFiles, uint64_t uBytes, uint64_t uFilesOfNoSize)
{
    if (bQuiet || !line.IsShown()) {
        return;
    }
    const clLock lock(mtx);
    progress.uFilesTotal = uFiles;
    uBytesKnown = uBytes;
    uSizesToCome = uFilesOfNoSize;
    timeStart = clock_t::now();
    bProgress = true;
    DrawIfDue();
}

void clReporter::TakeSize(uint64_t uBytes)
{
    if (bProgress) {
        const clLock lock(mtx);
        uBytesKnown += uBytes;
        --uSizesToCome;
    }
}

void clReporter::BeginFile(const std::string &strPath)
{
    if (bProgress) {
        const clLock lock(mtx);
        progress.strName = strPath;
        DrawIfDue();
    }
}

void clReporter::AddBytes(uint64_t uBytes)
{
    if (!bProgress) {
        return;
    }
    uBytesDone.fetch_add(uBytes, std::memory_order_relaxed);
    if (clock_t::now().time_since_epoch().count() >= lNextDraw.load(std::memory_order_relaxed)) {
        const clLock lock(mtx);
        DrawIfDue();
    }
}

void clReporter::EndFile()
{
    if (bProgress) {
        const clLock lock(mtx);
        ++progress.uFilesDone;
        DrawIfDue();
    }
}

void clReporter::StopProgress()
{
    const clLock lock(mtx);
    bProgress = false;
    line.Clear();
}

bool clReporter::Finish()
{
    StopProgress();
    {
        const clLock lock(mtx);
        for (const auto &[sizeIdx, strText] : mapWaiting) {
            WriteResult(strText);
        }
        mapWaiting.clear();
        // Closing a second descriptor asks for what a network file system reports only then, and
        // leaves no number free that another file could get.
        const int iSecond = bWritten ? dup(STDOUT_FILENO) : -1;
        if (iSecond != -1 && close(iSecond) != 0 && iOutputError == 0) {
            iOutputError = errno;
        }
    }
    if (iOutputError == 0) {
        return true;
    }
    Fail("standard output", std::strerror(iOutputError));
    return false;
}

void clReporter::PutMessage(const std::string &strLine)
{
    const std::string strPrinted = Printable(strLine) + "\n";
    const clLock lock(mtx);
    line.Clear();
    // A failure of this cannot be reported anywhere.
    static_cast<void>(WriteAll(STDERR_FILENO, strPrinted));
}

void clReporter::WriteResult(const std::string &strText)
{
    if (strText.empty() || iOutputError != 0) {
        return;
    }
    line.Clear(); // both outputs may be the same terminal
    bWritten = true;
    iOutputError = WriteAll(STDOUT_FILENO, strText);
}

void clReporter::DrawIfDue()
{
    const clock_t::time_point timeNow = clock_t::now();
    if (!bProgress || timeNow.time_since_epoch().count() < lNextDraw) {
        return;
    }
    lNextDraw = (timeNow + INTERVAL).time_since_epoch().count();
    progress.uBytesDone = uBytesDone;
    progress.uBytesTotal = uSizesToCome == 0 ? uBytesKnown : 0;
    progress.dSeconds = std::chrono::duration<double>(timeNow - timeStart).count();
    line.Draw(progress);
}
