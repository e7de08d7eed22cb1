#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h> // for dev_t, ino_t

struct options_t;

/** One file to process. */
struct input_t {
    /** As it was named; below a folder, the name of the folder with the rest appended. A URL
     * without what is secret in it. */
    std::string strPath;

    /** The part of strPath below the named folder; empty when the file itself was named. */
    std::string strBelow;

    /** Why it cannot be processed; empty when no fault is known. */
    std::string strFault;

    std::string strURL; ///< as it was named, so never shown; empty for a file

    bool bFolder = false; ///< a named folder, or one below it; always with a fault

    // By stat() of an existing file; zeros for all others.
    uint64_t uSize = 0;
    dev_t device = 0;
    ino_t inode = 0;
};

/**
 * The files of the inputs of a command.
 *
 * Folders are expanded to all files below them with the wanted extension, sorted by path, without
 * following links to folders. Faults of an input or of a part of a folder become an input with a
 * fault, in its place among the others. Only folders are opened. Constant after the construction,
 * so threads may share it.
 */
class clInputs
{
public:
    enum extensions_t { DSDIFF_FILES, DSDIFF_AND_DSF_FILES };

    /** The INPUT arguments, then the names of --files-from.
     * @throws clXUsage when there is none, when the command takes two and there are not two, or
     * when the list cannot be read; clXStopped */
    static std::vector<std::string> ReadNames(const options_t &options);

    /** @throws clXStopped */
    clInputs(const std::vector<std::string> &aNames, extensions_t eExtensions);

    const std::vector<input_t> &GetFiles() const &noexcept { return aFiles; }
    /** The list would outlive its object. */
    void GetFiles() && = delete;

    /** Sum of the sizes of all files, for the progress; saturates at the limit of its type. */
    uint64_t GetTotalSize() const noexcept;

    uint64_t CountURLs() const noexcept; ///< their sizes are not known

    size_t GetNames() const noexcept { return sizeNames; } ///< as named

    bool HasFolder() const noexcept { return bAnyFolder; }

private:
    void AddFolder(const std::string &strFolder, extensions_t eExtensions);

    std::vector<input_t> aFiles;
    size_t sizeNames;
    bool bAnyFolder = false;
};
