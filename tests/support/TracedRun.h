#pragma once

#include "tests/support/RunProgram.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <map>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>

/** A system call that a traced program is about to make. */
struct call_t {
    std::string strName;    ///< empty unless the table names it
    std::string strPath;    ///< of the file or of the descriptor
    bool bWritable = false; ///< closes a descriptor that is open for writing
    pid_t pid = 0;
};

/** The decision about a call: 0 lets it happen, an error number makes it fail without effect. */
using at_call_t = std::function<int(const call_t &)>;
constexpr int KILL_NOW = -1; ///< or the whole process ends by SIGKILL before the call

/** Stops a program, with all its threads, at every system call for a decision. */
class TracedRun
{
public:
    /** The status of a program that could not be traced; containers may forbid it. */
    static constexpr int NOT_ALLOWED = 125;

    static run_t Run(const std::vector<std::string> &args, const at_call_t &fnAtCall)
    {
        std::vector<char *> aArgs;
        for (const std::string &strArg : args) {
            aArgs.push_back(const_cast<char *>(strArg.c_str()));
        }
        aArgs.push_back(nullptr);
        const auto Execute = [&aArgs] {
#if defined(__x86_64__)
            // The search for leaks is a tracer as well, and a program can have only one.
            const char *const cpOptions = getenv("ASAN_OPTIONS");
            const std::string strOptions = cpOptions == nullptr ? "" : cpOptions;
            setenv("ASAN_OPTIONS", (strOptions + ":detect_leaks=0").c_str(), 1);
            if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
                raise(SIGSTOP);
                execv(aArgs[0], aArgs.data());
            }
#endif
            return NOT_ALLOWED;
        };
        return RunForked(Execute, [&](pid_t pidRun) { TracedRun(pidRun, fnAtCall).Follow(); });
    }

private:
    // How a call names its file; EITHER: by a path when there is one, else by a descriptor.
    enum file_t { PATH, DESCRIPTOR, EITHER, NONE };
    struct kind_t {
        const char *cpName;
        file_t file;
        int iArgument; // that of the path or the descriptor
    };

    TracedRun(pid_t pidRun, const at_call_t &fnRunAtCall) : pid(pidRun), fnAtCall(fnRunAtCall) {}

    // Until the program has ended; the caller collects its status.
    void Follow()
    {
        siginfo_t info = {};
        bool bStarted = false;
        while (waitid(P_ALL, 0, &info, WEXITED | WSTOPPED | WNOWAIT | __WALL) == 0) {
            const pid_t pidThread = info.si_pid;
            const bool bEnded = info.si_code != CLD_TRAPPED && info.si_code != CLD_STOPPED;
            if (bEnded && pidThread == pid) {
                return;
            }
            int iWait = 0;
            waitpid(pidThread, &iWait, __WALL);
            if (bEnded) {
                continue;
            }
            int iSignal = WSTOPSIG(iWait);
            if (!bStarted) {
                bStarted = true;
                ptrace(PTRACE_SETOPTIONS, pid, nullptr,
                       PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_TRACECLONE |
                           PTRACE_O_EXITKILL);
            }
            if (iSignal == (SIGTRAP | 0x80)) {
                AtCall(pidThread);
            }
            // Events and the first stop of a new thread are not signals of the program.
            const bool bOwn = iSignal < 0x80 && iWait >> 16 == 0 && iSignal != SIGSTOP;
            ptrace(PTRACE_SYSCALL, pidThread, nullptr, static_cast<long>(bOwn ? iSignal : 0));
        }
    }

    void AtCall([[maybe_unused]] pid_t pidThread)
    {
#if defined(__x86_64__)
        struct __ptrace_syscall_info info = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, pidThread, sizeof(info), &info);
        const auto failed = mapFailed.find(pidThread);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            const int iAction = fnAtCall(Describe(info.entry.nr, info.entry.args));
            if (iAction == KILL_NOW) {
                kill(pid, SIGKILL);
            } else if (iAction != 0) {
                SetRegister(pidThread, offsetof(user_regs_struct, orig_rax), -1); // no such call
                mapFailed[pidThread] = iAction;
            }
        } else if (failed != mapFailed.end()) {
            SetRegister(pidThread, offsetof(user_regs_struct, rax), -failed->second);
            mapFailed.erase(failed);
        }
#endif
    }

    static void SetRegister(pid_t pidThread, size_t uOffset, long lValue)
    {
        ptrace(PTRACE_POKEUSER, pidThread, uOffset, lValue);
    }

#if defined(__x86_64__)
    call_t Describe(uint64_t uNumber, const uint64_t *pArgs) const
    {
        static const std::map<uint64_t, kind_t> mapKinds = {
            {SYS_open, {"open", PATH, 0}},           {SYS_openat, {"open", PATH, 1}},
            {SYS_stat, {"stat", PATH, 0}},           {SYS_lstat, {"stat", PATH, 0}},
            {SYS_newfstatat, {"stat", EITHER, 1}},   {SYS_fstat, {"stat", DESCRIPTOR, 0}},
            {SYS_read, {"read", DESCRIPTOR, 0}},     {SYS_pread64, {"read", DESCRIPTOR, 0}},
            {SYS_write, {"write", DESCRIPTOR, 0}},   {SYS_pwrite64, {"write", DESCRIPTOR, 0}},
            {SYS_writev, {"write", DESCRIPTOR, 0}},  {SYS_ftruncate, {"truncate", DESCRIPTOR, 0}},
            {SYS_lseek, {"seek", DESCRIPTOR, 0}},    {SYS_close, {"close", DESCRIPTOR, 0}},
            {SYS_fsync, {"sync", DESCRIPTOR, 0}},    {SYS_fdatasync, {"sync", DESCRIPTOR, 0}},
            {SYS_utimensat, {"utime", EITHER, 1}},   {SYS_fadvise64, {"advise", DESCRIPTOR, 0}},
            {SYS_rename, {"rename", PATH, 0}},       {SYS_renameat, {"rename", PATH, 1}},
            {SYS_renameat2, {"renameat2", PATH, 1}}, {SYS_link, {"link", PATH, 0}},
            {SYS_linkat, {"link", PATH, 1}},         {SYS_unlink, {"unlink", PATH, 0}},
            {SYS_unlinkat, {"unlink", PATH, 1}},     {SYS_mkdir, {"mkdir", PATH, 0}},
            {SYS_mkdirat, {"mkdir", PATH, 1}},       {SYS_exit_group, {"exit", NONE, 0}},
            {SYS_rt_sigreturn, {"return", NONE, 0}}, {SYS_mmap, {"memory", DESCRIPTOR, 4}},
        };
        call_t call;
        call.pid = pid;
        const auto kind = mapKinds.find(uNumber);
        if (kind != mapKinds.end()) {
            const kind_t &found = kind->second;
            call.strName = found.cpName;
            if (found.file == PATH || found.file == EITHER) {
                call.strPath = ReadText(pArgs[found.iArgument]);
            }
            if (call.strPath.empty() && (found.file == DESCRIPTOR || found.file == EITHER)) {
                const uint64_t uFile = pArgs[found.file == EITHER ? 0 : found.iArgument];
                AskDescriptor(std::to_string(static_cast<int>(uFile)), call);
            }
        }
        return call;
    }
#endif

    void AskDescriptor(const std::string &strFile, call_t &call) const
    {
        const std::string strProcess = "/proc/" + std::to_string(pid);
        char aPath[4096];
        const ssize_t lSize =
            readlink((strProcess + "/fd/" + strFile).c_str(), aPath, sizeof(aPath));
        call.strPath.assign(aPath, static_cast<size_t>(std::max<ssize_t>(lSize, 0)));
        if (call.strName != "close") {
            return;
        }
        std::ifstream info(strProcess + "/fdinfo/" + strFile);
        for (std::string strWord; info >> strWord;) {
            if (strWord == "flags:") {
                info >> strWord;
                call.bWritable = (std::stoul(strWord, nullptr, 8) & O_ACCMODE) != O_RDONLY;
            }
        }
    }

    // Page by page, because the page after the text may not exist.
    std::string ReadText(uint64_t uAddress) const
    {
        constexpr uint64_t PAGE = 4096;
        std::string strText;
        char aPage[PAGE];
        while (uAddress != 0) {
            const iovec local = {aPage, PAGE - uAddress % PAGE};
            const iovec remote = {reinterpret_cast<void *>(uAddress), local.iov_len};
            const ssize_t lRead = process_vm_readv(pid, &local, 1, &remote, 1, 0);
            if (lRead <= 0) {
                break;
            }
            char *const pEnd = std::find(aPage, aPage + lRead, '\0');
            strText.append(aPage, pEnd);
            if (pEnd != aPage + lRead) {
                break;
            }
            uAddress += static_cast<uint64_t>(lRead);
        }
        return strText;
    }

    const pid_t pid;
    const at_call_t &fnAtCall;
    std::map<pid_t, int> mapFailed; // threads in a call that is made to fail, and the error
};
