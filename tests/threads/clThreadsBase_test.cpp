#include "threads/clThreadsBase.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "threads/clSemaphore.h"
#include "threads/clThread.h"

#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include <unistd.h>

namespace
{

using Body = std::function<void *(void *)>;

thread_local int iTypeAtStart = -1;

/**
 * Calls the test's function with cancellation disabled, because C++ code is not safe for
 * asynchronous cancellation. Without a function it pauses for ever.
 */
class clProbeThreads : public clThreadsBase
{
public:
    using clThreadsBase::iNextId;
    using clThreadsBase::mapThreads;

    const Body *pBody = nullptr;
    clSemaphore semStarted;

protected:
    void *ThreadBody(void *pArg) override
    {
        pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &iTypeAtStart);
        if (pBody != nullptr) {
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
            return (*pBody)(pArg);
        }
        semStarted.Post();
        pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
        for (;;) {
            pause();
        }
    }
};

} // namespace

TEST(clThreadsBase, EachJoinableThreadHasItsOwnNumber)
{
    clSemaphore semDone;
    const Body fnBody = [&](void *pArg) {
        semDone.Post();
        return pArg;
    };
    clProbeThreads threads;
    threads.pBody = &fnBody;
    EXPECT_EQ(0, threads.Create(nullptr, true));
    semDone.Wait();
    EXPECT_TRUE(threads.mapThreads.empty());
    EXPECT_EQ(nullptr, threads.Wait(0));
    threads.Cancel(0);
    int aiArgs[3] = {};
    for (int &iArg : aiArgs) {
        EXPECT_EQ(&iArg - aiArgs, threads.Create(&iArg, false));
    }
    for (const int i : {1, 2, 0}) {
        EXPECT_EQ(&aiArgs[i], threads.Wait(i));
    }
    EXPECT_TRUE(threads.mapThreads.empty());
    // The system refuses priorities out of range.
    EXPECT_TRUE(threads.SetScheduling(pthread_self(), SCHED_OTHER, 0));
    EXPECT_FALSE(threads.SetScheduling(pthread_self(), SCHED_OTHER, 1));
}

TEST(clThreadsBase, NumbersWrapBeforeTheHighestAndSkipRecordedOnes)
{
    constexpr int32_t MAX = std::numeric_limits<int32_t>::max();
    const std::pair<int32_t, int> aRows[] = {{0, 0}, {1, 1},       {MAX - 1, MAX - 1},
                                             {0, 2}, {MAX - 1, 3}, {MAX, 4}};
    clProbeThreads threads;
    for (const auto &[iNextId, iNumber] : aRows) {
        SCOPED_TRACE(iNextId);
        threads.iNextId = iNextId;
        EXPECT_EQ(iNumber, threads.Create(nullptr, false));
        EXPECT_EQ(iNumber == MAX - 1 ? 0 : iNumber + 1, threads.iNextId);
        threads.semStarted.Wait();
    }
}

TEST(clThreadsBase, CancelNeedsNoCancellationPoint)
{
    clSemaphore semCancelled;
    bool bSurvived = false;
    clProbeThreads threads;
    const Body fnBody = [&](void *pArg) {
        threads.semStarted.Post();
        semCancelled.Wait();
        clThread::SetCancel(false, iTypeAtStart == PTHREAD_CANCEL_ASYNCHRONOUS);
        bSurvived = true;
        return pArg;
    };
    threads.pBody = &fnBody;
    const int iId = threads.Create(nullptr, false);
    const pthread_t thread = threads.mapThreads.at(iId);
    threads.semStarted.Wait();
    threads.Cancel(iId);
    EXPECT_EQ(nullptr, threads.Wait(iId));
    semCancelled.Post();
    void *pResult = nullptr;
    EXPECT_EQ(0, pthread_join(thread, &pResult));
    EXPECT_EQ(PTHREAD_CANCELED, pResult);
    EXPECT_FALSE(bSurvived);
}

TEST(clThreadsBase, ExceptionsArePrintedAndEndTheThreadWithNull)
{
    for (const bool bOurs : {true, false}) {
        SCOPED_TRACE(bOurs);
        const Body fnBody = [&](void *) -> void * {
            if (bOurs) {
                throw clXFileIO("boom");
            }
            throw std::runtime_error("boom");
        };
        clProbeThreads threads;
        threads.pBody = &fnBody;
        testing::internal::CaptureStderr();
        EXPECT_EQ(nullptr, threads.Wait(threads.Create(&threads, false)));
        EXPECT_EQ(std::string("\nclThreadsBase::ThreadBody(): ") +
                      (bOurs ? "boom\n" : "unknown exception\n"),
                  testing::internal::GetCapturedStderr());
    }
}
