#pragma once

#include "base/clException.h"
#include "base/clString.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <utility>
#include <vector>

/**
 * A stream over bytes in memory, for tests of what reads from one. As made it behaves like a local
 * file; the setters make it answer like another kind of source, or a bad one. They return the
 * stream, so that one can be made and handed over in an expression:
 *
 *     reader.OpenMeta((new MemoryStream(bytes))->ShortReads(3)->Remote());
 */
class MemoryStream : public clStreamReader
{
public:
    enum call_t { CALL_CLOSE, CALL_READ, CALL_SEEK, CALL_SKIP, CALL_TELL, CALL_GET_SIZE, CALLS };

    /** What happened to a stream. It outlives the stream, which others delete. */
    struct log_t {
        std::array<unsigned, CALLS> aCalls{};
        bool bClosed = false;
        bool bDestroyed = false;
    };

    explicit MemoryStream(std::vector<uint8_t> bytes, const char *cpName = "memory")
        : clStreamReader(clString(cpName)),
          content(std::move(bytes)),
          lSize(static_cast<int64_t>(content.size()))
    {
    }

    ~MemoryStream() noexcept(false) override { spLog->bDestroyed = true; }

    std::shared_ptr<const log_t> Log() const { return spLog; }

    /** Seek then answers as a stream that cannot; Skip and Tell work on. */
    MemoryStream *NotSeekable()
    {
        bSeekable = false;
        return this;
    }

    MemoryStream *Remote()
    {
        bRemote = true;
        return this;
    }

    /** What GetSize says, whatever the content is. 0: the size is not known. */
    MemoryStream *ClaimSize(int64_t lClaimed)
    {
        lSize = lClaimed;
        return this;
    }

    /** A read delivers sizeMost bytes at most. */
    MemoryStream *ShortReads(size_t sizeMost)
    {
        sizeLargestRead = sizeMost;
        return this;
    }

    /** The uNth call of a kind, counted from 1, throws an X with this text and does nothing. */
    template <class X>
    MemoryStream *FailAt(call_t call, unsigned uNth, const char *cpText)
    {
        mapFailures[{call, uNth}] = std::make_exception_ptr(X(cpText));
        return this;
    }

    void Close() override
    {
        Count(CALL_CLOSE);
        spLog->bClosed = true;
    }

    ssize_t Read(void *pBuffer, size_t sizeBuffer) override
    {
        CountOnOpen(CALL_READ);
        const size_t sizeAll = content.size();
        const size_t sizeStart = std::min(static_cast<size_t>(lPosition), sizeAll);
        const size_t sizeRead = std::min({sizeBuffer, sizeLargestRead, sizeAll - sizeStart});
        if (sizeRead != 0) {
            std::memcpy(pBuffer, content.data() + sizeStart, sizeRead);
            lPosition += static_cast<off_t>(sizeRead);
        }
        return static_cast<ssize_t>(sizeRead);
    }

    off_t Seek(off_t lTarget) override
    {
        CountOnOpen(CALL_SEEK);
        return bSeekable ? MoveTo(lTarget) : clStreamReader::Seek(lTarget);
    }

    off_t Skip(off_t lCount) override
    {
        CountOnOpen(CALL_SKIP);
        off_t lTarget = 0;
        return MoveTo(__builtin_add_overflow(lPosition, lCount, &lTarget) ? -1 : lTarget);
    }

    off_t Tell() override
    {
        CountOnOpen(CALL_TELL);
        return lPosition;
    }

    int64_t GetSize() override
    {
        CountOnOpen(CALL_GET_SIZE);
        return lSize;
    }

    bool IsEOF() override { return lPosition >= lSize; }
    bool IsRemote() override { return bRemote; }
    bool IsSeekable() override { return bSeekable; }

private:
    void Count(call_t call)
    {
        const auto itFailure = mapFailures.find({call, ++spLog->aCalls.at(call)});
        if (itFailure != mapFailures.end()) {
            std::rethrow_exception(itFailure->second);
        }
    }

    // A closed file refuses everything, and so does this, to find those who use one.
    void CountOnOpen(call_t call)
    {
        Count(call);
        if (spLog->bClosed) {
            throw clXFileIO("MemoryStream: used after Close()", EBADF);
        }
    }

    // As lseek(2): any position that is not negative, the end of the content notwithstanding.
    off_t MoveTo(off_t lTarget)
    {
        if (lTarget < 0) {
            throw clXFileIO("clFileIO::Seek(): lseek()", EINVAL);
        }
        lPosition = lTarget;
        return lPosition;
    }

    const std::vector<uint8_t> content;
    int64_t lSize;
    off_t lPosition = 0;
    size_t sizeLargestRead = SIZE_MAX;
    bool bSeekable = true;
    bool bRemote = false;
    std::map<std::pair<call_t, unsigned>, std::exception_ptr> mapFailures;
    std::shared_ptr<log_t> spLog = std::make_shared<log_t>();
};
