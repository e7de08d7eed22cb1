// Prints the figures and the tag of a DSDIFF or DSF file: shows how to use either format through
// their common interface.

#include "base/clString.h"
#include "dsd/clDSF.h"
#include "examples/MakeReader.h"
#include "id3/clID3tag.h"
#include "io/CreateStreamReader.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <exception>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>

namespace
{

template <class T>
void PrintLine(const char *cpName, const T &value, const char *cpUnit = "")
{
    std::cout << std::left << std::setw(14) << cpName << value << cpUnit << "\n";
}

void PrintText(const char *cpName, const clString &strText)
{
    // Tags are untrusted; a control character could start a terminal command.
    std::string strClean = strText.c_str();
    std::ranges::replace_if(
        strClean, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    if (!strClean.empty()) {
        PrintLine(cpName, strClean);
    }
}

void ShowFile(const char *cpName)
{
    // A name is a path or a URL.
    std::unique_ptr<clStreamReader> spStream(CreateStreamReader(cpName));
    const std::unique_ptr<clDSD> spFile = MakeReader(*spStream);
    // OpenMeta reads the headers and the tag, and takes ownership of the stream.
    spFile->OpenMeta(spStream.release());

    const bool bDSF = dynamic_cast<const clDSF *>(spFile.get()) != nullptr;
    PrintLine("format", bDSF ? "DSF" : "DSDIFF");
    PrintLine("sound", spFile->IsCompressed() ? "compressed (DST)" : "DSD");
    PrintLine("rate", spFile->GetSampleRate(), " Hz");
    PrintLine("channels", spFile->GetChannels());
    PrintLine("length", spFile->GetLength(), " samples per channel");
    if (spFile->GetSampleRate() > 0) {
        const double dSamples = static_cast<double>(spFile->GetLength());
        PrintLine("duration", dSamples / spFile->GetSampleRate(), " s");
    }
    PrintLine("sound data", spFile->GetDataSize(), " bytes");
    PrintLine("block", spFile->GetBlockSize(), " bytes per channel");

    if (const clID3tag *pTag = spFile->GetTag()) {
        PrintText("title", pTag->GetTitle());
        // The composer, or the performer when the tag has no composer.
        PrintText("artist", pTag->GetComposer());
        PrintText("performer", pTag->GetPerformer());
        PrintText("album", pTag->GetAlbum());
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: show_file <file.dff | file.dsf>\n";
        return 1;
    }
    try {
        ShowFile(argv[1]);
        return 0;
    } catch (const std::exception &caught) {
        std::cerr << "show_file: " << caught.what() << "\n";
        return 1;
    }
}
