#include "io/clFileIO.h"

#include "base/clException.h"
#include "io/Descriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// The system's calls must not see a null path; an empty one is refused with ENOENT.
const char *PathOrEmpty(const char *cpPath) noexcept
{
    return cpPath != nullptr ? cpPath : "";
}

} // namespace

clFileIO::clFileIO() noexcept(false) = default;

// Delegating makes the object whole before Open runs, so that the destructor follows when Open
// throws and closes a descriptor whose advice has failed.
clFileIO::clFileIO(const char *cpPath, access_t access, int iOptions) : clFileIO()
{
    clFileIO::Open(cpPath, access, iOptions);
}

// NOLINTNEXTLINE(bugprone-exception-escape): the last word on whether all bytes arrived.
clFileIO::~clFileIO() noexcept(false)
{
    try {
        clFileIO::Close();
    } catch (...) {
        if (DestructorMayThrow()) {
            throw;
        }
    }
}

void clFileIO::Open(const char *cpPath, access_t access, int iOptions)
{
    // A copy, since the path may be the name of this very file, which Close forgets.
    const clString strPath(cpPath);
    Close();
    // Close keeps the name of a file that it could not delete; it must not become that of the next.
    strFileName.Clear();

    int iFlags = 0;
    switch (access) {
    case ACCESS_READ:
        iFlags = O_RDONLY;
        break;
    case ACCESS_WRITE:
        iFlags = O_WRONLY;
        break;
    case ACCESS_READWRITE:
        iFlags = O_RDWR;
        break;
    default:
        throw clXFileIO("clFileIO::Open(): BUG: unknown access_t");
    }
    if ((iOptions & OPEN_EXCLUSIVE) != 0) {
        iFlags |= O_EXCL;
    }
    if ((iOptions & OPEN_SYNC) != 0) {
        iFlags |= O_SYNC;
    }
    if ((iOptions & OPEN_TRUNCATE) != 0) {
        iFlags |= O_TRUNC;
    }
    if ((iOptions & OPEN_CREATE) != 0) {
        iFileH = open(strPath.c_str(), iFlags | O_CREAT, 0666);
    } else {
        iFileH = open(strPath.c_str(), iFlags);
    }
    if (iFileH < 0) {
        throw clXFileIO("clFileIO::Open(): open()", errno);
    }

    if ((iOptions & (OPEN_ADVISE_RANDOM | OPEN_ADVISE_SEQUENTIAL)) != 0) {
        const bool bRandom = (iOptions & OPEN_ADVISE_RANDOM) != 0;
        // posix_fadvise() returns its error number and leaves errno alone.
        if (posix_fadvise(iFileH, 0, 0, bRandom ? POSIX_FADV_RANDOM : POSIX_FADV_SEQUENTIAL) != 0) {
            throw clXFileIO("clFileIO::Open(): posix_fadvise()");
        }
    }
    strFileName = strPath;
}

void clFileIO::Close()
{
    // Also without a descriptor: Detach leaves the mappings.
    for (const auto &[pMapping, uSize] : mapMappings) {
        munmap(pMapping, uSize);
    }
    mapMappings.clear();
    if (iFileH < 0) {
        return;
    }
    const int iError = CloseDescriptor(iFileH);
    if (iError != 0) {
        throw clXFileIO("clFileIO::Close(): close()", iError);
    }
    iFileH = -1;
    if (iUnlinkMark == UNLINK_ON_CLOSE && unlink(strFileName.c_str()) != 0) {
        throw clXFileIO("clFileIO::Close(): unlink()", errno);
    }
    strFileName.Clear();
}

int64_t clFileIO::Size()
{
    struct stat status = {};
    if (fstat(iFileH, &status) != 0) {
        throw clXFileIO("clFileIO::Size(): fstat()");
    }
    return status.st_size;
}

void clFileIO::SetSize(off_t lLength)
{
    if (ftruncate(iFileH, lLength) != 0) {
        throw clXFileIO("clFileIO::SetSize(): ftruncate()");
    }
}

void *clFileIO::Map(off_t lOffset, size_t sizeMap, access_t access, int iOptions)
{
    int iProtection = 0;
    switch (access) {
    case ACCESS_READ:
        iProtection = PROT_READ;
        break;
    case ACCESS_WRITE:
        iProtection = PROT_WRITE;
        break;
    case ACCESS_READWRITE:
        iProtection = PROT_READ | PROT_WRITE;
        break;
    default:
        throw clXFileIO("clFileIO::Map(): BUG: unknown access_t");
    }
    int iFlags = MAP_SHARED;
    if ((iOptions & MAP_OPT_LOCK) != 0) {
        iFlags |= MAP_LOCKED;
    }
    if ((iOptions & MAP_OPT_POPULATE) != 0) {
        iFlags |= MAP_POPULATE;
    }
    void *const pMapping = mmap(nullptr, sizeMap, iProtection, iFlags, iFileH, lOffset);
    if (pMapping == MAP_FAILED) {
        throw clXFileIO("clFileIO::Map(): mmap()", errno);
    }
    try {
        mapMappings.emplace(pMapping, sizeMap);
    } catch (...) {
        munmap(pMapping, sizeMap);
        throw;
    }
    return pMapping;
}

void clFileIO::Unmap(void *pMapping, size_t sizeMap)
{
    const auto itMapping = mapMappings.find(pMapping);
    if (itMapping == mapMappings.end()) {
        throw clXFileIO("clFileIO::Unmap(): mapping not found");
    }
    if (itMapping->second != sizeMap) {
        throw clXFileIO("clFileIO::Unmap(): mapping size mismatch");
    }
    if (munmap(pMapping, sizeMap) != 0) {
        throw clXFileIO("clFileIO::Unmap(): munmap()", errno);
    }
    mapMappings.erase(itMapping);
}

ssize_t clFileIO::Read(void *pBuffer, size_t sizeBuffer)
{
    const ssize_t lRead = read(iFileH, pBuffer, sizeBuffer);
    if (lRead < 0) {
        throw clXFileIO("clFileIO::Read(): read()", errno);
    }
    return lRead;
}

ssize_t clFileIO::Write(const void *pBuffer, size_t sizeBuffer)
{
    const ssize_t lWritten = write(iFileH, pBuffer, sizeBuffer);
    if (lWritten < 0) {
        throw clXFileIO("clFileIO::Write(): write()", errno);
    }
    if (static_cast<size_t>(lWritten) != sizeBuffer) {
        // A short write sets no error number; the system names the cause when it refuses the rest.
        // Without a signal: the exception is the report, and the first write has raised none.
        const size_t sizeDone = static_cast<size_t>(lWritten);
        const ssize_t lRest = WriteWithoutSignal(
            iFileH, static_cast<const uint8_t *>(pBuffer) + sizeDone, sizeBuffer - sizeDone);
        throw clXFileIO("clFileIO::Write(): write()", lRest < 0 ? errno : ENOSPC);
    }
    return lWritten;
}

off_t clFileIO::Seek(seekpoint_t whence, off_t lOffset)
{
    int iWhence = 0;
    switch (whence) {
    case SEEK_POINT_START:
        iWhence = SEEK_SET;
        break;
    case SEEK_POINT_CURRENT:
        iWhence = SEEK_CUR;
        break;
    case SEEK_POINT_END:
        iWhence = SEEK_END;
        break;
    default:
        throw clXFileIO("clFileIO::Seek(): BUG: unknown seekpoint_t");
    }
    const off_t lPosition = lseek(iFileH, lOffset, iWhence);
    if (lPosition < 0) {
        throw clXFileIO("clFileIO::Seek(): lseek()", errno);
    }
    return lPosition;
}

int64_t clFileIO::GetSize(const char *cpPath)
{
    struct stat status = {};
    if (stat(PathOrEmpty(cpPath), &status) != 0) {
        throw clXFileIO("clFileIO::GetSize(): stat()", errno);
    }
    return status.st_size;
}

unsigned clFileIO::GetPageSize()
{
    const long lPageSize = sysconf(_SC_PAGESIZE);
    if (lPageSize < 1) {
        throw clXFileIO("clFileIO::GetPageSize(): sysconf()", errno);
    }
    return static_cast<unsigned>(lPageSize);
}

bool clFileIO::Exists(const char *cpPath)
{
    return access(PathOrEmpty(cpPath), F_OK) == 0;
}
