#include "kit/clSpoolFile.h"

#include "kit/clXInput.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace
{

std::string GetFolder()
{
    const char *cpFolder = std::getenv("TMPDIR");
    return cpFolder != nullptr && *cpFolder != '\0' ? cpFolder : "/tmp";
}

[[noreturn]] void ThrowSystemError(const char *cpWhat)
{
    throw clXInput(std::string("the download cannot be ") + cpWhat + " in the folder " +
                   GetFolder() + ": " + std::strerror(errno));
}

// Not every file system has files without a name.
int OpenNameless(const std::string &strFolder)
{
    const int iFileH = open(strFolder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (iFileH != -1 || (errno != EOPNOTSUPP && errno != EISDIR)) {
        return iFileH;
    }
    std::string strName = strFolder + "/.vantrel-kit.XXXXXX";
    const int iNamedH = mkostemp(strName.data(), O_CLOEXEC);
    if (iNamedH != -1) {
        unlink(strName.c_str());
    }
    return iNamedH;
}

} // namespace

clSpoolFile::clSpoolFile() : iFileH(OpenNameless(GetFolder()))
{
    if (iFileH == -1) {
        ThrowSystemError("kept");
    }
}

clSpoolFile::~clSpoolFile()
{
    close(iFileH);
}

void clSpoolFile::Append(const void *pBytes, size_t sizeBytes)
{
    const auto *cpBytes = static_cast<const char *>(pBytes);
    while (sizeBytes != 0) {
        const ssize_t lWritten = pwrite(iFileH, cpBytes, sizeBytes, static_cast<off_t>(uSize));
        if (lWritten < 0) {
            if (errno == EINTR) {
                continue;
            }
            ThrowSystemError("kept");
        }
        cpBytes += lWritten;
        sizeBytes -= static_cast<size_t>(lWritten);
        uSize += static_cast<uint64_t>(lWritten);
    }
}

size_t clSpoolFile::ReadAt(uint64_t uOffset, void *pBuffer, size_t sizeBuffer) const
{
    size_t sizeDone = 0;
    while (sizeDone < sizeBuffer) {
        const ssize_t lRead = pread(iFileH, static_cast<char *>(pBuffer) + sizeDone,
                                    sizeBuffer - sizeDone, static_cast<off_t>(uOffset + sizeDone));
        if (lRead == 0) {
            break;
        }
        if (lRead < 0) {
            if (errno == EINTR) {
                continue;
            }
            ThrowSystemError("read again");
        }
        sizeDone += static_cast<size_t>(lRead);
    }
    return sizeDone;
}
