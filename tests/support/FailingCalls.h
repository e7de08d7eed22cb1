#pragma once

#include <functional>
#include <string>

/**
 * A call that must fail. Code linked with FailingCalls.cpp, and with the --wrap options in
 * CMakeLists.txt, makes its system calls and allocations through wrappers that check this.
 */
struct failure_t {
    /** Instead of an error, the call transfers half of the bytes. */
    static constexpr int SHORT = -1;

    const char *cpCall; ///< name; null for none
    int iError;
    unsigned uNth = 1;     ///< index among the calls of that name, from 1
    bool bOnwards = false; ///< all later calls fail as well
};

/** The common name of all calls that allocate memory. */
constexpr char MEMORY[] = "memory";

/** Makes a call of this thread fail, until the end of the scope. */
class FailureGuard
{
public:
    explicit FailureGuard(const failure_t &failure);
    FailureGuard(const FailureGuard &) = delete;
    FailureGuard &operator=(const FailureGuard &) = delete;
    ~FailureGuard();
};

/** What a child process reports of itself. */
struct report_t {
    bool bHit;        ///< the failing call was made
    bool bTerminated; ///< std::terminate() ended it
    long lHeld;       ///< memory blocks and descriptors not released; negative: twice
};

/** The outcome of a function that ran in a child process. */
struct outcome_t : report_t {
    int iStatus;         ///< its result; 128 + n when signal n ended it, SIGALRM after 30 s
    std::string strText; ///< its standard error
};

/** Runs the function, with the failure, in a child process. */
outcome_t RunFailing(const failure_t &failure, const std::function<int()> &function);
