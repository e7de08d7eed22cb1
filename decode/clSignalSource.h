#pragma once

#include "base/Export.h"

#include <cstdint>

/** Delivers the bytes of a one-bit signal to a clDecodeSession. A file format implements it. */
class VANTREL_API clSignalSource
{
public:
    /** The next bytes and their order: runs of uRun bytes, one per channel, channels in rotation.
     */
    struct next_t {
        /** Changes with every fetch and seek, so that a session notices a seek. */
        uint64_t uPosition = 0;
        /** Bytes per channel from there to the end, as announced; there may be fewer. */
        uint64_t uLeft = 0;
        uint64_t uRun = 1;      ///< bytes; 1 for interleaved channels
        bool bLsbFirst = false; ///< the earliest sample is in the lowest bit of a byte
    };

    virtual next_t GetNext() const = 0; ///< describes what Fetch delivers next

    /** Fetches the next bytes and advances the position. uBytes is per channel: whole runs, or all
     * that is left; pDest has room for them.
     * @return bytes per channel; less than uBytes only at the end */
    virtual uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) = 0;

protected:
    ~clSignalSource() = default;
};
