// Decodes a DSDIFF or DSF file to a WAV file: shows how to open either format for decoding and how
// to read its samples.

#include "dsd/clDSD.h"
#include "examples/MakeReader.h"
#include "examples/clWavFile.h"
#include "io/CreateStreamReader.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <vector>

namespace
{

void DecodeFile(const char *cpInput, const char *cpOutput)
{
    // A name is a path or a URL.
    std::unique_ptr<clStreamReader> spStream(CreateStreamReader(cpInput));
    const std::unique_ptr<clDSD> spFile = MakeReader(*spStream);

    // If a server announces the size, Open walks through the file and stays at its end.
    const bool bAtEnd = spStream->IsRemote() && spStream->GetSize() != 0;
    // One thread per channel decodes: this one in Read, and workers that Open starts and Close or
    // the destructor ends. Open takes ownership of the stream.
    constexpr bool DOUBLE_AMPLITUDE = false;
    constexpr bool WITHOUT_DELAY = true;
    spFile->Open(spStream.release(), 0, 0, DOUBLE_AMPLITUDE, WITHOUT_DELAY);
    if (bAtEnd) {
        spFile->SeekSample(0);
    }
    const uint32_t uChannels = spFile->GetChannels();
    if (uChannels == 0 || spFile->GetOutputRate() == 0) {
        throw std::runtime_error("the file does not say how to play it");
    }

    // Both formats accept reads of whole blocks. Sixteen are enough work to divide among workers.
    const uint64_t uBlock = std::max(spFile->GetBlockSamples(), 1U);
    std::vector<double> aSamples(16 * uBlock * uChannels);

    clWavFile file(cpOutput, spFile->GetOutputRate(), uChannels);
    while (const uint64_t uRead = spFile->Read(aSamples.data(), aSamples.size())) {
        file.Write(aSamples.data(), uRead);
    }
    file.Close();
    spFile->Close();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: decode_wav <file.dff | file.dsf> <outfile.wav>\n";
        return 1;
    }
    try {
        DecodeFile(argv[1], argv[2]);
        return 0;
    } catch (const std::exception &caught) {
        std::cerr << "decode_wav: " << caught.what() << "\n";
        return 1;
    }
}
