#pragma once

#include <atomic>

#include <pthread.h>

/**
 * One thread whose work a subclass supplies in Execute.
 *
 * The object belongs to the thread that created it: calls of Create, Cancel, Wait and the
 * destructor must not overlap. It has to outlive its thread, a detached one included. By the time
 * ~clThread cancels and joins, the parts of the subclass are gone, so a subclass whose thread uses
 * them ends it with Cancel and Wait in its own destructor. A thread that comes to its Execute later
 * than that ends without it.
 *
 * Exceptions never leave the thread: the text of a clException, or "unknown exception" for any
 * other, goes to standard error and the thread ends normally. A cancellation is no such exception
 * and prints nothing.
 */
class clThread
{
public:
    clThread() noexcept = default;
    clThread(const clThread &) = delete;
    clThread &operator=(const clThread &) = delete;

    /**
     * Cancels a running thread and joins a joinable one; failures are dropped. Throws nothing
     * itself, but a subclass may hold what does, a semaphore for example.
     */
    virtual ~clThread() noexcept(false);

    /**
     * Starts a thread that calls ThreadInit, Execute(pArg) and ThreadClean in turn.
     *
     * A thread counts as running only after its ThreadInit, and a cancelled one not at all;
     * creating another before such a thread was waited for loses the first one for good.
     *
     * @param bDetach nobody will wait for the thread; its Execute has to end by returning
     * @throws clXThread when a thread is running; when none can be started, and the one before can
     * still be waited for; when it cannot be detached, in which case it runs and can be waited for
     */
    void Create(void *pArg, bool bDetach);

    /**
     * Asks the running thread to end at its next cancellation point; ThreadClean is then left out.
     * The thread can still be waited for.
     *
     * @throws clXThread when no thread is running
     */
    void Cancel();

    /**
     * Joins the thread.
     *
     * @return what Execute returned; null after an exception and when there is nothing to join;
     * PTHREAD_CANCELED for a cancelled thread
     * @throws clXThread when the thread cannot be joined, for example by itself
     */
    void *Wait();

    /**
     * Sets how the calling thread, whichever it is, takes a cancellation.
     *
     * @param bDisable true puts cancellations off, false admits them
     * @param bAsync   true ends the thread anywhere at once, which only code without C++ objects
     * and handlers survives; false at cancellation points
     */
    static void SetCancel(bool bDisable, bool bAsync);

protected:
    /** Runs first on the new thread; when it throws, nothing else is called. */
    virtual void ThreadInit();

    /** Runs last on the new thread, also after an Execute that threw. */
    virtual void ThreadClean();

    /** The work itself; the result is what Wait returns. */
    virtual void *Execute(void *pArg) = 0;

    bool bJoinable = false;

    /**
     * Written by both threads. Its order against bEnding matters, hence the default one; all else
     * is handed over by the creation and the join.
     */
    std::atomic<bool> bRunning{false};
    pthread_t tidThread{};

private:
    static void *ThreadEntry(void *pStart);

    /** Set before the destructor looks at bRunning, and read after the thread has set that. */
    std::atomic<bool> bEnding{false};
};
