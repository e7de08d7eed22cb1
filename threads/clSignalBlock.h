#pragma once

#include <signal.h> // for sigfillset()

/**
 * Blocks the signals of the calling thread, and of threads that it starts meanwhile. A signal
 * handler would interrupt the wait for a batch of a clThreadPool, whose jobs go on writing to the
 * caller's memory; a worker whose wait is interrupted ends.
 */
class clSignalBlock
{
public:
    clSignalBlock()
    {
        sigset_t most;
        sigfillset(&most);
        // Synchronous faults stay unblocked so that handlers run.
        for (const int iSignal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
            sigdelset(&most, iSignal);
        }
        pthread_sigmask(SIG_BLOCK, &most, &old);
    }
    clSignalBlock(const clSignalBlock &) = delete;
    clSignalBlock &operator=(const clSignalBlock &) = delete;
    ~clSignalBlock() { pthread_sigmask(SIG_SETMASK, &old, nullptr); }

private:
    sigset_t old{};
};
