#pragma once

#include "base/clException.h"

/** The run was stopped by a signal; what was begun is undone during the unwinding to main. */
class clXStopped : public clException
{
public:
    clXStopped() : clException("stopped by a signal") {}
};

/**
 * SIGINT, SIGTERM and SIGHUP: the first requests a stop, the second ends the process at once with
 * status 128 plus its number. Signals ignored at the start of the program stay ignored. Any thread
 * may ask.
 */
class clStopSignal
{
public:
    /** Once, before any thread is started. Interrupted system calls continue where they can. */
    static void Install();

    /** Number of the signal that requested the stop, or 0. */
    static int GetSignal() noexcept;

    /** @throws clXStopped after a signal; called in every long loop */
    static void ThrowIfStopped();
};
