#pragma once

#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

/** What a program left behind: its exit status, 128 + n when signal n killed it, and its output. */
struct run_t {
    int iStatus = -1;
    std::string strOut;
    std::string strErr;
};

/**
 * Runs a program found by its path, or on the search path, to its end with nothing on standard
 * input. Throws std::system_error when it cannot be started.
 */
inline run_t RunProgram(const std::vector<std::string> &args)
{
    int aaPipes[2][2];
    for (auto &aPipe : aaPipes) {
        if (pipe2(aPipe, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2()");
        }
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, aaPipes[0][1], 1);
    posix_spawn_file_actions_adddup2(&actions, aaPipes[1][1], 2);
    std::vector<char *> aArgs;
    for (const std::string &strArg : args) {
        aArgs.push_back(const_cast<char *>(strArg.c_str()));
    }
    aArgs.push_back(nullptr);
    pid_t pid = 0;
    const int iError = posix_spawnp(&pid, aArgs[0], &actions, nullptr, aArgs.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(aaPipes[0][1]);
    close(aaPipes[1][1]);

    run_t run;
    std::string *const apTexts[] = {&run.strOut, &run.strErr};
    pollfd aPolls[] = {{aaPipes[0][0], POLLIN, 0}, {aaPipes[1][0], POLLIN, 0}};
    for (int iOpen = iError == 0 ? 2 : 0; iOpen > 0;) {
        poll(aPolls, 2, -1);
        for (int i = 0; i < 2; ++i) {
            char aBuffer[65536];
            if (aPolls[i].fd >= 0 && aPolls[i].revents != 0) {
                const ssize_t lRead = read(aPolls[i].fd, aBuffer, sizeof(aBuffer));
                if (lRead > 0) {
                    apTexts[i]->append(aBuffer, static_cast<size_t>(lRead));
                } else {
                    aPolls[i].fd = -1;
                    --iOpen;
                }
            }
        }
    }
    close(aaPipes[0][0]);
    close(aaPipes[1][0]);
    if (iError != 0) {
        throw std::system_error(iError, std::generic_category(), args[0]);
    }
    int iWait = 0;
    while (waitpid(pid, &iWait, 0) == -1 && errno == EINTR) {
    }
    run.iStatus = WIFEXITED(iWait) ? WEXITSTATUS(iWait) : 128 + WTERMSIG(iWait);
    return run;
}
