#include "threads/clMutex.h"

#include "base/clException.h"

clMutex::clMutex()
{
    const int iResult = pthread_mutex_init(&mtx, nullptr);
    if (iResult != 0) {
        throw clException("clMutex::clMutex(): pthread_mutex_init()", iResult);
    }
}

// NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
clMutex::~clMutex() noexcept(false)
{
    const int iResult = pthread_mutex_destroy(&mtx);
    if (iResult != 0 && DestructorMayThrow()) {
        throw clException("clMutex::~clMutex(): pthread_mutex_destroy()", iResult);
    }
}

void clMutex::Wait()
{
    const int iResult = pthread_mutex_lock(&mtx);
    if (iResult != 0) {
        throw clException("clMutex::Wait(): pthread_mutex_lock()", iResult);
    }
}

void clMutex::Release()
{
    const int iResult = pthread_mutex_unlock(&mtx);
    if (iResult != 0) {
        throw clException("clMutex::Release(): pthread_mutex_unlock()", iResult);
    }
}
