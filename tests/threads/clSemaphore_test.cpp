#include "threads/clSemaphore.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <cerrno>

#include <signal.h>
#include <sys/time.h>

TEST(clSemaphore, InterruptedWaitIsAFailureAndTakesNothing)
{
    struct sigaction action = {};
    struct sigaction actionBefore = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &actionBefore);
    // Again and again, since the first one may come before the wait has begun.
    const itimerval ticking = {{0, 1000}, {0, 1000}};
    const itimerval stopped = {};
    clSemaphore sem;
    setitimer(ITIMER_REAL, &ticking, nullptr);
    EXPECT_THROW_MSG(sem.Wait(), clException,
                     clException("clSemaphore::Wait(): sem_wait()", EINTR).what());
    setitimer(ITIMER_REAL, &stopped, nullptr);
    sigaction(SIGALRM, &actionBefore, nullptr);
    sem.Post();
    sem.Wait();
}
