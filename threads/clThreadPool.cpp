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

void *StartRoutine(void *pPool)
{
    clThreadPool::ThreadPoolCB(static_cast<clThreadPool *>(pPool));
    return nullptr;
}

// Not inlined: a cancellation may unwind the caller's frame without the address sanitizer's notice,
// which would then go on guarding the buffer.
[[noreturn, gnu::noinline]] void ThrowNoBatch(long lThreads)
{
    char acMessage[160];
    std::snprintf(acMessage, sizeof(acMessage),
                  "clThreadPool::ThreadPoolSubmit(): lThreads > lThreadCntr || lThreads <= 0 : %ld",
                  lThreads);
    throw clXThreadPool(acMessage);
}

/**
 * Stays awake for less than a tenth of a millisecond before it sleeps. Where batches follow each
 * other closely most waits are over by then, and waking a thread can take as long, on a virtual
 * processor above all. Who else wants the processor gets it.
 */
void WaitAwake(clSemaphore &sem)
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

/** Waits although signals arrive. */
void WaitThrough(clSemaphore &sem)
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
    CollectOwedPost();
    if (lThreadCntr != 0) {
        throw clXThreadPool("clThreadPool::ThreadPoolCreate(): lThreadCntr != 0");
    }
    if (lThreads < 0 || lThreads > MAX_THREADS) {
        throw std::bad_array_new_length();
    }
    // Without workers this only frees what a creation of none, or workers that died, left behind.
    ThreadPoolDestroy();
    const auto sizeCount = static_cast<size_t>(lThreads);
    auto piNewRun = std::make_unique<std::atomic<int32_t>[]>(sizeCount);
    auto ppNewArg = std::make_unique<void *[]>(sizeCount);
    psemWorker = std::make_unique<clSemaphore[]>(sizeCount);
    piRun = std::move(piNewRun);
    ppArg = std::move(ppNewArg);
    sizeSlots = sizeCount;

    // One after another, so that worker i is the i-th thread.
    for (size_t i = 0; i < sizeCount; ++i) {
        pthread_t thread{};
        int iResult = pthread_create(&thread, nullptr, StartRoutine, this);
        if (iResult != 0) {
            throw clXThreadPool("clThreadPool::ThreadPoolCreate(): pthread_create()", iResult);
        }
        bPostOwed = true;
        iResult = pthread_detach(thread);
        if (iResult != 0) {
            throw clXThreadPool("clThreadPool::ThreadPoolCreate(): pthread_detach()", iResult);
        }
        semDone.Wait();
        bPostOwed = false;
    }
}

void clThreadPool::ThreadPoolSubmit(long lThreads, void **ppArgs)
{
    ThreadPoolStart(lThreads, ppArgs);
    ThreadPoolWait();
}

void clThreadPool::ThreadPoolStart(long lThreads, void **ppArgs)
{
    CollectOwedPost();
    if (lThreadCntr < lThreads || lThreads <= 0) {
        ThrowNoBatch(lThreads);
    }
    lPending = lThreads;
    bPostOwed = true;
    for (size_t i = 0; i < static_cast<size_t>(lThreads); ++i) {
        piRun[i] = 1;
        ppArg[i] = ppArgs != nullptr ? ppArgs[i] : nullptr;
        psemWorker[i].Post();
    }
}

void clThreadPool::ThreadPoolWait()
{
    WaitAwake(semDone);
    bPostOwed = false;
}

void clThreadPool::ThreadPoolDestroy()
{
    // The arrays belong to the workers until the last one has ended, so nothing may get in between.
    const clCancelDelay delay;
    CollectOwedPost();
    if (lThreadCntr >= 1) {
        // All of them: a worker that has died leaves a gap, not the last index.
        for (size_t i = 0; i < sizeSlots; ++i) {
            piRun[i] = 0;
            psemWorker[i].Post();
        }
        WaitThrough(semDone);
        // A batch that was still running has posted before its workers ended, unless a job threw.
        if (bPostOwed && lPending == 0) {
            WaitThrough(semDone);
        }
    }
    bPostOwed = false;
    lPending = 0;
    sizeSlots = 0;
    // Not reset(): a semaphore's destructor may throw, which reset() does not let pass.
    delete[] psemWorker.release();
    ppArg.reset();
    piRun.reset();
}

void clThreadPool::ThreadPoolCB(clThreadPool *pPool)
{
    const auto sizeIdx = static_cast<size_t>(pPool->lThreadCntr.fetch_add(1));
    try {
        pPool->semDone.Post();
        for (;;) {
            WaitAwake(pPool->psemWorker[sizeIdx]);
            if (pPool->piRun[sizeIdx] == 0) {
                break;
            }
            pPool->ThreadPoolJob(static_cast<long>(sizeIdx), pPool->ppArg[sizeIdx]);
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
        // A cancellation, or a job that left by pthread_exit(), comes by here as well, without an
        // exception of C++; swallowing it would end the process.
        if (std::current_exception() == nullptr) {
            throw;
        }
        std::fprintf(stderr, "clThreadPool::ThreadPoolCB(): unknown exception\n");
    }
}

void clThreadPool::ThreadPoolJob(long, void *) {}

/**
 * A wait on semDone that a signal or a cancellation broke off leaves its post behind, and the next
 * wait would take it for its own. Without a pending job it has come or is certain to come; a batch
 * with one may never complete, so that is not waited for.
 */
void clThreadPool::CollectOwedPost()
{
    if (bPostOwed && lPending == 0) {
        WaitThrough(semDone);
        bPostOwed = false;
    }
}
