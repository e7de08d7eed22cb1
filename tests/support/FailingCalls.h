#pragma once

#include <functional>

/**
 * A call that is to fail. What is linked with FailingCalls.cpp, and with the list of --wrap options
 * in CMakeLists.txt, makes its system calls and allocations through it.
 */
struct failure_t {
    /** In place of an error: the call moves half of the bytes that it was asked for. */
    static constexpr int SHORT = -1;

    const char *cpCall; ///< its name; null for none
    int iError;
    unsigned uNth = 1;     ///< which of the calls by that name, counted from 1
    bool bOnwards = false; ///< that one and all behind it
};

/** The name of every call that takes memory. */
constexpr char MEMORY[] = "memory";

/** Arranges for a failure on the calling thread until the end of the scope. */
class FailureGuard
{
public:
    explicit FailureGuard(const failure_t &failure);
    FailureGuard(const FailureGuard &) = delete;
    FailureGuard &operator=(const FailureGuard &) = delete;
    ~FailureGuard();
};

/** What became of a function that ran in a process of its own. */
struct outcome_t {
    int iStatus;       ///< what it returned; 128 + n when signal n ended it, as one does a hang
    bool bHit;         ///< it has come to the call that was to fail
    bool bTerminated;  ///< std::terminate() ended it, also for an exception that left it
    long lHeld;        ///< memory and descriptors that it kept; negative: released twice
    char acText[4096]; ///< its standard error
};

/** Runs the function in a child process that a failure hits. */
outcome_t RunForked(const failure_t &failure, const std::function<int()> &function);
