#pragma once

#include "tests/support/ScriptedServer.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>
#include <system_error>

#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

/** A real web server, nginx, that serves a folder on a free port of 127.0.0.1. */
class WebServer
{
public:
    /** @throws std::system_error when nginx is not installed */
    explicit WebServer(const std::string &strFolder)
    {
        uint16_t uPort = 0;
        close(ListenLocally(uPort));
        addr.sin_port = htons(uPort);
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
        WaitUntilUp();
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
    // Another program gives no sign of being ready but by answering. One that never does fails the
    // test that uses it.
    void WaitUntilUp() const
    {
        int iResult = -1;
        for (int i = 0; iResult != 0 && i < 500; ++i) {
            usleep(10000);
            const int iSockH = socket(AF_INET, SOCK_STREAM, 0);
            iResult = connect(iSockH, reinterpret_cast<const sockaddr *>(&addr), sizeof(addr));
            close(iSockH);
        }
    }

    sockaddr_in addr = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    pid_t pid = 0;
    std::string strHost;
};
