#include "kit/clJobs.h"

#include "kit/clStopSignal.h"

#include <algorithm>

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h> // for sysconf()

namespace
{

// Files that one job has open at most, and those that belong to none.
constexpr rlim_t FILES_PER_JOB = 8;
constexpr rlim_t OTHER_FILES = 32;

constexpr unsigned MOST_PER_JOB = 4;

// Jobs of the run.
std::atomic<unsigned> uRunning{1};

// Beyond it inputs would fail for want of a descriptor.
size_t CountJobsThatFilesAllow() noexcept
{
    struct rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return SIZE_MAX;
    }
    const rlim_t uFiles = limit.rlim_cur > OTHER_FILES ? limit.rlim_cur - OTHER_FILES : 0;
    return std::max<size_t>(uFiles / FILES_PER_JOB, 1);
}

} // namespace

unsigned clJobs::CountProcessors() noexcept
{
    // The set may have more processors than a cpu_set_t has; the call then fails.
    cpu_set_t processors;
    CPU_ZERO(&processors);
    if (sched_getaffinity(0, sizeof(processors), &processors) == 0) {
        return static_cast<unsigned>(std::max(CPU_COUNT(&processors), 1));
    }
    return static_cast<unsigned>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

unsigned clJobs::GetProcessorsPerJob() noexcept
{
    return std::clamp(CountProcessors() / uRunning, 1U, MOST_PER_JOB);
}

clJobs::clJobs(size_t sizeAll, const work_t &workEach, const fail_t &failEach)
    : sizeInputs(sizeAll),
      work(workEach),
      fail(failEach)
{
}

clJobs::~clJobs()
{
    ThreadPoolDestroy();
}

void clJobs::Run(size_t sizeInputs, unsigned uJobs, const work_t &work, const fail_t &fail)
{
    clStopSignal::ThrowIfStopped();
    if (sizeInputs == 0) {
        return;
    }
    clJobs jobs(sizeInputs, work, fail);
    jobs.RunOn(static_cast<unsigned>(
        std::min({static_cast<size_t>(uJobs), sizeInputs, CountJobsThatFilesAllow()})));
    clStopSignal::ThrowIfStopped();
    if (jobs.failure) {
        std::rethrow_exception(jobs.failure);
    }
}

void clJobs::RunOn(unsigned uJobs)
{
    // What the system does not give as threads, fewer threads do.
    for (; uJobs > 1; uJobs /= 2) {
        try {
            ThreadPoolCreate(uJobs);
            break;
        } catch (const std::exception &) {
            ThreadPoolDestroy();
        }
    }
    uRunning = std::max(uJobs, 1U);
    if (uJobs > 1) {
        ThreadPoolSubmit(uJobs, nullptr);
    } else {
        WorkOff();
    }
}

void clJobs::ThreadPoolJob(long, void *)
{
    WorkOff();
}

// Nothing may leave a job of the pool, which would then wait for ever. No thread is cancelled here,
// so all that is caught are exceptions.
void clJobs::WorkOff() noexcept
{
    while (clStopSignal::GetSignal() == 0) {
        const size_t sizeIdx = sizeNext.fetch_add(1);
        if (sizeIdx >= sizeInputs) {
            return;
        }
        try {
            try {
                work(sizeIdx);
            } catch (const clXStopped &) {
                return;
            } catch (const std::exception &caught) {
                fail(sizeIdx, caught.what());
            } catch (...) {
                fail(sizeIdx, "unknown exception");
            }
        } catch (...) {
            if (!bFailed.exchange(true)) {
                failure = std::current_exception();
            }
        }
    }
}
