#pragma once

#include "kit/clProgressLine.h"
#include "threads/clMutex.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

/**
 * The only writer to standard output and standard error.
 *
 * Any thread may call any operation. Names and texts for standard error are made printable here;
 * callers use Printable for results. Lines are never mixed with each other or with the progress
 * line. Failed writes do not throw; Finish reports those of results.
 */
class clReporter
{
public:
    /** @param bQuietRun only failures are written to standard error */
    explicit clReporter(bool bQuietRun = false);
    clReporter(const clReporter &) = delete;
    clReporter &operator=(const clReporter &) = delete;

    /** Removes the progress line. */
    ~clReporter() noexcept(false);

    // ---- standard error ----

    /** "vantrel-kit: PATH: REASON" */
    void Fail(const std::string &strPath, const std::string &strReason);
    /** "vantrel-kit: REASON", for what has no path. */
    void Fail(const std::string &strReason);
    /** "vantrel-kit: PATH: warning: REASON" */
    void Warn(const std::string &strPath, const std::string &strReason);
    /** "vantrel-kit: PATH: hint: REASON" */
    void Hint(const std::string &strPath, const std::string &strReason);
    /** One line, unchanged. */
    void Note(const std::string &strLine);

    // ---- standard output ----

    /** The lines of one input, with their ends, or nothing; printed together, in the order of
     * sizeIdx. Each index counts once, from 0 on without gaps. */
    void PutResult(size_t sizeIdx, std::string strText);

    /** A line of JSON, without its end; printed at once. */
    void PutJson(const std::string &strLine);

    void PutText(const std::string &strText);

    // ---- progress ----

    /** Shows the progress line from now on. uBytes is for all files, 0 when unknown.
     * @param uSizesToCome how often TakeSize will be called; until then the bytes are unknown */
    void StartProgress(uint64_t uFiles, uint64_t uBytes, uint64_t uSizesToCome = 0);
    /** Adds the size of a file that uBytes did not contain. */
    void TakeSize(uint64_t uBytes);
    void BeginFile(const std::string &strPath);
    void AddBytes(uint64_t uBytes);
    void EndFile();

    /** Removes the progress line for good. */
    void StopProgress();

    /** Prints waiting results, removes the progress line, and checks standard output for errors
     * that it reports only at its end.
     * @return whether all results arrived; if not, a failure was printed */
    [[nodiscard]] bool Finish();

private:
    using clock_t = std::chrono::steady_clock;

    void PutMessage(const std::string &strLine);
    void WriteResult(const std::string &strText);
    void DrawIfDue();

    const bool bQuiet;
    clMutex mtx; // guards everything below but the atomics
    clProgressLine line;
    progress_t progress;
    clock_t::time_point timeStart;
    uint64_t uBytesKnown = 0;
    uint64_t uSizesToCome = 0; // of files that uBytesKnown does not contain
    std::atomic<bool> bProgress{false};
    std::atomic<uint64_t> uBytesDone{0};
    /** When the line is due again, in ticks of the clock; a hint only, so no order is needed. */
    std::atomic<clock_t::rep> lNextDraw{0};
    size_t sizeNextResult = 0;
    bool bWritten = false;                    // something went to standard output
    std::map<size_t, std::string> mapWaiting; // results whose predecessors are not there yet
    int iOutputError = 0;                     // of the first write that failed
};
