#pragma once

#include <algorithm>
#include <cstdint>

/** Counts the bytes of a file by the part of its sound that was worked on, which may be more bytes
 * than the file has. */
class clShare
{
public:
    explicit clShare(uint64_t uFileBytes = 0) : uFile(uFileBytes) {}

    /**
     * @param uDone of uAll bytes of work, from the beginning
     * @return bytes of the file to count since the last call
     */
    uint64_t Reach(uint64_t uDone, uint64_t uAll) noexcept
    {
        const double dPart =
            static_cast<double>(uDone) / static_cast<double>(std::max(uAll, uDone));
        return uAll == 0 ? 0 : Count(static_cast<uint64_t>(dPart * static_cast<double>(uFile)));
    }

    /** @return bytes that were not counted */
    uint64_t Finish() noexcept { return Count(uFile); }

private:
    uint64_t Count(uint64_t uUpTo) noexcept
    {
        const uint64_t uNew = std::clamp(uUpTo, uCounted, uFile) - uCounted;
        uCounted += uNew;
        return uNew;
    }

    uint64_t uFile;
    uint64_t uCounted = 0;
};
