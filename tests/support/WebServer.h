#pragma once

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

/** A real web server, nginx, that serves a folder on a free port of 127.0.0.1 until it is
 * destroyed. */
class WebServer
{
public:
    /** @throws std::system_error when nginx is not installed */
    explicit WebServer(const std::string &strFolder)
    {
        const uint16_t uPort = FindPort();
        strHost = "127.0.0.1:" + std::to_string(uPort);
        const std::string strConfig = strFolder + "/nginx.conf";
        std::ofstream config(strConfig);
        config << "daemon off; master_process off; pid " << strFolder << "/nginx.pid;\n"
               << "error_log " << strFolder << "/error.log; events {}\n"
               << "http { access_log off; server { listen " << strHost << "; root " << strFolder
               << "; }\n";
        for (const char *cpTemp : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
            config << cpTemp << "_temp_path " << strFolder << "/temp;\n";
        }
        config << "}\n";
        config.close();
        const char *apArgs[] = {"nginx", "-c", strConfig.c_str(), "-e", "stderr", nullptr};
        const int iError = posix_spawnp(&pid, "nginx", nullptr, nullptr,
                                        const_cast<char *const *>(apArgs), environ);
        if (iError != 0) {
            throw std::system_error(iError, std::generic_category(), "nginx");
        }
        WaitUntilUp(uPort);
    }
    WebServer(const WebServer &) = delete;
    WebServer &operator=(const WebServer &) = delete;

    ~WebServer()
    {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }

    std::string Url(const std::string &strPath) const { return "http://" + strHost + strPath; }

private:
    static sockaddr_in Address(uint16_t uPort)
    {
        return {AF_INET, htons(uPort), {htonl(INADDR_LOOPBACK)}, {}};
    }

    static uint16_t FindPort()
    {
        const int iSockH = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = Address(0);
        socklen_t size = sizeof(addr);
        bind(iSockH, reinterpret_cast<sockaddr *>(&addr), size);
        getsockname(iSockH, reinterpret_cast<sockaddr *>(&addr), &size);
        close(iSockH);
        return ntohs(addr.sin_port);
    }

    // Another program gives no sign of being ready but by answering.
    void WaitUntilUp(uint16_t uPort) const
    {
        for (int i = 0; i < 500; ++i) {
            const int iSockH = socket(AF_INET, SOCK_STREAM, 0);
            const sockaddr_in addr = Address(uPort);
            const int iResult =
                connect(iSockH, reinterpret_cast<const sockaddr *>(&addr), sizeof(addr));
            close(iSockH);
            if (iResult == 0) {
                return;
            }
            usleep(10000);
        }
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        throw std::runtime_error("nginx does not answer");
    }

    pid_t pid = 0;
    std::string strHost;
};
