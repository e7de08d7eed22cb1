#pragma once

#include "base/clString.h"

#include <cstddef>
#include <cstdint>

#include <sys/types.h> // for off_t, ssize_t

class clAlloc;

/**
 * A stream of bytes that is read from front to back, wherever it comes from.
 *
 * What a reader does not support throws clXStreamReader. One thread at a time. The destructors of
 * the readers close the stream and swallow errors of that.
 */
class clStreamReader
{
public:
    explicit clStreamReader(const clString &strStreamName);
    clStreamReader(const clStreamReader &) = delete;
    clStreamReader &operator=(const clStreamReader &) = delete;
    virtual ~clStreamReader() noexcept(false);

    virtual void Close() = 0;

    /**
     * Reads up to sizeBuffer bytes.
     * @return the count read, which may be short; 0 at the end
     */
    virtual ssize_t Read(void *pBuffer, size_t sizeBuffer) = 0;

    /** Moves to a position from the start of the stream, in bytes; returns it. */
    virtual off_t Seek(off_t lPosition);

    /** Moves on by lCount bytes; returns the new position. */
    virtual off_t Skip(off_t lCount);

    /** The current position in bytes. */
    virtual off_t Tell();

    /** Size of the whole stream in bytes, 0 when it is not known. */
    virtual int64_t GetSize();

    virtual bool IsEOF();

    /** Whether the bytes come over a network, so that every move costs a request. */
    virtual bool IsRemote() = 0;
    virtual bool IsSeekable() = 0;

    /** Owned by the reader, valid until its next operation. */
    virtual const char *GetMimeType();

    /**
     * Reads until the buffer is full or the stream ends, in as many reads as that takes.
     * @return the count read, less than sizeBuffer only at the end
     */
    size_t ReadFully(void *pBuffer, size_t sizeBuffer);

    /**
     * As ReadFully, into a buffer that is made for it. It grows with what arrives, so that a size
     * which only a file or a server announces takes no memory before the bytes are there. Only a
     * remote stream of known size is asked for up to 256 MiB of it in one read, so that the pauses
     * of a server fall inside that read.
     * @return the count read; the buffer may be larger
     */
    size_t ReadFully(clAlloc &buffer, uint64_t uSize);

    /** The name the reader was made of, unchanged. */
    const clString strName;
};
