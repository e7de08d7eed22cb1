#pragma once

#include "tests/support/RunProgram.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TempFolder.h"

#include <csignal>
#include <functional>
#include <string>

#include <gtest/gtest.h>

inline bool HasNginx()
{
    return RunProgram({"nginx", "-v"}).iStatus == 0;
}

/** Has nginx serve a folder on a free port while a function runs, which receives host and port.
 * @param strMore further directives of the server */
inline void WithNginx(const TempFolder &folder, const std::string &strMore,
                      const std::function<void(const std::string &strHost)> &fnVisit)
{
    uint16_t uPort = 0;
    const int iListenH = ListenLocally(uPort);
    const std::string strHost = "127.0.0.1:" + std::to_string(uPort);
    const std::string strListen =
        strMore.find("ssl_certificate") == std::string::npos ? "" : " ssl http2";
    const std::string strConfig =
        "daemon off; user root; pid pid; events {}\n"
        "http { access_log off; client_body_temp_path temp; proxy_temp_path temp;\n"
        "fastcgi_temp_path temp; uwsgi_temp_path temp; scgi_temp_path temp;\n"
        "server { root .; listen " +
        strHost + strListen + "; " + strMore + " } }\n";
    folder.Write("conf", {strConfig.begin(), strConfig.end()});
    // It goes on with a socket that listens already, as when it replaces a server that runs: there
    // is no moment at which it cannot be reached.
    setenv("NGINX", (std::to_string(iListenH) + ";").c_str(), 1);
    const run_t run =
        RunProgram({"nginx", "-e", "stderr", "-p", folder.Path(""), "-c", "conf"}, [&](pid_t pid) {
            close(iListenH);
            fnVisit(strHost);
            kill(pid, SIGTERM);
        });
    unsetenv("NGINX");
    EXPECT_EQ(0, run.iStatus) << run.strErr;
}
