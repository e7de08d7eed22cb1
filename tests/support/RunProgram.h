#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

/** What a program left behind: its exit status, 128 + n when signal n killed it, its output, and
 * the most memory that it held at a time, in KiB; not less than what the test itself held. */
struct run_t {
    int iStatus = -1;
    long lPeakSize = 0;
    std::string strOut;
    std::string strErr;
};

/**
 * Runs a program found by its path, or on the search path, to its end with nothing on standard
 * input. fnStarted is called while it runs. Throws std::system_error when it cannot be started.
 */
inline run_t RunProgram(const std::vector<std::string> &args,
                        const std::function<void(pid_t)> &fnStarted = nullptr)
{
    // Files in memory take any amount of output while nobody reads.
    const int aFileH[] = {memfd_create("out", MFD_CLOEXEC), memfd_create("err", MFD_CLOEXEC)};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, aFileH[0], 1);
    posix_spawn_file_actions_adddup2(&actions, aFileH[1], 2);
    std::vector<char *> aArgs;
    for (const std::string &strArg : args) {
        aArgs.push_back(const_cast<char *>(strArg.c_str()));
    }
    aArgs.push_back(nullptr);
    pid_t pid = 0;
    const int iError = posix_spawnp(&pid, aArgs[0], &actions, nullptr, aArgs.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int iWait = 0;
    rusage usage = {};
    if (iError == 0) {
        if (fnStarted) {
            fnStarted(pid);
        }
        wait4(pid, &iWait, 0, &usage);
    }
    run_t run;
    run.lPeakSize = usage.ru_maxrss;
    run.iStatus = WIFEXITED(iWait) ? WEXITSTATUS(iWait) : 128 + WTERMSIG(iWait);
    std::string *const apTexts[] = {&run.strOut, &run.strErr};
    for (int i = 0; i < 2; ++i) {
        apTexts[i]->resize(static_cast<size_t>(lseek(aFileH[i], 0, SEEK_END)));
        if (pread(aFileH[i], apTexts[i]->data(), apTexts[i]->size(), 0) < 0) {
            throw std::system_error(errno, std::generic_category(), "pread()");
        }
        close(aFileH[i]);
    }
    if (iError != 0) {
        throw std::system_error(iError, std::generic_category(), args[0]);
    }
    return run;
}
