#include "kit/clVerifier.h"

#include "kit/clXInput.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr uint64_t HEADERS_SIZE = 92;
constexpr size_t TAG_PIECE = 64 << 10;

void Require(bool bEqual, const char *cpWhat)
{
    if (!bEqual) {
        throw clXInput(std::string("verification failed: ") + cpWhat);
    }
}

} // namespace

void clVerifier::Verify(const std::string &strOutput, clSoundReader &sound,
                        const expected_t &expected, const progress_t &progress)
{
    output.Open(strOutput, true);
    Require(output.GetKind() == clInputFile::kind_t::DSF, "the output is no DSF file");
    for (const finding_t &finding : output.GetFindings()) {
        Require(finding.eSeverity == severity_t::HINT, finding.strText.c_str());
    }
    CompareHeaders(sound, expected);
    CompareTag(expected.tag);
    CompareSound(sound, progress);
}

void clVerifier::CompareHeaders(const clSoundReader &sound, const expected_t &expected) const
{
    const clDSFInspector &found = output.GetDSF();
    const uint64_t uFrames = (sound.GetSamples() + 7) / 8;
    const uint64_t uGroups =
        (uFrames + clSoundReader::UNIT_FRAMES - 1) / clSoundReader::UNIT_FRAMES;
    const uint64_t uData = uGroups * clSoundReader::UNIT_FRAMES * sound.GetChannels();
    const uint64_t uTag = expected.tag.size();
    Require(found.uSampleRate == expected.uSampleRate, "the sample rate differs");
    Require(found.uChannels == sound.GetChannels(), "the number of channels differs");
    Require(found.uType == expected.uType, "the channel type differs");
    Require(found.uSamples == sound.GetSamples(), "the number of samples differs");
    Require(found.uBlockSize == clSoundReader::UNIT_FRAMES, "the block size differs");
    Require(found.uBitsPerSample == 1, "the order of bits differs");
    Require(found.data.uOffset == HEADERS_SIZE && found.data.uSize == uData,
            "the size of the sound data differs");
    Require(found.tag.uSize == uTag && (uTag == 0 || found.tag.uOffset == HEADERS_SIZE + uData),
            "the place of the tag differs");
    Require(found.uFileSize == HEADERS_SIZE + uData + uTag, "the file size differs");
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
            Require(false, ("the sound differs at sample " + std::to_string(uFrame * 8)).c_str());
        }
        uDone += sizeRead;
        progress(sizeBytes);
    }
    soundOutput.Close();
}

void clVerifier::CompareTag(const std::vector<uint8_t> &tag)
{
    uint8_t aPiece[TAG_PIECE];
    clFileStream &stream = output.GetStream();
    stream.Seek(static_cast<off_t>(output.GetDSF().tag.uOffset));
    for (size_t sizeDone = 0; sizeDone < tag.size();) {
        const size_t sizeNow = std::min(TAG_PIECE, tag.size() - sizeDone);
        Require(stream.ReadFully(aPiece, sizeNow) == sizeNow &&
                    std::memcmp(aPiece, &tag[sizeDone], sizeNow) == 0,
                "the tag differs");
        sizeDone += sizeNow;
    }
}
