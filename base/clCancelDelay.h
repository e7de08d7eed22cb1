#pragma once

#include <pthread.h>

/**
 * Puts a cancellation of the calling thread off until the end of the block.
 *
 * Not for a thread that takes cancellations asynchronously: one that is pending would leave the
 * destructor, which ends the process.
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
