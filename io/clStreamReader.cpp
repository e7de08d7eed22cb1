#include "io/clStreamReader.h"

#include "base/clException.h"

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
