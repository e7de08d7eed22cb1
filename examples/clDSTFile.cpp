#include "examples/clDSTFile.h"

#include "examples/DescribeDST.h"

#include <cerrno>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace
{

constexpr uint64_t HEADER_SIZE = 12; // of a chunk
constexpr uint8_t IDLE_PATTERN = 0x96;

} // namespace

bool clDSTFile::CanHold(uint32_t uSampleRate) noexcept
{
    return uSampleRate > 0 && uSampleRate % (8 * clDSTEncoder::FRAMES_PER_SECOND) == 0;
}

clDSTFile::clDSTFile(const std::string &strFileName, const sample_format &format)
    : encoder(format.uChannels, format.uSampleRate),
      strName(strFileName)
{
    const uint32_t uBytes = clDSTEncoder::BytesPerChannel(format.uSampleRate);
    uFrames = (format.uFrames + uBytes - 1) / uBytes;
    if (uFrames > std::numeric_limits<uint32_t>::max()) {
        throw std::invalid_argument("more sound than a compressed file can count");
    }
    file.open(strFileName, std::ios::binary | std::ios::trunc);
    Check();
    Put(ChunkHeader("FRM8", 0) + SampleStart(format));
    uContainer = uPosition;
    Put(ChunkHeader("DST ", 0));
    // Close() returns to both sizes; a pipe fails here already.
    file.seekp(static_cast<std::streamoff>(uPosition));
    Put(Chunk("FRTE", BigEndian(uFrames, 4) + BigEndian(clDSTEncoder::FRAMES_PER_SECOND, 2)));
}

void clDSTFile::Write(const std::vector<uint8_t> &aFrames)
{
    aPending.insert(aPending.end(), aFrames.begin(), aFrames.end());
    const size_t sizeSound = encoder.GetSoundSize();
    auto begin = aPending.begin();
    while (static_cast<size_t>(aPending.end() - begin) >= sizeSound) {
        const auto end = begin + static_cast<ptrdiff_t>(sizeSound);
        WriteFrame({begin, end});
        begin = end;
    }
    aPending.erase(aPending.begin(), begin);
}

void clDSTFile::Close()
{
    if (!aPending.empty()) {
        aPending.resize(encoder.GetSoundSize(), IDLE_PATTERN);
        WriteFrame(aPending);
        aPending.clear();
    }
    if (uWritten != uFrames) {
        throw std::logic_error("clDSTFile::Close(): BUG: sound differs from announced length");
    }
    const uint64_t uContainerEnd = uPosition;
    Put(Chunk("DSTI", strIndex));
    const uint64_t uEnd = uPosition;
    file.seekp(static_cast<std::streamoff>(uContainer));
    Put(ChunkHeader("DST ", uContainerEnd - uContainer - HEADER_SIZE));
    file.seekp(0);
    Put(ChunkHeader("FRM8", uEnd - HEADER_SIZE));
    file.close();
    Check();
}

void clDSTFile::WriteFrame(const std::vector<uint8_t> &aSound)
{
    const std::vector<uint8_t> aFrame = CompressDST(encoder, aSound);
    strIndex += BigEndian(uPosition + HEADER_SIZE, 8) + BigEndian(aFrame.size(), 4);
    Put(Chunk("DSTF", {aFrame.begin(), aFrame.end()}));
    Put(Chunk("DSTC", BigEndian(clDSTEncoder::CheckValue(aSound), 4)));
    uWritten++;
}

void clDSTFile::Put(const std::string &strBytes)
{
    file.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
    Check();
    uPosition += strBytes.size();
}

void clDSTFile::Check()
{
    if (!file) {
        throw std::system_error(errno, std::generic_category(), strName);
    }
}
