#pragma once

#include <pthread.h>

/**
 * A plain mutex: not recursive, and nobody checks who releases it.
 *
 * Failures are clException with the number the system returned.
 */
class clMutex
{
public:
    clMutex();
    clMutex(const clMutex &) = delete;
    clMutex &operator=(const clMutex &) = delete;

    /**
     * @throws clException when the mutex is still held, since its holder would go on without it;
     * silent while another exception is on its way
     */
    // NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
    virtual ~clMutex() noexcept(false);

    /** Locks; a thread that holds the mutex already waits for ever. */
    void Wait();

    /** Unlocks; only for the thread that holds the mutex. */
    void Release();

protected:
    pthread_mutex_t mtx;
};
