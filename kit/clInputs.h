#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h> // for dev_t, ino_t

struct options_t;

/** One file to process. */
struct input_t {
    /** As it was named; below a folder, the name of the folder with the rest appended. */
    std::string strPath;

    /** The part of strPath below the folder that was named; empty when the file itself was. */
    std::string strBelow;

    /** Why it cannot be processed; empty when nothing is known to be wrong. */
    std::string strFault;

    bool bURL = false;

    /** The folder that was named, or one below it; always with a fault. */
    bool bFolder = false;

    // What stat() says of an existing file; zeros for all others.
    uint64_t uSize = 0;
    dev_t device = 0;
    ino_t inode = 0;
};

/**
 * The files that the inputs of a command stand for.
 *
 * Folders are expanded: all files below them with the wanted extension, sorted by path, without
 * following links to folders. Whatever is wrong with an input or a part of a folder is kept as an
 * input with a fault, in its place among the others. Nothing is opened but folders. Constant after
 * the construction, so threads may share it.
 */
class clInputs
{
public:
    enum extensions_t { DSDIFF_FILES, DSDIFF_AND_DSF_FILES };

    /**
     * The INPUT arguments and then what --files-from names.
     *
     * @throws clXUsage when there is none, when there are not two where the command takes two, or
     * when the list cannot be read; clXStopped
     */
    static std::vector<std::string> ReadNames(const options_t &options);

    /** @throws clXStopped */
    clInputs(const std::vector<std::string> &aNames, extensions_t eExtensions);

    const std::vector<input_t> &GetFiles() const &noexcept { return aFiles; }
    /** A list of an object that is gone at the end of the line. */
    void GetFiles() && = delete;

    /** Sum of the sizes of all files, for the progress; at the limit of its type it stays there. */
    uint64_t GetTotalSize() const noexcept;

    /** How many inputs were named. */
    size_t GetNames() const noexcept { return sizeNames; }

    /** Whether one of the inputs is a folder. */
    bool HasFolder() const noexcept { return bAnyFolder; }

    /** Whether a name begins with http:// or https://, in any case of letters. */
    static bool IsURL(const std::string &strName);

private:
    void AddFolder(const std::string &strFolder, extensions_t eExtensions);

    std::vector<input_t> aFiles;
    size_t sizeNames;
    bool bAnyFolder = false;
};
