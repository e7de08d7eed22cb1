#pragma once

#include "base/clException.h"

/** The run was stopped by a signal; whatever was begun is undone on the way up to main. */
class clXStopped : public clException
{
public:
    clXStopped() : clException("stopped by a signal") {}
};

/**
 * SIGINT, SIGTERM and SIGHUP: the first one asks the run to stop, the second one ends the process
 * at once with status 128 plus its number. A signal that is ignored when the program starts stays
 * so. Any thread may ask.
 */
class clStopSignal
{
public:
    /** Once, before any thread is started. System calls continue after the signal where they can.
     */
    static void Install();

    /** Number of the signal that asked for the stop, 0 when none did. */
    static int GetSignal() noexcept;

    /** @throws clXStopped when a signal has asked for the stop; called in every long loop */
    static void ThrowIfStopped();
};
