#include "threads/clThreadsBase.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "threads/clSemaphore.h"
#include "threads/clThread.h"

#include <functional>
#include <limits>
#include <stdexcept>
#include <string>

#include <sched.h>
#include <unistd.h>

namespace
{

using Body = std::function<void *(void *)>;

thread_local int iTypeAtStart = -1;
thread_local int iStateAtStart = -1;

/**
 * Runs the test's own function, with cancellations put off: no C++ in it would survive them.
 * Without a function it sleeps in the system for ever.
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
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &iStateAtStart);
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

TEST(clThreadsBase, NumbersCountUpAndBelongToOneThreadEach)
{
    clSemaphore semDone;
    const Body fnBody = [&](void *pArg) {
        semDone.Post();
        return pArg;
    };
    clProbeThreads threads;
    threads.pBody = &fnBody;
    int aiArgs[4] = {};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(i, threads.Create(&aiArgs[i], false));
    }
    EXPECT_EQ(0, threads.Create(nullptr, true));
    EXPECT_EQ(3U, threads.mapThreads.size());
    EXPECT_EQ(&aiArgs[1], threads.Wait(1));
    EXPECT_EQ(nullptr, threads.Wait(1));
    EXPECT_NO_THROW(threads.Cancel(1));
    EXPECT_EQ(3, threads.Create(&aiArgs[3], false)) << "a freed number is not the next";
    for (const int i : {3, 2, 0}) {
        EXPECT_EQ(&aiArgs[i], threads.Wait(i));
    }
    for (int i = 0; i < 5; ++i) {
        semDone.Wait(); // The detached one has done as well.
    }
}

TEST(clThreadsBase, NumbersWrapBeforeTheHighestAndPassRecordedOnes)
{
    constexpr int32_t MAX = std::numeric_limits<int32_t>::max();
    const struct {
        int32_t iNextId;
        int iNumber;
    } aRows[] = {{0, 0}, {1, 1}, {MAX - 1, MAX - 1}, {0, 2}, {MAX - 1, 3}, {MAX, 4}};
    clProbeThreads threads;
    for (const auto &row : aRows) {
        threads.iNextId = row.iNextId;
        EXPECT_EQ(row.iNumber, threads.Create(nullptr, false));
        EXPECT_EQ(row.iNumber == MAX - 1 ? 0 : row.iNumber + 1, threads.iNextId);
        threads.semStarted.Wait();
    }
    // All of them sleep, and the destructor ends them.
}

TEST(clThreadsBase, CancelStrikesWithoutACancellationPoint)
{
    clSemaphore semCancelled;
    int iState = -1;
    bool bSurvived = false;
    clProbeThreads threads;
    const Body fnBody = [&](void *pArg) {
        iState = iStateAtStart;
        threads.semStarted.Post();
        semCancelled.Wait();
        clThread::SetCancel(false, iTypeAtStart == PTHREAD_CANCEL_ASYNCHRONOUS);
        bSurvived = true;
        return pArg;
    };
    threads.pBody = &fnBody;
    testing::internal::CaptureStderr();
    const int iId = threads.Create(nullptr, false);
    const pthread_t thread = threads.mapThreads.at(iId);
    threads.semStarted.Wait();
    threads.Cancel(iId);
    EXPECT_EQ(nullptr, threads.Wait(iId));
    semCancelled.Post();
    void *pResult = nullptr;
    EXPECT_EQ(0, pthread_join(thread, &pResult));
    EXPECT_EQ(PTHREAD_CANCELED, pResult);
    EXPECT_EQ(PTHREAD_CANCEL_ENABLE, iState);
    EXPECT_FALSE(bSurvived);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST(clThreadsBase, ExceptionsArePrintedAndEndTheThreadWithNull)
{
    const struct {
        std::function<void()> fnThrow;
        std::string strText;
    } aRows[] = {
        {[] { throw clXFileIO("boom"); }, "boom"},
        {[] { throw std::runtime_error("boom"); }, "unknown exception"},
        // NOLINTNEXTLINE(hicpp-exception-baseclass): just such a one is wanted.
        {[] { throw 1; }, "unknown exception"},
    };
    for (const auto &row : aRows) {
        const Body fnBody = [&](void *pArg) {
            row.fnThrow();
            return pArg;
        };
        clProbeThreads threads;
        threads.pBody = &fnBody;
        testing::internal::CaptureStderr();
        EXPECT_EQ(nullptr, threads.Wait(threads.Create(&threads, false)));
        EXPECT_EQ("\nclThreadsBase::ThreadBody(): " + row.strText + "\n",
                  testing::internal::GetCapturedStderr());
    }
}

TEST(clThreadsBase, SchedulingCountsFromTheLowestPriority)
{
    clProbeThreads threads;
    const pthread_t thread = pthread_self();
    EXPECT_TRUE(threads.SetScheduling(thread, SCHED_OTHER, 0));
    for (const int iPriority : {sched_get_priority_max(SCHED_FIFO), std::numeric_limits<int>::max(),
                                std::numeric_limits<int>::min()}) {
        EXPECT_FALSE(threads.SetScheduling(thread, SCHED_FIFO, iPriority)) << iPriority;
    }
    if (threads.SetScheduling(thread, SCHED_FIFO, 0)) { // Only with the privilege.
        int iPolicy = -1;
        sched_param param = {};
        pthread_getschedparam(thread, &iPolicy, &param);
        EXPECT_EQ(SCHED_FIFO, iPolicy);
        EXPECT_EQ(sched_get_priority_min(SCHED_FIFO), param.sched_priority);
        EXPECT_TRUE(threads.SetScheduling(thread, SCHED_OTHER, 0));
    }
}
