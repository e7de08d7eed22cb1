#include "io/clSocket.h"

#include "base/clException.h"
#include "io/Descriptor.h"
#include "io/clSocketAddr.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h> // for TCP_NODELAY
#include <unistd.h>

namespace
{

// The option numbers of IPv4, used for both families. Compatibility: callers rely on it.
constexpr int MULTICAST_IF = 32;
constexpr int MULTICAST_TTL = 33;
constexpr int MULTICAST_LOOP = 34;
constexpr int MULTICAST_JOIN = 35;
constexpr int MULTICAST_LEAVE = 36;

bool IsFamily(const clSocketAddr &addr, const char *cpName)
{
    return std::strcmp(addr.GetFamilyName(), cpName) == 0;
}

in_addr AddrOfIPv4(const clSocketAddr &addr)
{
    return reinterpret_cast<const sockaddr_in *>(addr.GetSockAddr())->sin_addr;
}

const sockaddr_in6 &AddrOfIPv6(const clSocketAddr &addr)
{
    return *reinterpret_cast<const sockaddr_in6 *>(addr.GetSockAddr());
}

void SetMembership(clSocket &sock, int iName, const clSocketAddr &group,
                   const clSocketAddr *pInterface, const char *cpMismatch)
{
    const bool bIPv4 = IsFamily(group, "ipv4");
    if (!bIPv4 && !IsFamily(group, "ipv6")) {
        return;
    }
    if (pInterface != nullptr && !IsFamily(*pInterface, group.GetFamilyName())) {
        throw clXSocket(cpMismatch);
    }
    if (bIPv4) {
        ip_mreq request = {AddrOfIPv4(group), {}};
        if (pInterface != nullptr) {
            request.imr_interface = AddrOfIPv4(*pInterface);
        }
        sock.SetOption(IPPROTO_IP, iName, &request, sizeof(request));
    } else {
        ipv6_mreq request = {AddrOfIPv6(group).sin6_addr, 0};
        if (pInterface != nullptr) {
            request.ipv6mr_interface = AddrOfIPv6(*pInterface).sin6_scope_id;
        }
        sock.SetOption(IPPROTO_IPV6, iName, &request, sizeof(request));
    }
}

void SetMulticastByte(clSocket &sock, int iName, const clSocketAddr &addr, uint8_t uValue)
{
    if (IsFamily(addr, "ipv4")) {
        sock.SetOption(IPPROTO_IP, iName, &uValue, sizeof(uValue));
    } else if (IsFamily(addr, "ipv6")) {
        sock.SetOption(IPPROTO_IPV6, iName, &uValue, sizeof(uValue));
    }
}

} // namespace

clSocket::clSocket() = default;

clSocket &clSocket::operator=(const clSocket &source)
{
    bAutoClose = source.bAutoClose;
    iSockH = dup(source.iSockH);
    return *this;
}

clSocket::~clSocket() noexcept
{
    if (bAutoClose && iSockH >= 0) {
        CloseDescriptor(iSockH);
    }
}

// ---- opening and closing ----

void clSocket::Create(int iFamily, int iType, int iProtocol)
{
    Close();
    iSockH = ::socket(iFamily, iType, iProtocol);
    if (iSockH == -1) {
        throw clXSocket("clSocket::Create(): socket()", errno);
    }
}

void clSocket::CreatePair(int iFamily, int iType, int iProtocol, clSocket &other)
{
    if (&other == this) {
        throw clXSocket("clSocket::CreatePair(): BUG: other is the same socket");
    }
    Close();
    other.Close();
    int aSockH[2];
    if (::socketpair(iFamily, iType, iProtocol, aSockH) == -1) {
        throw clXSocket("clSocket::CreatePair(): socketpair()", errno);
    }
    iSockH = aSockH[0];
    other.iSockH = aSockH[1];
}

void clSocket::Bind(const clSocketAddr &addr)
{
    if (::bind(iSockH, addr.GetSockAddr(), addr.GetSize()) == -1) {
        throw clXSocket("clSocket::Bind(): bind()", errno);
    }
}

void clSocket::Listen(int iBacklog)
{
    if (::listen(iSockH, iBacklog) == -1) {
        throw clXSocket("clSocket::Listen(): listen()", errno);
    }
}

void clSocket::Connect(const clSocketAddr &addr)
{
    if (::connect(iSockH, addr.GetSockAddr(), addr.GetSize()) == -1) {
        throw clXSocket("clSocket::Connect(): connect()", errno);
    }
}

bool clSocket::Connect(const clSocketAddr &addr, int iTimeoutMs)
{
    SetBlocking(false);
    const int iResult = ::connect(iSockH, addr.GetSockAddr(), addr.GetSize());
    const int iConnectErrno = errno;
    // Before the wait, so that an exception leaves the socket blocking.
    SetBlocking(true);
    if (iResult == 0) {
        return true;
    }
    if (iConnectErrno != EINPROGRESS) {
        throw clXSocket("clSocket::Connect(): connect()", iConnectErrno);
    }
    return WaitReadWrite(static_cast<unsigned>(std::max(iTimeoutMs, 0)));
}

int clSocket::Accept(clSocketAddr **ppPeer, unsigned uTimeoutMs)
{
    if (ppPeer == nullptr) {
        return Accept(nullptr, nullptr, uTimeoutMs);
    }
    *ppPeer = nullptr;
    sockaddr_storage peer = {};
    socklen_t size = sizeof(peer);
    clSocket sockPeer;
    sockPeer.iSockH = Accept(reinterpret_cast<sockaddr *>(&peer), &size, uTimeoutMs);
    if (sockPeer.iSockH >= 0) {
        *ppPeer = clSocketAddrDetect::GetAddr(reinterpret_cast<const sockaddr *>(&peer), size);
    }
    sockPeer.bAutoClose = false;
    return sockPeer.iSockH;
}

int clSocket::Accept(std::nullptr_t, unsigned uTimeoutMs)
{
    return Accept(nullptr, nullptr, uTimeoutMs);
}

int clSocket::Accept(sockaddr *spPeer, socklen_t *pSize, unsigned uTimeoutMs)
{
    if (uTimeoutMs != 0) {
        try {
            if (!WaitRead(uTimeoutMs)) {
                return -1;
            }
        } catch (const clException &caught) {
            WrapException<clXSocket>("clSocket::Accept(): ", caught);
        }
    }
    const int iPeerH = ::accept(iSockH, spPeer, pSize);
    if (iPeerH == -1) {
        throw clXSocket("clSocket::Accept(): accept()", errno);
    }
    return iPeerH;
}

void clSocket::Shutdown(int iHow)
{
    if (::shutdown(iSockH, iHow) != 0) {
        throw clXSocket("clSocket::Shutdown(): shutdown()", errno);
    }
}

void clSocket::Close()
{
    if (iSockH < 0) {
        return;
    }
    // Linux closes the descriptor even when close(2) reports an error; a second close(2) could
    // close another thread's file.
    const int iOldH = iSockH;
    iSockH = -1;
    const int iError = CloseDescriptor(iOldH);
    if (iError != 0) {
        throw clXSocket("clSocket::Close(): close()", iError);
    }
}

// ---- transfer ----

ssize_t clSocket::Read(void *pBuffer, size_t sizeBuffer)
{
    const ssize_t lResult = ::read(iSockH, pBuffer, sizeBuffer);
    if (lResult == -1) {
        throw clXSocket("clSocket::Read(): read()", errno);
    }
    return lResult;
}

ssize_t clSocket::Write(const void *pBuffer, size_t sizeBuffer)
{
    // Equals write(2), but raises no signal when the peer has closed.
    ssize_t lResult = ::send(iSockH, pBuffer, sizeBuffer, MSG_NOSIGNAL);
    if (lResult == -1 && errno == ENOTSOCK) {
        lResult = WriteWithoutSignal(iSockH, pBuffer, sizeBuffer);
    }
    if (lResult == -1) {
        throw clXSocket("clSocket::Write(): write()", errno);
    }
    return lResult;
}

ssize_t clSocket::Recv(void *pBuffer, size_t sizeBuffer, int iFlags)
{
    const ssize_t lResult = ::recv(iSockH, pBuffer, sizeBuffer, iFlags);
    if (lResult == -1) {
        throw clXSocket("clSocket::Recv(): recv()", errno);
    }
    return lResult;
}

ssize_t clSocket::Send(const void *pBuffer, size_t sizeBuffer, int iFlags)
{
    const ssize_t lResult = ::send(iSockH, pBuffer, sizeBuffer, iFlags | MSG_NOSIGNAL);
    if (lResult == -1) {
        throw clXSocket("clSocket::Send(): send()", errno);
    }
    return lResult;
}

ssize_t clSocket::RecvFrom(void *pBuffer, size_t sizeBuffer, int iFlags, sockaddr *spFrom,
                           socklen_t *pSize)
{
    const ssize_t lResult = ::recvfrom(iSockH, pBuffer, sizeBuffer, iFlags, spFrom, pSize);
    if (lResult == -1) {
        throw clXSocket("clSocket::RecvFrom(): recvfrom()", errno);
    }
    return lResult;
}

ssize_t clSocket::SendTo(const void *pBuffer, size_t sizeBuffer, int iFlags, const sockaddr *spTo,
                         socklen_t size)
{
    const ssize_t lResult =
        ::sendto(iSockH, pBuffer, sizeBuffer, iFlags | MSG_NOSIGNAL, spTo, size);
    if (lResult == -1) {
        throw clXSocket("clSocket::SendTo(): sendto()", errno);
    }
    return lResult;
}

ssize_t clSocket::RecvMsg(msghdr *pMessage, int iFlags)
{
    const ssize_t lResult = ::recvmsg(iSockH, pMessage, iFlags);
    if (lResult == -1) {
        throw clXSocket("clSocket::RecvMsg(): recvmsg()", errno);
    }
    return lResult;
}

ssize_t clSocket::SendMsg(const msghdr *pMessage, int iFlags)
{
    const ssize_t lResult = ::sendmsg(iSockH, pMessage, iFlags | MSG_NOSIGNAL);
    if (lResult == -1) {
        throw clXSocket("clSocket::SendMsg(): sendmsg()", errno);
    }
    return lResult;
}

// ---- state, options and addresses ----

bool clSocket::IsConnected()
{
    if (iSockH < 0) {
        return false;
    }
    try {
        // Checked first, because bytes that came before a reset can still be peeked.
        int iError = 0;
        socklen_t size = sizeof(iError);
        GetOption(SOL_SOCKET, SO_ERROR, &iError, &size);
        if (iError != 0) {
            return false;
        }
        char cNext = 0;
        return !WaitRead(0) || Recv(&cNext, 1, MSG_PEEK) > 0;
    } catch (const std::exception &) {
        return false;
    }
}

void clSocket::SetOption(int iLevel, int iName, const void *pValue, socklen_t size)
{
    if (::setsockopt(iSockH, iLevel, iName, pValue, size) == -1) {
        throw clXSocket("clSocket::SetOption(): setsockopt()", errno);
    }
}

void clSocket::GetOption(int iLevel, int iName, void *pValue, socklen_t *pSize)
{
    if (::getsockopt(iSockH, iLevel, iName, pValue, pSize) == -1) {
        throw clXSocket("clSocket::GetOption(): getsockopt()", errno);
    }
}

void clSocket::SetBlocking(bool bBlocking)
{
    const int iFlags = ::fcntl(iSockH, F_GETFL);
    if (iFlags == -1) {
        throw clXSocket("clSocket::SetBlocking(): fcntl(F_GETFL)");
    }
    const int iNewFlags = bBlocking ? iFlags & ~O_NONBLOCK : iFlags | O_NONBLOCK;
    if (::fcntl(iSockH, F_SETFL, iNewFlags) == -1) {
        throw clXSocket("clSocket::SetBlocking(): fcntl(F_SETFL)");
    }
}

void clSocket::SetNagle(bool bEnable)
{
    try {
        const int iNoDelay = bEnable ? 0 : 1;
        SetOption(IPPROTO_TCP, TCP_NODELAY, &iNoDelay, sizeof(iNoDelay));
    } catch (const clException &caught) {
        WrapException<clXSocket>("clSocket::SetNagle(): ", caught);
    }
}

void clSocket::SetReUse(bool bEnable)
{
    try {
        const int iReUse = bEnable ? 1 : 0;
        SetOption(SOL_SOCKET, SO_REUSEADDR, &iReUse, sizeof(iReUse));
    } catch (const clException &caught) {
        WrapException<clXSocket>("clSocket::SetReUse(): ", caught);
    }
}

void clSocket::GetSockName(sockaddr *spAddr, socklen_t *pSize)
{
    if (::getsockname(iSockH, spAddr, pSize) == -1) {
        throw clXSocket("clSocket::GetSockName(): getsockname()", errno);
    }
}

void clSocket::GetPeerName(sockaddr *spAddr, socklen_t *pSize)
{
    if (::getpeername(iSockH, spAddr, pSize) == -1) {
        throw clXSocket("clSocket::GetPeerName(): getpeername()", errno);
    }
}

clSocketAddr *clSocket::GetSockName()
{
    sockaddr_storage addr = {};
    socklen_t size = sizeof(addr);
    GetSockName(reinterpret_cast<sockaddr *>(&addr), &size);
    return clSocketAddrDetect::GetAddr(reinterpret_cast<const sockaddr *>(&addr), size);
}

clSocketAddr *clSocket::GetPeerName()
{
    sockaddr_storage addr = {};
    socklen_t size = sizeof(addr);
    GetPeerName(reinterpret_cast<sockaddr *>(&addr), &size);
    return clSocketAddrDetect::GetAddr(reinterpret_cast<const sockaddr *>(&addr), size);
}

// ---- multicast ----

void clSocket::JoinGroup(const clSocketAddr &group, const clSocketAddr *pInterface)
{
    SetMembership(*this, MULTICAST_JOIN, group, pInterface,
                  "clSocket::JoinGroup(): interface of another family");
}

void clSocket::LeaveGroup(const clSocketAddr &group, const clSocketAddr *pInterface)
{
    SetMembership(*this, MULTICAST_LEAVE, group, pInterface,
                  "clSocket::LeaveGroup(): interface of another family");
}

void clSocket::SetMulticastIf(const clSocketAddr &addr)
{
    if (IsFamily(addr, "ipv4")) {
        const in_addr value = AddrOfIPv4(addr);
        SetOption(IPPROTO_IP, MULTICAST_IF, &value, sizeof(value));
    } else if (IsFamily(addr, "ipv6")) {
        const in6_addr &value = AddrOfIPv6(addr).sin6_addr;
        SetOption(IPPROTO_IPV6, MULTICAST_IF, &value, sizeof(value));
    }
}

void clSocket::SetMulticastTTL(const clSocketAddr &addr, uint8_t uHops)
{
    SetMulticastByte(*this, MULTICAST_TTL, addr, uHops);
}

void clSocket::SetMulticastLoop(const clSocketAddr &addr, bool bLoop)
{
    SetMulticastByte(*this, MULTICAST_LOOP, addr, bLoop ? 1 : 0);
}
