#include "io/clSocketAddr.h"

#include "base/clException.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <arpa/inet.h> // for inet_ntop(), inet_pton()
#include <netdb.h>

// clSocketAddrDetect distinguishes the families by these sizes.
static_assert(sizeof(sockaddr_in) == 16 && sizeof(sockaddr_in6) == 28 &&
              sizeof(sockaddr_un) == 110);

namespace
{

struct ListDeleter {
    void operator()(addrinfo *pList) const noexcept { freeaddrinfo(pList); }
};
using list_t = std::unique_ptr<addrinfo, ListDeleter>;

// Resolves a name in one family, the best answer first; null when there is none.
list_t Resolve(const char *cpHost, int iFamily)
{
    addrinfo hints = {};
    hints.ai_family = iFamily;
    addrinfo *pFound = nullptr;
    // The resolver does not always set errno; the value of an earlier call must not be reported.
    errno = 0;
    if (getaddrinfo(cpHost, nullptr, &hints, &pFound) != 0) {
        return nullptr;
    }
    return list_t(pFound);
}

clString HostName(const clSocketAddr &addr, const char *cpFailure)
{
    char aHost[255];
    errno = 0;
    if (getnameinfo(addr.GetSockAddr(), addr.GetSize(), aHost, sizeof(aHost), nullptr, 0, 0) != 0) {
        throw clXSocketAddr(cpFailure, errno);
    }
    return clString(aHost);
}

clString WithPort(const clString &strHost, uint16_t uPort)
{
    clString strPort;
    strPort = static_cast<unsigned long>(uPort);
    return strHost + ":" + strPort;
}

template <class T>
clSocketAddr *MakeAddr(const sockaddr *spAddr, socklen_t size)
{
    auto pAddr = std::make_unique<T>();
    pAddr->Set(spAddr, size);
    return pAddr.release();
}

} // namespace

// ---- clSocketAddr ----

clSocketAddr::~clSocketAddr() = default;

const char *clSocketAddr::GetFamilyName() const
{
    return "null";
}

int clSocketAddr::GetFamily() const
{
    return 0;
}

const sockaddr *clSocketAddr::GetSockAddr() const
{
    return nullptr;
}

socklen_t clSocketAddr::GetSize() const
{
    return 0;
}

void clSocketAddr::Set(const sockaddr * /*spNewAddr*/, socklen_t /*size*/) {}

clString clSocketAddr::AsString() const
{
    return clString();
}

clString clSocketAddr::AsStringPort() const
{
    return AsString();
}

clString clSocketAddr::AsHostName() const
{
    return clString();
}

// ---- clSocketAddrLocal ----

const char *clSocketAddrLocal::GetFamilyName() const
{
    return "local";
}

int clSocketAddrLocal::GetFamily() const
{
    return AF_LOCAL;
}

const sockaddr *clSocketAddrLocal::GetSockAddr() const
{
    return reinterpret_cast<const sockaddr *>(&addrLocal);
}

socklen_t clSocketAddrLocal::GetSize() const
{
    return sizeof(addrLocal);
}

void clSocketAddrLocal::Set(const sockaddr *spNewAddr, socklen_t size)
{
    if (spNewAddr == nullptr) {
        throw clXSocketAddr("clSocketAddrLocal::Set(): spNewAddr == NULL");
    }
    if (size != sizeof(addrLocal)) {
        throw clXSocketAddr("clSocketAddrLocal::Set(): size mismatch");
    }
    std::memmove(&addrLocal, spNewAddr, sizeof(addrLocal));
}

clString clSocketAddrLocal::AsString() const
{
    // A raw structure may fill the whole field, without a terminator.
    return clString(addrLocal.sun_path, sizeof(addrLocal.sun_path) + 1, 0);
}

void clSocketAddrLocal::Copy(const clSocketAddrLocal &source)
{
    addrLocal = source.addrLocal;
}

void clSocketAddrLocal::Set(const char *cpPath)
{
    sockaddr_un addrNew = {AF_LOCAL, {}};
    if (cpPath != nullptr) {
        std::strncpy(addrNew.sun_path, cpPath, sizeof(addrNew.sun_path) - 1);
    }
    addrLocal = addrNew;
}

// ---- clSocketAddrIPv4 ----

const char *clSocketAddrIPv4::GetFamilyName() const
{
    return "ipv4";
}

int clSocketAddrIPv4::GetFamily() const
{
    return AF_INET;
}

const sockaddr *clSocketAddrIPv4::GetSockAddr() const
{
    return reinterpret_cast<const sockaddr *>(&addrIPv4);
}

socklen_t clSocketAddrIPv4::GetSize() const
{
    return sizeof(addrIPv4);
}

void clSocketAddrIPv4::Set(const sockaddr *spNewAddr, socklen_t size)
{
    if (spNewAddr == nullptr) {
        throw clXSocketAddr("clSocketAddrIPv4::Set(): spNewAddr == NULL");
    }
    if (size != sizeof(addrIPv4)) {
        throw clXSocketAddr("clSocketAddrIPv4::Set(): size mismatch");
    }
    std::memmove(&addrIPv4, spNewAddr, sizeof(addrIPv4));
}

clString clSocketAddrIPv4::AsString() const
{
    char aText[INET_ADDRSTRLEN];
    if (inet_ntop(AF_INET, &addrIPv4.sin_addr, aText, sizeof(aText)) == nullptr) {
        throw clXSocketAddr("clSocketAddrIPv4::AsString(): inet_ntop()");
    }
    return clString(aText);
}

clString clSocketAddrIPv4::AsStringPort() const
{
    return WithPort(AsString(), GetPort());
}

clString clSocketAddrIPv4::AsHostName() const
{
    return HostName(*this, "clSocketAddrIPv4::AsHostName(): getnameinfo()");
}

clString clSocketAddrIPv4::AsHostNamePort() const
{
    return WithPort(AsHostName(), GetPort());
}

uint16_t clSocketAddrIPv4::GetPort() const
{
    return ntohs(addrIPv4.sin_port);
}

void clSocketAddrIPv4::Copy(const clSocketAddrIPv4 &source)
{
    addrIPv4 = source.addrIPv4;
}

void clSocketAddrIPv4::Set(const char *cpHost, uint16_t uPort)
{
    sockaddr_in addrNew = {AF_INET, htons(uPort), {}, {}};
    if (cpHost == nullptr) {
        addrIPv4 = addrNew;
        return;
    }
    const int iParsed = inet_pton(AF_INET, cpHost, &addrNew.sin_addr);
    if (iParsed < 0) {
        throw clXSocketAddr("clSocketAddrIPv4::Set(): inet_pton()", errno);
    }
    if (iParsed == 0) {
        const list_t pList = Resolve(cpHost, AF_INET);
        if (pList == nullptr) {
            throw clXSocketAddr("clSocketAddrIPv4::Set(): getaddrinfo()", errno);
        }
        addrNew.sin_addr = reinterpret_cast<const sockaddr_in *>(pList->ai_addr)->sin_addr;
    }
    addrIPv4 = addrNew;
}

// ---- clSocketAddrIPv6 ----

const char *clSocketAddrIPv6::GetFamilyName() const
{
    return "ipv6";
}

int clSocketAddrIPv6::GetFamily() const
{
    return AF_INET6;
}

const sockaddr *clSocketAddrIPv6::GetSockAddr() const
{
    return reinterpret_cast<const sockaddr *>(&addrIPv6);
}

socklen_t clSocketAddrIPv6::GetSize() const
{
    return sizeof(addrIPv6);
}

void clSocketAddrIPv6::Set(const sockaddr *spNewAddr, socklen_t size)
{
    if (spNewAddr == nullptr) {
        throw clXSocketAddr("clSocketAddrIPv6::Set(): spNewAddr == NULL");
    }
    if (size != sizeof(addrIPv6)) {
        throw clXSocketAddr("clSocketAddrIPv6::Set(): size mismatch");
    }
    std::memmove(&addrIPv6, spNewAddr, sizeof(addrIPv6));
}

clString clSocketAddrIPv6::AsString() const
{
    char aText[INET6_ADDRSTRLEN];
    if (inet_ntop(AF_INET6, &addrIPv6.sin6_addr, aText, sizeof(aText)) == nullptr) {
        throw clXSocketAddr("clSocketAddrIPv6::AsString(): inet_ntop()");
    }
    return clString(aText);
}

clString clSocketAddrIPv6::AsStringPort() const
{
    return WithPort(AsString(), GetPort());
}

clString clSocketAddrIPv6::AsHostName() const
{
    return HostName(*this, "clSocketAddrIPv6::AsHostName(): getnameinfo()");
}

clString clSocketAddrIPv6::AsHostNamePort() const
{
    return WithPort(AsHostName(), GetPort());
}

uint16_t clSocketAddrIPv6::GetPort() const
{
    return ntohs(addrIPv6.sin6_port);
}

void clSocketAddrIPv6::Copy(const clSocketAddrIPv6 &source)
{
    addrIPv6 = source.addrIPv6;
}

void clSocketAddrIPv6::Set(const char *cpHost, uint16_t uPort)
{
    sockaddr_in6 addrNew = {AF_INET6, htons(uPort), 0, {}, 0};
    if (cpHost == nullptr) {
        addrIPv6 = addrNew;
        return;
    }
    const int iParsed = inet_pton(AF_INET6, cpHost, &addrNew.sin6_addr);
    if (iParsed < 0) {
        throw clXSocketAddr("clSocketAddrIPv6::Set(): inet_pton()", errno);
    }
    if (iParsed == 0) {
        const list_t pList = Resolve(cpHost, AF_INET6);
        if (pList == nullptr) {
            throw clXSocketAddr("clSocketAddrIPv6::Set(): getaddrinfo()", errno);
        }
        // A link-local address is usable only with its interface.
        const auto *spFound = reinterpret_cast<const sockaddr_in6 *>(pList->ai_addr);
        addrNew.sin6_addr = spFound->sin6_addr;
        addrNew.sin6_scope_id = spFound->sin6_scope_id;
    }
    addrIPv6 = addrNew;
}

// ---- clSocketAddrDetect ----

clSocketAddr *clSocketAddrDetect::GetAddr(const sockaddr *spAddr, socklen_t size)
{
    switch (size) {
    case sizeof(sockaddr_in):
        return MakeAddr<clSocketAddrIPv4>(spAddr, size);
    case sizeof(sockaddr_in6):
        return MakeAddr<clSocketAddrIPv6>(spAddr, size);
    case sizeof(sockaddr_un):
        return MakeAddr<clSocketAddrLocal>(spAddr, size);
    default:
        throw clXSocketAddr("clSocketAddrDetect::GetAddr(): no match");
    }
}

clSocketAddr *clSocketAddrDetect::GetAddr(const clString &strText)
{
    const size_t sizeNode = strText.Find(':');
    if (sizeNode == 0) {
        throw clXSocketAddr("clSocketAddrDetect::GetAddr(): syntax error");
    }
    if (sizeNode == clString::NOT_FOUND) {
        return GetAddr(strText.c_str(), "0");
    }
    const clString strNode(strText.c_str(), sizeNode + 1, 0);
    return GetAddr(strNode.c_str(), strText.c_str() + sizeNode + 1);
}

clSocketAddr *clSocketAddrDetect::GetAddr(const char *cpNode, const char *cpService)
{
    addrinfo *pFound = nullptr;
    const int iResult = getaddrinfo(cpNode, cpService, nullptr, &pFound);
    if (iResult != 0) {
        // The resolver's code replaces the errno. Compatibility: callers read it from iErrno.
        throw clXSocketAddr("clSocketAddrDetect::GetAddr(): getaddrinfo()", iResult);
    }
    const list_t pList(pFound);
    switch (pList->ai_family) {
    case AF_INET:
        return MakeAddr<clSocketAddrIPv4>(pList->ai_addr, pList->ai_addrlen);
    case AF_INET6:
        return MakeAddr<clSocketAddrIPv6>(pList->ai_addr, pList->ai_addrlen);
    default:
        clString strFamily;
        strFamily = static_cast<unsigned long>(pList->ai_family);
        throw clXSocketAddr(
            (clString("clSocketAddrDetect::GetAddr(): unknown family ") + strFamily).c_str());
    }
}
