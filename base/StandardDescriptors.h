#pragma once

#include <fcntl.h>

/** Opens the null device for each closed descriptor of 0 to 2: the first file opened would take the
 * number of standard error and receive its messages.
 * @return false when that fails; nothing can be opened or printed safely then */
inline bool HoldStandardDescriptors() noexcept
{
    for (int iFileH = 0; iFileH <= 2; ++iFileH) {
        if (fcntl(iFileH, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) {
            return false;
        }
    }
    return true;
}
