#include "io/Descriptor.h"

#include "base/clCancelDelay.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <initializer_list>

#include <unistd.h>

namespace
{

/** Blocks the signals of a refused write for the calling thread until the end of the block. */
class clWriteSignals
{
public:
    clWriteSignals() noexcept
    {
        sigset_t setPending;
        sigpending(&setPending);
        sigset_t setBlock;
        sigemptyset(&setBlock);
        sigemptyset(&setTaken);
        for (const int iSignal : {SIGPIPE, SIGXFSZ}) {
            sigaddset(&setBlock, iSignal);
            // One of the caller's must not be taken from it, nor be mistaken for the write's own.
            if (sigismember(&setPending, iSignal) == 0) {
                sigaddset(&setTaken, iSignal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &setBlock, &setOld);
    }
    clWriteSignals(const clWriteSignals &) = delete;
    clWriteSignals &operator=(const clWriteSignals &) = delete;
    ~clWriteSignals() { pthread_sigmask(SIG_SETMASK, &setOld, nullptr); }

    /** Takes what the write has raised; it is pending on this very thread by then. */
    void Take() const noexcept
    {
        const clCancelDelay delay;
        const timespec now = {};
        while (sigtimedwait(&setTaken, nullptr, &now) > 0 || errno == EINTR) {
        }
    }

private:
    sigset_t setTaken;
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
        const clWriteSignals signals;
        lWritten = write(iDescriptorH, pBuffer, sizeBuffer);
        iError = errno;
        // A pipe whose reader left in mid-write gives a short count and the signal.
        if (lWritten < 0 || static_cast<size_t>(lWritten) != sizeBuffer) {
            signals.Take();
        }
    }
    errno = iError;
    return lWritten;
}
