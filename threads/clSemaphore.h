#pragma once

#include "base/Export.h"

#include <semaphore.h>

/**
 * A counting semaphore of this process; the count starts at 0. A Post synchronises with the Wait
 * that takes it. A semaphore may be destroyed as soon as the last Wait has returned. Failures are
 * clException.
 */
class VANTREL_API clSemaphore
{
public:
    clSemaphore();
    clSemaphore(const clSemaphore &) = delete;
    clSemaphore &operator=(const clSemaphore &) = delete;

    /** @throws clException if the system reports an error; silent during unwinding */
    // NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
    virtual ~clSemaphore() noexcept(false);

    /** Waits until the count is above 0 and decrements it. A cancellation point.
     * @throws clException also when a signal handler interrupts the wait (EINTR); the count
     * stays */
    void Wait();

    /** Decrements the count if it is above 0. @return whether it did */
    bool TryWait();

    /** Increments the count. @throws clException when the count is at its limit, and keeps it */
    void Post();

protected:
    sem_t sem; ///< the semaphore of the system
};
