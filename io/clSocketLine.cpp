#include "base/clException.h"
#include "base/clString.h"
#include "io/clSocket.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

ssize_t clSocket::GetLine(clString &strLine, unsigned uTimeoutMs)
{
    strLine.Clear();
    for (;;) {
        if (uTimeoutMs == 0) {
            WaitRead();
        } else if (!WaitRead(uTimeoutMs)) {
            return -1;
        }
        bool bComplete = false;
        const ssize_t lTaken = GetLinePiece(strLine, bComplete);
        if (lTaken < 1) {
            return lTaken;
        }
        if (bComplete) {
            return static_cast<ssize_t>(strLine.sizeStr);
        }
    }
}

ssize_t clSocket::GetLinePiece(clString &strLine, bool &bComplete)
{
    auto *const cpBuf = static_cast<char *>(allocReadBuf.SetSize(SOCKETOP_READBUF_SIZE));
    std::memset(cpBuf, 0, SOCKETOP_READBUF_SIZE);
    bComplete = false;
    const ssize_t lPeeked = Recv(cpBuf, SOCKETOP_READBUF_SIZE - 1, MSG_PEEK);
    if (lPeeked < 1) {
        return lPeeked;
    }
    sizeRecvCount = static_cast<uint64_t>(lPeeked);
    if (sizeRecvCount >= SOCKETOP_READBUF_SIZE) {
        throw std::runtime_error("clSocket::GetLine(): sizeRecvCount >= SOCKETOP_READBUF_SIZE");
    }
    char *const cpEnd = cpBuf + sizeRecvCount;
    char *const cpStop = std::find_if(cpBuf, cpEnd, [](char c) { return c == '\n' || c == '\0'; });
    std::replace(cpBuf, cpStop, '\r', '\0');
    *cpStop = '\0';
    strLine += cpBuf;

    // Removes exactly the peeked bytes of this line from the socket. A short removal would leave
    // the rest to be read again as another line.
    const bool bEnd = cpStop != cpEnd;
    const ssize_t lPiece = cpStop - cpBuf + (bEnd ? 1 : 0);
    for (ssize_t lLeft = lPiece; lLeft != 0;) {
        const ssize_t lTaken = Recv(cpBuf, static_cast<size_t>(lLeft), 0);
        if (lTaken < 1) {
            return lTaken;
        }
        lLeft -= lTaken;
    }
    bComplete = bEnd;
    return lPiece;
}

ssize_t clSocket::SendLine(const char *cpText)
{
    return SendLine(clString(cpText));
}

ssize_t clSocket::SendLine(const clString &strText)
{
    clString strLine = strText;
    if (strLine.Find('\n') == clString::NOT_FOUND) {
        strLine += "\n";
    }
    const ssize_t lSent = Send(strLine.c_str(), strLine.sizeStr, 0);
    if (static_cast<uint64_t>(lSent) != strLine.sizeStr) {
        throw clXSocket("clSocket::SendLine(): short Send()");
    }
    return lSent;
}
