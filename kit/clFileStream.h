#pragma once

#include "kit/clInputStream.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <sys/stat.h>

/**
 * A regular file as a stream for many small reads: short reads are served from a buffer, long ones
 * go to the system. Notices whether the file has changed since it was opened.
 */
class clFileStream : public clInputStream
{
public:
    /** Opens a file by its path as it is; "file:" has no meaning here.
     * @throws clXInput when it is no regular file or cannot be opened */
    explicit clFileStream(const std::string &strFile);
    ~clFileStream() noexcept(false) override;

    void Close() override;
    /** @throws clXFileIO */
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override;
    int64_t GetSize() override { return status.st_size; }

    /** At the time of opening. */
    std::optional<timespec> GetTime() const noexcept override { return status.st_mtim; }
    /** By size and time of modification. @throws clXInput */
    void ThrowIfChanged() const override;
    bool IsAt(const std::string &strFile) const noexcept override;

    /** Drops the file from the system's cache, as far as possible, and from the buffer, so that
     * reads come from the disk. */
    void DropCache() noexcept;

private:
    ssize_t ReadAt(void *pBuffer, size_t sizeBuffer);

    int iFileH = -1;
    struct stat status = {};

    std::unique_ptr<uint8_t[]> aBuffer;
    off_t lBufferStart = 0;
    size_t sizeBuffered = 0;
};
