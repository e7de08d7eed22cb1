// Replaces the fuzzing engine: runs a target on the given files and on the files of the given
// folders.

#include "fuzz/Target.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

int main(int argc, char **argv)
{
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            files.emplace_back(argv[i]);
            continue;
        }
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path &file : files) {
        std::ifstream stream(file, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        if (!stream) {
            std::fprintf(stderr, "cannot read %s\n", file.c_str());
            return 1;
        }
        std::fprintf(stderr, "%s\n", file.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s <files and folders>\n", argv[0]);
        return 1;
    }
    return 0;
}
