#pragma once

#include <cstddef>
#include <cstdint>

/** A temporary file without a name, in the folder that TMPDIR names, else in /tmp. It is gone when
 * its descriptor is closed, however the process ends. One thread at a time. */
class clSpoolFile
{
public:
    /** @throws clXInput */
    clSpoolFile();
    clSpoolFile(const clSpoolFile &) = delete;
    clSpoolFile &operator=(const clSpoolFile &) = delete;
    ~clSpoolFile();

    /** @throws clXInput when the disk is full or fails */
    void Append(const void *pBytes, size_t sizeBytes);

    /** @return the bytes read, fewer than sizeBuffer only at the end @throws clXInput */
    size_t ReadAt(uint64_t uOffset, void *pBuffer, size_t sizeBuffer) const;

    uint64_t GetSize() const noexcept { return uSize; }

private:
    int iFileH;
    uint64_t uSize = 0;
};
