#pragma once

#include "threads/clMutex.h"

#include <atomic>
#include <cstdint>
#include <map>

#include <pthread.h>

/**
 * A group of numbered threads that run one body with different arguments.
 *
 * Any thread may call any operation, but a number is waited for or cancelled by one caller only.
 * The object has to outlive its threads, detached ones included. By the time ~clThreadsBase cancels
 * and joins, the parts of the subclass are gone, so a subclass whose threads use them ends these in
 * its own destructor. A thread that comes to its ThreadBody later than that ends without it.
 *
 * Cancel ends a thread of the group anywhere at once, unlike that of clThread: a body that may be
 * cancelled keeps to calls that survive it, or begins with clThread::SetCancel(false, false).
 *
 * Exceptions never leave a thread: the text of a clException, or "unknown exception" for any other,
 * goes to standard error and the thread ends with result null.
 */
class clThreadsBase
{
public:
    clThreadsBase() = default;
    clThreadsBase(const clThreadsBase &) = delete;
    clThreadsBase &operator=(const clThreadsBase &) = delete;

    /**
     * Cancels and joins every recorded thread, in the order of their numbers, with the mutex held.
     * Throws only what the destructor of the mutex throws.
     */
    virtual ~clThreadsBase() noexcept(false);

    /**
     * Starts a thread that runs ThreadBody(pArg).
     *
     * @param bDetach nobody will wait for the thread; it is not recorded and has no number
     * @return the number of the recorded thread, for Wait or Cancel; 0 for a detached one
     * @throws clXThreads when no thread can be started or detached; std::bad_alloc when it cannot
     * be recorded, after cancelling and joining it
     */
    int Create(void *pArg, bool bDetach);

    /**
     * Joins a thread and forgets its number.
     *
     * @return what ThreadBody returned, PTHREAD_CANCELED for a cancelled thread, null for a number
     * that is not recorded
     * @throws clXThreads when the thread cannot be joined; it stays recorded
     */
    void *Wait(int iId);

    /**
     * Ends a thread and forgets its number, so it cannot be waited for any more. A number that is
     * not recorded changes nothing.
     *
     * The thread is neither joined nor detached: the system keeps its stack until a caller who
     * knows its pthread_t does one of them after this call.
     *
     * @throws clXThreads when the system refuses; the thread stays recorded
     */
    void Cancel(int iId);

    /**
     * Sets policy and priority of any thread, with the rights of root where the process can get
     * them; a process that runs as root on behalf of a user is that user's for good afterwards.
     *
     * @param iPriority steps above the lowest priority of the policy
     * @return false when the system refuses
     */
    bool SetScheduling(pthread_t thread, int iPolicy, int iPriority);

protected:
    /** The work of one thread; the result is what Wait returns. */
    virtual void *ThreadBody(void *pArg) = 0;

    /** The number to try next. */
    int32_t iNextId = 0;
    std::map<int32_t, pthread_t> mapThreads;

    /** Guards iNextId and mapThreads; nobody waits for a thread with it but the destructor. */
    clMutex mtxThreads;

private:
    static void *ThreadEntry(void *pStart);
    static void *RunBody(clThreadsBase *pThreads, void *pArg);
    int32_t Record(pthread_t thread);
    bool Find(int32_t iId, pthread_t &thread);
    void Forget(int32_t iId);

    /** Set first by the destructor, read last before ThreadBody; it hands nothing over. */
    std::atomic<bool> bEnding{false};
};
