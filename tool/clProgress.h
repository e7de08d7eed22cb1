#pragma once

#include <chrono>
#include <cstdint>

/**
 * Shows the progress of a long conversion: one line on standard error, redrawn in place and removed
 * by the destructor. Does nothing when standard error is no terminal.
 */
class clProgress
{
public:
    /** @param uTotalBytes size of the sound data; 0 when it is not known */
    explicit clProgress(uint64_t uTotalBytes);
    clProgress(const clProgress &) = delete;
    clProgress &operator=(const clProgress &) = delete;
    ~clProgress();

    /** @param uDoneBytes bytes of sound data converted so far */
    void Update(uint64_t uDoneBytes) noexcept;

private:
    using clock_t = std::chrono::steady_clock;

    void Show(uint64_t uDoneBytes, double dSeconds) noexcept;

    const uint64_t uTotal;
    const bool bTerminal;
    bool bShown = false;
    const clock_t::time_point timeStart;
    clock_t::time_point timeNext;
};
