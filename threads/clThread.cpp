#include "threads/clThread.h"

#include "base/clCancelDelay.h"
#include "base/clException.h"

#include <cstdio>
#include <exception>
#include <memory>

namespace
{

struct StartRecord {
    clThread *pThread;
    void *pArg;
};

// Not inlined, because SetCancel must have no destructor in its frame.
[[noreturn, gnu::noinline]] void ThrowResult(const char *cpMessage, int iResult)
{
    throw clXThread(cpMessage, iResult);
}

/** Runs a function and prints what it throws; returns false if it threw. */
template <class F>
bool RunAndReport(const char *cpFormat, const F &function)
{
    try {
        function();
        return true;
    } catch (const clException &caught) {
        std::fprintf(stderr, cpFormat, caught.what());
    } catch (...) {
        // pthread cancellation unwinds through this handler with no current_exception; swallowing
        // it would end the process.
        if (std::current_exception() == nullptr) {
            throw;
        }
        std::fprintf(stderr, cpFormat, "unknown exception");
    }
    return false;
}

} // namespace

clThread::~clThread() noexcept(false)
{
    // A cancellation of the calling thread must not interrupt the join: the thread would continue
    // after its object is gone.
    const clCancelDelay delay;
    bEnding = true;
    try {
        if (bRunning) {
            Cancel();
        }
        Wait();
    } catch (...) {
    }
}

void clThread::Create(void *pArg, bool bDetach)
{
    if (bRunning) {
        throw clXThread("clThread::Create(): already running!");
    }
    std::unique_ptr<StartRecord> pStart(new StartRecord{this, pArg});
    const pthread_t tidOld = tidThread;
    int iResult = pthread_create(&tidThread, nullptr, ThreadEntry, pStart.get());
    if (iResult != 0) {
        // A failure leaves the handle undefined, but a thread that has ended can still be joined.
        tidThread = tidOld;
        throw clXThread("clThread::Create(): pthread_create()", iResult);
    }
    static_cast<void>(pStart.release()); // The new thread deletes it.
    bJoinable = true;
    if (bDetach) {
        iResult = pthread_detach(tidThread);
        if (iResult != 0) {
            throw clXThread("clThread::Create(): pthread_detach()", iResult);
        }
        bJoinable = false;
    }
}

void clThread::Cancel()
{
    if (!bRunning) {
        throw clXThread("clThread::Cancel(): not running!");
    }
    const int iResult = pthread_cancel(tidThread);
    if (iResult != 0) {
        throw clXThread("clThread::Cancel(): pthread_cancel()", iResult);
    }
    bRunning = false;
}

void *clThread::Wait()
{
    if (!bJoinable) {
        return nullptr;
    }
    void *pResult = nullptr;
    const int iResult = pthread_join(tidThread, &pResult);
    if (iResult != 0) {
        throw clXThread("clThread::Wait(): pthread_join()", iResult);
    }
    bJoinable = false;
    // Still set if the thread left Execute by pthread_exit(); it can no longer be cancelled.
    bRunning = false;
    return pResult;
}

// A cancellation may occur at any instruction here, so this frame has no handler and no destructor,
// not even that of a partly constructed exception: see clThreadsBase::RunBody.
void clThread::SetCancel(bool bDisable, bool bAsync)
{
    // True disables, as PTHREAD_CANCEL_DISABLE is 1. Compatibility: callers rely on it.
    int iResult =
        pthread_setcancelstate(bDisable ? PTHREAD_CANCEL_DISABLE : PTHREAD_CANCEL_ENABLE, nullptr);
    if (iResult != 0) {
        ThrowResult("clThread::SetCancel(): pthread_setcancelstate()", iResult);
    }
    iResult = pthread_setcanceltype(bAsync ? PTHREAD_CANCEL_ASYNCHRONOUS : PTHREAD_CANCEL_DEFERRED,
                                    nullptr);
    if (iResult != 0) {
        ThrowResult("clThread::SetCancel(): pthread_setcanceltype()", iResult);
    }
}

void clThread::ThreadInit() {}

void clThread::ThreadClean() {}

void *clThread::ThreadEntry(void *pStart)
{
    clThread *const pThread = static_cast<StartRecord *>(pStart)->pThread;
    void *const pArg = static_cast<StartRecord *>(pStart)->pArg;
    delete static_cast<StartRecord *>(pStart);

    if (!RunAndReport("\nclThread::ThreadInit(): %s\n", [=] { pThread->ThreadInit(); })) {
        return nullptr;
    }
    void *pResult = nullptr;
    pThread->bRunning = true;
    // Once the destructor has begun, the subclass's Execute is gone.
    if (!pThread->bEnding) {
        RunAndReport("\nclThread::Execute(): %s\n", [&] { pResult = pThread->Execute(pArg); });
    }
    pThread->bRunning = false;
    // Last: the ThreadClean of a detached thread may tell another thread to delete the object.
    RunAndReport("\nclThread::ThreadClean(): %s\n", [=] { pThread->ThreadClean(); });
    return pResult;
}
