#include "threads/clThreadPool.h"

#include "base/clCancelDelay.h"
#include "base/clException.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <limits>
#include <new>
#include <thread>
#include <utility>

#include <pthread.h>

namespace
{

constexpr long MAX_THREADS =
    std::numeric_limits<long>::max() / static_cast<long>(sizeof(clSemaphore));

void *ThreadEntry(void *pPool)
{
    clThreadPool::ThreadPoolCB(static_cast<clThreadPool *>(pPool));
    return nullptr;
}

// Not inlined: the address sanitizer does not see a cancellation unwind the caller's frame and
// would keep the buffer's guard zones poisoned.
[[noreturn, gnu::noinline]] void ThrowBadThreadCount(long lThreads)
{
    char acMessage[160];
    std::snprintf(acMessage, sizeof(acMessage),
                  "clThreadPool::ThreadPoolSubmit(): lThreads > lThreadCntr || lThreads <= 0 : %ld",
                  lThreads);
    throw clXThreadPool(acMessage);
}

/**
 * Spins for up to 100 yields, less than 0.1 ms, before blocking. When batches follow each other
 * closely, most waits end within that time, and waking a blocked thread can take as long,
 * especially on a virtual processor.
 */
void SpinThenWait(clSemaphore &sem)
{
    constexpr int TRIES = 100;
    for (int i = 0; i < TRIES; ++i) {
        if (sem.TryWait()) {
            return;
        }
        std::this_thread::yield();
    }
    sem.Wait();
}

/** Waits again after each signal. */
void WaitDespiteSignals(clSemaphore &sem)
{
    for (;;) {
        try {
            sem.Wait();
            return;
        } catch (const clException &caught) {
            if (caught.iErrno != EINTR) {
                throw;
            }
        }
    }
}

} // namespace

clThreadPool::~clThreadPool() noexcept(false)
{
    try {
        ThreadPoolDestroy();
    } catch (...) {
    }
}

void clThreadPool::ThreadPoolCreate(long lThreads)
{
    DrainStalePost();
    if (lThreadCntr != 0) {
        throw clXThreadPool("clThreadPool::ThreadPoolCreate(): lThreadCntr != 0");
    }
    if (lThreads < 0 || lThreads > MAX_THREADS) {
        throw std::bad_array_new_length();
    }
    // Without workers this only frees the arrays of a pool of 0 threads or of dead workers.
    ThreadPoolDestroy();
    const auto uCount = static_cast<size_t>(lThreads);
    auto piNewRun = std::make_unique<std::atomic<int32_t>[]>(uCount);
    auto ppNewArg = std::make_unique<void *[]>(uCount);
    psemWorker = std::make_unique<clSemaphore[]>(uCount);
    piRun = std::move(piNewRun);
    ppArg = std::move(ppNewArg);
    uSlots = uCount;

    // Each starts before the next is created, so that worker i is the i-th thread.
    for (size_t i = 0; i < uCount; ++i) {
        pthread_t thread{};
        int iResult = pthread_create(&thread, nullptr, ThreadEntry, this);
        if (iResult != 0) {
            throw clXThreadPool("clThreadPool::ThreadPoolCreate(): pthread_create()", iResult);
        }
        bPostPending = true;
        iResult = pthread_detach(thread);
        if (iResult != 0) {
            throw clXThreadPool("clThreadPool::ThreadPoolCreate(): pthread_detach()", iResult);
        }
        semDone.Wait();
        bPostPending = false;
    }
}

void clThreadPool::ThreadPoolSubmit(long lThreads, void **ppArgs)
{
    ThreadPoolStart(lThreads, ppArgs);
    ThreadPoolWait();
}

void clThreadPool::ThreadPoolStart(long lThreads, void **ppArgs)
{
    DrainStalePost();
    if (lThreadCntr < lThreads || lThreads <= 0) {
        ThrowBadThreadCount(lThreads);
    }
    lPending = lThreads;
    bPostPending = true;
    for (size_t i = 0; i < static_cast<size_t>(lThreads); ++i) {
        piRun[i] = 1;
        ppArg[i] = ppArgs != nullptr ? ppArgs[i] : nullptr;
        psemWorker[i].Post();
    }
}

void clThreadPool::ThreadPoolWait()
{
    SpinThenWait(semDone);
    bPostPending = false;
}

void clThreadPool::ThreadPoolDestroy()
{
    // The workers use the arrays until the last one has ended, so a cancellation must not
    // interrupt this.
    const clCancelDelay delay;
    DrainStalePost();
    if (lThreadCntr >= 1) {
        // All slots: the index of a dead worker may be any, not only the last.
        for (size_t i = 0; i < uSlots; ++i) {
            piRun[i] = 0;
            psemWorker[i].Post();
        }
        WaitDespiteSignals(semDone);
        // An interrupted batch has posted before its workers ended, unless a job threw.
        if (bPostPending && lPending == 0) {
            WaitDespiteSignals(semDone);
        }
    }
    bPostPending = false;
    lPending = 0;
    uSlots = 0;
    // Not reset(), which is noexcept: a semaphore's destructor may throw.
    delete[] psemWorker.release();
    ppArg.reset();
    piRun.reset();
}

void clThreadPool::ThreadPoolCB(clThreadPool *pPool)
{
    const auto uIdx = static_cast<size_t>(pPool->lThreadCntr.fetch_add(1));
    try {
        pPool->semDone.Post();
        for (;;) {
            SpinThenWait(pPool->psemWorker[uIdx]);
            if (pPool->piRun[uIdx] == 0) {
                break;
            }
            pPool->ThreadPoolJob(static_cast<long>(uIdx), pPool->ppArg[uIdx]);
            if (pPool->lPending.fetch_sub(1) == 1) {
                pPool->semDone.Post();
            }
        }
        // Only the last worker may touch the pool once it is no longer counted.
        if (pPool->lThreadCntr.fetch_sub(1) == 1) {
            pPool->semDone.Post();
        }
    } catch (const std::exception &caught) {
        --pPool->lThreadCntr;
        std::fprintf(stderr, "clThreadPool::ThreadPoolCB(): %s\n", caught.what());
    } catch (...) {
        --pPool->lThreadCntr;
        // pthread cancellation, and a job that calls pthread_exit(), unwind through this handler
        // with no current_exception; swallowing them would end the process.
        if (std::current_exception() == nullptr) {
            throw;
        }
        std::fprintf(stderr, "clThreadPool::ThreadPoolCB(): unknown exception\n");
    }
}

void clThreadPool::ThreadPoolJob(long, void *) {}

/**
 * An interrupted wait leaves semDone's post pending; the next wait must not take it for its own.
 * Without a pending job the post is certain to come. A batch with one may never complete, so its
 * post is not waited for.
 */
void clThreadPool::DrainStalePost()
{
    if (bPostPending && lPending == 0) {
        WaitDespiteSignals(semDone);
        bPostPending = false;
    }
}
