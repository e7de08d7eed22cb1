#pragma once

#include "base/Export.h"
#include "threads/clSemaphore.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

/**
 * A fixed set of worker threads that runs one batch of jobs at a time; a subclass supplies the job
 * in ThreadPoolJob. One thread at a time may use a pool.
 *
 * ~clThreadPool ends the workers, but only after the subclass has been destroyed: a subclass whose
 * Submit may be interrupted by a signal or a cancellation calls ThreadPoolDestroy in its own
 * destructor.
 *
 * Jobs must not throw. If one does, its worker prints the exception's text to standard error and
 * ends, and the batch never completes. The worker's index stays unused until the pool is destroyed
 * and created again.
 */
class VANTREL_API clThreadPool
{
public:
    clThreadPool() = default;
    clThreadPool(const clThreadPool &) = delete;
    clThreadPool &operator=(const clThreadPool &) = delete;

    /** Ends all workers and ignores failures, except one of semDone's destructor. */
    virtual ~clThreadPool() noexcept(false);

    /** Starts the workers 0 to lThreads - 1 and waits until each has started.
     * @throws clXThreadPool when the pool has workers; when one cannot be started, and the earlier
     * ones then run until the pool is destroyed
     * @throws std::bad_alloc for a negative number and when memory is short, clException when a
     * semaphore cannot be made; the pool is then empty */
    void ThreadPoolCreate(long lThreads);

    /** Runs ThreadPoolJob(i, ppArgs[i]) on each worker i below lThreads and returns when all have
     * returned. ppArgs is borrowed until then; null gives each job a null argument.
     * @throws clXThreadPool when lThreads is below 1 or above the number of workers; clException
     * when a signal handler interrupts the wait: the batch still runs, and only ThreadPoolDestroy
     * may be called before it has finished */
    void ThreadPoolSubmit(long lThreads, void **ppArgs);

    /** As ThreadPoolSubmit, but returns while the jobs run, and borrows ppArgs only for the call.
     * The next call must be ThreadPoolWait.
     * @throws clXThreadPool as ThreadPoolSubmit; nothing runs then */
    void ThreadPoolStart(long lThreads, void **ppArgs);

    /** Waits for the batch of ThreadPoolStart. @throws clException when a signal interrupts it */
    void ThreadPoolWait();

    /** Ends all workers, each after its current job, and returns when none uses the pool any more.
     * Neither a signal nor a cancellation interrupts this. Waits for ever if a job throws during
     * the call and its worker is the last one to end. */
    void ThreadPoolDestroy();

    /** The loop of one worker, on the worker's thread. */
    static void ThreadPoolCB(clThreadPool *pPool);

protected:
    /** One job. @param lThreadIdx index of the worker and of the job in its batch */
    virtual void ThreadPoolJob(long lThreadIdx, void *pArg);

    // Each change of a count is one atomic step whose result decides; these steps and the
    // semaphores also publish what the jobs wrote.
    std::atomic<int64_t> lThreadCntr{0}; ///< live workers
    std::atomic<int64_t> lPending{0};    ///< unfinished jobs of the batch

    /** Command to each worker: 1 runs a job, 0 ends the worker. Atomic because ThreadPoolDestroy
     * may write it while workers still read the command of an abandoned batch. */
    std::unique_ptr<std::atomic<int32_t>[]> piRun;
    std::unique_ptr<void *[]> ppArg; ///< the argument of each worker's job

    /** Posted by each worker that starts, by the last job of a batch and by the last worker. */
    clSemaphore semDone;
    std::unique_ptr<clSemaphore[]> psemWorker; ///< posted for each command

private:
    void DrainStalePost();

    // Entries of the arrays; more than the live workers once a worker has died.
    size_t uSlots = 0;

    // A start or batch posts semDone, or has done so, and no wait has consumed that post yet.
    bool bPostPending = false;
};
