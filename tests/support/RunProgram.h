#pragma once

#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

/** The result of a program. */
struct run_t {
    int iStatus;    ///< 128 + n when signal n killed it, 127 when there is no such program
    long lPeakSize; ///< the most memory it held, in KiB; not less than what the test itself held
    std::string strOut;
    std::string strErr;
};

/** A function that runs in the test while the program runs. */
using meanwhile_t = std::function<void(pid_t)>;

/** The status of a finished child as a shell reports it. */
inline int StatusOf(int iWait)
{
    return WIFEXITED(iWait) ? WEXITSTATUS(iWait) : 128 + WTERMSIG(iWait);
}

/** The content of a file in memory; closes it. */
inline std::string TakeText(int iFileH)
{
    std::ostringstream text;
    text << std::ifstream("/proc/self/fd/" + std::to_string(iFileH)).rdbuf();
    close(iFileH);
    return text.str();
}

/** Runs a program, found by PATH, to its end with empty standard input. */
inline run_t RunProgram(
    const std::vector<std::string> &args, const meanwhile_t &fnMeanwhile = [](pid_t) {})
{
    // Files in memory take any amount of output without a reader.
    const int iOutH = memfd_create("out", MFD_CLOEXEC);
    const int iErrH = memfd_create("err", MFD_CLOEXEC);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, iOutH, 1);
    posix_spawn_file_actions_adddup2(&actions, iErrH, 2);
    std::vector<char *> aArgs;
    for (const std::string &strArg : args) {
        aArgs.push_back(const_cast<char *>(strArg.c_str()));
    }
    aArgs.push_back(nullptr);
    pid_t pid = 0;
    int iWait = 127 << 8; // as the status of a shell
    rusage usage = {};
    if (posix_spawnp(&pid, aArgs[0], &actions, nullptr, aArgs.data(), environ) == 0) {
        fnMeanwhile(pid);
        wait4(pid, &iWait, 0, &usage);
    }
    posix_spawn_file_actions_destroy(&actions);
    return {StatusOf(iWait), usage.ru_maxrss, TakeText(iOutH), TakeText(iErrH)};
}

/** Runs a function in a child process, with its result as the status. */
inline run_t RunForked(
    const std::function<int()> &fnBody, const meanwhile_t &fnMeanwhile = [](pid_t) {})
{
    const int iOutH = memfd_create("out", MFD_CLOEXEC);
    const int iErrH = memfd_create("err", MFD_CLOEXEC);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(iOutH, 1);
        dup2(iErrH, 2);
        _exit(fnBody());
    }
    fnMeanwhile(pid);
    int iWait = 0;
    waitpid(pid, &iWait, 0);
    return {StatusOf(iWait), 0, TakeText(iOutH), TakeText(iErrH)};
}
