#include "kit/clReporter.h"

#include "kit/Printable.h"
#include "tests/support/RunProgram.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>

namespace
{

using lines_t = std::vector<std::string>;

/** What a child with a terminal of 40 columns as its standard error writes there. */
std::string RunOnTerminal(const char *cpTerm, const std::function<void(int iTerminal)> &fnBody)
{
    struct winsize size = {24, 40, 0, 0};
    int iMaster = -1;
    int iTerminal = -1;
    EXPECT_EQ(0, openpty(&iMaster, &iTerminal, nullptr, nullptr, &size));
    RunForked([&]() {
        dup2(iTerminal, STDERR_FILENO);
        setenv("TERM", cpTerm, 1);
        fnBody(iTerminal);
        return 0;
    });
    close(iTerminal);
    std::string strText;
    char aBuffer[4096];
    for (ssize_t lRead; (lRead = read(iMaster, aBuffer, sizeof(aBuffer))) > 0;) {
        strText.append(aBuffer, static_cast<size_t>(lRead));
    }
    close(iMaster);
    return strText;
}

/** The lines of a terminal of 40 columns, in which a carriage return begins a line anew. */
lines_t Display(const std::string &strText)
{
    lines_t lines = {""};
    size_t uAt = 0;
    for (const char c : strText) {
        if (c == '\r') {
            uAt = 0;
        } else if (c == '\n') {
            lines.emplace_back();
        } else {
            lines.back().resize(std::max(lines.back().size(), uAt + 1), ' ');
            lines.back()[uAt++] = c;
            EXPECT_LT(uAt, 40U) << "the line wraps";
        }
    }
    for (std::string &strLine : lines) {
        strLine.erase(strLine.find_last_not_of(' ') + 1);
    }
    return lines;
}

} // namespace

TEST(clReporter, MessagesHaveOneFormAndOneLine)
{
    const auto say = [](bool bQuiet) {
        clReporter reporter(bQuiet);
        reporter.Fail("a\nb", "is\tbad");
        reporter.Fail("no path");
        reporter.Warn("c\xC2\x9B", "odd");
        reporter.Hint("d", "try e");
        reporter.Note("1 converted, 0 skipped, 1 failed");
        reporter.StartProgress(9, 9);
        reporter.EndFile();
        // In order, although the second was never done.
        reporter.PutResult(2, "third\n");
        reporter.PutResult(0, "first\n");
        return reporter.Finish() ? 0 : 1;
    };
    const std::string strFailures = "vantrel-kit: a?b: is?bad\nvantrel-kit: no path\n";
    const run_t quiet = RunForked([&]() { return say(true); });
    EXPECT_EQ(strFailures, quiet.strErr);
    EXPECT_EQ("first\nthird\n", quiet.strOut);
    EXPECT_EQ(strFailures + "vantrel-kit: c?: warning: odd\nvantrel-kit: d: hint: try e\n"
                            "1 converted, 0 skipped, 1 failed\n",
              RunForked([&]() { return say(false); }).strErr);
}

TEST(clReporter, ProgressIsRemovedAroundMessagesAndAtTheEnd)
{
    const auto work = [](int) {
        clReporter reporter;
        reporter.StartProgress(2, 4000);
        usleep(120000);
        reporter.BeginFile("a\nname.dff");
        reporter.AddBytes(1000);
        reporter.Warn("a", "odd");
        usleep(120000);
        reporter.AddBytes(1000);
        reporter.EndFile();
        reporter.Note("done");
        EXPECT_TRUE(reporter.Finish());
    };
    const std::string strText = RunOnTerminal("xterm", work);
    EXPECT_NE(std::string::npos, strText.find("0/2 files  0 B of 4.0 kB"));
    EXPECT_NE(std::string::npos, strText.find("2.0 kB of 4.0 kB"));
    EXPECT_EQ(std::string::npos, strText.find('\x1B'));
    EXPECT_EQ((lines_t{"vantrel-kit: a: warning: odd", "done", ""}), Display(strText));
    EXPECT_EQ("vantrel-kit: a: warning: odd\r\ndone\r\n", RunOnTerminal("dumb", work));

    // A size that comes later: until then there is no total.
    const std::string strLater = RunOnTerminal("xterm", [](int) {
        clReporter reporter;
        reporter.StartProgress(2, 3000, 1);
        usleep(120000);
        reporter.AddBytes(500);
        reporter.TakeSize(1000);
        usleep(120000);
        reporter.AddBytes(500);
    });
    EXPECT_NE(std::string::npos, strLater.find("0/2 files  500 B  "));
    EXPECT_NE(std::string::npos, strLater.find("0/2 files  1.0 kB of 4.0 kB"));

    // Narrower and wider terminals while the line is there: never longer than the terminal.
    RunOnTerminal("xterm", [](int iTerminal) {
        clProgressLine line(STDERR_FILENO);
        progress_t progress;
        progress.strName = std::string(300, 'n');
        for (const unsigned short uColumns :
             std::initializer_list<unsigned short>{40, 10, 1, 0, 2, 200, 30}) {
            struct winsize size = {24, uColumns, 0, 0};
            ioctl(iTerminal, TIOCSWINSZ, &size);
            line.Draw(progress);
        }
        line.Clear();
    });
}

TEST(clProgressLine, FitsTheTerminal)
{
    const progress_t early = {0, 7, 0, 0, 0, ""};
    const progress_t middle = {12, 340, 3400000000, 12100000000, 17, "music/\xE9\x9F\xB3.dff"};
    const progress_t late = {340, 340, 12200000000, 12100000000, 50000, "x"};
    const progress_t slow = {0, 1, 1, UINT64_MAX, 1, "x"};
    const struct {
        const progress_t &progress;
        size_t uColumns;
        std::string strExpected;
    } aRows[] = {
        {early, 80, "0/7 files  0 B"},
        {middle, 80,
         "12/340 files  3.4 GB of 12.1 GB  200 MB/s  0:43 left  music/\xE9\x9F\xB3.dff"},
        {middle, 64, "12/340 files  3.4 GB of 12.1 GB  200 MB/s  0:43 left  ../\xE9\x9F\xB3.dff"},
        {middle, 42, "12/340 files  3.4 GB of 12.1 GB  200 MB/s"},
        {middle, 41, "12/340 files  3.4 GB of 12.1 GB"},
        {middle, 12, "12/340"},
        {middle, 6, ""},
        {middle, 0, ""},
        {late, 80, "340/340 files  12.2 GB of 12.1 GB  244 kB/s  0:00 left  x"},
        {slow, 80, "0/1 files  1 B of 18.4 EB  1 B/s  99:59:59 left  x"},
    };
    for (const auto &row : aRows) {
        EXPECT_EQ(row.strExpected, clProgressLine::Format(row.progress, row.uColumns))
            << row.uColumns;
    }
    for (size_t uColumns = 1; uColumns < 100; ++uColumns) {
        EXPECT_LT(CountColumns(clProgressLine::Format(middle, uColumns)), uColumns);
    }
}
