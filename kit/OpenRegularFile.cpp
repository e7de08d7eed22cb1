#include "kit/OpenRegularFile.h"

#include "kit/clXInput.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h> // for close()

namespace
{

void ThrowIfNotRegular(const struct stat &statFile)
{
    const std::string strFault = FindTypeFault(statFile);
    if (!strFault.empty()) {
        throw clXInput(strFault);
    }
}

[[noreturn]] void ThrowSystemError(int iError)
{
    throw clXInput(std::string("cannot be opened: ") + std::strerror(iError));
}

} // namespace

std::string FindTypeFault(const struct stat &statFile)
{
    switch (statFile.st_mode & S_IFMT) {
    case S_IFREG:
        return "";
    case S_IFDIR:
        return "is a folder";
    case S_IFIFO:
        return "is a pipe, not a file";
    case S_IFSOCK:
        return "is a socket, not a file";
    default:
        return "is a device, not a file";
    }
}

int OpenRegularFile(const std::string &strPath, struct stat &statFile)
{
    if (stat(strPath.c_str(), &statFile) != 0) {
        ThrowSystemError(errno);
    }
    ThrowIfNotRegular(statFile);
    const int iFileH = open(strPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (iFileH == -1) {
        ThrowSystemError(errno);
    }
    try {
        if (fstat(iFileH, &statFile) != 0) {
            ThrowSystemError(errno);
        }
        ThrowIfNotRegular(statFile);
    } catch (...) {
        close(iFileH);
        throw;
    }
    return iFileH;
}
