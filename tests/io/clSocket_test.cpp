#include "io/clSocket.h"

#include "base/clException.h"
#include "io/clSocketAddr.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TempFolder.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>

namespace
{

struct Socket : clSocket {
    explicit Socket(int iFamily) { Create(iFamily, SOCK_STREAM, 0); }
};

struct Listener : Socket {
    std::unique_ptr<clSocketAddr> pAddr;

    Listener() : Socket(AF_INET)
    {
        clSocketAddrIPv4 addr;
        addr.Set("127.0.0.1", 0);
        Bind(addr);
        Listen(0); // room for one connection that is not accepted yet
        pAddr.reset(GetSockName());
    }
};

// Two connected sockets.
struct Pair {
    clSocket near;
    clSocket far;

    Pair() { near.CreatePair(AF_LOCAL, SOCK_STREAM, 0, far); }
};

// Waits for what the other end has already sent.
void Await(const clSocket &sock, short iEvents)
{
    pollfd one = {sock.iSockH, iEvents, 0};
    poll(&one, 1, -1);
}

// A call and the start of what it says when it fails.
using call_t = std::pair<std::string, std::function<void()>>;

void ExpectFailures(int iErrorNumber, const std::vector<call_t> &calls)
{
    for (const auto &[strText, call] : calls) {
        EXPECT_THROW_MSG(call(), clXSocket, clXSocket(strText.c_str(), iErrorNumber).what());
    }
}

} // namespace

TEST(clSocket, FailingCallsNameThemselves)
{
    clSocket sock;
    clSocketAddrIPv4 addr;
    char c = 0;
    socklen_t size = 1;
    msghdr header = {};
    const std::string strNagle = "clSocket::SetNagle(): clSocket::SetOption(): setsockopt()";
    const std::vector<call_t> calls = {
        {"clSocket::Bind(): bind()", [&] { sock.Bind(addr); }},
        {"clSocket::Listen(): listen()", [&] { sock.Listen(1); }},
        {"clSocket::Connect(): connect()", [&] { sock.Connect(addr); }},
        {"clSocket::Accept(): accept()", [&] { sock.Accept(); }},
        {"clSocket::Shutdown(): shutdown()", [&] { sock.Shutdown(SHUT_RD); }},
        {"clSocket::Read(): read()", [&] { sock.Read(&c, 1); }},
        {"clSocket::RecvFrom(): recvfrom()", [&] { sock.RecvFrom(&c, 1, 0, nullptr, nullptr); }},
        {"clSocket::RecvMsg(): recvmsg()", [&] { sock.RecvMsg(&header, 0); }},
        {strNagle, [&] { sock.SetNagle(true); }},
        {"clSocket::SetReUse(): clSocket::SetOption(): setsockopt()", [&] { sock.SetReUse(true); }},
        {"clSocket::GetOption(): getsockopt()", [&] { sock.GetOption(1, 1, &c, &size); }},
        {"clSocket::GetSockName(): getsockname()", [&] { sock.GetSockName(); }},
        {"clSocket::GetPeerName(): getpeername()", [&] { sock.GetPeerName(); }},
    };
    ExpectFailures(EBADF, calls);
    EXPECT_THROW_MSG(sock.SetBlocking(true), clXSocket, "clSocket::SetBlocking(): fcntl(F_GETFL)");
    ExpectFailures(EAFNOSUPPORT,
                   {{"clSocket::Create(): socket()", [&] { sock.Create(-1, 1, 0); }}});

    // A peer that has vanished is no signal.
    Pair pair;
    pair.far.Close();
    const msghdr message = {};
    const std::vector<call_t> sends = {
        {"clSocket::Write(): write()", [&] { pair.near.Write("x", 1); }},
        {"clSocket::Send(): send()", [&] { pair.near.SendLine("x"); }},
        {"clSocket::SendTo(): sendto()", [&] { pair.near.SendTo("x", 1, 0, nullptr, 0); }},
        {"clSocket::SendMsg(): sendmsg()", [&] { pair.near.SendMsg(&message, 0); }},
    };
    ExpectFailures(EPIPE, sends);
}

TEST(clSocket, DescriptorsAreOwned)
{
    const DescriptorCheck check;
    Pair pair;
    pair.near.CreatePair(AF_LOCAL, SOCK_STREAM, 0, pair.far);
    pair.near.Create(AF_LOCAL, SOCK_STREAM, 0);
    clSocket copy;
    copy = pair.far;
    EXPECT_EQ(check.sizeBefore + 3, CountDescriptors());
    clSocket borrower;
    borrower.iSockH = copy.iSockH;
    borrower.bAutoClose = false;
    ::close(pair.near.iSockH);
    ExpectFailures(EBADF, {{"clSocket::Close(): close()", [&] { pair.near.Close(); }}});
}

TEST(clSocket, WaitsRefuseDescriptorsThatFitInNoSet)
{
    clSocket sock;
    sock.bAutoClose = false;
    for (const int iSockH : {-1, FD_SETSIZE}) {
        sock.iSockH = iSockH;
        const call_t aRows[] = {
            {"clSocket::WaitRead()", [&] { sock.WaitRead(0); }},
            {"clSocket::WaitWrite()", [&] { sock.WaitWrite(0); }},
            {"clSocket::Accept(): clSocket::WaitRead()", [&] { sock.Accept(nullptr, 1); }},
            {"clSocketOp::WaitRead()", [&] { clSocketOp::WaitRead(&iSockH, 1, 0); }},
            {"clSocketOp::WaitWrite()", [&] { clSocketOp::WaitWrite(&iSockH, 1, 0); }},
        };
        for (const auto &[strText, call] : aRows) {
            EXPECT_THROW_MSG(call(), clXSocket, strText + ": descriptor out of range");
        }
    }
}

TEST(clSocketOp, WaitsCountMasksModulo32)
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
    const std::pair<std::string, std::vector<std::string>> aRows[] = {
        {"a\rb\r\n\r\n", {"a", ""}},
        {std::string("X: a\0b\n\0", 8), {"X: a", "b", ""}},
    };
    for (const auto &[strSent, lines] : aRows) {
        Pair pair;
        pair.far.Send(strSent.data(), strSent.size(), 0);
        clString strLine("old");
        for (const std::string &strExpected : lines) {
            EXPECT_EQ(static_cast<ssize_t>(strExpected.size()), pair.near.GetLine(strLine));
            EXPECT_EQ(strExpected, strLine.c_str());
        }
        EXPECT_EQ(-1, pair.near.GetLine(strLine, 1)) << "not all bytes consumed";
        pair.far.Send("half", 4, 0);
        pair.far.Close();
        EXPECT_EQ(0, pair.near.GetLine(strLine));
        EXPECT_STREQ("half", strLine.c_str());
    }
}

TEST(clSocket, TimedConnectRestoresBlocking)
{
    const Listener listener;
    Socket first(AF_INET);
    EXPECT_TRUE(first.Connect(*listener.pAddr, 1000));
    Await(listener, POLLIN);
    // Nobody accepts, so the next one gets no answer.
    Socket second(AF_INET);
    EXPECT_FALSE(second.Connect(*listener.pAddr, 20));
    Socket third(AF_LOCAL);
    EXPECT_THROW_MSG(third.Connect(*listener.pAddr, 9), clXSocket,
                     clXSocket("clSocket::Connect(): connect()", EINVAL).what());
    for (const clSocket *pSock : {&first, &second, &third}) {
        EXPECT_EQ(0, fcntl(pSock->iSockH, F_GETFL) & O_NONBLOCK);
    }
}

TEST(clSocket, AcceptTellsThePeerOrClosesIt)
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

    // A local peer has no name, which is of another size.
    const TempFolder folder;
    clSocketAddrLocal addr;
    addr.Set(folder.Path("socket").c_str());
    Socket local(AF_LOCAL);
    local.Bind(addr);
    local.Listen(1);
    Socket caller(AF_LOCAL);
    caller.Connect(addr);
    const DescriptorCheck check;
    EXPECT_THROW_MSG(local.Accept(&pPeer), clXSocket,
                     "clSocket::Accept(): clSocketAddrDetect::GetAddr(): no match");
    EXPECT_EQ(nullptr, pPeer);
}

TEST(clSocket, IsConnectedLooksAtErrorsFirst)
{
    Listener listener;
    Socket near(AF_INET);
    near.Connect(*listener.pAddr);
    clSocket far;
    far.iSockH = listener.Accept();
    EXPECT_TRUE(near.IsConnected());
    // The byte is still there to be peeked at when the reset has come.
    far.Send("x", 1, 0);
    const linger now = {1, 0};
    far.SetOption(SOL_SOCKET, SO_LINGER, &now, sizeof(now));
    far.Close();
    Await(near, 0);
    EXPECT_FALSE(near.IsConnected());
}

TEST(clSocket, DatagramsKeepTheirEndsAndTellTheirSender)
{
    clSocketAddrIPv4 addr;
    addr.Set("127.0.0.1", 0);
    clSocket aSocks[2];
    std::unique_ptr<clSocketAddr> apNames[2];
    for (int i = 0; i < 2; ++i) {
        aSocks[i].Create(AF_INET, SOCK_DGRAM, 0);
        aSocks[i].SetReUse(true);
        aSocks[i].Bind(addr);
        apNames[i].reset(aSocks[i].GetSockName());
    }
    aSocks[0].SendTo("one", 3, 0, apNames[1]->GetSockAddr(), apNames[1]->GetSize());
    aSocks[1].Connect(*apNames[0]);
    const std::unique_ptr<clSocketAddr> pPeer(aSocks[1].GetPeerName());
    EXPECT_STREQ(apNames[0]->AsStringPort().c_str(), pPeer->AsStringPort().c_str());
    char aText[8] = {};
    sockaddr_in from = {};
    socklen_t size = sizeof(from);
    auto *const spFrom = reinterpret_cast<sockaddr *>(&from);
    EXPECT_EQ(3, aSocks[1].RecvFrom(aText, sizeof(aText), 0, spFrom, &size));
    addr.Set(spFrom, size);
    EXPECT_STREQ(apNames[0]->AsStringPort().c_str(), addr.AsStringPort().c_str());

    iovec part = {aText, sizeof(aText)};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    EXPECT_EQ(8, aSocks[1].SendMsg(&message, 0));
    EXPECT_EQ(8, aSocks[0].RecvMsg(&message, 0));
}

TEST(clSocket, MulticastSettingsReachTheSystem)
{
    clSocket sock;
    sock.Create(AF_INET, SOCK_DGRAM, 0);
    clSocketAddrIPv4 group;
    clSocketAddrIPv4 near;
    group.Set("239.1.2.3", 0);
    near.Set("127.0.0.1", 0);
    sock.SetMulticastTTL(group, 7);
    sock.SetMulticastLoop(group, false);
    sock.SetMulticastIf(near);
    const auto Option = [&](int iName) {
        uint32_t uValue = 0;
        socklen_t size = iName == IP_MULTICAST_IF ? 4 : 1;
        sock.GetOption(IPPROTO_IP, iName, &uValue, &size);
        return uValue;
    };
    EXPECT_EQ(7U, Option(IP_MULTICAST_TTL));
    EXPECT_EQ(0U, Option(IP_MULTICAST_LOOP));
    EXPECT_EQ(htonl(INADDR_LOOPBACK), Option(IP_MULTICAST_IF));
    sock.JoinGroup(group, &near);
    sock.LeaveGroup(group, &near);
    const std::string strOption = "clSocket::SetOption(): setsockopt()";
    ExpectFailures(EADDRNOTAVAIL, {{strOption, [&] { sock.LeaveGroup(group, &near); }}});

    // The family of the group decides; one that knows no groups does nothing.
    clSocketAddrIPv6 group6;
    group6.Set("ff02::1", 0);
    EXPECT_THROW_MSG(sock.JoinGroup(group6, &near), clXSocket,
                     "clSocket::JoinGroup(): interface of another family");
    ExpectFailures(ENOPROTOOPT, {{strOption, [&] { sock.SetMulticastIf(group6); }},
                                 {strOption, [&] { sock.SetMulticastTTL(group6, 1); }}});
    sock.JoinGroup(clSocketAddrLocal());
    sock.SetMulticastTTL(clSocketAddrLocal(), 1);
}
