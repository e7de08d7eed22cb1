#pragma once

#include "dsd/clDSD.h"
#include "id3/clID3tag.h"
#include "tests/support/MemoryStream.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

// What the targets do with what they were given. Foreign bytes may make it throw, nothing else.

/** Runs one use and lets it throw what the library throws. */
template <class F>
inline void Try(const F &use)
{
    try {
        use();
    } catch (const clException &) {
    } catch (const std::runtime_error &) {
    }
}

/** Asks a tag everything it can be asked. */
inline void UseTag(const clID3tag &tag)
{
    tag.GetTitle();
    tag.GetComposer();
    tag.GetPerformer();
    tag.GetAlbum();
    tag.GetTrack();
    tag.GetPictureMimeType();
    // Every byte of the picture, so that a sanitizer sees one that is not there.
    const auto *cpPicture = static_cast<const uint8_t *>(tag.GetPicture());
    volatile uint8_t uSum = 0;
    for (uint64_t i = 0; i < tag.GetPictureSize(); ++i) {
        uSum = static_cast<uint8_t>(uSum + cpPicture[i]);
    }
}

/** Opens a file, asks for its figures, reads all of it both ways and seeks in it. */
inline void UseFile(clDSD &file, const uint8_t *pData, size_t sizeData, uint64_t uUnit)
{
    constexpr uint64_t MAX_READ = 1 << 20;

    Try([&] {
        file.OpenMeta(new MemoryStream({pData, pData + sizeData}));
        UseTag(*file.GetTag());
        const uint64_t uFigures = file.GetBlockSamples() + file.GetBlockSize() +
                                  file.GetOutputRate() + file.GetOutputSize() +
                                  file.GetOutputLength() + file.GetDataSize() + file.GetLength();
        static_cast<void>(uFigures);
        if (uUnit == 0) {
            uUnit = uint64_t{file.GetBlockSize()} * file.GetChannels();
        }
        const uint64_t uSize =
            uUnit * file.GetChannels() <= MAX_READ ? uUnit * file.GetChannels() : 0;
        std::vector<uint8_t> out(uSize);
        Try([&] {
            while (uSize != 0 && file.ReadRaw(out.data(), uSize) != 0) {
            }
        });
        Try([&] { file.SeekSample(0); });
        out.resize(6 * MAX_READ / 16);
        Try([&] {
            while (file.ReadRaw_5_1(out.data(), out.size()) != 0) {
            }
        });
        Try([&] { file.SeekFrame(file.GetOutputLength() / 2); });
        Try([&] { file.IsCompressed(); });
    });
}
