#include "kit/clFileStream.h"

#include "base/clException.h"
#include "kit/OpenRegularFile.h"
#include "kit/clXInput.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace
{

// Small files are read by one call.
constexpr size_t BUFFER_SIZE = 65536;

bool IsSame(const struct stat &a, const struct stat &b)
{
    return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
           a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

} // namespace

clFileStream::clFileStream(const std::string &strFile)
    : clInputStream(clString(strFile.c_str())),
      aBuffer(std::make_unique_for_overwrite<uint8_t[]>(BUFFER_SIZE))
{
    iFileH = OpenRegularFile(strFile, status);
    // Advice that is not taken changes nothing.
    if (static_cast<size_t>(status.st_size) > BUFFER_SIZE) {
        static_cast<void>(posix_fadvise(iFileH, 0, 0, POSIX_FADV_SEQUENTIAL));
    }
}

clFileStream::~clFileStream() noexcept(false)
{
    clFileStream::Close();
}

void clFileStream::Close()
{
    if (iFileH >= 0) {
        // Nothing was written: there is nothing to lose.
        close(iFileH);
        iFileH = -1;
    }
}

ssize_t clFileStream::Read(void *pBuffer, size_t sizeBuffer)
{
    const off_t lInBuffer = lPosition - lBufferStart;
    if (lInBuffer < 0 || static_cast<uint64_t>(lInBuffer) >= sizeBuffered) {
        if (sizeBuffer >= BUFFER_SIZE) {
            const ssize_t lRead = ReadAt(pBuffer, sizeBuffer);
            lPosition += lRead;
            return lRead;
        }
        sizeBuffered = 0;
        lBufferStart = lPosition;
        sizeBuffered = static_cast<size_t>(ReadAt(aBuffer.get(), BUFFER_SIZE));
    }
    const auto sizeSkipped = static_cast<size_t>(lPosition - lBufferStart);
    const size_t sizeRead = std::min(sizeBuffer, sizeBuffered - sizeSkipped);
    std::memcpy(pBuffer, aBuffer.get() + sizeSkipped, sizeRead);
    lPosition += static_cast<off_t>(sizeRead);
    return static_cast<ssize_t>(sizeRead);
}

void clFileStream::ThrowIfChanged() const
{
    struct stat now = {};
    if (fstat(iFileH, &now) != 0) {
        throw clXFileIO("clFileStream::ThrowIfChanged(): fstat()", errno);
    }
    if (!IsSame(now, status)) {
        throw clXInput("the file was changed while it was read");
    }
}

bool clFileStream::IsAt(const std::string &strFile) const noexcept
{
    struct stat now = {};
    return stat(strFile.c_str(), &now) == 0 && now.st_dev == status.st_dev &&
           now.st_ino == status.st_ino && IsSame(now, status);
}

void clFileStream::DropCache() noexcept
{
    sizeBuffered = 0;
    static_cast<void>(posix_fadvise(iFileH, 0, 0, POSIX_FADV_DONTNEED));
}

ssize_t clFileStream::ReadAt(void *pBuffer, size_t sizeBuffer)
{
    ssize_t lRead = 0;
    do {
        lRead = pread(iFileH, pBuffer, sizeBuffer, lPosition);
    } while (lRead < 0 && errno == EINTR);
    if (lRead < 0) {
        throw clXFileIO((std::string(strName.c_str()) + " cannot be read: pread()").c_str(), errno);
    }
    return lRead;
}
