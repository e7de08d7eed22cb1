#include "threads/clThreadPool.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "threads/clThread.h"

#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace
{

class clProbePool : public clThreadPool
{
public:
    using clThreadPool::lPending;
    using clThreadPool::lThreadCntr;

    /** Every worker does one job of one more batch. */
    void ExpectWorking()
    {
        std::vector<int> counts(static_cast<size_t>(lThreadCntr));
        fnJob = [&](long lIdx, void *) { ++counts.at(static_cast<size_t>(lIdx)); };
        ThreadPoolSubmit(lThreadCntr, nullptr);
        EXPECT_EQ(std::vector<int>(counts.size(), 1), counts);
    }

    std::function<void(long, void *)> fnJob;

protected:
    void ThreadPoolJob(long lThreadIdx, void *pArg) override { fnJob(lThreadIdx, pArg); }
};

/** Submits a batch that does not end by itself, and gives it up when told to. */
class clSubmitter : public clThread
{
public:
    clSubmitter(clThreadPool &poolUsed, long lThreads) : pool(poolUsed)
    {
        Create(&lThreads, false);
        semStarted.Wait();
    }

    void GiveUp()
    {
        Cancel();
        EXPECT_EQ(PTHREAD_CANCELED, Wait());
    }

protected:
    void *Execute(void *pArg) override
    {
        const long lThreads = *static_cast<long *>(pArg);
        semStarted.Post();
        pool.ThreadPoolSubmit(lThreads, nullptr);
        return nullptr;
    }

private:
    clThreadPool &pool;
    clSemaphore semStarted;
};

} // namespace

TEST(clThreadPool, FirstWorkersTakeTheJobsWithTheirArguments)
{
    clProbePool pool;
    pool.ThreadPoolCreate(4);
    std::vector<void *> args = {&args, &pool, &args, &pool};
    for (const size_t sizeJobs : {2U, 4U, 1U, 3U}) {
        std::vector<void *> seen(4);
        std::vector<void *> wanted = args;
        wanted.resize(sizeJobs);
        wanted.resize(4);
        pool.fnJob = [&](long lIdx, void *pArg) { seen.at(static_cast<size_t>(lIdx)) = pArg; };
        pool.ThreadPoolSubmit(static_cast<long>(sizeJobs), args.data());
        EXPECT_EQ(wanted, seen);
        pool.ThreadPoolSubmit(4, nullptr);
        EXPECT_EQ(std::vector<void *>(4), seen);
    }
}

TEST(clThreadPool, RefusesWhatItCannotRun)
{
    const std::string strPrefix =
        "clThreadPool::ThreadPoolSubmit(): lThreads > lThreadCntr || lThreads <= 0 : ";
    clProbePool pool;
    EXPECT_THROW_MSG(pool.ThreadPoolSubmit(1, nullptr), clXThreadPool, strPrefix + "1");
    pool.ThreadPoolCreate(2);
    for (const long lThreads : {3L, 0L, std::numeric_limits<long>::min()}) {
        EXPECT_THROW_MSG(pool.ThreadPoolSubmit(lThreads, nullptr), clXThreadPool,
                         strPrefix + std::to_string(lThreads));
    }
    EXPECT_THROW_MSG(pool.ThreadPoolCreate(2), clXThreadPool,
                     "clThreadPool::ThreadPoolCreate(): lThreadCntr != 0");
    pool.ExpectWorking();
}

TEST(clThreadPool, CreateSubmitDestroyOverAndOver)
{
    for (int i = 0; i < 200; ++i) {
        clProbePool pool;
        for (const long lThreads : {0L, 0L, 3L, 1L, 0L, 4L}) {
            EXPECT_THROW(pool.ThreadPoolCreate(-1), std::bad_alloc);
            pool.ThreadPoolCreate(lThreads);
            EXPECT_EQ(lThreads, pool.lThreadCntr);
            if (lThreads > 0) {
                pool.ExpectWorking();
                pool.ExpectWorking();
            }
            if (lThreads == 3 || lThreads == 1) {
                pool.ThreadPoolDestroy();
            }
        }
    }
}

TEST(clThreadPool, DeadWorkerIsReportedAndTheOthersCanStillBeEnded)
{
    // Each way to die ends with the loss of a guard, and an exception is lost when it was reported.
    using Guard = std::shared_ptr<clSemaphore>;
    struct clXBoom : std::runtime_error {
        explicit clXBoom(Guard pNew) : std::runtime_error("boom"), pGuard(std::move(pNew)) {}
        Guard pGuard;
    };
    const struct {
        std::function<void(Guard)> fnDie;
        const char *cpReport;
    } aRows[] = {
        {[](Guard pGuard) { throw clXBoom(std::move(pGuard)); },
         "clThreadPool::ThreadPoolCB(): boom\n"},
        // NOLINTNEXTLINE(hicpp-exception-baseclass): just such a one is wanted.
        {[](Guard pGuard) { throw Guard(std::move(pGuard)); },
         "clThreadPool::ThreadPoolCB(): unknown exception\n"},
        {[](const Guard &) { pthread_exit(nullptr); }, ""},
    };
    for (const auto &row : aRows) {
        clSemaphore semDead;
        clProbePool pool;
        pool.ThreadPoolCreate(3);
        pool.fnJob = [&](long, void *) {
            row.fnDie(Guard(&semDead, [](clSemaphore *pDead) { pDead->Post(); }));
        };
        testing::internal::CaptureStderr();
        clSubmitter submitter(pool, 1);
        semDead.Wait();
        EXPECT_EQ(row.cpReport, testing::internal::GetCapturedStderr());
        while (pool.lThreadCntr != 2) {
            sched_yield();
        }
        submitter.GiveUp();
        pool.ThreadPoolDestroy();
        EXPECT_EQ(0, pool.lThreadCntr);
        pool.ThreadPoolCreate(2);
        pool.ExpectWorking();
    }
}

TEST(clThreadPool, BatchThatNobodyWaitsForDisturbsNothingLater)
{
    // The last job goes on at any moment around the call that comes next.
    for (int i = 0; i < 100; ++i) {
        clSemaphore semInJob;
        clSemaphore semGoOn;
        clProbePool pool;
        pool.ThreadPoolCreate(2);
        pool.fnJob = [&](long, void *) {
            semInJob.Post();
            semGoOn.Wait();
        };
        clSubmitter submitter(pool, 2);
        semInJob.Wait();
        semInJob.Wait();
        submitter.GiveUp();
        semGoOn.Post();
        semGoOn.Post();
        if (i % 2 == 0) {
            pool.ThreadPoolDestroy();
            pool.ThreadPoolCreate(2);
        }
        while (pool.lPending != 0) {
            sched_yield();
        }
        pool.ExpectWorking();
    }
}
