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

// Not inlined, for the sake of SetCancel.
[[noreturn, gnu::noinline]] void ThrowResult(const char *cpMessage, int iResult)
{
    throw clXThread(cpMessage, iResult);
}

/** Runs one of the thread's own functions; false when it threw, which is reported. */
template <class F>
bool RunReported(const char *cpFormat, const F &function)
{
    try {
        function();
        return true;
    } catch (const clException &caught) {
        std::fprintf(stderr, cpFormat, caught.what());
    } catch (...) {
        // A cancellation comes by here as well, without an exception of C++; swallowing it would
        // end the process.
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
    // A cancellation of the calling thread must not break off the join: the thread would go on
    // without its object.
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
        // A failure leaves the handle undefined, and a thread that has ended may still want its
        // Wait.
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
    // Still set when the thread left Execute by pthread_exit(); it must not be cancelled any more.
    bRunning = false;
    return pResult;
}

// Called where a cancellation may strike at any instruction, hence no handler and no destructor in
// this frame, not even that of an exception in the making: see clThreadsBase::RunBody.
void clThread::SetCancel(bool bDisable, bool bAsync)
{
    // A true first argument disables; deliberately the sense of the system's own constants.
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

    if (!RunReported("\nclThread::ThreadInit(): %s\n", [=] { pThread->ThreadInit(); })) {
        return nullptr;
    }
    void *pResult = nullptr;
    pThread->bRunning = true;
    // Once the destructor has begun, there is no Execute left to call.
    if (!pThread->bEnding) {
        RunReported("\nclThread::Execute(): %s\n", [&] { pResult = pThread->Execute(pArg); });
    }
    pThread->bRunning = false;
    // Last: whoever learns from ThreadClean that a detached thread is through may delete the
    // object.
    RunReported("\nclThread::ThreadClean(): %s\n", [=] { pThread->ThreadClean(); });
    return pResult;
}
