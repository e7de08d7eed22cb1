#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

class clStreamReader;

/**
 * Reads a stream at any position, a few KiB at a time: one read serves many small chunks. The
 * stream is borrowed and must outlive this object.
 */
class clFileWindow
{
public:
    explicit clFileWindow(clStreamReader &streamFile);

    uint64_t GetSize() const noexcept { return uFileSize; }

    /** Fills a buffer with the bytes from a position on; zeros after the end of the stream. */
    void Read(uint64_t uOffset, void *pBuffer, size_t sizeBuffer);

    /** Whether the stream has ended before its size, so that a walk by its size must stop. */
    bool IsShort() const noexcept { return bShort; }

private:
    clStreamReader &stream;
    uint64_t uFileSize;
    uint64_t uStart = 0;
    size_t sizeHeld = 0;
    bool bShort = false;
    std::array<uint8_t, 4096> aBytes;
};
