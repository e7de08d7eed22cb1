#include "tests/support/FailingCalls.h"

#include "tests/support/RunProgram.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include <arpa/inet.h>
#include <fcntl.h>
#include <iconv.h>
#include <netdb.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Initialised at compile time, because allocations happen before constructors run.
thread_local failure_t tlsFailure = {nullptr, 0};
thread_local unsigned uCalls = 0;
std::atomic<long> lHeld = 0; // blocks, descriptors and the like, minus those released

// Counts a call; returns true and sets errno if it must fail.
bool Fails(const char *cpCall)
{
    if (tlsFailure.cpCall == nullptr || std::strcmp(tlsFailure.cpCall, cpCall) != 0) {
        return false;
    }
    ++uCalls;
    if (uCalls < tlsFailure.uNth || (uCalls > tlsFailure.uNth && !tlsFailure.bOnwards)) {
        return false;
    }
    errno = tlsFailure.iError;
    return true;
}

bool WasReached()
{
    return uCalls >= tlsFailure.uNth;
}

bool HalvesIfShort(size_t &size)
{
    const bool bShort = tlsFailure.iError == failure_t::SHORT;
    size = bShort ? (size + 1) / 2 : size;
    return bShort;
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): names required by the linker.
// NOLINTBEGIN(bugprone-macro-parentheses): types and parameter lists cannot have parentheses.
// NOLINTBEGIN(performance-no-int-to-ptr): the error value of iconv_open().

#define WRAP(type, name, parameters, body)                                                         \
    extern "C" type __real_##name parameters;                                                      \
    extern "C" type __wrap_##name parameters;                                                      \
    type __wrap_##name parameters                                                                  \
    {                                                                                              \
        body                                                                                       \
    }

// A call that is not made when it must fail; the result is then `failed`, which may be errno.
#define CALL(type, name, failed, parameters, arguments)                                            \
    WRAP(type, name, parameters, return Fails(#name) ? (failed) : __real_##name arguments;)

// A call that may transfer fewer than u bytes.
#define TRANSFER(name, parameters, arguments)                                                      \
    WRAP(ssize_t, name, parameters,                                                                \
         return Fails(#name) && !HalvesIfShort(u) ? -1 : __real_##name arguments;)

// A call that acquires a resource on success.
#define ACQUIRE(type, name, call, failed, success, parameters, arguments)                          \
    WRAP(                                                                                          \
        type, name, parameters,                                                                    \
        if (Fails(call)) { return failed; } type const result = __real_##name arguments;           \
        lHeld += (success) ? 1 : 0; return result;)

// A call that releases a resource, also when it fails.
#define RELEASE(type, name, parameters, failed, arguments)                                         \
    WRAP(type, name, parameters, --lHeld; const type iResult = __real_##name arguments;            \
         return Fails(#name) ? (failed) : iResult;)

// clang-format off
ACQUIRE(int, open, "open", -1, result >= 0, (const char *p, int i, mode_t u), (p, i, u))
ACQUIRE(int, socket, "socket", -1, result >= 0, (int i, int j, int k), (i, j, k))
ACQUIRE(int, getaddrinfo, "getaddrinfo", EAI_AGAIN, result == 0,
        (const char *p, const char *q, const addrinfo *r, addrinfo **s), (p, q, r, s))
ACQUIRE(iconv_t, iconv_open, "iconv_open", iconv_t(-1), result != iconv_t(-1), (const char *p, const char *q), (p, q))
ACQUIRE(void *, malloc, MEMORY, nullptr, result != nullptr, (size_t u), (u))
ACQUIRE(void *, realloc, MEMORY, nullptr, result != nullptr && p == nullptr, (void *p, size_t u), (p, u))
ACQUIRE(char *, strdup, MEMORY, nullptr, result != nullptr, (const char *p), (p))
ACQUIRE(int, posix_memalign, MEMORY, errno, result == 0, (void **p, size_t u, size_t v), (p, u, v))
RELEASE(int, close, (int i), -1, (i))
RELEASE(int, iconv_close, (iconv_t h), -1, (h))
WRAP(void, freeaddrinfo, (addrinfo *p), --lHeld; __real_freeaddrinfo(p);)
WRAP(void, free, (void *p), lHeld -= p != nullptr ? 1 : 0; __real_free(p);)
TRANSFER(read, (int i, void *p, size_t u), (i, p, u))
TRANSFER(write, (int i, const void *p, size_t u), (i, p, u))
TRANSFER(recv, (int i, void *p, size_t u, int f), (i, p, u, f))
TRANSFER(send, (int i, const void *p, size_t u, int f), (i, p, u, f))
CALL(off_t, lseek, -1, (int i, off_t l, int j), (i, l, j))
CALL(int, fstat, -1, (int i, struct stat *p), (i, p))
CALL(int, stat, -1, (const char *p, struct stat *q), (p, q))
CALL(int, posix_fadvise, errno, (int i, off_t l, off_t m, int j), (i, l, m, j))
CALL(int, ftruncate, -1, (int i, off_t l), (i, l))
CALL(int, munmap, -1, (void *p, size_t u), (p, u))
CALL(long, sysconf, -1, (int i), (i))
CALL(int, connect, -1, (int i, const sockaddr *p, socklen_t u), (i, p, u))
CALL(int, select, -1, (int i, fd_set *p, fd_set *q, fd_set *r, timeval *t), (i, p, q, r, t))
CALL(int, getnameinfo, EAI_SYSTEM,
     (const sockaddr *p, socklen_t u, char *q, socklen_t v, char *r, socklen_t w, int i), (p, u, q, v, r, w, i))
CALL(const char *, inet_ntop, nullptr, (int i, const void *p, char *q, socklen_t u), (i, p, q, u))
CALL(size_t, mbstowcs, size_t(-1), (wchar_t *p, const char *q, size_t u), (p, q, u))
CALL(size_t, wcstombs, size_t(-1), (char *p, const wchar_t *q, size_t u), (p, q, u))
CALL(int, sem_init, -1, (sem_t *p, int i, unsigned u), (p, i, u))
CALL(int, sem_post, -1, (sem_t *p), (p))
CALL(int, sem_wait, -1, (sem_t *p), (p))
CALL(int, pthread_mutex_init, errno, (pthread_mutex_t *p, const pthread_mutexattr_t *q), (p, q))
CALL(int, pthread_mutex_lock, errno, (pthread_mutex_t *p), (p))
CALL(int, pthread_detach, errno, (pthread_t t), (t))
CALL(int, pthread_join, errno, (pthread_t t, void **p), (t, p))
// A failure leaves the handle undefined, here the caller itself.
CALL(int, pthread_create, (*p = pthread_self(), errno),
     (pthread_t *p, const pthread_attr_t *q, void *(*r)(void *), void *s), (p, q, r, s))
// F_GETFD only checks whether a descriptor is open, so it never fails.
WRAP(int, fcntl, (int i, int j, long l), return j != F_GETFD && Fails("fcntl") ? -1 : __real_fcntl(i, j, l);)

// clang-format on

// The array forms call these.
void *operator new(size_t size)
{
    void *const p = __wrap_malloc(size);
    return p != nullptr ? p : throw std::bad_alloc();
}

void operator delete(void *p) noexcept
{
    __wrap_free(p);
}

void operator delete(void *p, size_t) noexcept
{
    __wrap_free(p);
}

// Only in coverage builds: a child writes its own counts, which are added to those of others.
extern "C" void __llvm_profile_set_filename(const char *) __attribute__((weak));
extern "C" int __llvm_profile_write_file() __attribute__((weak));

FailureGuard::FailureGuard(const failure_t &failure)
{
    uCalls = 0;
    tlsFailure = failure;
}

FailureGuard::~FailureGuard()
{
    tlsFailure.cpCall = nullptr;
}

outcome_t RunFailing(const failure_t &failure, const std::function<int()> &function)
{
    static report_t *const pReport = static_cast<report_t *>(
        mmap(nullptr, sizeof(report_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *pReport = {};
    const run_t run = RunForked([&] {
        alarm(30);
        std::set_terminate([] {
            pReport->bHit = WasReached();
            pReport->bTerminated = true;
            _exit(EXIT_FAILURE);
        });
        const long lBefore = lHeld;
        int iStatus = 0;
        {
            const FailureGuard guard(failure);
            // noexcept: an exception ends the child, which must not continue as a test.
            iStatus = [&]() noexcept { return function(); }();
            pReport->bHit = WasReached();
        }
        pReport->lHeld = lHeld - lBefore;
        const char *const cpCounts = std::getenv("VANTREL_CHILD_COUNTS");
        if (__llvm_profile_write_file != nullptr && cpCounts != nullptr) {
            __llvm_profile_set_filename(cpCounts);
            __llvm_profile_write_file();
        }
        return iStatus;
    });
    return {*pReport, run.iStatus, run.strErr};
}

// NOLINTEND(performance-no-int-to-ptr)
// NOLINTEND(bugprone-macro-parentheses)
// NOLINTEND(bugprone-reserved-identifier)
