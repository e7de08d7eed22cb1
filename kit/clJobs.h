#pragma once

#include "threads/clThreadPool.h"

#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>

/**
 * Runs one function for each of a number of inputs, several at the same time, started in their
 * order. After a signal has requested a stop no further one is started.
 */
class clJobs : private clThreadPool
{
public:
    ~clJobs() override;

    /** Processes the input with this index; runs on any thread. */
    using work_t = std::function<void(size_t sizeIdx)>;
    /** Reports why the work for the input with this index failed; runs on any thread. */
    using fail_t = std::function<void(size_t sizeIdx, const char *cpReason)>;

    /** Processors that this process may use, at least 1. */
    static unsigned CountProcessors() noexcept;

    /** Processors that each job of the run may use, at least 1; of many only a few, since memory
     * grows with them. */
    static unsigned GetProcessorsPerJob() noexcept;

    /** Returns when all inputs were processed. An exception of the work goes to the failure
     * function, and the other inputs are still processed; only clXStopped ends the run.
     * @param uJobs how many at the same time; fewer for fewer inputs, or when the system does not
     * give as many threads or files
     * @throws clXStopped after a signal; otherwise the first exception of the failure function */
    static void Run(size_t sizeInputs, unsigned uJobs, const work_t &work, const fail_t &fail);

private:
    clJobs(size_t sizeInputs, const work_t &work, const fail_t &fail);

    void RunOn(unsigned uJobs);
    void WorkOff() noexcept;
    void ThreadPoolJob(long lThreadIdx, void *pArg) override;

    const size_t sizeInputs;
    const work_t &work;
    const fail_t &fail;
    std::atomic<size_t> sizeNext{0};
    std::atomic<bool> bFailed{false};
    std::exception_ptr failure; // written by the thread that set bFailed, read after the batch
};
