#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/** How far a run has come. */
struct progress_t {
    uint64_t uFilesDone = 0;
    uint64_t uFilesTotal = 0;
    uint64_t uBytesDone = 0;
    uint64_t uBytesTotal = 0; ///< 0: not known
    double dSeconds = 0;      ///< since the start
    std::string strName;      ///< the input that was begun last; made printable here
};

/**
 * One line on a terminal that is rewritten in place. It uses neither colours nor escape sequences.
 * Not for use by two threads at once; clReporter guards it.
 */
class clProgressLine
{
public:
    /** @param iFileH borrowed; nothing is written unless it is a terminal, and not a dumb one */
    explicit clProgressLine(int iFileH);
    clProgressLine(const clProgressLine &) = delete;
    clProgressLine &operator=(const clProgressLine &) = delete;
    ~clProgressLine() = default;

    bool IsShown() const noexcept { return bTerminal; }

    /** Replaces the line by a new one for the present width of the terminal. */
    void Draw(const progress_t &progress);

    /** Removes the line and puts the cursor at its start. */
    void Clear();

    /** The line for a terminal of sizeColumns columns: at most one column less, never wrapped. */
    static std::string Format(const progress_t &progress, size_t sizeColumns);

private:
    size_t GetTerminalColumns() const noexcept;

    const int iFileH;
    bool bTerminal;
    size_t sizeDrawn = 0; // columns of the line on the terminal
};
