#pragma once

#include "base/clException.h"

#include <string>
#include <vector>

#include <time.h> // for timespec

/** An output cannot be written; the text is the reason for the user. */
class clXOutput : public clException
{
public:
    explicit clXOutput(const std::string &strReason) : clException(strReason.c_str()) {}
};

/** An output that must not be replaced exists. */
class clXOutputExists : public clXOutput
{
public:
    using clXOutput::clXOutput;
};

/**
 * A new file that appears under its name only when it is complete. Until Commit it has a temporary
 * name in the same folder, ".NAME.XXXXXX.part", under which the caller opens and writes it. The
 * destructor removes it unless it was committed. One thread at a time; objects for different
 * outputs are independent.
 */
class clOutputFile
{
public:
    /** Creates missing folders and the temporary file, with permissions 0666 less the umask.
     * Folders stay even when the file is given up. bReplace false refuses a name that exists;
     * Commit checks again. @throws clXOutputExists for such a name; clXOutput */
    explicit clOutputFile(const std::string &strOutput, bool bReplace = true);
    clOutputFile(const clOutputFile &) = delete;
    clOutputFile &operator=(const clOutputFile &) = delete;
    ~clOutputFile();

    const std::string &GetTemporaryPath() const noexcept { return strTemporary; }

    /** Sets the modification time; after the last write. @throws clXOutput */
    void SetTime(const struct timespec &timeModified);

    /** Waits until all that was written is on the disk. @throws clXOutput */
    void Sync();

    /** Gives the file its name in one step and waits until that is on the disk. Without bReplace
     * nothing is ever replaced, even if it appeared during this call. File systems without such a
     * rename and without hard links need an empty file under the name first, which the rename then
     * replaces; a crash in between leaves the empty file.
     * @throws clXOutputExists when the name exists and bReplace is not set; clXOutput otherwise,
     * also when the file has its name but the disk reports an error after that */
    void Commit(bool bReplace);

    /** Whether the name exists, also as a dangling link. @throws clXOutput */
    static bool IsTaken(const std::string &strOutput);

    /** The reason to give when IsTaken(); it names the options for this case. */
    static std::string GetTakenReason(const std::string &strOutput);

private:
    void CheckName(bool bReplace) const;
    void CreateFolders();
    int CreateTemporary();
    void MoveWithoutReplacing();
    void SyncFolders();

    const std::string strPath;
    std::string strFolder; // with its slash, empty for the current one
    std::string strTemporary;
    std::vector<std::string> aSyncFolders; // those with new entries
    int iFileH = -1;
    bool bTemporary = false; // the temporary name is to be removed
};
