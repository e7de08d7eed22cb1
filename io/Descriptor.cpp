#include "io/Descriptor.h"

#include "base/clCancelDelay.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <initializer_list>

#include <unistd.h>

namespace
{

/** Blocks SIGPIPE and SIGXFSZ for the calling thread until the end of the block. */
class clBlockWriteSignals
{
public:
    clBlockWriteSignals() noexcept
    {
        sigset_t setPending;
        sigpending(&setPending);
        sigset_t setBlock;
        sigemptyset(&setBlock);
        sigemptyset(&setConsumed);
        for (const int iSignal : {SIGPIPE, SIGXFSZ}) {
            sigaddset(&setBlock, iSignal);
            // A signal that is already pending is the caller's and must not be consumed.
            if (sigismember(&setPending, iSignal) == 0) {
                sigaddset(&setConsumed, iSignal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &setBlock, &setOld);
    }
    clBlockWriteSignals(const clBlockWriteSignals &) = delete;
    clBlockWriteSignals &operator=(const clBlockWriteSignals &) = delete;
    ~clBlockWriteSignals() { pthread_sigmask(SIG_SETMASK, &setOld, nullptr); }

    /** Consumes the signal that a write of this thread has just raised. */
    void Consume() const noexcept
    {
        const clCancelDelay delay;
        const timespec now = {};
        while (sigtimedwait(&setConsumed, nullptr, &now) > 0 || errno == EINTR) {
        }
    }

private:
    sigset_t setConsumed;
    sigset_t setOld;
};

} // namespace

int CloseDescriptor(int iDescriptorH) noexcept
{
    const clCancelDelay delay;
    return close(iDescriptorH) == 0 ? 0 : errno;
}

ssize_t WriteWithoutSignal(int iDescriptorH, const void *pBuffer, size_t sizeBuffer)
{
    ssize_t lWritten = 0;
    int iError = 0;
    {
        const clBlockWriteSignals signals;
        lWritten = write(iDescriptorH, pBuffer, sizeBuffer);
        iError = errno;
        // A pipe whose reader closes during the write returns a short count and raises the signal.
        if (lWritten < 0 || static_cast<size_t>(lWritten) != sizeBuffer) {
            signals.Consume();
        }
    }
    errno = iError;
    return lWritten;
}
