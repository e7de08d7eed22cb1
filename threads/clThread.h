#pragma once

#include "base/Export.h"

#include <atomic>

#include <pthread.h>

/**
 * One thread; a subclass supplies its work in Execute.
 *
 * Calls of Create, Cancel, Wait and the destructor must not overlap. The object must outlive its
 * thread, also a detached one. ~clThread cancels and joins, but only after the subclass has been
 * destroyed: a subclass whose thread uses its members calls Cancel and Wait in its own destructor.
 *
 * Exceptions do not leave the thread: the text of a clException, or "unknown exception" for any
 * other, is printed to standard error, and the thread ends normally. A cancellation prints nothing.
 */
class VANTREL_API clThread
{
public:
    clThread() noexcept = default;
    clThread(const clThread &) = delete;
    clThread &operator=(const clThread &) = delete;

    /** Cancels and joins the thread and ignores failures; only members of subclasses may throw. */
    virtual ~clThread() noexcept(false);

    /** Starts a thread that calls ThreadInit, Execute(pArg) and ThreadClean; without Execute once
     * the destructor has begun. It counts as running from the end of ThreadInit until it ends or is
     * cancelled. Another Create before Wait, while it does not count as running, loses it for good.
     * @param bDetach nobody will wait for the thread; its Execute must end by returning
     * @throws clXThread when a thread is running; when none can be started (the previous one can
     * still be waited for); when it cannot be detached (it runs and can be waited for) */
    void Create(void *pArg, bool bDetach);

    /** Cancels the running thread at its next cancellation point; ThreadClean is not called then.
     * @throws clXThread when no thread is running */
    void Cancel();

    /** Joins the thread. @return the result of Execute; null after an exception and without a
     * thread to join; PTHREAD_CANCELED for a cancelled thread
     * @throws clXThread when the thread cannot be joined, for example by itself */
    void *Wait();

    /** Sets whether the calling thread defers cancellations (bDisable), and whether one ends it at
     * any instruction (bAsync) instead of at cancellation points, which is safe only for code
     * without C++ objects and handlers. @throws clXThread when the system refuses */
    static void SetCancel(bool bDisable, bool bAsync);

protected:
    /** Called first, on the new thread. If it throws, the thread ends without the other two. */
    virtual void ThreadInit();

    /** Called last, also after an Execute that threw. */
    virtual void ThreadClean();

    /** The work of the thread; Wait returns its result. */
    virtual void *Execute(void *pArg) = 0;

    bool bJoinable = false; ///< whether tidThread can be joined

    /** From the end of ThreadInit until the thread ends or is cancelled. Written by both threads;
     * sequentially consistent because its order against bEnding matters. */
    std::atomic<bool> bRunning{false};
    pthread_t tidThread{}; ///< the thread last created

private:
    static void *ThreadEntry(void *pStart);

    // Set before the destructor reads bRunning; read after the thread has set bRunning.
    std::atomic<bool> bEnding{false};
};
