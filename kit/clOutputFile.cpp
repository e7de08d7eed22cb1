#include "kit/clOutputFile.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr size_t LONGEST_NAME = 255; // NAME_MAX
constexpr char PART[] = ".part";
constexpr size_t RANDOM_SIZE = 6;
constexpr int TRIES = 100;
constexpr mode_t FILE_MODE = 0666;
constexpr mode_t FOLDER_MODE = 0777;

[[noreturn]] void ThrowSystemError(const std::string &strWhat, int iError)
{
    throw clXOutput(strWhat + ": " + std::strerror(iError));
}

bool IsFolder(const std::string &strPath)
{
    struct stat statPath = {};
    return stat(strPath.c_str(), &statPath) == 0 && S_ISDIR(statPath.st_mode);
}

// Looks at what has the name of an output, without following a link. False when nothing has it.
bool LookAt(const std::string &strOutput, struct stat &statOutput)
{
    if (lstat(strOutput.c_str(), &statOutput) == 0) {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        ThrowSystemError("the output " + strOutput + " cannot be written", errno);
    }
    return false;
}

std::string MakeRandomText()
{
    constexpr char LETTERS[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    // Making a device asks the processor what it can do, which a virtual machine answers slowly.
    thread_local std::minstd_rand device{std::random_device{}()};
    std::uniform_int_distribution<size_t> distribution(0, sizeof(LETTERS) - 2);
    std::string strText;
    while (strText.size() < RANDOM_SIZE) {
        strText += LETTERS[distribution(device)];
    }
    return strText;
}

// The name without its last bytes, cut between two characters.
std::string CutName(const std::string &strName, size_t sizeMost)
{
    size_t sizeEnd = std::min(strName.size(), sizeMost);
    while (sizeEnd < strName.size() && sizeEnd > 0 && (strName[sizeEnd] & 0xC0) == 0x80) {
        --sizeEnd;
    }
    return strName.substr(0, sizeEnd);
}

bool IsUnsupported(int iError)
{
    return iError == EINVAL || iError == ENOSYS || iError == EOPNOTSUPP || iError == EPERM;
}

/** An empty file that holds a name until the rename; only itself is ever removed. */
class clPlaceholder
{
public:
    explicit clPlaceholder(const std::string &strName) : strPath(strName)
    {
        const int iFileH =
            open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE);
        if (iFileH == -1) {
            if (errno == EEXIST) {
                throw clXOutputExists(clOutputFile::GetTakenReason(strPath));
            }
            ThrowSystemError("the output cannot be created", errno);
        }
        const int iStatus = fstat(iFileH, &statOwn);
        const int iError = errno;
        close(iFileH);
        if (iStatus != 0) {
            // The destructor will not run; that the file is its own, this call has just seen to.
            unlink(strPath.c_str());
            ThrowSystemError("the output cannot be looked at", iError);
        }
    }
    clPlaceholder(const clPlaceholder &) = delete;
    clPlaceholder &operator=(const clPlaceholder &) = delete;
    ~clPlaceholder()
    {
        if (IsThere()) {
            unlink(strPath.c_str());
        }
    }

    bool IsThere() const
    {
        struct stat statNow = {};
        return lstat(strPath.c_str(), &statNow) == 0 && statNow.st_dev == statOwn.st_dev &&
               statNow.st_ino == statOwn.st_ino && statNow.st_size == 0;
    }

private:
    const std::string strPath;
    struct stat statOwn = {};
};

} // namespace

clOutputFile::clOutputFile(const std::string &strOutput, bool bReplace)
    : strPath(strOutput),
      strFolder(strOutput.substr(0, strOutput.rfind('/') + 1))
{
    if (strFolder.size() == strPath.size()) {
        throw clXOutput("the output has no name");
    }
    aSyncFolders.push_back(strFolder.empty() ? "." : strFolder);
    CheckName(bReplace);
    int iError = CreateTemporary();
    // Most files go to a folder that exists: it is not looked for until it is missed.
    if (iError == ENOENT || iError == ENOTDIR) {
        CreateFolders();
        CheckName(bReplace);
        iError = CreateTemporary();
    }
    if (iError != 0) {
        ThrowSystemError("no file can be created in the folder of the output", iError);
    }
}

clOutputFile::~clOutputFile()
{
    if (iFileH != -1) {
        close(iFileH);
    }
    if (bTemporary) {
        unlink(strTemporary.c_str());
    }
}

void clOutputFile::SetTime(const struct timespec &timeModified)
{
    struct timespec aTimes[2] = {};
    aTimes[0].tv_nsec = UTIME_OMIT;
    aTimes[1] = timeModified;
    if (futimens(iFileH, aTimes) != 0) {
        ThrowSystemError("the time of the output cannot be set", errno);
    }
}

void clOutputFile::Sync()
{
    if (fsync(iFileH) != 0) {
        ThrowSystemError("the output cannot be flushed to the disk", errno);
    }
}

void clOutputFile::Commit(bool bReplace)
{
    const int iClosing = iFileH;
    iFileH = -1;
    // Interrupted or not, the descriptor is gone afterwards.
    if (close(iClosing) != 0 && errno != EINTR) {
        ThrowSystemError("the output cannot be closed", errno);
    }
    if (!bReplace) {
        MoveWithoutReplacing();
    } else if (rename(strTemporary.c_str(), strPath.c_str()) != 0) {
        ThrowSystemError("the output cannot be moved into place", errno);
    }
    bTemporary = false;
    SyncFolders();
}

bool clOutputFile::IsTaken(const std::string &strOutput)
{
    struct stat statOutput = {};
    return LookAt(strOutput, statOutput);
}

std::string clOutputFile::GetTakenReason(const std::string &strOutput)
{
    return "the output " + strOutput +
           " exists; --force replaces it, --skip-existing leaves it and skips the input";
}

// A name that the folder cannot hold, and one that is taken, are found now and not after the work.
void clOutputFile::CheckName(bool bReplace) const
{
    struct stat statOutput = {};
    if (!LookAt(strPath, statOutput)) {
        return;
    }
    if (!bReplace) {
        throw clXOutputExists(GetTakenReason(strPath));
    }
    if (S_ISDIR(statOutput.st_mode) || (S_ISLNK(statOutput.st_mode) && IsFolder(strPath))) {
        throw clXOutput("the output " + strPath + " is a folder");
    }
}

void clOutputFile::CreateFolders()
{
    size_t sizeParent = 0;
    for (size_t sizeEnd = strFolder.find('/', 1); sizeEnd != std::string::npos;
         sizeEnd = strFolder.find('/', sizeEnd + 1)) {
        const std::string strEach = strFolder.substr(0, sizeEnd);
        if (!IsFolder(strEach)) {
            // Another job may create the same folder at this moment.
            if (mkdir(strEach.c_str(), FOLDER_MODE) == 0) {
                aSyncFolders.push_back(sizeParent == 0 ? "." : strFolder.substr(0, sizeParent));
            } else if (const int iError = errno; iError != EEXIST || !IsFolder(strEach)) {
                ThrowSystemError("the folder " + strEach + " cannot be created",
                                 iError == EEXIST ? ENOTDIR : iError);
            }
        }
        sizeParent = sizeEnd + 1;
    }
}

// Returns the error of the system, 0 for none.
int clOutputFile::CreateTemporary()
{
    const std::string strName = strPath.substr(strFolder.size());
    size_t sizeName = LONGEST_NAME - std::strlen("..") - RANDOM_SIZE - std::strlen(PART);
    int iError = EEXIST;
    for (int i = 0; i < TRIES && iError == EEXIST; ++i) {
        strTemporary = strFolder + "." + CutName(strName, sizeName) + "." + MakeRandomText() + PART;
        iFileH = open(strTemporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      FILE_MODE);
        if (iFileH != -1) {
            bTemporary = true;
            return 0;
        }
        iError = errno;
        // Some file systems, and the whole path, allow less than the longest name.
        if (iError == ENAMETOOLONG && sizeName != 0) {
            sizeName = 0;
            iError = EEXIST;
        }
    }
    return iError;
}

void clOutputFile::MoveWithoutReplacing()
{
    if (renameat2(AT_FDCWD, strTemporary.c_str(), AT_FDCWD, strPath.c_str(), RENAME_NOREPLACE) ==
        0) {
        return;
    }
    if (errno == EEXIST) {
        throw clXOutputExists(GetTakenReason(strPath));
    }
    if (!IsUnsupported(errno)) {
        ThrowSystemError("the output cannot be moved into place", errno);
    }
    if (link(strTemporary.c_str(), strPath.c_str()) == 0) {
        if (unlink(strTemporary.c_str()) != 0) {
            ThrowSystemError("the output is in place, but " + strTemporary + " cannot be removed",
                             errno);
        }
        return;
    }
    if (errno == EEXIST) {
        throw clXOutputExists(GetTakenReason(strPath));
    }
    if (!IsUnsupported(errno)) {
        ThrowSystemError("the output cannot be moved into place", errno);
    }
    // What someone else puts in place of the empty file in between is respected as far as can be
    // seen; between the look and the rename nothing helps on such a file system.
    const clPlaceholder placeholder(strPath);
    if (!placeholder.IsThere()) {
        throw clXOutputExists(GetTakenReason(strPath));
    }
    if (rename(strTemporary.c_str(), strPath.c_str()) != 0) {
        ThrowSystemError("the output cannot be moved into place", errno);
    }
}

void clOutputFile::SyncFolders()
{
    for (const std::string &strEach : aSyncFolders) {
        const int iFolder = open(strEach.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (iFolder == -1) {
            // A folder that may be written but not read cannot be flushed.
            if (errno == EACCES) {
                continue;
            }
            ThrowSystemError("the output is in place, but its folder cannot be opened to flush it",
                             errno);
        }
        const int iStatus = fsync(iFolder);
        const int iError = errno;
        close(iFolder);
        // Not every file system flushes folders.
        if (iStatus != 0 && iError != EINVAL) {
            ThrowSystemError("the output is in place, but its folder cannot be flushed", iError);
        }
    }
}
