#include "dsd/clDSDIFFMaster.h"

void clDSDIFFMaster::Clear()
{
    *this = clDSDIFFMaster();
}

int64_t clDSDIFFMaster::GetPosition(const marker_t &marker, uint32_t uSampleRate,
                                    const time_code_t &start) noexcept
{
    // The fields bound this far below the range of the type.
    const auto count = [uSampleRate](const time_code_t &time) {
        const int64_t lSeconds = (int64_t{time.uHours} * 60 + time.uMinutes) * 60 + time.uSeconds;
        return lSeconds * uSampleRate + time.uSamples;
    };
    return count(marker.time) + marker.iOffset - count(start);
}
