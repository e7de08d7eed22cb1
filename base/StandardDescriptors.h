#pragma once

#include <fcntl.h>

/**
 * Opens the null device for each of the descriptors 0 to 2 that is closed. With standard error
 * closed, the first file that is opened would take its number and messages would end up in it.
 *
 * @return false when that fails: nothing can be opened or printed safely then
 */
inline bool HoldStandardDescriptors() noexcept
{
    for (int iFileH = 0; iFileH <= 2; ++iFileH) {
        if (fcntl(iFileH, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) {
            return false;
        }
    }
    return true;
}
