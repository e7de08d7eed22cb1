#include "io/clStreamReaderHTTP.h"

#include "base/clAlloc.h"
#include "base/clException.h"
#include "io/clSocketAddr.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>

namespace
{

constexpr char URL_PREFIX[] = "http://";
constexpr char USER_AGENT[] = "OrvendahlQuistmark/3";
constexpr unsigned TIMEOUT_MS = 1000;
// A server may have to fetch the file from slow storage before it answers.
constexpr std::chrono::milliseconds HEAD_TIMEOUT{30000};
constexpr ssize_t MAX_LINE_SIZE = 65536; // with its end
constexpr unsigned MAX_HEADER_LINES = 1000;
constexpr off_t SKIP_SIZE = 65536;

clString Decimal(uint64_t uValue)
{
    // The assignment of a long would cut values above 32 bits.
    clString strValue;
    strValue = static_cast<unsigned long>(uValue);
    return strValue;
}

// Waits for more of the head, for HEAD_TIMEOUT in all, whether signals arrive or not.
void WaitForHead(clSocket &sock)
{
    const auto deadline = std::chrono::steady_clock::now() + HEAD_TIMEOUT;
    auto left = HEAD_TIMEOUT;
    // The last check, with no time left, finds bytes that came while the process was stopped.
    while (!sock.WaitRead(static_cast<unsigned>(left.count()))) {
        if (left.count() == 0) {
            throw clXStreamReader("clStreamReaderHTTP::GetHead(): read timeout");
        }
        left = std::max(std::chrono::ceil<std::chrono::milliseconds>(
                            deadline - std::chrono::steady_clock::now()),
                        std::chrono::milliseconds(0));
    }
}

// Returns false for an empty line and when the server has closed, then with the start of a line.
bool GetHeadLine(clSocket &sock, clString &strLine)
{
    strLine.Clear();
    // Counts the bytes received, because a long line may leave an empty text.
    ssize_t lSize = 0;
    bool bComplete = false;
    while (!bComplete) {
        WaitForHead(sock);
        const ssize_t lTaken = sock.GetLinePiece(strLine, bComplete);
        if (lTaken < 1) {
            return false;
        }
        lSize += lTaken;
        if (lSize > MAX_LINE_SIZE) {
            throw clXStreamReader(
                "clStreamReaderHTTP::GetHead(): header line longer than 65536 bytes");
        }
    }
    return strLine.sizeStr != 0;
}

// Replaces control characters, except the tab, by question marks, so that a server cannot send
// commands to a terminal. Bytes from 0x80 to 0x9F are controls unless they continue a UTF-8
// character.
clString Printable(clString str)
{
    unsigned uContinuations = 0;
    for (size_t i = 0; i < str.sizeStr; ++i) {
        const auto uByte = static_cast<uint8_t>(str.at(i));
        if (uContinuations != 0 && uByte >= 0x80 && uByte < 0xC0) {
            --uContinuations;
            continue;
        }
        // 0xC2 with such a byte is a control also in UTF-8.
        uContinuations = uByte >= 0xF0 ? 3 : uByte >= 0xE0 ? 2 : uByte >= 0xC3 ? 1 : 0;
        if ((uByte < 0x20 && uByte != '\t') || (uByte >= 0x7F && uByte < 0xA0)) {
            str[i] = '?';
        }
    }
    return str;
}

// Returns 0, as without the header, for a number that is no valid size.
int64_t ContentLength(const clString &strValue)
{
    const uint64_t uLength = strValue.ToUInt();
    if (strValue.BeginsWith("-") ||
        uLength > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
        return 0;
    }
    return static_cast<int64_t>(uLength);
}

// Closes the connection unless its answer was accepted: an error page, or a body from another
// position, must not be read as the resource.
class clAnswerGuard
{
public:
    explicit clAnswerGuard(clSocket &sock) noexcept : sockConn(sock) {}
    clAnswerGuard(const clAnswerGuard &) = delete;
    clAnswerGuard &operator=(const clAnswerGuard &) = delete;
    ~clAnswerGuard()
    {
        if (!bAccepted) {
            try {
                sockConn.Close();
            } catch (const clXSocket &) {
                // The exception that is being thrown names the cause.
            }
        }
    }
    void Accept() noexcept { bAccepted = true; }

private:
    clSocket &sockConn;
    bool bAccepted = false;
};

} // namespace

const char *clStreamReaderHTTP::cpUserAgent = nullptr;

clStreamReaderHTTP::clStreamReaderHTTP(const clString &strUrl) : clStreamReader(strUrl)
{
    if (!strUrl.BeginsWith(URL_PREFIX)) {
        throw clXStreamReader("clStreamReaderHTTP::clStreamReaderHTTP(): invalid URL");
    }
    const char *cpRest = strUrl.c_str() + std::strlen(URL_PREFIX);
    const char *cpSlash = std::strchr(cpRest, '/');
    if (cpSlash == cpRest) {
        throw clXStreamReader("clStreamReaderHTTP::clStreamReaderHTTP(): invalid URL");
    }
    if (cpSlash == nullptr) {
        strHost = cpRest;
        strPath = "/";
    } else {
        strHost = clString(cpRest, static_cast<size_t>(cpSlash - cpRest) + 1, 0);
        strPath = cpSlash;
    }
    if (strHost.Find(':') == clString::NOT_FOUND) {
        strHost += ":80";
    }
    pAddr.reset(clSocketAddrDetect::GetAddr(strHost));
    GetHead("GET", nullptr, nullptr);
}

clStreamReaderHTTP::~clStreamReaderHTTP() noexcept(false) = default;

void clStreamReaderHTTP::Close()
{
    sockConn.Close();
}

ssize_t clStreamReaderHTTP::Read(void *pBuffer, size_t sizeBuffer)
{
    if (sockConn.iSockH < 0) {
        throw clXStreamReader("clStreamReaderHTTP::Read(): no connection");
    }
    if (!sockConn.WaitRead(TIMEOUT_MS)) {
        throw clXStreamReader("clStreamReaderHTTP::Read(): read timeout");
    }
    const ssize_t lRead = sockConn.Recv(pBuffer, sizeBuffer, MSG_WAITALL);
    if (lRead < 0) {
        throw clXStreamReader("clStreamReaderHTTP::Read(): read error");
    }
    iPosition += lRead;
    return lRead;
}

off_t clStreamReaderHTTP::Seek(off_t lPosition)
{
    return MakeRequest(lPosition);
}

off_t clStreamReaderHTTP::Skip(off_t lCount)
{
    if (lCount < 0) {
        throw clXStreamReader("clStreamReaderHTTP::Skip(): count < 0");
    }
    if (sockConn.iSockH < 0) {
        throw clXStreamReader("clStreamReaderHTTP::Skip(): no connection");
    }
    clAlloc allocScratch;
    void *const pScratch = allocScratch.SetSize(SKIP_SIZE);
    while (lCount > 0) {
        const off_t lBlock = lCount < SKIP_SIZE ? lCount : SKIP_SIZE;
        if (sockConn.Read(pScratch, static_cast<size_t>(lBlock)) < lBlock) {
            throw clXStreamReader("clStreamReaderHTTP::Skip(): short read");
        }
        iPosition += lBlock;
        lCount -= lBlock;
    }
    return iPosition;
}

off_t clStreamReaderHTTP::Tell()
{
    return iPosition;
}

int64_t clStreamReaderHTTP::GetSize()
{
    return iSize;
}

bool clStreamReaderHTTP::IsEOF()
{
    return iPosition >= iSize;
}

bool clStreamReaderHTTP::IsRemote()
{
    return true;
}

bool clStreamReaderHTTP::IsSeekable()
{
    return true;
}

const char *clStreamReaderHTTP::GetMimeType()
{
    return strContentType.c_str();
}

uint32_t clStreamReaderHTTP::GetHead(const char *cpMethod, const char *cpHeaderName,
                                     const char *cpHeaderValue)
{
    Connect();
    SendRequest(cpMethod, cpHeaderName, cpHeaderValue);
    const uint32_t uCode = ReadStatus();
    ReadHeaders();
    return uCode;
}

void clStreamReaderHTTP::Connect()
{
    sockConn.Create(pAddr->GetFamily(), SOCK_STREAM, 0);
    if (!sockConn.Connect(*pAddr, TIMEOUT_MS)) {
        throw clXStreamReader("clStreamReaderHTTP::GetHead(): clSocket::Connect()");
    }
}

void clStreamReaderHTTP::SendRequest(const char *cpMethod, const char *cpHeaderName,
                                     const char *cpHeaderValue)
{
    sockConn.SendLine(clString(cpMethod) + " " + strPath + " HTTP/1.1\r\n");
    sockConn.SendLine(clString("Host: ") + strHost + "\r\n");
    sockConn.SendLine("Connection: close\r\n");
    sockConn.SendLine(clString("User-Agent: ") +
                      (cpUserAgent != nullptr ? cpUserAgent : USER_AGENT) + "\r\n");
    if (cpHeaderName != nullptr && cpHeaderValue != nullptr) {
        sockConn.SendLine(clString(cpHeaderName) + ": " + cpHeaderValue + "\r\n");
    }
    sockConn.SendLine("\r\n");
}

// Prints the status; throws the reason if it is not 200 to 299.
uint32_t clStreamReaderHTTP::ReadStatus()
{
    clString strLine;
    GetHeadLine(sockConn, strLine);
    strLine.Tok(" ", true); // skips the protocol
    const clString strCode = strLine.Tok(" ", false);
    const clString strReason = Printable(strLine.Tok(" ", false));
    strLine.TokEnd();
    const auto uCode = static_cast<uint32_t>(strCode.ToUInt());
    std::printf("%u %s\n", uCode, strReason.c_str());
    if (uCode < 200 || uCode > 299) {
        throw clXStreamReader((clString("clStreamReaderHTTP::GetHead(): ") + strReason).c_str());
    }
    return uCode;
}

// Stores and prints the headers, up to the empty line before the body.
void clStreamReaderHTTP::ReadHeaders()
{
    mapHeaders.clear();
    std::printf("Headers:\n");
    clString strLine;
    for (unsigned uLines = 0; GetHeadLine(sockConn, strLine); ++uLines) {
        if (uLines == MAX_HEADER_LINES) {
            throw clXStreamReader("clStreamReaderHTTP::GetHead(): more than 1000 header lines");
        }
        clString strHeader = strLine.Tok(":", true);
        clString strValue = strLine.Tok("\r\n", false);
        strLine.TokEnd();
        strHeader.Clean();
        strValue.Clean();
        StoreHeader(strHeader, strValue);
        std::printf("\t%s: %s\n", Printable(strHeader).c_str(), Printable(strValue).c_str());
    }
    std::printf("\n");
}

void clStreamReaderHTTP::StoreHeader(const clString &strHeader, const clString &strValue)
{
    mapHeaders[strHeader] = strValue;
    if (strHeader.Compare("Content-Type") == 0) {
        strContentType = strValue;
    } else if (strHeader.Compare("Content-Length") == 0 && iSize == 0) {
        // The answer to a range request announces only the length of its part.
        iSize = ContentLength(strValue);
    }
}

off_t clStreamReaderHTTP::MakeRequest(off_t lPosition)
{
    if (lPosition < 0) {
        throw clXStreamReader("clStreamReaderHTTP::MakeRequest(): position < 0");
    }
    sockConn.Close();
    clAnswerGuard guard(sockConn);
    if (lPosition == 0) {
        const uint32_t uCode = GetHead("GET", nullptr, nullptr);
        if (uCode != 200) {
            throw clXStreamReader(
                (clString("clStreamReaderHTTP::MakeRequest(): ") + Decimal(uCode)).c_str());
        }
    } else {
        const clString strRange =
            clString("bytes=") + Decimal(static_cast<uint64_t>(lPosition)) + "-";
        const uint32_t uCode = GetHead("GET", "Range", strRange.c_str());
        if (uCode != 206) {
            throw clXStreamReader((clString("clStreamReaderHTTP::MakeRequest(): ") +
                                   Decimal(uCode) + " for range request")
                                      .c_str());
        }
    }
    guard.Accept();
    iPosition = lPosition;
    return iPosition;
}
