#include "threads/clThreadPool.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>

namespace
{

class clProbePool : public clThreadPool
{
public:
    using clThreadPool::lThreadCntr;

    /** Runs a batch with one job for every worker. */
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

} // namespace

TEST(clThreadPool, FirstWorkersTakeTheJobsWithTheirArguments)
{
    clProbePool pool;
    pool.ThreadPoolCreate(4);
    std::vector<void *> args = {&args, &pool, &args, &pool};
    for (const size_t uJobs : {2U, 4U, 1U, 3U}) {
        SCOPED_TRACE(uJobs);
        std::vector<void *> seen(4), wanted = args;
        wanted.resize(uJobs);
        wanted.resize(4);
        pool.fnJob = [&](long lIdx, void *pArg) { seen.at(static_cast<size_t>(lIdx)) = pArg; };
        pool.ThreadPoolSubmit(static_cast<long>(uJobs), args.data());
        EXPECT_EQ(wanted, seen);
    }
}

TEST(clThreadPool, StartReturnsBeforeTheJobsAndWaitAfterThem)
{
    clProbePool pool;
    pool.ThreadPoolCreate(2);
    clSemaphore semRunning;
    clSemaphore semGo;
    pool.fnJob = [&](long, void *) {
        semRunning.Post();
        semGo.Wait();
    };
    pool.ThreadPoolStart(2, nullptr);
    semRunning.Wait();
    semRunning.Wait();
    EXPECT_FALSE(semRunning.TryWait());
    semGo.Post();
    semGo.Post();
    pool.ThreadPoolWait();
    EXPECT_FALSE(semGo.TryWait());
    pool.ExpectWorking();
}

TEST(clThreadPool, RefusesBadThreadCountsAndASecondCreate)
{
    const std::string strPrefix =
        "clThreadPool::ThreadPoolSubmit(): lThreads > lThreadCntr || lThreads <= 0 : ";
    clProbePool pool;
    pool.ThreadPoolCreate(2);
    for (const long lThreads : {3L, 0L, std::numeric_limits<long>::min()}) {
        SCOPED_TRACE(lThreads);
        EXPECT_THROW_MSG(pool.ThreadPoolSubmit(lThreads, nullptr), clXThreadPool,
                         strPrefix + std::to_string(lThreads));
    }
    EXPECT_THROW_MSG(pool.ThreadPoolCreate(2), clXThreadPool,
                     "clThreadPool::ThreadPoolCreate(): lThreadCntr != 0");
    pool.ExpectWorking();
}

TEST(clThreadPool, DeadWorkerIsReportedAndTheOthersCanStillBeEnded)
{
    // The guard ends with the exception, after the report.
    using Guard = std::shared_ptr<clSemaphore>;
    struct clXBoom : std::runtime_error {
        explicit clXBoom(Guard pNew) : std::runtime_error("boom"), pGuard(std::move(pNew)) {}
        Guard pGuard;
    };
    for (const bool bStandard : {true, false}) {
        SCOPED_TRACE(bStandard);
        clSemaphore semDead;
        clProbePool pool;
        pool.ThreadPoolCreate(3);
        pool.fnJob = [&](long, void *) {
            Guard pGuard(&semDead, [](clSemaphore *pDead) { pDead->Post(); });
            if (bStandard) {
                throw clXBoom(std::move(pGuard));
            }
            throw Guard(std::move(pGuard)); // NOLINT(hicpp-exception-baseclass): no std::exception.
        };
        testing::internal::CaptureStderr();
        bool bEnded = false;
        std::thread submitter([&] {
            pool.ThreadPoolSubmit(1, nullptr);
            bEnded = true;
        });
        semDead.Wait();
        pthread_cancel(submitter.native_handle());
        submitter.join();
        EXPECT_FALSE(bEnded) << "a batch with a dead worker must not complete";
        EXPECT_EQ(std::string("clThreadPool::ThreadPoolCB(): ") +
                      (bStandard ? "boom\n" : "unknown exception\n"),
                  testing::internal::GetCapturedStderr());
        pool.ThreadPoolDestroy();
        pool.ThreadPoolCreate(2);
        pool.ExpectWorking();
    }
}
