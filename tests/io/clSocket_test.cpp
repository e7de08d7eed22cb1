#include "io/clSocket.h"

#include "base/clException.h"
#include "io/clSocketAddr.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TempFolder.h"

#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>

namespace
{

struct Socket : clSocket {
    explicit Socket(int iFamily, int iType = SOCK_STREAM) { Create(iFamily, iType, 0); }
};

// A socket bound to a free port of 127.0.0.1.
struct Bound : Socket {
    std::unique_ptr<clSocketAddr> pAddr;

    explicit Bound(int iType) : Socket(AF_INET, iType)
    {
        clSocketAddrIPv4 addr;
        addr.Set("127.0.0.1", 0);
        SetReUse(true);
        Bind(addr);
        pAddr.reset(GetSockName());
    }
};

struct Listener : Bound {
    // The backlog has room for one connection.
    Listener() : Bound(SOCK_STREAM) { Listen(0); }
};

// Two connected sockets.
struct Pair {
    clSocket near;
    clSocket far;

    Pair() { near.CreatePair(AF_LOCAL, SOCK_STREAM, 0, far); }
};

// A call and the text of its failure, without the class and the system's part.
using calls_t = std::vector<std::pair<std::string, std::function<void()>>>;

void ExpectFailures(int iErrorNumber, const calls_t &calls)
{
    for (const auto &[strText, call] : calls) {
        SCOPED_TRACE(strText);
        const clXSocket failure(("clSocket::" + strText).c_str(), iErrorNumber);
        EXPECT_THROW_MSG(call(), clXSocket, failure.what());
    }
}

} // namespace

TEST(clSocket, FailingCallsNameThemselves)
{
    clSocket sock;
    clSocketAddrIPv4 addr;
    char c = 0;
    socklen_t size = 1;
    msghdr message = {};
    ExpectFailures(
        EBADF,
        {
            {"Bind(): bind()", [&] { sock.Bind(addr); }},
            {"Listen(): listen()", [&] { sock.Listen(1); }},
            {"Connect(): connect()", [&] { sock.Connect(addr); }},
            {"Accept(): accept()", [&] { sock.Accept(); }},
            {"Shutdown(): shutdown()", [&] { sock.Shutdown(SHUT_RD); }},
            {"Read(): read()", [&] { sock.Read(&c, 1); }},
            {"RecvFrom(): recvfrom()", [&] { sock.RecvFrom(&c, 1, 0, nullptr, nullptr); }},
            {"RecvMsg(): recvmsg()", [&] { sock.RecvMsg(&message, 0); }},
            {"SetNagle(): clSocket::SetOption(): setsockopt()", [&] { sock.SetNagle(true); }},
            {"SetReUse(): clSocket::SetOption(): setsockopt()", [&] { sock.SetReUse(true); }},
            {"GetOption(): getsockopt()", [&] { sock.GetOption(1, 1, &c, &size); }},
            {"GetSockName(): getsockname()", [&] { sock.GetSockName(); }},
            {"GetPeerName(): getpeername()", [&] { sock.GetPeerName(); }},
        });
    EXPECT_THROW_MSG(sock.SetBlocking(true), clXSocket, "clSocket::SetBlocking(): fcntl(F_GETFL)");
    ExpectFailures(EAFNOSUPPORT, {{"Create(): socket()", [&] { sock.Create(-1, 1, 0); }}});

    // A closed peer raises no signal.
    Pair pair;
    pair.far.Close();
    ExpectFailures(EPIPE,
                   {
                       {"Write(): write()", [&] { pair.near.Write("x", 1); }},
                       {"Send(): send()", [&] { pair.near.SendLine("x"); }},
                       {"SendTo(): sendto()", [&] { pair.near.SendTo("x", 1, 0, nullptr, 0); }},
                       {"SendMsg(): sendmsg()", [&] { pair.near.SendMsg(&message, 0); }},
                   });
}

TEST(clSocket, WriteToAPipeRaisesNoSignal)
{
    int aPipeH[2];
    ASSERT_EQ(0, pipe(aPipeH));
    clSocket near;
    clSocket far;
    far.iSockH = aPipeH[0];
    near.iSockH = aPipeH[1];
    char aText[4] = {};
    EXPECT_EQ(3, near.Write("abc", 3));
    EXPECT_EQ(0, near.Write(nullptr, 0));
    EXPECT_EQ(3, far.Read(aText, 3));
    EXPECT_STREQ("abc", aText);
    far.Close();

    std::signal(SIGPIPE, SIG_DFL);
    const calls_t calls = {{"Write(): write()", [&] { near.Write("x", 1); }}};
    ExpectFailures(EPIPE, calls);
    sigset_t set;
    pthread_sigmask(SIG_BLOCK, nullptr, &set);
    EXPECT_FALSE(sigismember(&set, SIGPIPE));

    // A signal that the caller has pending stays pending.
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    for (const bool bRaised : {false, true}) {
        SCOPED_TRACE(bRaised);
        if (bRaised) {
            raise(SIGPIPE);
        }
        ExpectFailures(EPIPE, calls);
        const timespec now = {};
        EXPECT_EQ(bRaised ? SIGPIPE : -1, sigtimedwait(&set, nullptr, &now));
    }
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

TEST(clSocket, DescriptorsAreOwned)
{
    const DescriptorCheck check;
    Pair pair;
    pair.near.CreatePair(AF_LOCAL, SOCK_STREAM, 0, pair.far);
    pair.near.Create(AF_LOCAL, SOCK_STREAM, 0);
    clSocket copy;
    copy = pair.far;
    EXPECT_EQ(check.uBefore + 3, CountDescriptors());
    clSocket borrower;
    borrower.iSockH = copy.iSockH;
    borrower.bAutoClose = false;
    ::close(pair.near.iSockH);
    ExpectFailures(EBADF, {{"Close(): close()", [&] { pair.near.Close(); }}});
}

TEST(clSocket, WaitsRefuseDescriptorsOutOfRange)
{
    clSocket sock;
    sock.bAutoClose = false;
    const std::pair<int, std::string> aRows[] = {
        {-1, ": descriptor out of range"},
        {FD_SETSIZE,
         ": descriptor out of range, select() takes those below " + std::to_string(FD_SETSIZE)},
    };
    for (const auto &[iHandle, strReason] : aRows) {
        const int iSockH = iHandle;
        sock.iSockH = iSockH;
        const calls_t calls = {
            {"clSocket::WaitRead()", [&] { sock.WaitRead(0); }},
            {"clSocket::WaitWrite()", [&] { sock.WaitWrite(0); }},
            {"clSocket::Accept(): clSocket::WaitRead()", [&] { sock.Accept(nullptr, 1); }},
            {"clSocketOp::WaitRead()", [&] { clSocketOp::WaitRead(&iSockH, 1, 0); }},
            {"clSocketOp::WaitWrite()", [&] { clSocketOp::WaitWrite(&iSockH, 1, 0); }},
        };
        for (const auto &[strText, call] : calls) {
            SCOPED_TRACE(strText);
            EXPECT_THROW_MSG(call(), clXSocket, strText + strReason);
        }
    }
}

TEST(clSocketOp, MaskBitsAreModulo32)
{
    Pair quiet;
    Pair ready;
    ready.far.Send("x", 1, 0);
    std::vector<int> sockets(35, quiet.near.iSockH);
    sockets[1] = sockets[31] = sockets[32] = ready.near.iSockH;
    EXPECT_EQ(2U, clSocketOp::WaitRead(sockets.data(), 31, 0));
    EXPECT_EQ(0x80000003U, clSocketOp::WaitRead(sockets.data(), 35, 0));
    EXPECT_EQ(0xffffffffU, clSocketOp::WaitReadWrite(sockets.data(), 35, 0));
}

TEST(clSocket, GetLineEndsAtLineFeedOrZero)
{
    Pair pair;
    pair.far.Send("a\rb\r\nX: a\0\n", 11, 0);
    clString strLine("old");
    for (const std::string strExpected : {"a", "X: a", ""}) {
        SCOPED_TRACE(strExpected);
        EXPECT_EQ(static_cast<ssize_t>(strExpected.size()), pair.near.GetLine(strLine));
        EXPECT_EQ(strExpected, strLine.c_str());
    }
    EXPECT_EQ(-1, pair.near.GetLine(strLine, 1)) << "bytes left";
    pair.far.Send("half", 4, 0);
    pair.far.Close();
    EXPECT_EQ(0, pair.near.GetLine(strLine));
    EXPECT_STREQ("half", strLine.c_str());
}

TEST(clSocket, TimedConnectRestoresBlocking)
{
    Listener listener;
    Socket first(AF_INET);
    EXPECT_TRUE(first.Connect(*listener.pAddr, 1000));
    listener.WaitRead();
    // The backlog is full, so the next one gets no answer.
    Socket second(AF_INET);
    EXPECT_FALSE(second.Connect(*listener.pAddr, 20));
    Socket third(AF_LOCAL);
    ExpectFailures(EINVAL, {{"Connect(): connect()", [&] { third.Connect(*listener.pAddr, 9); }}});
    for (const clSocket *pSock : {&first, &second, &third}) {
        EXPECT_EQ(0, fcntl(pSock->iSockH, F_GETFL) & O_NONBLOCK) << pSock->iSockH;
    }
}

TEST(clSocket, AcceptReturnsThePeerAddressOrCloses)
{
    Listener listener;
    clSocketAddr *pPeer = nullptr;
    EXPECT_EQ(-1, listener.Accept(&pPeer, 1));
    Socket client(AF_INET);
    client.Connect(*listener.pAddr);
    clSocket server;
    server.iSockH = listener.Accept(&pPeer, 1000);
    const std::unique_ptr<clSocketAddr> pOwnedPeer(pPeer);
    const std::unique_ptr<clSocketAddr> pName(client.GetSockName());
    EXPECT_STREQ(pName->AsStringPort().c_str(), pOwnedPeer->AsStringPort().c_str());

    // The address of an unnamed local peer has another size.
    const TempFolder folder;
    clSocketAddrLocal addr;
    addr.Set(folder.Path("socket").c_str());
    Socket local(AF_LOCAL);
    local.Bind(addr);
    local.Listen(1);
    Socket caller(AF_LOCAL);
    caller.Connect(addr);
    const DescriptorCheck check;
    EXPECT_THROW_MSG(local.Accept(&pPeer), clXSocketAddr,
                     "clSocketAddrDetect::GetAddr(): no match");
    EXPECT_EQ(nullptr, pPeer);
}

TEST(clSocket, IsConnectedChecksErrorsFirst)
{
    Listener listener;
    Socket near(AF_INET);
    near.Connect(*listener.pAddr);
    clSocket far;
    far.iSockH = listener.Accept();
    EXPECT_TRUE(near.IsConnected());
    // The byte can still be peeked after the reset.
    far.Send("x", 1, 0);
    const linger now = {1, 0};
    far.SetOption(SOL_SOCKET, SO_LINGER, &now, sizeof(now));
    far.Close();
    pollfd reset = {near.iSockH, 0, 0};
    poll(&reset, 1, -1);
    EXPECT_FALSE(near.IsConnected());
}

TEST(clSocket, DatagramsKeepTheirSizeAndSender)
{
    Bound near(SOCK_DGRAM);
    Bound far(SOCK_DGRAM);
    near.SendTo("one", 3, 0, far.pAddr->GetSockAddr(), far.pAddr->GetSize());
    char aText[8] = {};
    sockaddr_in from = {};
    socklen_t size = sizeof(from);
    EXPECT_EQ(3, far.RecvFrom(aText, 8, 0, reinterpret_cast<sockaddr *>(&from), &size));
    clSocketAddrIPv4 sender;
    sender.Set(reinterpret_cast<const sockaddr *>(&from), size);
    far.Connect(sender);
    const std::unique_ptr<clSocketAddr> pPeer(far.GetPeerName());
    EXPECT_STREQ(near.pAddr->AsStringPort().c_str(), pPeer->AsStringPort().c_str());

    iovec part = {aText, sizeof(aText)};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    EXPECT_EQ(8, far.SendMsg(&message, 0));
    EXPECT_EQ(8, near.RecvMsg(&message, 0));
}

TEST(clSocket, MulticastSettingsReachTheSystem)
{
    Socket sock(AF_INET, SOCK_DGRAM);
    clSocketAddrIPv4 group;
    clSocketAddrIPv4 near;
    group.Set("239.1.2.3", 0);
    near.Set("127.0.0.1", 0);
    sock.SetMulticastTTL(group, 7);
    sock.SetMulticastLoop(group, false);
    sock.SetMulticastIf(near);
    const std::tuple<int, socklen_t, uint32_t> aRows[] = {
        {IP_MULTICAST_TTL, 1, 7},
        {IP_MULTICAST_LOOP, 1, 0},
        {IP_MULTICAST_IF, 4, htonl(INADDR_LOOPBACK)},
    };
    for (auto [iName, size, uExpected] : aRows) {
        SCOPED_TRACE(iName);
        uint32_t uValue = 0;
        sock.GetOption(IPPROTO_IP, iName, &uValue, &size);
        EXPECT_EQ(uExpected, uValue);
    }
    sock.JoinGroup(group, &near);
    sock.LeaveGroup(group, &near);
    const std::string strOption = "SetOption(): setsockopt()";
    ExpectFailures(EADDRNOTAVAIL, {{strOption, [&] { sock.LeaveGroup(group, &near); }}});

    // The group's family selects the level; a family without groups is ignored.
    clSocketAddrIPv6 group6;
    group6.Set("ff02::1", 0);
    EXPECT_THROW_MSG(sock.JoinGroup(group6, &near), clXSocket,
                     "clSocket::JoinGroup(): interface of another family");
    ExpectFailures(ENOPROTOOPT, {{strOption, [&] { sock.SetMulticastIf(group6); }},
                                 {strOption, [&] { sock.SetMulticastTTL(group6, 1); }}});
    sock.JoinGroup(clSocketAddrLocal());
    sock.SetMulticastTTL(clSocketAddrLocal(), 1);
}
