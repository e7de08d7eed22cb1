#include "dsd/clDSFInspector.h"

#include <algorithm>

uint64_t clDSFInspector::GetSamples() const noexcept
{
    const uint64_t uGroup = uint64_t{uBlockSize} * uChannels;
    if (uGroup == 0) {
        return 0;
    }
    // In a group that the file ends in, only the bytes that the last channel has count.
    const uint64_t uBefore = uGroup - uBlockSize;
    const uint64_t uRest = data.uSize % uGroup;
    const uint64_t uBytes =
        data.uSize / uGroup * uBlockSize + (uRest > uBefore ? uRest - uBefore : 0);
    return std::min(uSamples, uBytes * 8);
}
