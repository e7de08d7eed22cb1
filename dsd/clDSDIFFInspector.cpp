#include "dsd/clDSDIFFInspector.h"

uint64_t clDSDIFFInspector::GetSamples() const noexcept
{
    if (eCompression == compression_t::DST) {
        return uint64_t{uFrames} * (uSampleRate / 75);
    }
    // Bytes times 8 leave 64 bits only for files that no stream can hold.
    return auIds.empty() ? 0 : sound.uPresent / auIds.size() * 8;
}
