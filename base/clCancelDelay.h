#pragma once

#include <pthread.h>

/**
 * Defers a cancellation of the calling thread until the end of the block. Not for asynchronous
 * cancellation: a pending one would unwind out of the destructor and end the process.
 */
class clCancelDelay
{
public:
    clCancelDelay() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &iState); }
    clCancelDelay(const clCancelDelay &) = delete;
    clCancelDelay &operator=(const clCancelDelay &) = delete;
    ~clCancelDelay() { pthread_setcancelstate(iState, nullptr); }

private:
    int iState = PTHREAD_CANCEL_ENABLE;
};
