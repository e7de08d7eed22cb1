#include "io/clSocket.h"

#include "base/clException.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include <sys/select.h>

namespace
{

// One of the three waits, with complete messages, so that a search for a message finds it here.
struct wait_t {
    bool bRead;
    bool bWrite;
    const char *cpSelect;
    const char *cpError;
};

constexpr wait_t WAIT_READ = {true, false, "clSocket::WaitRead(): select()",
                              "clSocket::WaitRead(): socket error"};
constexpr wait_t WAIT_WRITE = {false, true, "clSocket::WaitWrite(): select()",
                               "clSocket::WaitWrite(): socket error"};
constexpr wait_t WAIT_READWRITE = {true, true, "clSocket::WaitReadWrite(): select()",
                                   "clSocket::WaitReadWrite(): socket error"};

// FD_SET writes outside the set for a descriptor out of range.
void CheckRange(const int *ipBegin, const int *ipEnd, const char *cpRange)
{
    for (const int *ip = ipBegin; ip != ipEnd; ++ip) {
        if (*ip < 0) {
            throw clXSocket(cpRange);
        }
        if (*ip >= FD_SETSIZE) {
            throw clXSocket((std::string(cpRange) + ", select() takes those below " +
                             std::to_string(FD_SETSIZE))
                                .c_str());
        }
    }
}

// Returns the mask of the ready descriptors, 0 after a time-out; a null time-out waits for ever.
uint32_t Wait(const wait_t &wait, const char *cpRange, const int *ipSockH, unsigned uCount,
              const unsigned *upTimeoutMs)
{
    const int *const ipEnd = ipSockH + uCount;
    CheckRange(ipSockH, ipEnd, cpRange);
    fd_set setRead;
    FD_ZERO(&setRead);
    int iHighest = 0;
    for (const int *ip = ipSockH; ip != ipEnd; ++ip) {
        FD_SET(*ip, &setRead);
        iHighest = std::max(iHighest, *ip);
    }
    fd_set setWrite = setRead;
    fd_set setError = setRead;
    timeval limit = {};
    if (upTimeoutMs != nullptr) {
        limit.tv_sec = *upTimeoutMs / 1000;
        limit.tv_usec = static_cast<suseconds_t>(*upTimeoutMs % 1000) * 1000;
    }
    const int iReady =
        select(iHighest + 1, wait.bRead ? &setRead : nullptr, wait.bWrite ? &setWrite : nullptr,
               &setError, upTimeoutMs != nullptr ? &limit : nullptr);
    if (iReady < 0 && errno != EINTR) {
        throw clXSocket(wait.cpSelect, errno);
    }
    if (iReady <= 0) {
        return 0;
    }
    uint32_t uMask = 0;
    for (unsigned uIdx = 0; uIdx < uCount; ++uIdx) {
        if (FD_ISSET(ipSockH[uIdx], &setError)) {
            throw clXSocketError(wait.cpError);
        }
        if ((wait.bRead && FD_ISSET(ipSockH[uIdx], &setRead)) ||
            (wait.bWrite && FD_ISSET(ipSockH[uIdx], &setWrite))) {
            uMask |= uint32_t{1} << (uIdx % 32);
        }
    }
    return uMask;
}

} // namespace

// ---- clSocket ----

bool clSocket::WaitRead(unsigned uTimeoutMs)
{
    return Wait(WAIT_READ, "clSocket::WaitRead(): descriptor out of range", &iSockH, 1,
                &uTimeoutMs) != 0;
}

void clSocket::WaitRead()
{
    Wait(WAIT_READ, "clSocket::WaitRead(): descriptor out of range", &iSockH, 1, nullptr);
}

bool clSocket::WaitWrite(unsigned uTimeoutMs)
{
    return Wait(WAIT_WRITE, "clSocket::WaitWrite(): descriptor out of range", &iSockH, 1,
                &uTimeoutMs) != 0;
}

bool clSocket::WaitReadWrite(unsigned uTimeoutMs)
{
    return Wait(WAIT_READWRITE, "clSocket::WaitReadWrite(): descriptor out of range", &iSockH, 1,
                &uTimeoutMs) != 0;
}

// ---- clSocketOp ----

uint32_t clSocketOp::WaitRead(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs)
{
    if (ipSockH == nullptr) {
        throw clXSocket("clSocketOp::WaitRead(): ipSockH == NULL");
    }
    return Wait(WAIT_READ, "clSocketOp::WaitRead(): descriptor out of range", ipSockH, uCount,
                &uTimeoutMs);
}

uint32_t clSocketOp::WaitWrite(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs)
{
    if (ipSockH == nullptr) {
        throw clXSocket("clSocketOp::WaitWrite(): ipSockH == NULL");
    }
    return Wait(WAIT_WRITE, "clSocketOp::WaitWrite(): descriptor out of range", ipSockH, uCount,
                &uTimeoutMs);
}

uint32_t clSocketOp::WaitReadWrite(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs)
{
    if (ipSockH == nullptr) {
        throw clXSocket("clSocketOp::WaitReadWrite(): ipSockH == NULL");
    }
    return Wait(WAIT_READWRITE, "clSocketOp::WaitReadWrite(): descriptor out of range", ipSockH,
                uCount, &uTimeoutMs);
}
