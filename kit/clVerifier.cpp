#include "kit/clVerifier.h"

#include "dsd/Bytes.h"
#include "dsd/DSFLayout.h"
#include "kit/clDigest.h"
#include "kit/clFileStream.h"
#include "kit/clXInput.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

using namespace DSFLayout;

namespace
{

// Where the chunks begin, and where the sound does.
constexpr size_t FORMAT_AT = 28;
constexpr size_t DATA_AT = 80;
constexpr size_t HEADERS_SIZE = 92;
constexpr size_t TAG_PIECE = 64 << 10;

void Require(bool bEqual, const std::string &strDifference)
{
    if (!bEqual) {
        throw clXInput("verification failed: " + strDifference);
    }
}

} // namespace

void clVerifier::Verify(const std::string &strOutput, clSoundReader &sound,
                        const expected_t &expected, const progress_t &progress)
{
    try {
        auto pStream = std::make_unique<clFileStream>(strOutput);
        pStream->DropCache(); // so that it comes from the disk
        output.Open(std::move(pStream));
    } catch (const clXInput &caught) {
        WrapException<clXInput>("verification failed: the output ", caught);
    }
    Require(output.GetKind() == clInputFile::kind_t::DSF, "the output is no DSF file");
    for (const finding_t &finding : output.GetFindings()) {
        Require(finding.eSeverity == severity_t::HINT, finding.strText);
    }
    CompareHeaders(sound, expected);
    CompareTag(expected.tag);
    if (expected.strDigest.empty()) {
        CompareSound(sound, progress);
    } else {
        CompareDigest(sound, expected.strDigest, progress);
    }
}

// Every byte in front of the sound, and the size of the file.
void clVerifier::CompareHeaders(const clSoundReader &sound, const expected_t &expected)
{
    const uint64_t uFrames = sound.GetSamples() / 8;
    const uint64_t uGroups =
        uFrames / clSoundReader::UNIT_FRAMES + (uFrames % clSoundReader::UNIT_FRAMES != 0 ? 1 : 0);
    const uint64_t uData = uGroups * clSoundReader::UNIT_FRAMES * sound.GetChannels();
    const uint64_t uTag = expected.tag.size();
    const uint64_t uFileSize = HEADERS_SIZE + uData + uTag;

    uint8_t aHeaders[HEADERS_SIZE] = {};
    uint8_t *const pFormat = aHeaders + FORMAT_AT;
    std::memcpy(aHeaders, "DSD ", ID_SIZE);
    PutLE<uint64_t>(aHeaders + OFFSET_CHUNK_SIZE, FORMAT_AT);
    PutLE<uint64_t>(aHeaders + OFFSET_FILE_SIZE, uFileSize);
    PutLE<uint64_t>(aHeaders + OFFSET_META_POINTER, uTag == 0 ? 0 : HEADERS_SIZE + uData);
    std::memcpy(pFormat, "fmt ", ID_SIZE);
    PutLE<uint64_t>(pFormat + OFFSET_CHUNK_SIZE, DATA_AT - FORMAT_AT);
    PutLE<uint32_t>(pFormat + OFFSET_VERSION, 1);
    PutLE<uint32_t>(pFormat + OFFSET_CHANNEL_TYPE, expected.uType);
    PutLE<uint32_t>(pFormat + OFFSET_CHANNEL_NUM, sound.GetChannels());
    PutLE<uint32_t>(pFormat + OFFSET_SAMPLE_RATE, expected.uSampleRate);
    PutLE<uint32_t>(pFormat + OFFSET_BITS_PER_SAMPLE, 1);
    PutLE<uint64_t>(pFormat + OFFSET_SAMPLE_COUNT, sound.GetSamples());
    PutLE<uint32_t>(pFormat + OFFSET_BLOCK_SIZE, clSoundReader::UNIT_FRAMES);
    std::memcpy(aHeaders + DATA_AT, "data", ID_SIZE);
    PutLE<uint64_t>(aHeaders + DATA_AT + OFFSET_CHUNK_SIZE, HEADERS_SIZE - DATA_AT + uData);

    uint8_t aFound[HEADERS_SIZE] = {};
    clInputStream &stream = output.GetStream();
    stream.Seek(0);
    stream.ReadFully(aFound, sizeof(aFound));
    const auto at = std::mismatch(aHeaders, aHeaders + HEADERS_SIZE, aFound).first - aHeaders;
    Require(at == HEADERS_SIZE, "the header differs at byte " + std::to_string(at));
    Require(static_cast<uint64_t>(stream.GetSize()) == uFileSize, "the file size differs");
}

void clVerifier::CompareSound(clSoundReader &sound, const progress_t &progress)
{
    sound.Rewind();
    soundOutput.Open(output);
    const size_t sizeFrames = sound.GetReadFrames();
    const uint32_t uChannels = sound.GetChannels();
    const auto lSize = static_cast<int64_t>(sizeFrames * uChannels);
    auto *const pWritten = static_cast<uint8_t *>(allocWritten.SetSize(lSize));
    auto *const pSource = static_cast<uint8_t *>(allocSource.SetSize(lSize));
    uint64_t uDone = 0;
    while (const size_t sizeRead = sound.Read(pSource, sizeFrames)) {
        Require(soundOutput.Read(pWritten, sizeFrames) == sizeRead, "the sound is shorter");
        const size_t sizeBytes = sizeRead * uChannels;
        if (std::memcmp(pSource, pWritten, sizeBytes) != 0) {
            const auto at = std::mismatch(pSource, pSource + sizeBytes, pWritten).first - pSource;
            const uint64_t uFrame = uDone + static_cast<uint64_t>(at) / uChannels;
            Require(false, "the sound differs at sample " + std::to_string(uFrame * 8));
        }
        uDone += sizeRead;
        progress(sizeBytes);
    }
    soundOutput.Close();
}

void clVerifier::CompareDigest(const clSoundReader &sound, const std::string &strDigest,
                               const progress_t &progress)
{
    clDigest digest(clDigest::CHECKSUM);
    soundOutput.Open(output);
    soundOutput.SetDigest(&digest);
    const size_t sizeFrames = sound.GetReadFrames();
    const uint32_t uChannels = sound.GetChannels();
    auto *const pWritten =
        static_cast<uint8_t *>(allocWritten.SetSize(static_cast<int64_t>(sizeFrames * uChannels)));
    while (const size_t sizeRead = soundOutput.Read(pWritten, sizeFrames)) {
        progress(sizeRead * uChannels);
    }
    soundOutput.Close();
    Require(digest.Finish() == strDigest, "the sound differs");
}

void clVerifier::CompareTag(const std::vector<uint8_t> &tag)
{
    uint8_t aPiece[TAG_PIECE];
    clInputStream &stream = output.GetStream();
    stream.Seek(stream.GetSize() - static_cast<off_t>(tag.size()));
    for (size_t sizeDone = 0; sizeDone < tag.size();) {
        const size_t sizeNow = std::min(TAG_PIECE, tag.size() - sizeDone);
        Require(stream.ReadFully(aPiece, sizeNow) == sizeNow &&
                    std::memcmp(aPiece, &tag[sizeDone], sizeNow) == 0,
                "the tag differs");
        sizeDone += sizeNow;
    }
}
