#include "kit/clDownload.h"

#include "kit/clStopSignal.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>
#include <string_view>

#include <curl/curl.h>
#include <strings.h> // for strncasecmp()

namespace
{

using steady_t = std::chrono::steady_clock;

constexpr int SIGNAL_CHECK_MS = 200;
constexpr long CONNECT_SECONDS = 30;
constexpr long MOST_REDIRECTS = 10;
constexpr size_t MOST_HEADER_BYTES = 256 << 10; // of all redirects together
constexpr long FIRST_REFUSAL = 400;             // statuses from here on
constexpr long RECEIVE_BYTES = 128 << 10;       // of one call to the system

static_assert(clDownload::SMALLEST_READ == CURL_MAX_WRITE_SIZE);

void Check(CURLcode code)
{
    if (code == CURLE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string("clDownload: ") + curl_easy_strerror(code));
    }
}

void Check(CURLMcode code)
{
    if (code != CURLM_OK) {
        throw std::runtime_error(std::string("clDownload: ") + curl_multi_strerror(code));
    }
}

// Before the first use by any thread.
void InitialiseLibrary()
{
    static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    Check(code);
}

std::optional<uint64_t> ParseNumber(std::string_view &strText)
{
    uint64_t uNumber = 0;
    const auto [cpEnd, error] =
        std::from_chars(strText.data(), strText.data() + strText.size(), uNumber);
    if (error != std::errc()) {
        return std::nullopt;
    }
    strText.remove_prefix(static_cast<size_t>(cpEnd - strText.data()));
    return uNumber;
}

// "bytes FIRST-LAST/TOTAL", with "*" for what does not apply or is not known.
void ParseRange(std::string_view strRange, clDownload::answer_t &answer)
{
    constexpr std::string_view UNIT = "bytes ";
    if (strncasecmp(strRange.data(), UNIT.data(), std::min(UNIT.size(), strRange.size())) != 0 ||
        strRange.size() < UNIT.size()) {
        return;
    }
    strRange.remove_prefix(UNIT.size());
    answer.uFirst = ParseNumber(strRange);
    const size_t sizeSlash = strRange.find('/');
    if (sizeSlash != std::string_view::npos) {
        strRange.remove_prefix(sizeSlash + 1);
        answer.uTotal = ParseNumber(strRange);
    }
}

std::string_view Trim(std::string_view strText)
{
    constexpr char BLANKS[] = " \t\r\n";
    const size_t sizeStart = std::min(strText.find_first_not_of(BLANKS), strText.size());
    const size_t sizeEnd = strText.find_last_not_of(BLANKS) + 1;
    return strText.substr(sizeStart, std::max(sizeEnd, sizeStart) - sizeStart);
}

struct free_easy_t {
    void operator()(CURL *pEasy) const noexcept { curl_easy_cleanup(pEasy); }
};
struct free_multi_t {
    void operator()(CURLM *pMulti) const noexcept { curl_multi_cleanup(pMulti); }
};
struct free_list_t {
    void operator()(curl_slist *pList) const noexcept { curl_slist_free_all(pList); }
};

} // namespace

struct clDownload::connection_t {
    connection_t(const clURL &source, unsigned uTimeoutSeconds);
    connection_t(const connection_t &) = delete;
    connection_t &operator=(const connection_t &) = delete;
    ~connection_t() { Abandon(); }

    void Start(uint64_t uFrom, const std::string &strIfRange);
    void WaitForHead();
    void TakeTarget();
    void Abandon() noexcept;
    void WaitUntil(const std::function<bool()> &fnReady);
    void TakeEnd();
    void ThrowIfFailed() const;
    void Unpause();

    void TakeHeader(std::string_view strLine);
    static size_t OnHeader(char *cpLine, size_t, size_t sizeLine, void *pSelf) noexcept;
    static size_t OnBody(char *cpBytes, size_t, size_t sizeBytes, void *pSelf) noexcept;
    static int OnConnected(void *pSelf, char *, char *, int, int) noexcept;

    template <class T>
    void Set(CURLoption option, T value)
    {
        Check(curl_easy_setopt(pEasy.get(), option, value));
    }

    const clURL url;
    const unsigned uTimeout;
    std::string strTarget; // where redirects have led to
    std::unique_ptr<CURLM, free_multi_t> pMulti;
    std::unique_ptr<CURL, free_easy_t> pEasy;
    std::unique_ptr<curl_slist, free_list_t> pHeaders;
    char aError[CURL_ERROR_SIZE] = {};

    // Of the current request.
    bool bStarted = false;
    bool bConnected = false;
    bool bInHead = false;
    bool bPaused = false; // a piece of the body waits in the library
    std::optional<CURLcode> end;
    std::string strFault;  // why a callback has ended it
    uint64_t uArrived = 0; // bytes of any kind
    size_t sizeHeaders = 0;
    answer_t answer;

    // Where the body goes; without a place it waits.
    uint8_t *pTarget = nullptr;
    size_t sizeTarget = 0;
    size_t sizeReceived = 0;
};

clDownload::connection_t::connection_t(const clURL &source, unsigned uTimeoutSeconds)
    : url(source),
      uTimeout(uTimeoutSeconds),
      strTarget(source.strAddress)
{
    InitialiseLibrary();
    pMulti.reset(curl_multi_init());
    pEasy.reset(curl_easy_init());
    if (!pMulti || !pEasy) {
        throw std::bad_alloc();
    }
    Set(CURLOPT_ERRORBUFFER, aError);
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_FOLLOWLOCATION, 1L);
    Set(CURLOPT_MAXREDIRS, MOST_REDIRECTS);
    Set(CURLOPT_CONNECTTIMEOUT, CONNECT_SECONDS);
    Set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL));
    Set(CURLOPT_USERAGENT, "vantrel-kit/" VANTREL_VERSION);
    Set(CURLOPT_BUFFERSIZE, RECEIVE_BYTES);
    Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!url.strUser.empty() || !url.strPassword.empty()) {
        Set(CURLOPT_USERNAME, url.strUser.c_str());
        Set(CURLOPT_PASSWORD, url.strPassword.c_str());
    }
    const char *cpTrusted = std::getenv("SSL_CERT_FILE");
    if (cpTrusted != nullptr && *cpTrusted != '\0') {
        Set(CURLOPT_CAINFO, cpTrusted);
        Set(CURLOPT_CAPATH, static_cast<const char *>(nullptr));
    }
    Set(CURLOPT_HEADERFUNCTION, &OnHeader);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_WRITEFUNCTION, &OnBody);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_PREREQFUNCTION, &OnConnected);
    Set(CURLOPT_PREREQDATA, this);
}

void clDownload::connection_t::Start(uint64_t uFrom, const std::string &strIfRange)
{
    Abandon();
    bConnected = bInHead = bPaused = false;
    end.reset();
    strFault.clear();
    sizeHeaders = 0;
    answer = answer_t();
    aError[0] = '\0';

    // A compressed body would have other offsets.
    pHeaders.reset(curl_slist_append(nullptr, "Accept-Encoding: identity"));
    if (!pHeaders ||
        (!strIfRange.empty() &&
         curl_slist_append(pHeaders.get(), ("If-Range: " + strIfRange).c_str()) == nullptr)) {
        throw std::bad_alloc();
    }
    Set(CURLOPT_HTTPHEADER, pHeaders.get());
    Set(CURLOPT_URL, strTarget.c_str());
    Set(CURLOPT_RANGE, (std::to_string(uFrom) + "-").c_str());
    Check(curl_multi_add_handle(pMulti.get(), pEasy.get()));
    bStarted = true;
}

void clDownload::connection_t::Abandon() noexcept
{
    if (bStarted) {
        curl_multi_remove_handle(pMulti.get(), pEasy.get());
        bStarted = false;
    }
}

void clDownload::connection_t::WaitForHead()
{
    WaitUntil([this] { return bPaused; });
    if (end) {
        ThrowIfFailed();
    }
    curl_off_t lLength = -1;
    Check(curl_easy_getinfo(pEasy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &lLength));
    if (lLength >= 0) {
        answer.uLength = static_cast<uint64_t>(lLength);
    }
    Check(curl_easy_getinfo(pEasy.get(), CURLINFO_RESPONSE_CODE, &answer.lStatus));
    const time_t timeModified = curl_getdate(answer.strLastModified.c_str(), nullptr);
    if (timeModified != -1) {
        answer.lModified = timeModified;
    }
}

// The next request goes where this one was answered: of several servers that hold the file, each
// may name its version in its own way. Not with a password, which is for the first one only.
void clDownload::connection_t::TakeTarget()
{
    const char *cpTarget = nullptr;
    Check(curl_easy_getinfo(pEasy.get(), CURLINFO_EFFECTIVE_URL, &cpTarget));
    if (answer.lStatus < FIRST_REFUSAL && cpTarget != nullptr && url.strUser.empty() &&
        url.strPassword.empty()) {
        strTarget = cpTarget;
    }
}

// Lets the library work until something is there or the request has ended.
void clDownload::connection_t::WaitUntil(const std::function<bool()> &fnReady)
{
    steady_t::time_point timeLast = steady_t::now();
    uint64_t uLast = uArrived;
    for (;;) {
        clStopSignal::ThrowIfStopped();
        int iRunning = 0;
        Check(curl_multi_perform(pMulti.get(), &iRunning));
        TakeEnd();
        if (fnReady() || end) {
            return;
        }
        const steady_t::time_point timeNow = steady_t::now();
        // The library limits the time of connecting.
        if (uArrived != uLast || !bConnected) {
            uLast = uArrived;
            timeLast = timeNow;
        }
        if (timeNow - timeLast >= std::chrono::seconds(uTimeout)) {
            throw clXInput("the server has sent nothing for " + std::to_string(uTimeout) + " s");
        }
        Check(curl_multi_poll(pMulti.get(), nullptr, 0, SIGNAL_CHECK_MS, nullptr));
    }
}

void clDownload::connection_t::TakeEnd()
{
    int iLeft = 0;
    while (const CURLMsg *pMessage = curl_multi_info_read(pMulti.get(), &iLeft)) {
        if (pMessage->msg == CURLMSG_DONE) {
            end = pMessage->data.result;
        }
    }
}

void clDownload::connection_t::ThrowIfFailed() const
{
    if (!strFault.empty()) {
        throw clXInput(strFault);
    }
    const std::string strText = aError[0] != '\0' ? aError : curl_easy_strerror(*end);
    switch (*end) {
    case CURLE_OK:
        return;
    case CURLE_OUT_OF_MEMORY:
        throw std::bad_alloc();
    case CURLE_UNSUPPORTED_PROTOCOL:
        throw clXInput("the server redirects to something that is neither http nor https");
    case CURLE_TOO_MANY_REDIRECTS:
        throw clXInput("the server redirects more than " + std::to_string(MOST_REDIRECTS) +
                       " times");
    case CURLE_PEER_FAILED_VERIFICATION:
        throw clXInput("the certificate of the server is not trusted: " + strText);
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SSL_CONNECT_ERROR:
        throw clXBroken("the server cannot be reached: " + strText, false);
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        throw clXBroken(strText, true);
    default:
        throw clXInput("cannot be downloaded: " + strText);
    }
}

// The library may call OnBody from here, and have the piece wait again.
void clDownload::connection_t::Unpause()
{
    if (bPaused) {
        bPaused = false;
        Check(curl_easy_pause(pEasy.get(), CURLPAUSE_CONT));
    }
}

void clDownload::connection_t::TakeHeader(std::string_view strLine)
{
    const std::string_view strTrimmed = Trim(strLine);
    if (strLine.substr(0, 5) == "HTTP/") {
        // Of a redirect, an interim answer or the last one.
        answer = answer_t();
        bInHead = true;
        const size_t sizeReason = strTrimmed.find(' ', strTrimmed.find(' ') + 1);
        if (sizeReason != std::string_view::npos) {
            answer.strReason = Trim(strTrimmed.substr(sizeReason));
        }
        return;
    }
    const size_t sizeColon = strTrimmed.find(':');
    if (strTrimmed.empty() || !bInHead || sizeColon == std::string_view::npos) {
        // What follows the body describes the body.
        bInHead = bInHead && !strTrimmed.empty();
        return;
    }
    const std::string strName(strTrimmed.substr(0, sizeColon));
    const std::string_view strValue = Trim(strTrimmed.substr(sizeColon + 1));
    const auto isName = [&](const char *cpName) {
        return strcasecmp(strName.c_str(), cpName) == 0;
    };
    if (isName("ETag")) {
        answer.strETag = strValue;
    } else if (isName("Last-Modified")) {
        answer.strLastModified = strValue;
    } else if (isName("Content-Encoding")) {
        answer.strEncoding = strValue;
    } else if (isName("Content-Range")) {
        ParseRange(strValue, answer);
    }
}

size_t clDownload::connection_t::OnHeader(char *cpLine, size_t, size_t sizeLine,
                                          void *pSelf) noexcept
{
    connection_t &self = *static_cast<connection_t *>(pSelf);
    try {
        self.uArrived += sizeLine;
        self.sizeHeaders += sizeLine;
        if (self.sizeHeaders > MOST_HEADER_BYTES) {
            self.strFault = "the server sends headers without end";
            return 0;
        }
        self.TakeHeader({cpLine, sizeLine});
        return sizeLine;
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

size_t clDownload::connection_t::OnBody(char *cpBytes, size_t, size_t sizeBytes,
                                        void *pSelf) noexcept
{
    connection_t &self = *static_cast<connection_t *>(pSelf);
    if (sizeBytes > self.sizeTarget - self.sizeReceived) {
        self.bPaused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    std::memcpy(self.pTarget + self.sizeReceived, cpBytes, sizeBytes);
    self.sizeReceived += sizeBytes;
    self.uArrived += sizeBytes;
    return sizeBytes;
}

int clDownload::connection_t::OnConnected(void *pSelf, char *, char *, int, int) noexcept
{
    static_cast<connection_t *>(pSelf)->bConnected = true;
    return CURL_PREREQFUNC_OK;
}

clDownload::clDownload(const clURL &url, unsigned uTimeoutSeconds)
    : pConnection(std::make_unique<connection_t>(url, uTimeoutSeconds))
{
}

clDownload::~clDownload() = default;

const clDownload::answer_t &clDownload::Request(uint64_t uFrom, const std::string &strIfRange)
{
    connection_t &connection = *pConnection;
    connection.pTarget = nullptr;
    connection.sizeTarget = connection.sizeReceived = 0;
    connection.Start(uFrom, strIfRange);
    connection.WaitForHead();
    if (connection.answer.lStatus >= FIRST_REFUSAL &&
        connection.strTarget != connection.url.strAddress) {
        // The target of a redirect may be valid for a time only.
        connection.strTarget = connection.url.strAddress;
        connection.Start(uFrom, strIfRange);
        connection.WaitForHead();
    }
    connection.TakeTarget();
    return connection.answer;
}

size_t clDownload::Read(void *pBuffer, size_t sizeBuffer)
{
    if (sizeBuffer < SMALLEST_READ) {
        throw std::runtime_error("clDownload::Read(): BUG: the buffer is too small");
    }
    connection_t &connection = *pConnection;
    connection.pTarget = static_cast<uint8_t *>(pBuffer);
    connection.sizeTarget = sizeBuffer;
    connection.sizeReceived = 0;
    connection.Unpause();
    connection.WaitUntil([&connection] { return connection.sizeReceived != 0; });
    const size_t sizeReceived = connection.sizeReceived;
    connection.sizeTarget = connection.sizeReceived = 0;
    if (sizeReceived == 0) {
        connection.ThrowIfFailed();
    }
    return sizeReceived;
}
