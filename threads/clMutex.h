#pragma once

#include "base/Export.h"

#include <pthread.h>

/**
 * A non-recursive mutex that does not check which thread releases it. Failures are clException with
 * the number that the system returned.
 */
class VANTREL_API clMutex
{
public:
    clMutex(); ///< not held
    clMutex(const clMutex &) = delete;
    clMutex &operator=(const clMutex &) = delete;

    /** @throws clException when the mutex is still held, whose holder would lose its protection;
     * silent during the unwinding of another exception */
    // NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
    virtual ~clMutex() noexcept(false);

    /** Locks; a thread that already holds the mutex waits for ever. */
    void Wait();

    void Release(); ///< unlocks; only for the thread that holds the mutex

protected:
    pthread_mutex_t mtx; ///< the mutex of the system
};
