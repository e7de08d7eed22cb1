#pragma once

#include <cstdint>

class clReporter;
struct input_t;

/** Reports how far the work on a file has come, in bytes of the file, by the part of its sound that
 * was worked on. That may be more bytes than the file has. */
class clFileProgress
{
public:
    /** @param runReporter borrowed */
    explicit clFileProgress(clReporter &runReporter) : reporter(runReporter) {}
    clFileProgress(const clFileProgress &) = delete;
    clFileProgress &operator=(const clFileProgress &) = delete;
    /** Counts all that was not counted. */
    ~clFileProgress();

    /** Adds a file to what is worked on. */
    void Add(const input_t &file);
    /** Tells the size of an added file on the web, which was not known. */
    void TakeSize(uint64_t uSize);
    /** @param uDone of uAll bytes of work, from the beginning */
    void Reach(uint64_t uDone, uint64_t uAll);

private:
    void Count(uint64_t uUpTo);

    clReporter &reporter;
    uint64_t uBytes = 0;
    uint64_t uCounted = 0;
    unsigned uSizesToCome = 0;
};
