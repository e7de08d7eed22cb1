#include "tool/clProgress.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include <unistd.h> // for isatty()

namespace
{

using namespace std::chrono_literals;

// Short runs show nothing; INTERVAL is the redraw period.
constexpr auto FIRST_SHOWN = 500ms;
constexpr auto INTERVAL = 200ms;
constexpr int LINE_WIDTH = 60;
constexpr double BYTES_PER_MB = 1e6;

} // namespace

clProgress::clProgress(uint64_t uTotalBytes)
    : uTotal(uTotalBytes),
      bTerminal(isatty(STDERR_FILENO) == 1),
      timeStart(clock_t::now()),
      timeNext(timeStart + FIRST_SHOWN)
{
}

clProgress::~clProgress()
{
    if (bShown) {
        std::fprintf(stderr, "\r%*s\r", LINE_WIDTH, "");
    }
}

void clProgress::Update(uint64_t uDoneBytes) noexcept
{
    if (!bTerminal) {
        return;
    }
    const clock_t::time_point timeNow = clock_t::now();
    if (timeNow >= timeNext) {
        timeNext = timeNow + INTERVAL;
        Show(uDoneBytes, std::chrono::duration<double>(timeNow - timeStart).count());
    }
}

void clProgress::Show(uint64_t uDoneBytes, double dSeconds) noexcept
{
    bShown = true;
    const double dDone = static_cast<double>(uDoneBytes);
    const double dSpeed = dDone / dSeconds;
    char aLine[LINE_WIDTH + 1];
    if (uTotal != 0 && uDoneBytes != 0) {
        const double dTotal = static_cast<double>(uTotal);
        const double dLeft = std::min((dTotal - dDone) / dSpeed, 359999.0);
        const uint64_t uLeft = static_cast<uint64_t>(std::max(dLeft, 0.0));
        std::snprintf(aLine, sizeof(aLine), "%3.0f %%  %.0f MB/s  %" PRIu64 ":%02" PRIu64 " left",
                      100 * dDone / dTotal, dSpeed / BYTES_PER_MB, uLeft / 60, uLeft % 60);
    } else {
        std::snprintf(aLine, sizeof(aLine), "%.0f MB  %.0f MB/s", dDone / BYTES_PER_MB,
                      dSpeed / BYTES_PER_MB);
    }
    std::fprintf(stderr, "\r%-*s", LINE_WIDTH, aLine);
}
