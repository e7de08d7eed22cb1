#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

inline size_t CountDescriptors()
{
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(open), end(open)));
}

/** Expects the same number of open descriptors at the end of the scope as at its start. */
struct DescriptorCheck {
    const size_t uBefore = CountDescriptors();
    ~DescriptorCheck() { EXPECT_EQ(uBefore, CountDescriptors()); }
};

/** A socket that listens on a free port of 127.0.0.1. @param uPort receives the port */
inline int ListenLocally(uint16_t &uPort)
{
    sockaddr_in addr = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof(addr);
    auto *const spAddr = reinterpret_cast<sockaddr *>(&addr);
    const int iListenH = socket(AF_INET, SOCK_STREAM, 0);
    if (bind(iListenH, spAddr, size) != 0 || listen(iListenH, SOMAXCONN) != 0 ||
        getsockname(iListenH, spAddr, &size) != 0) {
        close(iListenH);
        throw std::runtime_error("the server cannot have its port");
    }
    uPort = ntohs(addr.sin_port);
    return iListenH;
}

/** The treatment of one connection. */
struct ServerAnswer {
    enum end_t {
        CLOSE,  ///< orderly, once everything is sent
        SILENCE ///< holds the connection until the client closes it
    };

    /** Sends nothing for a time before the byte at an offset. */
    struct pause_t {
        size_t uOffset;
        int iMilliseconds;
    };

    std::string strBytes;
    end_t end = CLOSE;
    std::vector<pause_t> pauses = {}; ///< in the order of their offsets
};

/** Answers the request with this number, from 0 on, by its head. */
using server_script_t = std::function<ServerAnswer(size_t uNumber, const std::string &strRequest)>;

/**
 * A server on 127.0.0.1 that treats one connection after the other. The destructor ends it at any
 * time.
 */
class ScriptedServer
{
public:
    /** Gives each answer to one connection, in order, and then accepts no more. */
    explicit ScriptedServer(std::vector<ServerAnswer> answers)
        : ScriptedServer([=](size_t uNumber, const std::string &) { return answers[uNumber]; },
                         answers.size())
    {
    }
    explicit ScriptedServer(server_script_t answers, size_t uMostConnections = SIZE_MAX)
        : script(std::move(answers)),
          uMost(uMostConnections),
          iListenH(ListenLocally(uPort)),
          iStopH(eventfd(0, 0)),
          strHost("127.0.0.1:" + std::to_string(uPort))
    {
        worker = std::thread([this] { Run(); });
    }
    ~ScriptedServer()
    {
        Stop();
        close(iListenH);
        close(iStopH);
    }

    const std::string &Host() const { return strHost; }
    std::string Url(const std::string &strPath) const { return "http://" + strHost + strPath; }

    /** Ends the server and returns the heads of the requests. */
    const std::vector<std::string> &Requests()
    {
        Stop();
        return requests;
    }

private:
    void Stop()
    {
        eventfd_write(iStopH, 1);
        if (worker.joinable()) {
            worker.join();
        }
    }

    // Waits for the events; returns false when the server must end and no event has arrived.
    bool Wait(int iSockH, short iEvents) const
    {
        pollfd aPoll[] = {{iSockH, iEvents, 0}, {iStopH, POLLIN, 0}};
        poll(aPoll, 2, -1);
        return aPoll[0].revents != 0;
    }

    void Run()
    {
        while (requests.size() < uMost && Wait(iListenH, POLLIN)) {
            const int iSockH = accept(iListenH, nullptr, nullptr);
            ReadRequest(iSockH);
            Serve(iSockH, script(requests.size() - 1, requests.back()));
            close(iSockH);
        }
    }

    void ReadRequest(int iSockH)
    {
        std::string &strRequest = requests.emplace_back();
        char c = 0;
        while (!strRequest.ends_with("\r\n\r\n") && Wait(iSockH, POLLIN) &&
               recv(iSockH, &c, 1, 0) == 1) {
            strRequest += c;
        }
    }

    void Serve(int iSockH, const ServerAnswer &answer)
    {
        std::string_view left = answer.strBytes;
        for (const auto &[uOffset, iMilliseconds] : answer.pauses) {
            const size_t sizePiece = uOffset - (answer.strBytes.size() - left.size());
            if (!Send(iSockH, left.substr(0, sizePiece))) {
                return;
            }
            left.remove_prefix(sizePiece);
            pollfd stop = {iStopH, POLLIN, 0};
            poll(&stop, 1, iMilliseconds);
        }
        if (!Send(iSockH, left)) {
            return;
        }
        if (answer.end == ServerAnswer::SILENCE) {
            Wait(iSockH, POLLIN);
        }
    }

    // Returns false when the client has closed the connection.
    bool Send(int iSockH, std::string_view left) const
    {
        while (!left.empty() && Wait(iSockH, POLLOUT)) {
            const ssize_t lSent =
                send(iSockH, left.data(), left.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (lSent < 0) {
                return false;
            }
            left.remove_prefix(static_cast<size_t>(lSent));
        }
        return true;
    }

    const server_script_t script;
    const size_t uMost;
    uint16_t uPort = 0;
    const int iListenH;
    const int iStopH;
    const std::string strHost;
    std::vector<std::string> requests;
    std::thread worker;
};
