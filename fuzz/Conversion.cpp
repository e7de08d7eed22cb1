// Runs the whole program on untrusted bytes and compares its output with a plain model.

#include "fuzz/Target.h"
#include "tests/support/DSFModel.h"

#include <algorithm>
#include <numeric>

#include <sys/mman.h>
#include <unistd.h>

int VantrelMain(int argc, char **argv);

namespace
{

// A file in memory that the program opens by its name.
class clMemoryFile
{
public:
    clMemoryFile() : iFileH(memfd_create("fuzz", 0)), strPath("/proc/self/fd/")
    {
        Check(iFileH >= 0, "no file in memory");
        strPath += std::to_string(iFileH);
    }

    void Write(const bytes_t &bytes) const
    {
        Check(ftruncate(iFileH, 0) == 0 && pwrite(iFileH, bytes.data(), bytes.size(), 0) ==
                                               static_cast<ssize_t>(bytes.size()),
              "file in memory not written");
    }

    bytes_t Read() const
    {
        bytes_t bytes(static_cast<size_t>(lseek(iFileH, 0, SEEK_END)));
        Check(pread(iFileH, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
              "file in memory not read");
        return bytes;
    }

    char *Path() { return strPath.data(); }

private:
    const int iFileH;
    std::string strPath;
};

// The content of a DSDIFF file that the program has accepted.
class clModel
{
public:
    explicit clModel(const bytes_t &bytes) : file(bytes)
    {
        // The form may announce any size.
        Walk(16, 12 + std::min<uint64_t>(Number(4, 8), file.size()), false);
    }

    // The sound with the channels in the order of the output.
    bytes_t Sound() const
    {
        const std::vector<size_t> places = Places();
        bytes_t sound;
        for (uint64_t i = uSound; i < file.size() && i - uSound < uSoundSize; ++i) {
            sound.push_back(file[i]);
        }
        sound.resize(sound.size() - sound.size() % ids.size());
        for (size_t i = 0; i < sound.size(); ++i) {
            sound[i - i % ids.size() + places[i % ids.size()]] = file[uSound + i];
        }
        return sound;
    }

    uint32_t uRate = 0;
    std::vector<std::string> ids;

private:
    // Bytes after the end of the file count as 0.
    std::string Id(uint64_t uPos, uint64_t uBytes = 4) const
    {
        std::string strId(uBytes, '\0');
        for (uint64_t i = 0; i < uBytes && uPos + i < file.size(); ++i) {
            strId[i] = static_cast<char>(file[uPos + i]);
        }
        return strId;
    }

    uint64_t Number(uint64_t uPos, uint64_t uBytes) const
    {
        uint64_t uValue = 0;
        for (const char c : Id(uPos, uBytes)) {
            uValue = uValue << 8 | static_cast<uint8_t>(c);
        }
        return uValue;
    }

    // Walks through the chunks of the form or of the properties. Returns the position after them.
    uint64_t Walk(uint64_t uPos, uint64_t uEnd, bool bProperty)
    {
        while (uPos < uEnd && uPos + 12 <= file.size()) {
            const std::string strId = Id(uPos);
            const uint64_t uSize = Number(uPos + 4, 8);
            const uint64_t uData = uPos + 12;
            uPos = uData + uSize;
            if (bProperty && strId == "FS  ") {
                uRate = static_cast<uint32_t>(Number(uData, 4));
            } else if (bProperty && strId == "CHNL") {
                ids.clear();
                for (uint64_t i = 0; i < Number(uData, 2); ++i) {
                    ids.push_back(Id(uData + 2 + 4 * i));
                }
            } else if (!bProperty && strId == "PROP") {
                uRate = 0;
                ids.clear();
                uPos = Walk(uData + 4, uPos, true);
            } else if (!bProperty && strId == "DSD ") {
                uSound = uData;
                uSoundSize = uSize;
            }
            // In a property chunk of odd size the last sub-chunk has no pad byte.
            if (uSize % 2 != 0 && (!bProperty || uPos < uEnd)) {
                ++uPos;
            }
        }
        return uPos;
    }

    std::vector<size_t> Places() const
    {
        // By the number of channels: the ids of each place.
        static const std::vector<std::vector<std::string>> table = {
            {},
            {},
            {"SLFT", "SRGT"},
            {"MLFT", "MRGT", "C   |LFE "},
            {"MLFT", "MRGT", "C   |LS  ", "LFE |RS  "},
            {"MLFT", "MRGT", "C   ", "LS  ", "RS  "},
            {"MLFT", "MRGT", "C   ", "LFE ", "LS  ", "RS  "}};
        std::vector<size_t> own(ids.size());
        std::iota(own.begin(), own.end(), size_t{0});
        std::vector<size_t> places = own;
        for (size_t i = 0; i < ids.size(); ++i) {
            for (size_t j = 0; j < table[ids.size()].size(); ++j) {
                if (table[ids.size()][j].find(ids[i]) != std::string::npos) {
                    places[i] = j;
                }
            }
        }
        // If two channels claim one place, all keep the order of the file.
        return std::is_permutation(places.begin(), places.end(), own.begin()) ? places : own;
    }

    const bytes_t &file;
    uint64_t uSound = 0;
    uint64_t uSoundSize = 0;
};

} // namespace

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    static clMemoryFile fileInput;
    static clMemoryFile fileOutput;
    static clMemoryFile fileTag;
    const bytes_t old(3, 'x');

    clInput input(pData, sizeData);
    const uint8_t uTagSize = input.LastByte();
    bytes_t tag;
    for (int i = 0; i < uTagSize % 128; ++i) {
        tag.push_back(input.LastByte());
    }
    const bytes_t file = input.Bytes();
    fileInput.Write(file);
    fileOutput.Write(old);
    fileTag.Write(tag);

    // Messages are checked and not shown.
    char *cpSaid = nullptr;
    size_t sizeSaid = 0;
    FILE *const pStderr = stderr;
    stderr = open_memstream(&cpSaid, &sizeSaid);
    char aName[] = "vantrel";
    char *apArgs[] = {aName, fileInput.Path(), fileOutput.Path(), fileTag.Path(), nullptr};
    const int iStatus = VantrelMain(uTagSize < 128 ? 3 : 4, apArgs);
    std::fclose(stderr);
    stderr = pStderr;
    const std::string strSaid(cpSaid, sizeSaid);
    std::free(cpSaid);

    const bytes_t output = fileOutput.Read();
    Check(fileInput.Read() == file && fileTag.Read() == tag, "an input was written to");
    Check(strSaid.rfind("Vantrel", 0) == 0, "no banner");
    switch (iStatus) {
    case 0: {
        const clModel model(file);
        const uint32_t uRate = model.uRate == 0 ? 2822400 : model.uRate;
        Check(output == ExpectedDSF(model.Sound(), static_cast<uint32_t>(model.ids.size()), uRate,
                                    uTagSize < 128 ? nullptr : &tag),
              "the output is not what the input says");
        break;
    }
    case 1:
        Check(strSaid.find("\nerror: ") != std::string::npos ||
                  strSaid.find("\nexception: ") != std::string::npos,
              "failed without a word");
        // Refused before the output was changed, or left with the provisional header.
        Check(output == old || output.size() < 28 ||
                  std::all_of(output.begin() + 12, output.begin() + 28,
                              [](uint8_t uByte) { return uByte == 0; }),
              "a failed run left a file that looks finished");
        break;
    default:
        Check(iStatus == 2 && output == old, "neither a known status nor compressed");
    }
}
