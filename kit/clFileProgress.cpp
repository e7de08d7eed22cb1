#include "kit/clFileProgress.h"

#include "kit/clInputs.h"
#include "kit/clReporter.h"

#include <algorithm>
#include <exception>

clFileProgress::~clFileProgress()
{
    try {
        while (uSizesToCome != 0) {
            TakeSize(0);
        }
        Count(uBytes);
    } catch (const std::exception &) {
        // Nobody depends on the line.
    }
}

void clFileProgress::Add(const input_t &file)
{
    uBytes += file.uSize;
    uSizesToCome += file.strURL.empty() ? 0 : 1;
}

void clFileProgress::TakeSize(uint64_t uSize)
{
    uBytes += uSize;
    --uSizesToCome;
    reporter.TakeSize(uSize);
}

void clFileProgress::Reach(uint64_t uDone, uint64_t uAll)
{
    const double dPart = static_cast<double>(uDone) / static_cast<double>(std::max(uAll, uDone));
    if (uAll != 0) {
        Count(static_cast<uint64_t>(dPart * static_cast<double>(uBytes)));
    }
}

void clFileProgress::Count(uint64_t uUpTo)
{
    const uint64_t uNew = std::clamp(uUpTo, uCounted, uBytes) - uCounted;
    uCounted += uNew;
    reporter.AddBytes(uNew);
}
