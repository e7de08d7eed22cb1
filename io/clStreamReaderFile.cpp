#include "io/clStreamReaderFile.h"

#include "base/clException.h"

#include <cstring>

clStreamReaderFile::clStreamReaderFile(const clString &strFile) : clStreamReader(strFile)
{
    try {
        fileInput.Open(PathOf(strFile).c_str(), clFileIO::ACCESS_READ,
                       clFileIO::OPEN_ADVISE_SEQUENTIAL);
    } catch (const clException &caught) {
        WrapException<clXStreamReader>("clStreamReaderFile::clStreamReaderFile(): ", caught);
    }
}

clStreamReaderFile::~clStreamReaderFile() noexcept(false)
{
    try {
        clStreamReaderFile::Close();
    } catch (...) {
        // The file was only read, so an error loses nothing.
    }
}

void clStreamReaderFile::Close()
{
    try {
        fileInput.Close();
    } catch (...) {
        // The descriptor is closed even then; a second close(2) could close another file.
        fileInput.Detach();
        throw;
    }
}

ssize_t clStreamReaderFile::Read(void *pBuffer, size_t sizeBuffer)
{
    return fileInput.Read(pBuffer, sizeBuffer);
}

off_t clStreamReaderFile::Seek(off_t lPosition)
{
    return fileInput.Seek(clFileIO::SEEK_POINT_START, lPosition);
}

off_t clStreamReaderFile::Skip(off_t lCount)
{
    return fileInput.Seek(clFileIO::SEEK_POINT_CURRENT, lCount);
}

off_t clStreamReaderFile::Tell()
{
    return fileInput.Seek(clFileIO::SEEK_POINT_CURRENT, 0);
}

int64_t clStreamReaderFile::GetSize()
{
    return fileInput.Size();
}

bool clStreamReaderFile::IsEOF()
{
    return Tell() >= GetSize();
}

bool clStreamReaderFile::IsRemote()
{
    return false;
}

bool clStreamReaderFile::IsSeekable()
{
    return true;
}

clString clStreamReaderFile::PathOf(const clString &strFile)
{
    // Not SubString, which refuses the empty path after a bare prefix.
    for (const char *cpPrefix : {"file://", "file:"}) {
        if (strFile.BeginsWith(cpPrefix)) {
            return clString(strFile.c_str() + std::strlen(cpPrefix));
        }
    }
    return strFile;
}
