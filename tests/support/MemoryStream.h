#pragma once

#include "base/clException.h"
#include "base/clString.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

/**
 * A stream over bytes in memory. It behaves like a local file; the setters, which return the
 * stream, make it behave like another source or a faulty one.
 */
class MemoryStream : public clStreamReader
{
public:
    enum call_t { CALL_NONE, CALL_CLOSE, CALL_READ };

    explicit MemoryStream(const std::vector<uint8_t> &bytes)
        : clStreamReader(clString("memory")),
          content(bytes),
          lSize(static_cast<int64_t>(bytes.size()))
    {
    }

    /** Expires with the stream. */
    std::weak_ptr<const void> Life() const { return spLife; }

    /** Makes Seek throw; Skip and Tell still work. */
    MemoryStream *NotSeekable() { return Set(bSeekable, false); }

    MemoryStream *Remote() { return Set(bRemote, true); }

    /** The result of GetSize; 0: unknown. */
    MemoryStream *ClaimSize(int64_t lClaimed) { return Set(lSize, lClaimed); }

    /** A read delivers at most sizeMost bytes. */
    MemoryStream *ShortReads(size_t sizeMost) { return Set(sizeLargestRead, sizeMost); }

    /** The uNth call of a kind, from 1, throws an X with this text and does nothing. */
    template <class X>
    MemoryStream *FailAt(call_t call, unsigned uNth, const char *cpText)
    {
        spFailure = std::make_exception_ptr(X(cpText));
        return Set(failingCall, call)->Set(uUntilFailure, uNth);
    }

    void Close() override { Count(CALL_CLOSE); }

    ssize_t Read(void *pBuffer, size_t sizeBuffer) override
    {
        Count(CALL_READ);
        const size_t uStart = std::min(static_cast<size_t>(lPosition), content.size());
        const size_t sizeRead = std::min({sizeBuffer, sizeLargestRead, content.size() - uStart});
        std::copy_n(content.data() + uStart, sizeRead, static_cast<uint8_t *>(pBuffer));
        lPosition += static_cast<off_t>(sizeRead);
        return static_cast<ssize_t>(sizeRead);
    }

    off_t Seek(off_t lTo) override { return bSeekable ? MoveTo(lTo) : clStreamReader::Seek(lTo); }

    off_t Skip(off_t lCount) override
    {
        off_t lTarget = 0;
        return MoveTo(__builtin_add_overflow(lPosition, lCount, &lTarget) ? -1 : lTarget);
    }

    off_t Tell() override { return lPosition; }
    int64_t GetSize() override { return lSize; }
    bool IsEOF() override { return lPosition >= lSize; }
    bool IsRemote() override { return bRemote; }
    bool IsSeekable() override { return bSeekable; }

private:
    template <class T>
    MemoryStream *Set(T &member, T value)
    {
        member = value;
        return this;
    }

    void Count(call_t call)
    {
        if (call == failingCall && --uUntilFailure == 0) {
            std::rethrow_exception(spFailure);
        }
    }

    // Any position from 0 on, as with lseek(2), also past the end.
    off_t MoveTo(off_t lTarget)
    {
        if (lTarget < 0) {
            throw clXFileIO("clFileIO::Seek(): lseek()", EINVAL);
        }
        return lPosition = lTarget;
    }

    const std::vector<uint8_t> content;
    int64_t lSize;
    off_t lPosition = 0;
    size_t sizeLargestRead = SIZE_MAX;
    bool bSeekable = true;
    bool bRemote = false;
    call_t failingCall = CALL_NONE;
    unsigned uUntilFailure = 0;
    std::exception_ptr spFailure;
    const std::shared_ptr<const void> spLife = std::make_shared<bool>();
};
