// Decodes a whole file and prints the speed as a multiple of real time, by elapsed time and by
// processor time: decode_file <file> [workers]

#include "dsd/clDSD.h"
#include "examples/MakeReader.h"
#include "io/CreateStreamReader.h"
#include "io/clStreamReader.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iostream>
#include <vector>

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::cerr << "usage: decode_file <file> [workers]\n";
        return 1;
    }
    try {
        const auto uWorkers = static_cast<uint32_t>(argc > 2 ? std::atoi(argv[2]) : 0);
        std::unique_ptr<clStreamReader> spStream(CreateStreamReader(argv[1]));
        const std::unique_ptr<clDSD> spFile = MakeReader(*spStream);
        const auto start = std::chrono::steady_clock::now();
        spFile->Open(spStream.release(), 0, uWorkers);
        std::vector<double> aSamples(size_t{64} * spFile->GetBlockSamples() *
                                     spFile->GetChannels());
        uint64_t uSamples = 0;
        while (const uint64_t uRead = spFile->Read(aSamples.data(), aSamples.size())) {
            uSamples += uRead;
        }
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        const double dCpu = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
        const double dLength =
            static_cast<double>(uSamples) / spFile->GetChannels() / spFile->GetOutputRate();
        std::cout << dLength / seconds.count() << " times real time, " << dLength / dCpu
                  << " by processor time\n";
        return 0;
    } catch (const std::exception &caught) {
        std::cerr << "decode_file: " << caught.what() << "\n";
        return 1;
    }
}
