#pragma once

#include "io/clStreamReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <sys/stat.h>

/**
 * A regular file as a stream that is cheap to walk: short reads are served from a buffer, long ones
 * go to the system, and a position is no more than a number.
 *
 * It remembers what the file was like when it was opened, to tell whether it has changed since.
 */
class clFileStream : public clStreamReader
{
public:
    /**
     * Opens a file by its path as it is; "file:" has no meaning here.
     * @throws clXInput when it is no regular file or cannot be opened
     */
    explicit clFileStream(const std::string &strFile);
    ~clFileStream() noexcept(false) override;

    void Close() override;
    /** @throws clXFileIO */
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override;
    off_t Seek(off_t lTo) override;
    off_t Skip(off_t lCount) override;
    off_t Tell() override { return lPosition; }
    /** As it was when the file was opened. */
    int64_t GetSize() override { return status.st_size; }
    bool IsEOF() override { return lPosition >= status.st_size; }
    bool IsRemote() override { return false; }
    bool IsSeekable() override { return true; }

    /** What fstat() said when the file was opened. */
    const struct stat &GetStatus() const noexcept { return status; }

    /** @throws clXInput when size or time of change are no longer those of GetStatus */
    void ThrowIfChanged() const;

    /** Whether the path still leads to this file, unchanged. */
    bool IsAt(const std::string &strFile) const noexcept;

    /** Lets the system forget the bytes that it holds in memory, so that reads come from the disk
     * as far as the system can do that. What was read ahead here goes too. */
    void DropCache() noexcept;

private:
    ssize_t ReadAt(void *pBuffer, size_t sizeBuffer);

    int iFileH = -1;
    struct stat status = {};
    off_t lPosition = 0;

    std::unique_ptr<uint8_t[]> aBuffer;
    off_t lBufferStart = 0;
    size_t sizeBuffered = 0;
};
