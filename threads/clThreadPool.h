#pragma once

#include "threads/clSemaphore.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

/**
 * A fixed set of worker threads that runs one batch of jobs at a time; the job itself is the
 * subclass's ThreadPoolJob.
 *
 * The workers are idle between two batches. Create, Submit and Destroy belong to one caller at a
 * time. By the time ~clThreadPool ends the workers the parts of the subclass are gone, so a
 * subclass whose Submit may be broken off by a signal or a cancellation calls ThreadPoolDestroy in
 * its own destructor.
 *
 * Jobs must not throw. The worker of one that does writes the exception's text to standard error
 * and ends, and the batch never completes. The index of a dead worker is not filled again before
 * the pool was destroyed and created anew.
 */
class clThreadPool
{
public:
    /** A pool without workers. */
    clThreadPool() = default;
    clThreadPool(const clThreadPool &) = delete;
    clThreadPool &operator=(const clThreadPool &) = delete;

    /** Ends all workers; failures are dropped, but for one of the destructor of semDone. */
    virtual ~clThreadPool() noexcept(false);

    /**
     * Starts the workers with the indices 0 to lThreads - 1 and waits until each has started.
     *
     * @throws clXThreadPool when the pool has workers, or when one cannot be started; those before
     * it keep running until the pool is destroyed
     * @throws std::bad_alloc for a negative number and when memory is short, clException when a
     * semaphore cannot be made; the pool is empty then
     */
    void ThreadPoolCreate(long lThreads);

    /**
     * Runs ThreadPoolJob(i, ppArgs[i]) on worker i for the first lThreads workers and returns when
     * all these jobs have returned.
     *
     * @param ppArgs borrowed until the return; null gives each job a null argument
     * @throws clXThreadPool when lThreads is below 1 or more than there are workers
     * @throws clException when a signal handler interrupts the wait; the batch still runs, and only
     * ThreadPoolDestroy may be called before it has finished
     */
    void ThreadPoolSubmit(long lThreads, void **ppArgs);

    /**
     * The first half of ThreadPoolSubmit, for a caller that has work of its own: returns while the
     * jobs run. The table of arguments is borrowed for the call alone. ThreadPoolWait has to
     * follow before anything else.
     *
     * @throws clXThreadPool when lThreads is below 1 or more than there are workers; nothing runs
     */
    void ThreadPoolStart(long lThreads, void **ppArgs);

    /**
     * The second half of ThreadPoolSubmit: returns when all jobs of the batch have returned.
     *
     * @throws clException when a signal handler interrupts the wait, as ThreadPoolSubmit does
     */
    void ThreadPoolWait();

    /**
     * Ends all workers, each after the job it is at, and returns when the last one has let go of
     * the pool; neither a signal nor a cancellation breaks this off. Nothing happens without
     * workers.
     *
     * Waits for ever when a job throws during this call and its worker is the last one to end: a
     * worker that dies posts nothing.
     */
    void ThreadPoolDestroy();

    /** The loop of one worker, on whose thread it runs; returns when the worker has ended. */
    static void ThreadPoolCB(clThreadPool *pPool);

protected:
    /** One job. @param lThreadIdx index of the worker and of the job in its batch */
    virtual void ThreadPoolJob(long lThreadIdx, void *pArg);

    /**
     * Live workers, and unfinished jobs of the batch. Only ever changed by one atomic step whose
     * result decides; what the jobs wrote is handed over by the same steps and the semaphores, for
     * which the default order is enough.
     */
    std::atomic<int64_t> lThreadCntr{0};
    std::atomic<int64_t> lPending{0};

    /**
     * Command to each worker, 1 to run a job and 0 to end. Atomic because the end may be commanded
     * while a batch that nobody waits for any more is still being picked up.
     */
    std::unique_ptr<std::atomic<int32_t>[]> piRun;
    std::unique_ptr<void *[]> ppArg;

    /** Posted by each worker that has started, by the last job of a batch, by the last worker. */
    clSemaphore semDone;
    std::unique_ptr<clSemaphore[]> psemWorker;

private:
    void CollectOwedPost();

    /** Entries of the arrays; after the death of a worker more than there are live ones. */
    size_t sizeSlots = 0;

    /** The wait for a start or a batch was broken off; its post of semDone is still to come. */
    bool bPostOwed = false;
};
