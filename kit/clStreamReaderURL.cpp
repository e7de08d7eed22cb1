#include "kit/clStreamReaderURL.h"

#include "base/clException.h"
#include "kit/clStopSignal.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace
{

constexpr size_t WINDOW_SIZE = 1 << 20;
// Received and dropped at once, which takes less time than a new request.
constexpr uint64_t SHORT_SKIP = 256 << 10;

// A longer read of what has not arrived needs no window.
constexpr size_t DIRECT_READ = 32 << 10;
static_assert(DIRECT_READ >= clDownload::SMALLEST_READ);

constexpr unsigned MOST_TRIES = 5;
constexpr std::chrono::milliseconds FIRST_PAUSE(250);
constexpr std::chrono::milliseconds SIGNAL_CHECK(50);

constexpr long OK = 200;
constexpr long PART = 206;
constexpr long UNAUTHORIZED = 401;
constexpr long REQUEST_TIMEOUT = 408;
constexpr long NO_SUCH_PART = 416;
constexpr long TOO_MANY_REQUESTS = 429;
constexpr long SERVER_ERRORS = 500;

[[noreturn]] void ThrowChanged()
{
    throw clXInput("the file was changed while it was read");
}

std::string Describe(const clDownload::answer_t &answer)
{
    return "the server answers " + std::to_string(answer.lStatus) +
           (answer.strReason.empty() ? "" : " ") + answer.strReason +
           (answer.lStatus == UNAUTHORIZED ? ": a user name and a password are needed" : "");
}

// What identifies the version of a file for requests of parts: weak tags do not (RFC 9110, 13.1.5).
std::string GetValidator(const clDownload::answer_t &answer)
{
    return answer.strETag.starts_with('"') ? answer.strETag : answer.strLastModified;
}

} // namespace

clStreamReaderURL::clStreamReaderURL(const clURL &url, unsigned uTimeoutSeconds)
    : clInputStream(clString(url.strShown.c_str())),
      pDownload(std::make_unique<clDownload>(url, uTimeoutSeconds)),
      aWindow(std::make_unique_for_overwrite<uint8_t[]>(WINDOW_SIZE))
{
    while (!bKnown) {
        try {
            Begin();
        } catch (const clXBroken &caught) {
            WaitBeforeTry(caught);
        }
    }
}

clStreamReaderURL::~clStreamReaderURL() noexcept(false)
{
    clStreamReaderURL::Close();
}

void clStreamReaderURL::Close()
{
    pDownload.reset();
    pSpool.reset();
}

ssize_t clStreamReaderURL::Read(void *pBuffer, size_t sizeBuffer)
{
    if (!pDownload) {
        throw clXStreamReader("clStreamReaderURL::Read(): the stream is closed");
    }
    auto *const pBytes = static_cast<uint8_t *>(pBuffer);
    const size_t sizeRead = pSpool ? ReadSpooled(pBytes, sizeBuffer) : ReadPart(pBytes, sizeBuffer);
    lPosition += static_cast<off_t>(sizeRead);
    return static_cast<ssize_t>(sizeRead);
}

int64_t clStreamReaderURL::GetSize()
{
    while (!uSize && Spool()) {
    }
    return static_cast<int64_t>(std::min<uint64_t>(*uSize, INT64_MAX));
}

std::optional<timespec> clStreamReaderURL::GetTime() const noexcept
{
    if (!lModified) {
        return std::nullopt;
    }
    return timespec{static_cast<time_t>(*lModified), 0};
}

// Requests what follows, and makes sure that this is what will arrive.
void clStreamReaderURL::Begin()
{
    // Without parts, all arrives again.
    uNext = pSpool ? 0 : uNext;
    const clDownload::answer_t &answer = pDownload->Request(uNext, strValidator);
    if (answer.lStatus == REQUEST_TIMEOUT || answer.lStatus == TOO_MANY_REQUESTS ||
        answer.lStatus >= SERVER_ERRORS) {
        // As the first answer it is the answer: what the server sends later is not waited for.
        throw clXBroken(Describe(answer), bKnown);
    }
    Judge(answer);
    if (bKnown) {
        ThrowIfOther(answer);
    } else {
        TakeVersion(answer);
    }
    uBegun = uNext;
    bRunning = true;
}

// Refuses an answer that is not the requested bytes.
void clStreamReaderURL::Judge(const clDownload::answer_t &answer)
{
    if (answer.lStatus == NO_SUCH_PART && bKnown) {
        ThrowChanged();
    }
    // Of an empty file there is no part.
    const bool bEmpty = answer.lStatus == NO_SUCH_PART && answer.uTotal == 0U;
    if (answer.lStatus != OK && answer.lStatus != PART && !bEmpty) {
        throw clXInput(Describe(answer));
    }
    if (!answer.strEncoding.empty() && answer.strEncoding != "identity") {
        throw clXInput("the server sends the file compressed (" + answer.strEncoding +
                       "), which was not requested");
    }
    if (answer.lStatus == OK && !strValidator.empty()) {
        // The version of which a part was requested is not there any more.
        ThrowChanged();
    }
    if (answer.lStatus == PART && (answer.uFirst != uNext || !answer.uTotal)) {
        throw clXInput("the server sends another part of the file than was requested");
    }
}

void clStreamReaderURL::TakeVersion(const clDownload::answer_t &answer)
{
    const bool bEmpty = answer.lStatus == NO_SUCH_PART;
    uSize = answer.lStatus == OK ? answer.uLength : answer.uTotal;
    strETag = answer.strETag;
    strLastModified = answer.strLastModified;
    lModified = answer.lModified;
    if (answer.lStatus == PART) {
        strValidator = GetValidator(answer);
    }
    if (strValidator.empty() && !bEmpty) {
        pSpool = std::make_unique<clSpoolFile>();
    }
    bKnown = true;
}

void clStreamReaderURL::ThrowIfOther(const clDownload::answer_t &answer) const
{
    const std::optional<uint64_t> uNow = answer.lStatus == OK ? answer.uLength : answer.uTotal;
    // Not every answer repeats what tells versions apart.
    const auto differ = [](const std::string &strThen, const std::string &strNow) {
        return !strThen.empty() && !strNow.empty() && strThen != strNow;
    };
    if ((uSize && uNow && *uSize != *uNow) || differ(strETag, answer.strETag) ||
        differ(strLastModified, answer.strLastModified)) {
        ThrowChanged();
    }
}

// Receives what follows; 0 only at the end of the file.
size_t clStreamReaderURL::Receive(uint8_t *pBuffer, size_t sizeBuffer)
{
    for (;;) {
        try {
            if (!bRunning) {
                Begin();
            }
            const size_t sizeRead = pDownload->Read(pBuffer, sizeBuffer);
            uNext += sizeRead;
            if (uSize && uNext > *uSize) {
                throw clXInput("the server sends more than the announced " +
                               std::to_string(*uSize) + " bytes");
            }
            if (sizeRead != 0 || !uSize || uNext >= *uSize) {
                return sizeRead;
            }
            // The part ends before the file. Servers may limit the size of parts.
            bRunning = false;
            if (uNext == uBegun || pSpool) {
                throw clXInput("the server sends " + std::to_string(uNext) + " bytes of " +
                               std::to_string(*uSize));
            }
        } catch (const clXBroken &caught) {
            bRunning = false;
            WaitBeforeTry(caught);
        }
    }
}

// Returns when the request may be tried again.
void clStreamReaderURL::WaitBeforeTry(const clXBroken &caught)
{
    // A server that was never there is not waited for.
    if (!bKnown && !caught.bConnected) {
        throw clXInput(caught.what());
    }
    if (uTries == MOST_TRIES) {
        throw clXInput("the connection broke at byte " + std::to_string(uNext) + ", and " +
                       std::to_string(MOST_TRIES) + " further tries failed: " + caught.what());
    }
    const auto timeEnd = std::chrono::steady_clock::now() + FIRST_PAUSE * (1U << uTries++);
    while (std::chrono::steady_clock::now() < timeEnd) {
        clStopSignal::ThrowIfStopped();
        std::this_thread::sleep_for(SIGNAL_CHECK);
    }
}

size_t clStreamReaderURL::ReadPart(uint8_t *pBuffer, size_t sizeBuffer)
{
    const auto uAt = static_cast<uint64_t>(lPosition);
    if (uAt >= *uSize || sizeBuffer == 0) {
        return 0;
    }
    if (uAt == uNext && sizeBuffer >= DIRECT_READ) {
        uTries = 0;
        sizeWindow = 0;
        return Receive(pBuffer, sizeBuffer);
    }
    while (uAt >= uNext || uNext - uAt > sizeWindow) {
        if (uAt < uNext || uAt - uNext > SHORT_SKIP) {
            bRunning = false;
            uNext = uAt;
            sizeWindow = 0;
        }
        if (WINDOW_SIZE - sizeWindow < clDownload::SMALLEST_READ) {
            sizeWindow = 0;
        }
        const size_t sizeRead = Receive(aWindow.get() + sizeWindow, WINDOW_SIZE - sizeWindow);
        sizeWindow += sizeRead;
        uTries = 0;
    }
    const auto sizeThere = static_cast<size_t>(uNext - uAt);
    const size_t sizeRead = std::min(sizeBuffer, sizeThere);
    std::memcpy(pBuffer, aWindow.get() + (sizeWindow - sizeThere), sizeRead);
    return sizeRead;
}

size_t clStreamReaderURL::ReadSpooled(uint8_t *pBuffer, size_t sizeBuffer)
{
    const auto uAt = static_cast<uint64_t>(lPosition);
    while (uAt >= pSpool->GetSize() && Spool()) {
    }
    return pSpool->ReadAt(uAt, pBuffer, sizeBuffer);
}

// Receives a piece into the temporary file. After a break all arrives once more, and what is there
// already has to be the same. False at the end.
bool clStreamReaderURL::Spool()
{
    if (uSize && pSpool->GetSize() >= *uSize) {
        return false;
    }
    const size_t sizeRead = Receive(aWindow.get(), WINDOW_SIZE);
    const uint64_t uStart = uNext - sizeRead;
    const uint64_t uThere = pSpool->GetSize();
    size_t sizeOld = 0;
    if (uStart < uThere) {
        sizeOld = static_cast<size_t>(std::min<uint64_t>(sizeRead, uThere - uStart));
        std::vector<uint8_t> old(sizeOld);
        if (pSpool->ReadAt(uStart, old.data(), sizeOld) != sizeOld ||
            std::memcmp(old.data(), aWindow.get(), sizeOld) != 0) {
            ThrowChanged();
        }
    }
    if (sizeRead > sizeOld) {
        pSpool->Append(aWindow.get() + sizeOld, sizeRead - sizeOld);
        uTries = 0;
    }
    if (sizeRead == 0) {
        // A repeated answer of unknown size may end earlier.
        if (uNext < uThere) {
            ThrowChanged();
        }
        uSize = uThere;
    }
    return sizeRead != 0;
}
