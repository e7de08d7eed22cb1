// Decodes a DSDIFF file and prints the highest sample of each channel. docs/reference.md explains
// the marked pieces; a test runs the commands of docs/first-steps.txt.

//! [include]
#include "dsd/clDSDIFF.h"
#include "io/CreateStreamReader.h"
//! [include]

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iomanip>
#include <iostream>
#include <vector>

namespace
{

void DecodeFile(const char *cpName)
{
    //! [open]
    clDSDIFF file;
    file.SetDecompression(true);
    file.Open(CreateStreamReader(cpName));
    //! [open]

    //! [ask]
    const uint32_t uChannels = file.GetChannels();
    std::cout << uChannels << " channels, " << file.GetLength() << " samples each at "
              << file.GetSampleRate() << " Hz\n";
    //! [ask]

    //! [buffer]
    std::vector<double> aBlock(size_t{uChannels} * file.GetBlockSamples());
    //! [buffer]

    //! [use]
    std::vector<double> aPeaks(uChannels);
    uint64_t uTotal = 0;
    const auto use = [&](uint64_t uCount) {
        for (uint64_t i = 0; i < uCount; ++i) {
            double &dPeak = aPeaks[i % uChannels];
            dPeak = std::max(dPeak, std::abs(aBlock[i]));
        }
        uTotal += uCount;
    };
    //! [use]

    //! [read]
    while (const uint64_t uRead = file.Read(aBlock.data(), aBlock.size())) {
        use(uRead);
    }
    while (const uint64_t uLate = file.Flush(aBlock.data(), aBlock.size())) {
        use(uLate);
    }
    //! [read]

    std::cout << uTotal / uChannels << " decoded samples each at " << file.GetOutputRate()
              << " Hz, peaks" << std::fixed << std::setprecision(3);
    for (const double dPeak : aPeaks) {
        std::cout << ' ' << dPeak;
    }
    std::cout << '\n';
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: first_steps <file.dff>\n";
        return 1;
    }
    //! [catch]
    try {
        DecodeFile(argv[1]);
    } catch (const std::exception &caught) {
        std::cerr << "first_steps: " << caught.what() << '\n';
        return 1;
    }
    //! [catch]
    return 0;
}
