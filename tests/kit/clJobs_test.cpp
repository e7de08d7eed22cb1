#include "kit/clJobs.h"

#include "kit/clStopSignal.h"
#include "tests/support/RunProgram.h"

#include <csignal>
#include <stdexcept>

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
            [&](size_t uIdx) {
                ++done[uIdx];
                if (uIdx % 5 == 0) {
                    throw std::runtime_error("input " + std::to_string(uIdx));
                }
                if (uIdx % 7 == 0) {
                    // NOLINTNEXTLINE(hicpp-exception-baseclass): not every exception is one.
                    throw 1;
                }
            },
            [&](size_t uIdx, const char *cpReason) {
                ++iFailed;
                EXPECT_EQ(uIdx % 5 == 0 ? "input " + std::to_string(uIdx) : "unknown exception",
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

TEST(clStopSignal, TheSecondEndsAtOnce)
{
    const run_t run = RunForked([]() {
        clStopSignal::Install();
        raise(SIGINT);
        if (clStopSignal::GetSignal() == SIGINT) {
            raise(SIGTERM);
        }
        return 0;
    });
    EXPECT_EQ(128 + SIGTERM, run.iStatus);
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
