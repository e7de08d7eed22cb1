#pragma once

#include <chrono>
#include <cstdint>

/**
 * Shows on a terminal how far a long conversion has come: one line on standard error, rewritten in
 * place and cleared at the end of this object. Silent where standard error is no terminal.
 */
class clProgress
{
public:
    /** @param uTotalBytes what there is to do; 0 when that is not known */
    explicit clProgress(uint64_t uTotalBytes);
    clProgress(const clProgress &) = delete;
    clProgress &operator=(const clProgress &) = delete;
    ~clProgress();

    /** @param uDoneBytes what is done by now */
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
