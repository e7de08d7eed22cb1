#include "base/StandardDescriptors.h"
#include "base/clAlloc.h"
#include "base/clException.h"
#include "decode/Signal.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "io/CreateStreamReader.h"
#include "io/clFileIO.h"
#include "io/clStreamReaderFile.h"
#include "tool/clProgress.h"

#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

#include <sys/stat.h>

namespace
{

constexpr char BANNER[] = "Vantrel v" VANTREL_VERSION "\n"
                          "Converts DSDIFF files into DSF files, bit for bit.\n";

constexpr int EXIT_COMPRESSED = 2;

// Blocks of each channel that one turn of the loop moves.
constexpr uint32_t BLOCKS_PER_TURN = 64;

// Returns false when the path leads to nothing that could be opened. Any other failure throws: it
// leaves open whether the output would replace the input.
bool StatIfReachable(const char *cpPath, struct stat &statFile)
{
    if (stat(cpPath, &statFile) == 0) {
        return true;
    }
    switch (errno) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case ELOOP:
    case ENAMETOOLONG:
        return false;
    default:
        throw clXFileIO("main(): stat()", errno);
    }
}

// Whether two paths lead to the same file, through any folders and links.
bool IsSameFile(const char *cpPathA, const char *cpPathB)
{
    struct stat statA = {};
    struct stat statB = {};
    return StatIfReachable(cpPathA, statA) && StatIfReachable(cpPathB, statB) &&
           statA.st_dev == statB.st_dev && statA.st_ino == statB.st_ino;
}

// Whether a file exists whose size does not say how much can be read from it. The null device is
// accepted as an empty tag: its size of 0 is true.
bool IsSpecialFile(const char *cpPath)
{
    struct stat statFile = {};
    return StatIfReachable(cpPath, statFile) && !S_ISREG(statFile.st_mode) &&
           !S_ISDIR(statFile.st_mode) && !IsSameFile(cpPath, "/dev/null");
}

// Whether the tag would be read from the file that is written.
bool IsTagTheOutput(const char *cpTag, const char *cpOutput)
{
    return cpTag != nullptr && IsSameFile(cpTag, cpOutput);
}

constexpr char TAG_IS_OUTPUT[] = "tag file and output are the same file";

// Returns what is wrong with the names alone; null when they can be used.
const char *FindNameFault(const char *cpInput, const char *cpOutput, const char *cpTag)
{
    clString strInput(cpInput);
    if (IsSameFile(clStreamReaderFile::PathOf(strInput).c_str(), cpOutput)) {
        return "input and output are the same file";
    }
    if (IsTagTheOutput(cpTag, cpOutput)) {
        return TAG_IS_OUTPUT;
    }
    if (cpTag != nullptr && IsSpecialFile(cpTag)) {
        return "the tag file is no regular file";
    }
    return nullptr;
}

struct moved_t {
    uint64_t uBytes;   // read from the input
    uint64_t uSamples; // written, per channel
};

// Moves all sound data.
moved_t MoveSound(clDSDIFF &reader, clDSF &writer)
{
    const uint32_t uChannels = writer.GetChannels();
    const uint32_t uBufferSize = writer.GetBlockSize() * BLOCKS_PER_TURN * uChannels;
    clAlloc allocInput;
    void *const pInput = allocInput.SetSize(uBufferSize);

    clProgress progress(reader.GetDataSize());
    moved_t moved = {};
    uint64_t uRead;
    do {
        uRead = reader.ReadStored(pInput, uBufferSize);
        const uint64_t uFrames = uRead / uChannels;
        if (uFrames != 0) {
            writer.WriteFrames(pInput, uFrames, reader.GetChannelPlaces());
        }
        moved.uBytes += uRead;
        moved.uSamples += uFrames * 8;
        progress.Update(moved.uBytes);
    } while (uRead == uBufferSize);
    return moved;
}

void WarnOfShortSound(uint64_t uRead, uint64_t uAnnounced, uint32_t uChannels,
                      bool bSoundSkippedAtOpen)
{
    const uint64_t uRest = uRead % uChannels;
    if (uRead == uAnnounced && uRest == 0) {
        return;
    }
    std::fprintf(stderr, "warning: read %" PRIu64 " of %" PRIu64 " announced bytes of sound data",
                 uRead, uAnnounced);
    if (bSoundSkippedAtOpen) {
        std::fputs(
            ": the server announced a length; download the file first, and it converts whole",
            stderr);
    }
    if (uRest != 0) {
        std::fprintf(stderr, ", the last %" PRIu64 " of them no whole frame and left out", uRest);
    }
    std::fputs("\n", stderr);
}

// Appends the tag file unchanged. Returns false when it could not be read completely.
bool AppendTag(clDSF &writer, const char *cpTag)
{
    clFileIO fileTag;
    fileTag.Open(cpTag, clFileIO::ACCESS_READ, 0);
    const int64_t lSize = fileTag.Size();
    clAlloc allocTag;
    allocTag.SetSize(lSize);
    if (fileTag.Read(allocTag.GetPtr(), static_cast<size_t>(lSize)) != lSize) {
        return false;
    }
    writer.WriteMeta(allocTag.GetPtr(), static_cast<uint64_t>(lSize));
    return true;
}

int Fail(const char *cpText)
{
    std::fprintf(stderr, "error: %s\n", cpText);
    return EXIT_FAILURE;
}

// Refuses what cannot be converted, and warns of what can be taken in two ways. Returns the exit
// status of a refusal; EXIT_SUCCESS when the conversion can go on.
int CheckInput(clDSDIFF &reader)
{
    if (reader.IsCompressed()) {
        Fail("input file is compressed");
        return EXIT_COMPRESSED;
    }
    const uint32_t uChannels = reader.GetChannels();
    if (uChannels == 0 || uChannels > Signal::MAX_CHANNELS) {
        std::fprintf(stderr,
                     "error: input file has %" PRIu32 " channels, a DSF file takes 1 to 6\n",
                     uChannels);
        return EXIT_FAILURE;
    }
    // A file without sound data is refused here, before an existing output is truncated.
    reader.ReadRaw(nullptr, 0);
    if (reader.HasChannelConflict()) {
        std::fputs("warning: two channels claim the same place, "
                   "all channels stay in the order of the input file\n",
                   stderr);
    }
    return EXIT_SUCCESS;
}

int Convert(const char *cpInput, const char *cpOutput, const char *cpTag)
{
    const char *cpFault = FindNameFault(cpInput, cpOutput, cpTag);
    if (cpFault != nullptr) {
        return Fail(cpFault);
    }
    clDSDIFF reader;
    clDSF writer;
    std::unique_ptr<clStreamReader> pStream(CreateStreamReader(cpInput));
    // With a known size the reader reads a remote body to its end, looking for a trailing tag, so
    // that no sound is left.
    const bool bSoundSkippedAtOpen = pStream->IsRemote() && pStream->GetSize() != 0;
    reader.OpenMeta(pStream.release());
    const int iRefusal = CheckInput(reader);
    if (iRefusal != EXIT_SUCCESS) {
        return iRefusal;
    }

    const uint32_t uChannels = reader.GetChannels();
    writer.Create(cpOutput, reader.GetSampleRate(), uChannels);
    // A name that led to no file before may be that of the output now.
    if (IsTagTheOutput(cpTag, cpOutput)) {
        return Fail(TAG_IS_OUTPUT);
    }
    if (reader.GetSampleRate() == 0) {
        std::fprintf(stderr, "warning: input file names no sample rate, %" PRIu32 " Hz assumed\n",
                     writer.GetSampleRate());
    }
    const moved_t moved = MoveSound(reader, writer);
    WarnOfShortSound(moved.uBytes, reader.GetDataSize(), uChannels, bSoundSkippedAtOpen);
    reader.Close();
    if (cpTag != nullptr && !AppendTag(writer, cpTag)) {
        return Fail("the tag file could not be read whole");
    }
    writer.SetLength(moved.uSamples);
    writer.Close();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char **argv)
{
    if (!HoldStandardDescriptors()) {
        return EXIT_FAILURE;
    }
    // Ignored so that write() fails with EPIPE or EFBIG instead of a signal ending the process.
    // Before the banner: the reader of standard error may have gone already.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::fputs(BANNER, stderr);
    if (argc < 3) {
        std::fprintf(stderr, "%s <infile> <outfile> [tagfile]\n", argc > 0 ? argv[0] : "vantrel");
        return EXIT_FAILURE;
    }
    try {
        return Convert(argv[1], argv[2], argc > 3 ? argv[3] : nullptr);
    } catch (const std::exception &caught) {
        std::fprintf(stderr, "exception: %s\n", caught.what());
    } catch (...) {
        std::fputs("unknown exception\n", stderr);
    }
    return EXIT_FAILURE;
}
