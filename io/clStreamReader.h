#pragma once

#include "base/Export.h"
#include "base/clString.h"

#include <cstddef>
#include <cstdint>

#include <sys/types.h> // for off_t, ssize_t

class clAlloc;

/**
 * A source of bytes that is read from front to back. Unsupported operations throw clXStreamReader.
 * One thread at a time. The destructors of the readers close the stream and ignore errors.
 */
class VANTREL_API clStreamReader
{
public:
    explicit clStreamReader(const clString &strStreamName); ///< sets strName
    clStreamReader(const clStreamReader &) = delete;
    clStreamReader &operator=(const clStreamReader &) = delete;
    virtual ~clStreamReader() noexcept(false);

    virtual void Close() = 0; ///< ends the use of the source

    /** Reads once. @return the bytes read, which may be fewer than sizeBuffer; 0 at the end */
    virtual ssize_t Read(void *pBuffer, size_t sizeBuffer) = 0;

    /** Moves the position. @return the new one, from the start of the stream */
    virtual off_t Seek(off_t lPosition);

    virtual off_t Skip(off_t lCount); ///< moves forward; returns the new position

    virtual off_t Tell(); ///< the position, from the start of the stream

    /** The size of the whole stream; 0 when unknown. */
    virtual int64_t GetSize();

    virtual bool IsEOF(); ///< whether the position is at the end

    /** Whether the source is on a network, so that each Seek costs a request. */
    virtual bool IsRemote() = 0;
    virtual bool IsSeekable() = 0; ///< whether Seek works

    /** The type of the content; owned by the reader, valid until the next operation. */
    virtual const char *GetMimeType();

    /** Reads until the buffer is full or the stream ends.
     * @return the bytes read, fewer than sizeBuffer only at the end */
    size_t ReadFully(void *pBuffer, size_t sizeBuffer);

    /** As above, but grows the buffer as bytes arrive, so that a wrong size in a file takes no
     * memory. A remote stream of known size is read in requests of up to 256 MiB, because readers
     * limit only the wait before each read. @return the bytes read; the buffer may be larger */
    size_t ReadFully(clAlloc &buffer, uint64_t uSize);

    const clString strName; ///< the name from the constructor
};
