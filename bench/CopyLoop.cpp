// Copies a file by read(2) and write(2) and does nothing else: copy_loop <source> <target>
// What a conversion costs beyond that is this project's own.

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fputs("usage: copy_loop <source> <target>\n", stderr);
        return EXIT_FAILURE;
    }
    const int iSource = open(argv[1], O_RDONLY);
    const int iTarget = open(argv[2], O_WRONLY | O_CREAT | O_TRUNC, 0666);
    // As many bytes at a time as the program moves of two channels.
    std::vector<char> aBuffer(512 * 1024);
    ssize_t lRead;
    while ((lRead = read(iSource, aBuffer.data(), aBuffer.size())) > 0) {
        if (write(iTarget, aBuffer.data(), static_cast<size_t>(lRead)) != lRead) {
            std::perror("copy_loop: write()");
            return EXIT_FAILURE;
        }
    }
    if (lRead < 0 || close(iTarget) != 0) {
        std::perror("copy_loop");
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
