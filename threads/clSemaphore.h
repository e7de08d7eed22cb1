#pragma once

#include <semaphore.h>

/**
 * A counting semaphore of this process; it starts with count 0.
 *
 * Any thread may wait and post. What happened before a Post is visible after the Wait that took it.
 * A semaphore may be destroyed as soon as the last Wait has returned. Failures are clException.
 */
class clSemaphore
{
public:
    clSemaphore();
    clSemaphore(const clSemaphore &) = delete;
    clSemaphore &operator=(const clSemaphore &) = delete;

    /** @throws clException as far as the system reports; silent while another one is on its way */
    // NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
    virtual ~clSemaphore() noexcept(false);

    /**
     * Waits until the count is above 0 and takes one. A point where a thread can be cancelled.
     *
     * @throws clException also when a signal handler interrupts the wait (EINTR); nothing is taken
     * then, and whether to wait again is the caller's decision
     */
    void Wait();

    /** Takes one if the count is above 0. @return whether it did */
    bool TryWait();

    /** Adds one. @throws clException when the count is at its limit; it stays there */
    void Post();

protected:
    sem_t sem;
};
