#pragma once

#include "dsd/clDSD.h"
#include "fuzz/Target.h"
#include "id3/clID3tag.h"
#include "tests/support/MemoryStream.h"

#include <algorithm>
#include <cstring>

// Operations that several targets share.

/** Reads every byte, so that a sanitizer reports an invalid one. */
inline void Touch(const void *pBytes, uint64_t uSize)
{
    volatile uint8_t uSum = 0;
    for (uint64_t i = 0; i < uSize; ++i) {
        uSum = static_cast<uint8_t>(uSum + static_cast<const uint8_t *>(pBytes)[i]);
    }
}

inline void CheckText(const clString &str)
{
    Check(std::strlen(str.c_str()) == str.sizeStr, "length and terminator disagree");
    Check(str.sizeStr < str.sizeAlloc, "no room for the terminator");
}

/** Calls every query of a tag. */
inline void UseTag(const clID3tag &tag)
{
    for (const clString &str :
         {tag.GetTitle(), tag.GetComposer(), tag.GetPerformer(), tag.GetAlbum()}) {
        CheckText(str);
    }
    tag.GetTrack();
    const char *cpMimeType = tag.GetPictureMimeType();
    Touch(cpMimeType, cpMimeType != nullptr ? std::strlen(cpMimeType) : 0);
    Touch(tag.GetPicture(), tag.GetPictureSize());
}

/** The sound of one pass, and whether it ended without an exception. */
struct sound_t {
    std::vector<uint8_t> bytes;
    bool bWhole = false;
};

/** Reads from the present position to the end, uSize bytes at a time. */
inline sound_t ReadSound(clDSD &file, uint64_t uSize)
{
    sound_t sound;
    std::vector<uint8_t> out(uSize);
    sound.bWhole = Try([&] {
        while (const uint64_t uRead = file.ReadRaw(out.data(), uSize)) {
            Check(uRead <= uSize, "read more than was asked for");
            // An incomplete last frame is counted and not delivered.
            const auto lSound = static_cast<ptrdiff_t>(uRead - uRead % file.GetChannels());
            sound.bytes.insert(sound.bytes.end(), out.begin(), out.begin() + lSound);
        }
    });
    return sound;
}

/** Decodes from the start to the end with both reads, and flushes. */
inline void DecodeSound(clDSD &file)
{
    constexpr uint64_t MOST = 1 << 15;

    const uint64_t uFrames = file.GetBlockSamples();
    const uint64_t uChannels = std::min(file.GetChannels(), 7U);
    if (uFrames > MOST) {
        return;
    }
    std::vector<double> samples(uFrames * 7);
    for (const bool b51 : {false, true}) {
        Try([&] {
            file.SeekSample(0);
            const uint64_t uSize = uFrames * (b51 ? 6 : uChannels);
            while (const uint64_t uRead = b51 ? file.Read_5_1(samples.data(), uSize)
                                              : file.Read(samples.data(), uSize)) {
                Check(uRead <= uSize, "decoded more than was asked for");
                Check(std::all_of(samples.begin(), samples.end(),
                                  [](double d) { return d > -4.0 && d < 4.0; }),
                      "no sample of one-bit sound is that loud");
            }
            Check(file.Flush(samples.data(), uSize) <= uSize, "flushed more than there is room");
        });
    }
}

/**
 * Opens a file twice, queries its figures, reads all of it with every read and seeks in it. The
 * last bytes of the input choose how it is opened and where the seeks go.
 *
 * @param uUnitOf the bytes that a read is a multiple of, for an open file
 * @param uMostSound bytes of sound for which an input can be large enough; 0: its size
 */
template <class F>
inline void UseFile(clDSD &file, clInput input, const F &uUnitOf, uint64_t uMostSound = 0)
{
    enum variant_t { REMOTE = 1, NO_SEEK = 2, SHORT = 4, NO_SIZE = 8, OPEN = 16, FAIL = 32 };
    constexpr uint64_t READ_SIZE = 1 << 14;
    constexpr uint64_t FRAMES = 1 << 12;

    const uint8_t uVariant = input.LastByte();
    const uint64_t uTarget = uint64_t{input.LastByte()} << input.LastByte() % 64;
    const std::vector<uint8_t> bytes = input.Bytes();
    sound_t firstSound;
    for (int iPass = 0; iPass < 2; ++iPass) {
        auto *const pStream = new MemoryStream(bytes);
        (uVariant & REMOTE) != 0 ? pStream->Remote() : pStream;
        (uVariant & NO_SEEK) != 0 ? pStream->NotSeekable() : pStream;
        (uVariant & SHORT) != 0 ? pStream->ShortReads(7) : pStream;
        (uVariant & NO_SIZE) != 0 ? pStream->ClaimSize(0) : pStream;
        if ((uVariant & FAIL) != 0) {
            pStream->FailAt<clXFileIO>(MemoryStream::CALL_READ, uVariant >> 5, "failed");
        }
        const bool bOpen = Try([&] {
            if (((uVariant & OPEN) != 0) == (iPass == 0)) {
                file.Open(pStream, 0, 1U + uVariant % 2, false, uTarget % 2 != 0, uTarget % 3 == 0);
            } else {
                file.OpenMeta(pStream);
            }
        });
        // Must work after a refused file as well.
        UseTag(*file.GetTag());
        const volatile uint64_t uFigures =
            file.GetBlockSamples() + file.GetOutputRate() + file.GetOutputSize() +
            file.GetDataSize() + file.GetLength() + file.GetPosition() + file.GetSampleRate();
        static_cast<void>(uFigures);
        Try([&] { file.IsCompressed(); });

        const uint64_t uUnit = uUnitOf(file);
        const uint64_t uSize = uUnit == 0 ? 0 : std::max(READ_SIZE / uUnit, uint64_t{1}) * uUnit;
        if (uSize > 16 * READ_SIZE) {
            continue;
        }
        const sound_t sound = ReadSound(file, uSize);
        Check(sound.bytes.size() <= std::max<uint64_t>(uMostSound, bytes.size()),
              "more sound than the file can hold");
        if (iPass == 0) {
            firstSound = sound;
        }
        const bool bSought = Try([&] { file.SeekSample(0); });
        if (bOpen && bSought && (uVariant & (REMOTE | SHORT | FAIL)) == 0) {
            const sound_t again = ReadSound(file, uUnit);
            Check(!sound.bWhole || !again.bWhole || sound.bytes == again.bytes,
                  "two passes deliver different sound");
        }

        Try([&] { file.SeekSample(0); });
        const uint64_t uUnitFrames =
            std::max(uUnit / std::max(file.GetChannels(), 1U), uint64_t{1});
        std::vector<uint8_t> frames(6 * uUnitFrames * (1 + FRAMES / uUnitFrames));
        Try([&] {
            while (const uint64_t uRead = file.ReadRaw_5_1(frames.data(), frames.size())) {
                Check(uRead <= frames.size() && uRead % 6 == 0, "no count of 5.1 frames");
            }
        });
        DecodeSound(file);
        Try([&] { file.SeekFrame(file.GetOutputLength() / 2); });
        Try([&] { file.SeekFrame(uTarget); });
        Try([&] { file.SeekSample(uTarget * uSize); });
        ReadSound(file, uUnit);
    }
}
