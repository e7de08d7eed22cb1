#include "io/clStreamReader.h"

#include "base/clAlloc.h"
#include "base/clException.h"

#include <algorithm>

clStreamReader::clStreamReader(const clString &strStreamName) : strName(strStreamName) {}

clStreamReader::~clStreamReader() noexcept(false) = default;

off_t clStreamReader::Seek(off_t /*lPosition*/)
{
    throw clXStreamReader("clStreamReader::Seek(): stream not seekable");
}

off_t clStreamReader::Skip(off_t /*lCount*/)
{
    throw clXStreamReader("clStreamReader::Skip(): not supported");
}

off_t clStreamReader::Tell()
{
    throw clXStreamReader("clStreamReader::Tell(): invalid call");
}

int64_t clStreamReader::GetSize()
{
    return 0;
}

bool clStreamReader::IsEOF()
{
    throw clXStreamReader("clStreamReader::IsEOF(): invalid call");
}

const char *clStreamReader::GetMimeType()
{
    return "application/octet-stream";
}

size_t clStreamReader::ReadFully(void *pBuffer, size_t sizeBuffer)
{
    size_t sizeDone = 0;
    while (sizeDone < sizeBuffer) {
        const ssize_t lRead = Read(static_cast<char *>(pBuffer) + sizeDone, sizeBuffer - sizeDone);
        if (lRead <= 0) {
            break;
        }
        sizeDone += static_cast<size_t>(lRead);
    }
    return sizeDone;
}

size_t clStreamReader::ReadFully(clAlloc &buffer, uint64_t uSize)
{
    constexpr uint64_t FIRST_SIZE = 1 << 20;
    constexpr uint64_t FIRST_SIZE_REMOTE = 256 << 20; // about the size of the largest tag

    // A remote reader may limit the wait before each read, and a server may pause at any byte, so
    // few large reads are safer. GetSize() bounds the buffer, and memory that is not written is
    // free.
    uint64_t uFirst = FIRST_SIZE;
    if (IsRemote() && GetSize() > 0) {
        uFirst = std::clamp(static_cast<uint64_t>(GetSize()), FIRST_SIZE, FIRST_SIZE_REMOTE);
    }
    uint64_t uRoom = std::min(uSize, uFirst);
    buffer.SetSize(static_cast<int64_t>(uRoom));
    uint64_t uDone = ReadFully(buffer.GetPtr(), uRoom);
    while (uDone == uRoom && uRoom < uSize) {
        uRoom += std::min(uRoom, uSize - uRoom);
        buffer.Resize(static_cast<int64_t>(uRoom));
        uDone += ReadFully(static_cast<char *>(buffer.GetPtr()) + uDone, uRoom - uDone);
    }
    return uDone;
}
