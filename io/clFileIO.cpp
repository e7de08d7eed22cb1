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

// The system calls must not get a null path; they refuse an empty one with ENOENT.
const char *PathOrEmpty(const char *cpPath) noexcept
{
    return cpPath != nullptr ? cpPath : "";
}

int OpenFlags(clFileIO::access_t access, int iOptions)
{
    int iFlags = 0;
    switch (access) {
    case clFileIO::ACCESS_READ:
        iFlags = O_RDONLY;
        break;
    case clFileIO::ACCESS_WRITE:
        iFlags = O_WRONLY;
        break;
    case clFileIO::ACCESS_READWRITE:
        iFlags = O_RDWR;
        break;
    default:
        throw clXFileIO("clFileIO::Open(): BUG: unknown access_t");
    }
    iFlags |= (iOptions & clFileIO::OPEN_EXCLUSIVE) != 0 ? O_EXCL : 0;
    iFlags |= (iOptions & clFileIO::OPEN_SYNC) != 0 ? O_SYNC : 0;
    iFlags |= (iOptions & clFileIO::OPEN_TRUNCATE) != 0 ? O_TRUNC : 0;
    iFlags |= (iOptions & clFileIO::OPEN_CREATE) != 0 ? O_CREAT : 0;
    return iFlags;
}

void Advise(int iFileH, int iOptions)
{
    if ((iOptions & (clFileIO::OPEN_ADVISE_RANDOM | clFileIO::OPEN_ADVISE_SEQUENTIAL)) == 0) {
        return;
    }
    const bool bRandom = (iOptions & clFileIO::OPEN_ADVISE_RANDOM) != 0;
    // posix_fadvise() returns its error number and does not set errno.
    if (posix_fadvise(iFileH, 0, 0, bRandom ? POSIX_FADV_RANDOM : POSIX_FADV_SEQUENTIAL) != 0) {
        throw clXFileIO("clFileIO::Open(): posix_fadvise()");
    }
}

int MapProtection(clFileIO::access_t access)
{
    switch (access) {
    case clFileIO::ACCESS_READ:
        return PROT_READ;
    case clFileIO::ACCESS_WRITE:
        return PROT_WRITE;
    case clFileIO::ACCESS_READWRITE:
        return PROT_READ | PROT_WRITE;
    default:
        throw clXFileIO("clFileIO::Map(): BUG: unknown access_t");
    }
}

} // namespace

clFileIO::clFileIO() noexcept(false) = default;

// Delegates, so that the destructor runs when Open throws and closes the descriptor of a file whose
// posix_fadvise() has failed.
clFileIO::clFileIO(const char *cpPath, access_t access, int iOptions) : clFileIO()
{
    clFileIO::Open(cpPath, access, iOptions);
}

// NOLINTNEXTLINE(bugprone-exception-escape): the only report of a failed delayed write.
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
    // A copy, because cpPath may point into strFileName, which Close clears.
    const clString strPath(cpPath);
    Close();
    // Close keeps the name of a file that it could not delete.
    strFileName.Clear();
    iFileH = open(strPath.c_str(), OpenFlags(access, iOptions), 0666);
    if (iFileH < 0) {
        throw clXFileIO("clFileIO::Open(): open()", errno);
    }
    Advise(iFileH, iOptions);
    strFileName = strPath;
}

void clFileIO::Close()
{
    // Also without a descriptor, because Detach keeps the mappings.
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
    const int iProtection = MapProtection(access);
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
        // A short write sets no errno; the write of the rest fails with the cause. It must not
        // raise a signal, because the exception reports the error.
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
