#pragma once

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include <stdlib.h> // for mkdtemp()
#include <unistd.h> // for access()

/**
 * A new folder in the system's temporary folder or another one; the destructor removes it with its
 * content. Failures throw, so that a test cannot pass on files that were never written.
 */
class TempFolder
{
public:
    explicit TempFolder(
        const std::filesystem::path &parent = std::filesystem::temp_directory_path())
    {
        strFolder = (parent / "vantrel-XXXXXX").string();
        if (mkdtemp(strFolder.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        }
    }

    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;

    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(strFolder, ignored);
    }

    /** In memory if possible, for tests that flush very often. */
    static std::filesystem::path InMemory()
    {
        return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path();
    }

    std::string Path(const std::string &strName) const { return strFolder + '/' + strName; }

    /** Makes or replaces a file and returns its path. */
    std::string Write(const std::string &strName, const std::vector<uint8_t> &content) const
    {
        std::ofstream stream(Path(strName), std::ios::binary);
        stream.exceptions(std::ios::failbit | std::ios::badbit);
        stream.write(reinterpret_cast<const char *>(content.data()),
                     static_cast<std::streamsize>(content.size()));
        stream.close();
        return Path(strName);
    }

    std::vector<uint8_t> Read(const std::string &strName) const
    {
        std::ifstream stream(Path(strName), std::ios::binary);
        stream.exceptions(std::ios::failbit | std::ios::badbit);
        std::vector<uint8_t> content(std::filesystem::file_size(Path(strName)));
        stream.read(reinterpret_cast<char *>(content.data()),
                    static_cast<std::streamsize>(content.size()));
        return content;
    }

private:
    std::string strFolder;
};
