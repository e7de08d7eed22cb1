#include "kit/clStopSignal.h"

#include <atomic>
#include <csignal>

#include <unistd.h> // for _exit()

namespace
{

constexpr int STATUS_BASE = 128;

constexpr int aSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Written in handlers, so it has to be free of locks. Nothing else is handed over by it.
std::atomic<int> iStopSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void HandleStopSignal(int iSignal)
{
    int iNone = 0;
    if (!iStopSignal.compare_exchange_strong(iNone, iSignal)) {
        _exit(STATUS_BASE + iSignal);
    }
}

} // namespace

void clStopSignal::Install()
{
    for (const int iSignal : aSignals) {
        struct sigaction action = {};
        // Ignored, as nohup does it, a signal is not meant for this program.
        if (sigaction(iSignal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            continue;
        }
        action = {};
        action.sa_handler = HandleStopSignal;
        // Interrupted calls would look like faults of the files that are being read or written.
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(iSignal, &action, nullptr);
    }
}

int clStopSignal::GetSignal() noexcept
{
    return iStopSignal.load(std::memory_order_relaxed);
}

void clStopSignal::ThrowIfStopped()
{
    if (GetSignal() != 0) {
        throw clXStopped();
    }
}
