#include "kit/clJobs.h"

#include "kit/clOutputFile.h"
#include "kit/clStopSignal.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <csignal>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

TEST(clJobs, EachInputIsProcessedOnceWhateverHappensToOthers)
{
    for (const unsigned uJobs : {1U, 2U, 7U, 100000U}) {
        SCOPED_TRACE(uJobs);
        constexpr size_t INPUTS = 500;
        std::vector<std::atomic<int>> done(INPUTS);
        std::atomic<int> iFailed{0};
        clJobs::Run(
            INPUTS, uJobs,
            [&](size_t sizeIdx) {
                ++done[sizeIdx];
                if (sizeIdx % 5 == 0) {
                    throw std::runtime_error("input " + std::to_string(sizeIdx));
                }
                if (sizeIdx % 7 == 0) {
                    throw 1;
                }
            },
            [&](size_t sizeIdx, const char *cpReason) {
                ++iFailed;
                EXPECT_EQ(sizeIdx % 5 == 0 ? "input " + std::to_string(sizeIdx)
                                           : "unknown exception",
                          cpReason);
            });
        for (const auto &iDone : done) {
            EXPECT_EQ(1, iDone);
        }
        EXPECT_EQ(100 + 72 - 15, iFailed);
    }
    clJobs::Run(
        0, 5, [](size_t) { FAIL(); }, [](size_t, const char *) { FAIL(); });
}

TEST(clJobs, AsManyAtTheSameTimeAsAskedFor)
{
    // Each waits for all others: with fewer threads this would never end.
    for (const unsigned uInputs : {1U, 4U}) {
        std::atomic<unsigned> uThere{0};
        std::mutex mtx;
        std::set<std::thread::id> threads;
        clJobs::Run(
            uInputs, 4,
            [&](size_t) {
                for (++uThere; uThere < uInputs;) {
                    std::this_thread::yield();
                }
                const std::lock_guard<std::mutex> lock(mtx);
                threads.insert(std::this_thread::get_id());
            },
            [](size_t, const char *) { FAIL(); });
        EXPECT_EQ(uInputs, threads.size());
    }
}

TEST(clJobs, AReportThatFailsIsToldAfterTheOthers)
{
    std::atomic<int> iDone{0};
    EXPECT_THROW_MSG(clJobs::Run(
                         50, 3,
                         [&](size_t) {
                             ++iDone;
                             throw std::runtime_error("bad");
                         },
                         [](size_t, const char *) { throw std::logic_error("worse"); }),
                     std::logic_error, "worse");
    EXPECT_EQ(50, iDone);
}

TEST(clJobs, FewThreadsOrFilesMakeFewJobs)
{
    const run_t run = RunForked([]() {
        const struct rlimit files = {40, 40};
        setrlimit(RLIMIT_NOFILE, &files);
        std::atomic<int> iNow{0}, iMost{0};
        clJobs::Run(
            100, 100,
            [&](size_t) {
                iMost = std::max(iMost.load(), ++iNow);
                usleep(1000);
                --iNow;
            },
            [](size_t, const char *) {});
        return iMost.load();
    });
    EXPECT_EQ(1, run.iStatus);
}

namespace
{

/** Begins an output file and works until a signal stops it; what main does then. */
int WorkUntilStopped(const std::string &strOutput, bool bStubborn)
{
    clStopSignal::Install();
    try {
        clJobs::Run(
            100, 2,
            [&](size_t sizeIdx) {
                const clOutputFile file(strOutput + std::to_string(sizeIdx));
                for (;;) {
                    usleep(1000);
                    if (!bStubborn) {
                        clStopSignal::ThrowIfStopped();
                    }
                }
            },
            [](size_t, const char *) {});
    } catch (const clXStopped &) {
        return 128 + clStopSignal::GetSignal();
    }
    return 0;
}

size_t CountParts(const TempFolder &folder)
{
    const std::filesystem::directory_iterator all(folder.Path(""));
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

void WaitForParts(const TempFolder &folder)
{
    for (int i = 0; i < 10000 && CountParts(folder) < 2; ++i) {
        usleep(1000);
    }
}

} // namespace

TEST(clStopSignal, TheFirstUndoesAndTheSecondEnds)
{
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) {
        const TempFolder folder;
        const run_t run = RunForked([&]() { return WorkUntilStopped(folder.Path("o"), false); },
                                    [&](pid_t pid) {
                                        WaitForParts(folder);
                                        kill(pid, iSignal);
                                    });
        EXPECT_EQ(128 + iSignal, run.iStatus);
        EXPECT_EQ(0U, CountParts(folder))
            << "temporary files and inputs that were begun afterwards";
    }
    const TempFolder folder;
    const run_t run = RunForked([&]() { return WorkUntilStopped(folder.Path("o"), true); },
                                [&](pid_t pid) {
                                    WaitForParts(folder);
                                    kill(pid, SIGINT);
                                    usleep(50000); // two at the same time may count as one
                                    EXPECT_EQ(0, kill(pid, SIGTERM));
                                });
    EXPECT_EQ(128 + SIGTERM, run.iStatus);
    EXPECT_EQ(2U, CountParts(folder)) << "one for each job";
}

TEST(clStopSignal, WhatIsIgnoredStaysSo)
{
    const run_t run = RunForked([]() {
        std::signal(SIGHUP, SIG_IGN);
        clStopSignal::Install();
        raise(SIGHUP);
        raise(SIGHUP);
        if (clStopSignal::GetSignal() != 0) {
            return 1;
        }
        raise(SIGTERM);
        return clStopSignal::GetSignal();
    });
    EXPECT_EQ(SIGTERM, run.iStatus);
}
