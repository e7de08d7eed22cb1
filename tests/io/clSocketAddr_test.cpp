#include "io/clSocketAddr.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <memory>
#include <string>
#include <tuple>

#include <netdb.h>

namespace
{

std::string Detect(const char *cpText)
{
    const std::unique_ptr<clSocketAddr> pAddr(clSocketAddrDetect::GetAddr(clString(cpText)));
    return pAddr->AsStringPort().c_str();
}

} // namespace

TEST(clSocketAddr, FamiliesHaveNamesTextsAndSizeChecks)
{
    clSocketAddrLocal addrLocal;
    clSocketAddrIPv4 addrIPv4;
    clSocketAddrIPv6 addrIPv6;
    addrIPv4.Set("localhost", 65535);
    addrIPv6.Set("::1", 8080);
    const std::tuple<clSocketAddr &, std::string, const char *, int, const char *> aRows[] = {
        {addrLocal, "clSocketAddrLocal", "local", 1, ""},
        {addrIPv4, "clSocketAddrIPv4", "ipv4", 2, "127.0.0.1:65535"},
        {addrIPv6, "clSocketAddrIPv6", "ipv6", 10, "::1:8080"},
    };
    for (const auto &[addr, strClass, cpName, iFamily, cpText] : aRows) {
        SCOPED_TRACE(cpName);
        EXPECT_STREQ(cpName, addr.GetFamilyName());
        EXPECT_EQ(iFamily, addr.GetFamily());
        EXPECT_STREQ(cpText, addr.AsStringPort().c_str());
        EXPECT_THROW_MSG(addr.Set(nullptr, 16), clXSocketAddr,
                         strClass + "::Set(): spNewAddr == NULL");
        EXPECT_THROW_MSG(addr.Set(addr.GetSockAddr(), addr.GetSize() - 1), clXSocketAddr,
                         strClass + "::Set(): size mismatch");
    }
}

// Otherwise a caller that goes on would bind to all interfaces.
TEST(clSocketAddr, FailedSetKeepsTheOldAddress)
{
    clSocketAddrIPv4 addrIPv4;
    clSocketAddrIPv6 addrIPv6;
    addrIPv4.Set("127.0.0.1", 80);
    addrIPv6.Set("::1", 80);
    EXPECT_THROW(addrIPv4.Set("", 81), clXSocketAddr);
    EXPECT_THROW(addrIPv6.Set("", 81), clXSocketAddr);
    EXPECT_STREQ("127.0.0.1:80", addrIPv4.AsStringPort().c_str());
    EXPECT_STREQ("::1:80", addrIPv6.AsStringPort().c_str());
    addrIPv4.Set(static_cast<const char *>(nullptr), 81);
    EXPECT_STREQ("0.0.0.0:81", addrIPv4.AsStringPort().c_str());
}

TEST(clSocketAddrDetect, ChoosesByTextOrSize)
{
    EXPECT_EQ("127.0.0.1:0", Detect("127.0.0.1"));
    EXPECT_EQ("127.0.0.1:65535", Detect("127.0.0.1:65535"));
    EXPECT_THROW_MSG(Detect(":80"), clXSocketAddr, "clSocketAddrDetect::GetAddr(): syntax error");
    // The error number is the resolver's code.
    EXPECT_THROW_MSG(
        Detect(""), clXSocketAddr,
        clXSocketAddr("clSocketAddrDetect::GetAddr(): getaddrinfo()", EAI_NONAME).what());
    const sockaddr_storage raw = {};
    const auto *spRaw = reinterpret_cast<const sockaddr *>(&raw);
    for (const socklen_t size : {16U, 28U, 110U}) {
        SCOPED_TRACE(size);
        const std::unique_ptr<clSocketAddr> pAddr(clSocketAddrDetect::GetAddr(spRaw, size));
        EXPECT_EQ(size, pAddr->GetSize());
        EXPECT_THROW_MSG(clSocketAddrDetect::GetAddr(spRaw, size + 1), clXSocketAddr,
                         "clSocketAddrDetect::GetAddr(): no match");
    }
}
