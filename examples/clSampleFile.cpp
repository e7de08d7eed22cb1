#include "examples/clSampleFile.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

clSampleFile::clSampleFile(const std::string &strFileName, const sample_format &format)
    : strName(strFileName),
      file(strFileName, std::ios::binary | std::ios::trunc),
      uSoundSize(format.uFrames * format.uChannels)
{
    Check();
    const std::string strForm = SampleStart(format) + ChunkHeader("DSD ", uSoundSize);
    const uint64_t uPad = uSoundSize % 2;
    file << ChunkHeader("FRM8", strForm.size() + uSoundSize + uPad) << strForm;
    Check();
}

void clSampleFile::Write(const std::vector<uint8_t> &aFrames)
{
    file.write(reinterpret_cast<const char *>(aFrames.data()),
               static_cast<std::streamsize>(aFrames.size()));
    Check();
    uWritten += aFrames.size();
}

void clSampleFile::Close()
{
    if (uWritten != uSoundSize) {
        throw std::logic_error("clSampleFile::Close(): BUG: sound differs from announced length");
    }
    if (uSoundSize % 2 != 0) {
        file.put('\0');
    }
    file.close();
    Check();
}

void clSampleFile::Check()
{
    if (!file) {
        throw std::system_error(errno, std::generic_category(), strName);
    }
}
