#include "threads/clThreadsBase.h"

#include "base/clCancelDelay.h"
#include "base/clException.h"

#include <cstdio>
#include <exception>
#include <limits>
#include <memory>

#include <sched.h>
#include <unistd.h>

namespace
{

struct StartRecord {
    clThreadsBase *pThreads;
    void *pArg;
};

/** Holds the mutex until the end of the block. */
class clMutexLock
{
public:
    explicit clMutexLock(clMutex &mtx) : mtxHeld(mtx) { mtxHeld.Wait(); }
    clMutexLock(const clMutexLock &) = delete;
    clMutexLock &operator=(const clMutexLock &) = delete;
    ~clMutexLock() noexcept(false) { mtxHeld.Release(); }

private:
    clMutex &mtxHeld;
};

/** Replaces the highest number, which is never assigned, by 0. */
int32_t WrapId(int32_t iId)
{
    return iId == std::numeric_limits<int32_t>::max() ? 0 : iId;
}

} // namespace

clThreadsBase::~clThreadsBase() noexcept(false)
{
    // A cancellation of the calling thread must not interrupt a join: the thread would continue
    // after its object is gone.
    const clCancelDelay delay;
    bEnding = true;
    try {
        const clMutexLock lock(mtxThreads);
        for (const auto &[iId, thread] : mapThreads) {
            pthread_cancel(thread);
            pthread_join(thread, nullptr);
        }
    } catch (...) {
    }
}

int clThreadsBase::Create(void *pArg, bool bDetach)
{
    std::unique_ptr<StartRecord> pStart(new StartRecord{this, pArg});
    pthread_t thread{};
    int iResult = pthread_create(&thread, nullptr, ThreadEntry, pStart.get());
    if (iResult != 0) {
        throw clXThreads("clThreadsBase::Create(): pthread_create()", iResult);
    }
    static_cast<void>(pStart.release()); // The new thread deletes it.
    if (bDetach) {
        iResult = pthread_detach(thread);
        if (iResult != 0) {
            throw clXThreads("clThreadsBase::Create(): pthread_detach()", iResult);
        }
        return 0;
    }
    try {
        return Record(thread);
    } catch (...) {
        // An unrecorded thread cannot be ended later and would outlive the object.
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
        throw;
    }
}

void *clThreadsBase::Wait(int iId)
{
    pthread_t thread{};
    if (!Find(iId, thread)) {
        return nullptr;
    }
    void *pResult = nullptr;
    const int iResult = pthread_join(thread, &pResult);
    if (iResult != 0) {
        throw clXThreads("clThreadsBase::Wait(): pthread_join()", iResult);
    }
    Forget(iId);
    return pResult;
}

void clThreadsBase::Cancel(int iId)
{
    pthread_t thread{};
    if (!Find(iId, thread)) {
        return;
    }
    const int iResult = pthread_cancel(thread);
    if (iResult != 0) {
        throw clXThreads("clThreadsBase::Cancel(): pthread_cancel()", iResult);
    }
    Forget(iId);
}

bool clThreadsBase::SetScheduling(pthread_t thread, int iPolicy, int iPriority)
{
    const clMutexLock lock(mtxThreads);
    // The results of setuid() are ignored: without the privilege the call below either needs none
    // or is refused.
    const uid_t uUser = getuid();
    [[maybe_unused]] const int iRaised = setuid(0);
    // Unsigned, so that a priority out of range wraps and the system refuses it.
    sched_param param{};
    param.sched_priority = static_cast<int>(static_cast<unsigned>(sched_get_priority_min(iPolicy)) +
                                            static_cast<unsigned>(iPriority));
    const int iResult = pthread_setschedparam(thread, iPolicy, &param);
    [[maybe_unused]] const int iDropped = setuid(uUser);
    return iResult == 0;
}

void *clThreadsBase::ThreadEntry(void *pStart)
{
    clThreadsBase *const pThreads = static_cast<StartRecord *>(pStart)->pThreads;
    void *const pArg = static_cast<StartRecord *>(pStart)->pArg;
    delete static_cast<StartRecord *>(pStart);

    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    try {
        return RunBody(pThreads, pArg);
    } catch (const clException &caught) {
        pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, nullptr);
        std::fprintf(stderr, "\nclThreadsBase::ThreadBody(): %s\n", caught.what());
    } catch (...) {
        // pthread cancellation unwinds through this handler with no current_exception; swallowing
        // it would end the process.
        if (std::current_exception() == nullptr) {
            throw;
        }
        pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, nullptr);
        std::fprintf(stderr, "\nclThreadsBase::ThreadBody(): unknown exception\n");
    }
    return nullptr;
}

// Cancellation is asynchronous in this frame only. The frame must have no handlers and no
// destructors: in a function that has some, the unwind tables cover only its calls, and a
// cancellation between two calls would end the process.
[[gnu::noinline]] void *clThreadsBase::RunBody(clThreadsBase *pThreads, void *pArg)
{
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    // Once the destructor has begun, the subclass's ThreadBody is gone.
    void *const pResult = pThreads->bEnding ? nullptr : pThreads->ThreadBody(pArg);
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, nullptr);
    return pResult;
}

int32_t clThreadsBase::Record(pthread_t thread)
{
    const clMutexLock lock(mtxThreads);
    int32_t iId = WrapId(iNextId);
    // Terminates, because the process runs out of threads long before the numbers do.
    while (!mapThreads.emplace(iId, thread).second) {
        iId = WrapId(iId + 1);
    }
    iNextId = WrapId(iId + 1);
    return iId;
}

bool clThreadsBase::Find(int32_t iId, pthread_t &thread)
{
    const clMutexLock lock(mtxThreads);
    const auto found = mapThreads.find(iId);
    if (found == mapThreads.end()) {
        return false;
    }
    thread = found->second;
    return true;
}

void clThreadsBase::Forget(int32_t iId)
{
    const clMutexLock lock(mtxThreads);
    mapThreads.erase(iId);
}
