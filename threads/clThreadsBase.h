#pragma once

#include "base/Export.h"
#include "threads/clMutex.h"

#include <atomic>
#include <cstdint>
#include <map>

#include <pthread.h>

/**
 * A group of numbered threads that run one body with different arguments.
 *
 * Any thread may call any operation, but only one caller may wait for or cancel a given number. The
 * object must outlive its threads, also detached ones. ~clThreadsBase cancels and joins, but only
 * after the subclass has been destroyed: a subclass whose threads use its members ends them in its
 * own destructor. Cancel ends a thread at any instruction, unlike clThread::Cancel: a body that may
 * be cancelled uses only calls that are safe for this, or begins with clThread::SetCancel(false,
 * false).
 *
 * Exceptions do not leave a thread: the text of a clException, or "unknown exception" for any
 * other, is printed to standard error, and the thread's result is null.
 */
class VANTREL_API clThreadsBase
{
public:
    clThreadsBase() = default;
    clThreadsBase(const clThreadsBase &) = delete;
    clThreadsBase &operator=(const clThreadsBase &) = delete;

    /** Cancels and joins every recorded thread; throws only if the destructor of the mutex does. */
    virtual ~clThreadsBase() noexcept(false);

    /** Starts a thread that runs ThreadBody(pArg), or nothing once the destructor has begun.
     * @param bDetach nobody will wait for the thread; it is not recorded and has no number
     * @return the number of the thread, for Wait or Cancel; 0 for a detached one
     * @throws clXThreads when no thread can be started or detached; std::bad_alloc when it cannot
     * be recorded, after cancelling and joining it */
    int Create(void *pArg, bool bDetach);

    /** Joins a thread and removes its number. @return the result of ThreadBody, PTHREAD_CANCELED
     * for a cancelled thread, null for an unknown number
     * @throws clXThreads when the thread cannot be joined; it stays recorded */
    void *Wait(int iId);

    /** Cancels a thread and removes its number; ignores an unknown number. Neither joins nor
     * detaches the thread: the system keeps its stack until a caller does so by its pthread_t.
     * @throws clXThreads when the system refuses; the thread stays recorded */
    void Cancel(int iId);

    /** Sets policy and priority, iPriority steps above the lowest, of any thread; as root if the
     * process can become root. A setuid-root process permanently becomes its real user.
     * @return false when the system refuses */
    bool SetScheduling(pthread_t thread, int iPolicy, int iPriority);

protected:
    /** The work of one thread; Wait returns its result. */
    virtual void *ThreadBody(void *pArg) = 0;

    int32_t iNextId = 0;                     ///< the number to try next
    std::map<int32_t, pthread_t> mapThreads; ///< the recorded threads by number

    /** Guards iNextId and mapThreads; only the destructor holds it while it waits for a thread. */
    clMutex mtxThreads;

private:
    static void *ThreadEntry(void *pStart);
    static void *RunBody(clThreadsBase *pThreads, void *pArg);
    int32_t Record(pthread_t thread);
    bool Find(int32_t iId, pthread_t &thread);
    void Forget(int32_t iId);

    // Set first by the destructor, read last before ThreadBody.
    std::atomic<bool> bEnding{false};
};
