#include "kit/clProgressLine.h"

#include "kit/Printable.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

constexpr size_t USUAL_COLUMNS = 80;
constexpr size_t SHORTEST_NAME = 8;
constexpr double LONGEST_SECONDS = 359999; // 99:59:59

template <class... T>
std::string Print(const char *cpFormat, T... values)
{
    char aText[128];
    std::snprintf(aText, sizeof(aText), cpFormat, values...);
    return aText;
}

std::string FormatBytes(double dBytes)
{
    static constexpr const char *aUnits[] = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};
    size_t sizeUnit = 0;
    while (dBytes >= 999.5 && sizeUnit + 1 < std::size(aUnits)) {
        dBytes /= 1000;
        ++sizeUnit;
    }
    return Print(sizeUnit == 0 || dBytes >= 99.95 ? "%.0f %s" : "%.1f %s", dBytes,
                 aUnits[sizeUnit]);
}

std::string FormatSeconds(double dSeconds)
{
    const uint64_t uSeconds = static_cast<uint64_t>(std::min(dSeconds, LONGEST_SECONDS));
    if (uSeconds < 3600) {
        return Print("%" PRIu64 ":%02" PRIu64, uSeconds / 60, uSeconds % 60);
    }
    return Print("%" PRIu64 ":%02" PRIu64 ":%02" PRIu64, uSeconds / 3600, uSeconds / 60 % 60,
                 uSeconds % 60);
}

void Write(int iFileH, const std::string &strText)
{
    // A progress line that does not arrive is no loss.
    [[maybe_unused]] const ssize_t lWritten = write(iFileH, strText.data(), strText.size());
}

} // namespace

clProgressLine::clProgressLine(int iTerminal) : iFileH(iTerminal), bTerminal(isatty(iTerminal) == 1)
{
    const char *cpTerm = std::getenv("TERM");
    if (cpTerm != nullptr && std::strcmp(cpTerm, "dumb") == 0) {
        bTerminal = false;
    }
}

void clProgressLine::Draw(const progress_t &progress)
{
    if (!bTerminal) {
        return;
    }
    const size_t sizeColumns = GetTerminalColumns();
    const std::string strLine = Format(progress, sizeColumns);
    const size_t sizeLine = CountColumns(strLine);
    const size_t sizeOld = std::min(sizeDrawn, sizeColumns - 1);
    const std::string strPadding(sizeOld > sizeLine ? sizeOld - sizeLine : 0, ' ');
    Write(iFileH, "\r" + strLine + strPadding);
    sizeDrawn = std::max(sizeLine, sizeOld);
}

void clProgressLine::Clear()
{
    if (sizeDrawn != 0) {
        Write(iFileH,
              "\r" + std::string(std::min(sizeDrawn, GetTerminalColumns() - 1), ' ') + "\r");
        sizeDrawn = 0;
    }
}

std::string clProgressLine::Format(const progress_t &progress, size_t sizeColumns)
{
    const size_t sizeMost = std::max<size_t>(sizeColumns, 1) - 1;
    const double dDone = static_cast<double>(progress.uBytesDone);
    const double dTotal = static_cast<double>(progress.uBytesTotal);
    const double dRate = progress.dSeconds > 0 ? dDone / progress.dSeconds : 0;

    std::string strLine;
    // A part that does not fit is left out whole: a number without its end is a wrong one.
    const auto add = [&](const std::string &strPart) {
        const std::string strNext = strLine.empty() ? strPart : "  " + strPart;
        if (strLine.size() + strNext.size() <= sizeMost) {
            strLine += strNext;
        }
    };
    add(Print("%" PRIu64 "/%" PRIu64 " files", progress.uFilesDone, progress.uFilesTotal));
    if (strLine.empty()) {
        add(Print("%" PRIu64 "/%" PRIu64, progress.uFilesDone, progress.uFilesTotal));
    }
    if (progress.uBytesTotal != 0) {
        add(FormatBytes(dDone) + " of " + FormatBytes(dTotal));
    } else {
        add(FormatBytes(dDone));
    }
    if (dRate > 0) {
        add(FormatBytes(dRate) + "/s");
        if (progress.uBytesTotal != 0) {
            add(FormatSeconds(std::max(dTotal - dDone, 0.0) / dRate) + " left");
        }
    }
    const size_t sizeUsed = strLine.size() + 2;
    if (!progress.strName.empty() && sizeUsed + SHORTEST_NAME <= sizeMost) {
        strLine += "  " + CutToColumns(Printable(progress.strName), sizeMost - sizeUsed);
    }
    return strLine;
}

size_t clProgressLine::GetTerminalColumns() const noexcept
{
    struct winsize size = {};
    if (ioctl(iFileH, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return USUAL_COLUMNS;
    }
    return size.ws_col;
}
