#include "threads/clSemaphore.h"

#include "base/clException.h"

#include <cerrno>

clSemaphore::clSemaphore()
{
    if (sem_init(&sem, 0, 0) < 0) {
        throw clException("clSemaphore::clSemaphore(): sem_init()", errno);
    }
}

// NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
clSemaphore::~clSemaphore() noexcept(false)
{
    if (sem_destroy(&sem) < 0 && DestructorMayThrow()) {
        throw clException("clSemaphore::~clSemaphore(): sem_destroy()");
    }
}

void clSemaphore::Wait()
{
    if (sem_wait(&sem) < 0) {
        throw clException("clSemaphore::Wait(): sem_wait()", errno);
    }
}

bool clSemaphore::TryWait()
{
    if (sem_trywait(&sem) == 0) {
        return true;
    }
    if (errno != EAGAIN) {
        throw clException("clSemaphore::TryWait(): sem_trywait()", errno);
    }
    return false;
}

void clSemaphore::Post()
{
    if (sem_post(&sem) < 0) {
        throw clException("clSemaphore::Post(): sem_post()", errno);
    }
}
