#include "kit/clInputs.h"

#include "kit/OpenRegularFile.h"
#include "kit/Printable.h"
#include "kit/clCommandLine.h"
#include "kit/clStopSignal.h"
#include "kit/clURL.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <strings.h> // for strncasecmp()
#include <unistd.h>

namespace
{

constexpr int SIGNAL_CHECK_MS = 200;

// Without waiting for the writer of a named pipe: WaitForBytes does that, and ends on a signal.
constexpr int OPEN_FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

bool EndsWithCase(const std::string &strName, std::string_view strEnd)
{
    return strName.size() >= strEnd.size() &&
           strncasecmp(strName.c_str() + strName.size() - strEnd.size(), strEnd.data(),
                       strEnd.size()) == 0;
}

bool IsWanted(const std::string &strName, clInputs::extensions_t eExtensions)
{
    return EndsWithCase(strName, ".dff") ||
           (eExtensions == clInputs::DSDIFF_AND_DSF_FILES && EndsWithCase(strName, ".dsf"));
}

void TakeStatus(input_t &input, const struct stat &statFile)
{
    input.strFault = FindTypeFault(statFile);
    input.device = statFile.st_dev;
    input.inode = statFile.st_ino;
    if (S_ISREG(statFile.st_mode)) {
        input.uSize = static_cast<uint64_t>(std::max<off_t>(statFile.st_size, 0));
    }
}

// Looks at what a path leads to. False when it is nothing that can be looked at; the fault is set.
bool StatInput(input_t &input, struct stat &statFile)
{
    if (stat(input.strPath.c_str(), &statFile) != 0) {
        input.strFault = std::strerror(errno);
        return false;
    }
    TakeStatus(input, statFile);
    return true;
}

[[noreturn]] void ThrowUnreadableList(const std::string &strFile, const std::string &strReason)
{
    throw clXUsage("the list " + Printable(strFile) + " cannot be read: " + strReason);
}

// Waits for bytes, so that a signal ends the wait for a list that someone is still writing.
void WaitForBytes(int iFileH)
{
    struct pollfd entry = {iFileH, POLLIN, 0};
    int iReady;
    do {
        clStopSignal::ThrowIfStopped();
        iReady = poll(&entry, 1, SIGNAL_CHECK_MS);
    } while (iReady == 0 || (iReady == -1 && errno == EINTR));
}

/** Owns the descriptor of a list, which is 0 or one that was opened for it. */
class clListFile
{
public:
    explicit clListFile(const std::string &strFile)
        : iFileH(strFile == "-" ? STDIN_FILENO : open(strFile.c_str(), OPEN_FLAGS))
    {
        if (iFileH == -1) {
            ThrowUnreadableList(strFile, std::strerror(errno));
        }
    }
    clListFile(const clListFile &) = delete;
    clListFile &operator=(const clListFile &) = delete;
    ~clListFile()
    {
        if (iFileH > STDERR_FILENO) {
            close(iFileH);
        }
    }

    const int iFileH;
};

void ReadList(const std::string &strFile, bool bNulSeparated, std::vector<std::string> &aNames)
{
    const clListFile list(strFile);
    const char cEnd = bNulSeparated ? '\0' : '\n';
    std::string strName;
    const auto endName = [&]() {
        // The system would take what is before it for the whole name.
        if (strName.find('\0') != std::string::npos) {
            ThrowUnreadableList(strFile, "a line has a NUL in it; for names that end with it: -0");
        }
        if (!strName.empty()) {
            aNames.push_back(strName);
        }
        strName.clear();
    };
    std::vector<char> buffer(65536);
    for (;;) {
        WaitForBytes(list.iFileH);
        const ssize_t lRead = read(list.iFileH, buffer.data(), buffer.size());
        if (lRead == 0) {
            break;
        }
        if (lRead < 0) {
            if (errno == EINTR || errno == EAGAIN) {
                continue;
            }
            ThrowUnreadableList(strFile, std::strerror(errno));
        }
        for (const char c : std::string_view(buffer.data(), static_cast<size_t>(lRead))) {
            if (c == cEnd) {
                endName();
            } else {
                strName += c;
            }
        }
    }
    endName();
}

struct closer_t {
    void operator()(DIR *pFolder) const { closedir(pFolder); }
};

/** All wanted files below a folder, and what is wrong there, in no order. */
class clFolderWalk
{
public:
    clFolderWalk(const std::string &strFolder, clInputs::extensions_t eWanted)
        : strRoot(strFolder.back() == '/' ? strFolder : strFolder + "/"),
          eExtensions(eWanted)
    {
        // A list of folders, as their depth has no limit that a call stack could rely on.
        for (aFolders.emplace_back(); !aFolders.empty();) {
            clStopSignal::ThrowIfStopped();
            const std::string strBelow = std::move(aFolders.back());
            aFolders.pop_back();
            ReadFolder(strBelow);
        }
    }

    std::vector<input_t> aFound;

private:
    // strBelow is empty or ends with a slash.
    void ReadFolder(const std::string &strBelow)
    {
        const std::string strPath = strRoot + strBelow;
        const std::unique_ptr<DIR, closer_t> pFolder(opendir(strPath.c_str()));
        if (!pFolder) {
            AddFaultyFolder(strBelow, "the folder cannot be read: ");
            return;
        }
        for (;;) {
            errno = 0;
            const struct dirent *pEntry = readdir(pFolder.get());
            if (pEntry == nullptr) {
                break;
            }
            AddEntry(dirfd(pFolder.get()), strBelow, *pEntry);
        }
        if (errno != 0) {
            AddFaultyFolder(strBelow, "the folder cannot be read to its end: ");
        }
    }

    void AddFaultyFolder(const std::string &strBelow, const char *cpWhat)
    {
        input_t input;
        input.strFault = cpWhat + std::string(std::strerror(errno));
        input.bFolder = true;
        input.strPath = strRoot + strBelow;
        if (input.strPath.size() > 1) {
            input.strPath.pop_back();
        }
        input.strBelow = strBelow.substr(0, strBelow.size() - (strBelow.empty() ? 0 : 1));
        aFound.push_back(std::move(input));
    }

    void AddEntry(int iFolder, const std::string &strBelow, const struct dirent &entry)
    {
        const std::string strName = entry.d_name;
        if (strName == "." || strName == "..") {
            return;
        }
        // Not every file system says what an entry is.
        struct stat statEntry = {};
        const bool bKnown = entry.d_type != DT_UNKNOWN;
        const bool bWanted = IsWanted(strName, eExtensions);
        if ((!bKnown || bWanted) &&
            fstatat(iFolder, entry.d_name, &statEntry, AT_SYMLINK_NOFOLLOW) != 0) {
            if (bWanted) {
                AddFile(strBelow + strName, nullptr);
            }
            return;
        }
        if (bKnown ? entry.d_type == DT_DIR : S_ISDIR(statEntry.st_mode)) {
            aFolders.push_back(strBelow + strName + "/");
            return;
        }
        if (!bWanted) {
            return;
        }
        if (S_ISLNK(statEntry.st_mode)) {
            if (fstatat(iFolder, entry.d_name, &statEntry, 0) != 0) {
                AddFile(strBelow + strName, nullptr);
                return;
            }
            if (S_ISDIR(statEntry.st_mode)) {
                return;
            }
        }
        AddFile(strBelow + strName, &statEntry);
    }

    // Without a status, errno says why there is none.
    void AddFile(const std::string &strBelow, const struct stat *pStatus)
    {
        input_t input;
        if (pStatus != nullptr) {
            TakeStatus(input, *pStatus);
        } else {
            input.strFault = std::strerror(errno);
        }
        input.strPath = strRoot + strBelow;
        input.strBelow = strBelow;
        aFound.push_back(std::move(input));
    }

    const std::string strRoot;
    const clInputs::extensions_t eExtensions;
    std::vector<std::string> aFolders;
};

} // namespace

std::vector<std::string> clInputs::ReadNames(const options_t &options)
{
    std::vector<std::string> aNames = options.aInputs;
    for (const std::string &strName : aNames) {
        if (strName.empty()) {
            throw clXUsage("an input has an empty name");
        }
    }
    if (options.strFilesFrom) {
        ReadList(*options.strFilesFrom, options.bNulSeparated, aNames);
    }
    const bool bTwo = (options.pCommand->uAccepts & command_t::TWO) != 0;
    if (bTwo && aNames.size() != 2) {
        throw clXUsage(std::string(options.pCommand->cpName) + " takes two inputs, not " +
                       std::to_string(aNames.size()));
    }
    if (aNames.empty()) {
        throw clXUsage("no input");
    }
    return aNames;
}

clInputs::clInputs(const std::vector<std::string> &aNames, extensions_t eExtensions)
    : sizeNames(aNames.size())
{
    for (const std::string &strName : aNames) {
        clStopSignal::ThrowIfStopped();
        input_t input;
        input.strPath = strName;
        struct stat statFile = {};
        if (clURL::IsURL(strName)) {
            input.strURL = strName;
            input.strPath = clURL(strName).strShown;
        } else if (StatInput(input, statFile) && S_ISDIR(statFile.st_mode)) {
            AddFolder(strName, eExtensions);
            continue;
        }
        aFiles.push_back(std::move(input));
    }
}

void clInputs::AddFolder(const std::string &strFolder, extensions_t eExtensions)
{
    bAnyFolder = true;
    clFolderWalk walk(strFolder, eExtensions);
    std::sort(walk.aFound.begin(), walk.aFound.end(),
              [](const input_t &a, const input_t &b) { return a.strPath < b.strPath; });
    if (walk.aFound.empty()) {
        input_t input;
        input.strPath = strFolder;
        input.strFault = eExtensions == DSDIFF_FILES ? "the folder has no .dff file"
                                                     : "the folder has no .dff or .dsf file";
        input.bFolder = true;
        walk.aFound.push_back(std::move(input));
    }
    std::move(walk.aFound.begin(), walk.aFound.end(), std::back_inserter(aFiles));
}

uint64_t clInputs::GetTotalSize() const noexcept
{
    uint64_t uTotal = 0;
    for (const input_t &input : aFiles) {
        uTotal += std::min(input.uSize, UINT64_MAX - uTotal);
    }
    return uTotal;
}

uint64_t clInputs::CountURLs() const noexcept
{
    return static_cast<uint64_t>(std::count_if(
        aFiles.begin(), aFiles.end(), [](const input_t &input) { return !input.strURL.empty(); }));
}
