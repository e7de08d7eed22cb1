#include "dsd/clDSTSound.h"

#include "base/clException.h"
#include "dsd/DSTCheck.h"
#include "dsd/clDSDIFF.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/EqualBytes.h"
#include "tests/support/ExpectThrow.h"

#include <random>

#include <gtest/gtest.h>

using B = DSDIFFBuilder;

namespace
{

// Frames of 64 bytes per channel, stored plain.
constexpr uint32_t RATE = 38400;
constexpr size_t CHANNEL_SIZE = 64;
constexpr uint32_t CHANNELS = 2;
constexpr size_t FRAME_SIZE = CHANNELS * CHANNEL_SIZE;

bytes_t Frame(const bytes_t &sound)
{
    return bytes_t{0} + sound;
}

bytes_t Info(size_t sizeFrames)
{
    return B::Chunk("FRTE", B::Number(sizeFrames, 4) + B::Number(75, 2));
}

bytes_t Check(uint32_t uValue)
{
    return B::Chunk("DSTC", B::Number(uValue, 4));
}

/** A number of frames with their sound. */
class DSTFile
{
public:
    explicit DSTFile(size_t sizeFrames) : sound(Pattern(sizeFrames * FRAME_SIZE))
    {
        for (size_t i = 0; i < sizeFrames; ++i) {
            frames.push_back(Frame(Part(sound, i * FRAME_SIZE, FRAME_SIZE)));
        }
    }

    /** Frames whose size is odd, so with pad bytes. */
    bytes_t Chunks() const { return B::DSTChunks(frames); }

    static bytes_t Build(const bytes_t &chunks, const bytes_t &after = {})
    {
        return B().Rate(RATE).CompressedSound(chunks).After(after).Build();
    }

    bytes_t sound;
    std::vector<bytes_t> frames;
};

std::unique_ptr<clDSDIFF> Opened(clStreamReader *pStream, uint32_t uWorkers = 1)
{
    auto pReader = std::make_unique<clDSDIFF>();
    pReader->SetDecompression(true, uWorkers);
    pReader->OpenMeta(pStream);
    return pReader;
}

std::unique_ptr<clDSDIFF> Opened(const bytes_t &file, uint32_t uWorkers = 1)
{
    return Opened(new MemoryStream(file), uWorkers);
}

bytes_t ReadAll(clDSDIFF &reader, size_t sizeMost = 1 << 20)
{
    bytes_t sound(sizeMost - sizeMost % CHANNELS);
    sound.resize(reader.ReadRaw(sound.data(), sound.size()));
    return sound;
}

samples_t ReadSomeWay(clDSDIFF &reader, unsigned uHow, size_t sizeFrames)
{
    bytes_t bytes(6 * sizeFrames);
    samples_t samples(6 * sizeFrames);
    const uint64_t uRead = uHow == 0   ? reader.ReadRaw(bytes.data(), CHANNELS * sizeFrames)
                           : uHow == 1 ? reader.ReadStored(bytes.data(), CHANNELS * sizeFrames)
                           : uHow == 2 ? reader.ReadRaw_5_1(bytes.data(), bytes.size())
                                       : reader.Read_5_1(samples.data(), samples.size());
    return Part(uHow < 3 ? samples_t(bytes.begin(), bytes.end()) : samples, 0, uRead);
}

/** Bits one by one, as the format describes it. */
uint32_t SlowCheck(const bytes_t &sound)
{
    uint32_t uValue = 0;
    for (size_t i = 0; i < 8 * sound.size(); ++i) {
        const bool bBit = (sound[i / 8] >> (7 - i % 8) & 1) != 0;
        const bool bTop = uValue >> 31 != 0;
        uValue = uValue << 1 ^ (bBit != bTop ? 0x80000011 : 0);
    }
    return uValue;
}

} // namespace

TEST(clDSTSound, DecompressesOnlyWhenAsked)
{
    const bytes_t file = DSTFile(2).Build(DSTFile(2).Chunks());
    clDSDIFF reader;
    EXPECT_THROW_MSG(reader.Open(new MemoryStream(file)), clXDSDIFF,
                     "clDSDIFF::Open(): unsupported compression");
    reader.SetDecompression(true);
    reader.Open(new MemoryStream(file));
    EXPECT_TRUE(reader.IsCompressed());
    EXPECT_EQ(2 * FRAME_SIZE, reader.GetDataSize());
    reader.SetDecompression(false);
    EXPECT_THROW_MSG(reader.Open(new MemoryStream(file)), clXDSDIFF,
                     "clDSDIFF::Open(): unsupported compression");
    // Plain sound in a file that says it is compressed is no sound.
    const auto pPlain = Opened(B().Compression("DST ").Build());
    EXPECT_EQ(0U, pPlain->GetDataSize());
    EXPECT_THROW_MSG(pPlain->ReadRaw(nullptr, 0), clXDSDIFF,
                     "clDSDIFFDataChunk::ReadRaw(): no data");
}

TEST(clDSTSound, EverythingIsAsWithPlainSound)
{
    const DSTFile file(100);
    const std::vector<std::string> ids = {"SRGT", "SLFT"};
    const bytes_t compressed = B().Rate(RATE).Channels(ids).CompressedSound(file.Chunks()).Build();
    const bytes_t plain = B().Rate(RATE).Channels(ids).Sound(file.sound).Build();
    for (const uint32_t uWorkers : {1U, 2U, 5U}) {
        SCOPED_TRACE(uWorkers);
        clDSDIFF aReaders[2];
        aReaders[0].SetDecompression(true, uWorkers);
        aReaders[0].Open(new MemoryStream(compressed));
        aReaders[1].Open(new MemoryStream(plain));
        EXPECT_EQ(aReaders[1].GetDataSize(), aReaders[0].GetDataSize());
        EXPECT_EQ(aReaders[1].GetLength(), aReaders[0].GetLength());
        EXPECT_EQ(aReaders[1].GetOutputLength(), aReaders[0].GetOutputLength());
        std::mt19937 random(uWorkers);
        for (int i = 0; i < 200; ++i) {
            SCOPED_TRACE(i);
            const uint64_t uFrame = random() % (aReaders[1].GetOutputLength() + 1);
            const size_t sizeFrames = random() % 500;
            const unsigned uHow = random() % 4;
            samples_t aRead[2];
            for (size_t k = 0; k < 2; ++k) {
                aReaders[k].SeekFrame(uFrame);
                aRead[k] = ReadSomeWay(aReaders[k], uHow, sizeFrames);
            }
            ASSERT_EQ(aRead[1], aRead[0]);
        }
    }
}

TEST(clDSTSound, TheIndexIsUsedOnlyWhereItLeadsToAFrame)
{
    constexpr size_t FRAMES = 40;
    const DSTFile file(FRAMES);
    const bytes_t chunks = file.Chunks();
    const bytes_t start = DSTFile::Build(chunks);
    // Where the data of frame i begin: the frames end the file.
    const auto offsetOf = [&](size_t i) {
        return start.size() - (FRAMES - i) * (12 + FRAME_SIZE + 2) + 12;
    };
    for (const int iHeader : {0, 12, 5}) {
        SCOPED_TRACE(iHeader);
        bytes_t index;
        for (size_t i = 0; i < FRAMES; ++i) {
            Append(index, B::Number(offsetOf(i) - static_cast<size_t>(iHeader), 8) +
                              B::Number(FRAME_SIZE + 1, 4));
        }
        // One entry that leads to another frame shows that the index was used.
        const size_t sizeWrong = offsetOf(3) - static_cast<size_t>(iHeader);
        std::copy_n(B::Number(sizeWrong, 8).begin(), 8, index.begin() + 12 * 30);
        const auto pReader = Opened(DSTFile::Build(chunks, B::Chunk("DSTI", index)));
        for (const size_t i : {size_t{39}, size_t{30}, size_t{17}, size_t{0}}) {
            pReader->SeekSample(i * FRAME_SIZE * 8 / 16);
            const bool bWrong = i == 30 && iHeader != 5;
            EXPECT_TRUE(EqualBytes(Part(file.sound, (bWrong ? 3 : i) * FRAME_SIZE, FRAME_SIZE),
                                   ReadAll(*pReader, FRAME_SIZE)))
                << i;
        }
    }
}

TEST(clDSTSound, WalksOverTheChunksOfTheSound)
{
    const DSTFile file(3);
    const bytes_t &sound = file.sound;
    const auto frame = [&](size_t i) { return B::Chunk("DSTF", file.frames[i]); };
    const bytes_t other = B::Chunk("ABCD", Pattern(5));
    const struct {
        bytes_t chunks;
        size_t sizeFrames;
    } aRows[] = {
        {Info(0), 0},
        {Info(3) + other + frame(0) + Check(1) + other + frame(1) + frame(2), 3},
        {Info(2) + frame(0) + frame(1) + frame(2), 2},
        {Info(UINT32_MAX) + frame(0) + frame(1) + frame(2), 3},
        {Info(3) + frame(0) + frame(1) + B::Chunk("DSTF", file.frames[2], 1000), 2},
        {Info(3) + frame(0) + B::HugeChunk("DSTF", file.frames[1], UINT64_MAX - 3) + frame(2), 1},
        {Info(3) + frame(0) + frame(1) + bytes_t(11), 2},
        {Info(3) + frame(0) + B::Chunk("FRTE", {}) + frame(1) + B::Chunk("DSTC", {1}) + frame(2),
         3},
        // The last pad byte may be missing.
        {Part(file.Chunks(), 0, file.Chunks().size() - 1), 3},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(&row - aRows);
        for (const bool bRemote : {false, true}) {
            auto *pStream = new MemoryStream(DSTFile::Build(row.chunks));
            const auto pReader = Opened(bRemote ? pStream->Remote()->NotSeekable() : pStream, 2);
            EXPECT_TRUE(EqualBytes(Part(sound, 0, row.sizeFrames * FRAME_SIZE), ReadAll(*pReader)));
        }
    }
    const char *const cpNoInfo = "clDSDIFF::OpenMeta(): clDSTSound::clDSTSound(): no chunk 'FRTE' "
                                 "at the start of the sound data";
    for (const bytes_t &chunks : {bytes_t(), frame(0), B::Chunk("FRTE", bytes_t(5))}) {
        EXPECT_THROW_MSG(Opened(DSTFile::Build(chunks)), clXDSDIFF, cpNoInfo);
    }
    EXPECT_THROW_MSG(Opened(B().Rate(RATE + 1).CompressedSound(file.Chunks()).Build()), clXDSDIFF,
                     "clDSDIFF::OpenMeta(): clDSTSound::clDSTSound(): "
                     "clDSTDecoder::clDSTDecoder(): unsupported sample rate 38401");
}

TEST(clDSTSound, ABadFrameEndsTheReadAtItsPlace)
{
    DSTFile file(50);
    file.frames[20] = {0x80};
    file.frames[33] = bytes_t(FRAME_SIZE + 2);
    const bytes_t bytes = DSTFile::Build(file.Chunks());
    for (const uint32_t uWorkers : {1U, 3U}) {
        SCOPED_TRACE(uWorkers);
        const auto pReader = Opened(bytes, uWorkers);
        EXPECT_TRUE(
            EqualBytes(Part(file.sound, 0, 20 * FRAME_SIZE), ReadAll(*pReader, 20 * FRAME_SIZE)));
        for (int i = 0; i < 2; ++i) {
            EXPECT_THROW_MSG(ReadAll(*pReader, CHANNELS), clXDSDIFF,
                             "DST frame 20 at byte 2996: clDSTDecoder::Decode(): "
                             "a frame of 1 bytes");
        }
        // What follows is unharmed.
        pReader->SeekSample(21 * FRAME_SIZE * 8 / 16);
        EXPECT_TRUE(EqualBytes(Part(file.sound, 21 * FRAME_SIZE, 12 * FRAME_SIZE),
                               ReadAll(*pReader, 12 * FRAME_SIZE)));
        EXPECT_THROW_MSG(ReadAll(*pReader, CHANNELS), clXDSDIFF,
                         "DST frame 33 at byte 4714: clDSTDecoder::Decode(): "
                         "a frame of 130 bytes");
    }
}

TEST(clDSTSound, AFailedReadDeliversNothing)
{
    const DSTFile file(50);
    const bytes_t bytes = DSTFile::Build(file.Chunks());
    for (unsigned uNth = 20; uNth < 110; uNth += 7) {
        SCOPED_TRACE(uNth);
        auto *const pStream = new MemoryStream(bytes);
        pStream->FailAt<clXFileIO>(MemoryStream::CALL_READ, uNth, "failed");
        const auto pReader = Opened(pStream, 2);
        bytes_t sound(file.sound.size());
        EXPECT_THROW_MSG(while (pReader->ReadRaw(sound.data(), 2) != 0){}, clXFileIO, "failed");
        pReader->SeekSample(0);
        EXPECT_TRUE(EqualBytes(file.sound, ReadAll(*pReader)));
    }
}

TEST(clDSTSound, ReportsEveryFrameInOrder)
{
    DSTFile file(40);
    file.frames[7] = {0x80, 0x00};
    bytes_t chunks = Info(40);
    for (size_t i = 0; i < 40; ++i) {
        const bytes_t sound = Part(file.sound, i * FRAME_SIZE, FRAME_SIZE);
        Append(chunks, B::Chunk("DSTF", file.frames[i]));
        if (i % 3 != 0) {
            Append(chunks, Check(SlowCheck(sound) + (i % 3 == 2 ? 1 : 0)));
        }
    }
    MemoryStream stream(chunks);
    for (const uint32_t uWorkers : {1U, 4U}) {
        SCOPED_TRACE(uWorkers);
        clDSTSound::source_t source;
        source.data = {0, chunks.size()};
        source.uChannels = CHANNELS;
        source.uSampleRate = RATE;
        source.uWorkers = uWorkers;
        clDSTSound sound(stream, source);
        uint64_t uNext = 0;
        sound.SetReport([&](const clDSTSound::frame_t &frame) {
            EXPECT_EQ(uNext, frame.uNumber);
            EXPECT_EQ(uNext == 7, !frame.strFault.empty());
            EXPECT_FALSE(frame.bLooksCut);
            using check_t = clDSTSound::check_t;
            const check_t aExpected[] = {check_t::NONE, check_t::GOOD, check_t::WRONG};
            EXPECT_EQ(aExpected[uNext == 7 ? 0 : uNext % 3], frame.eCheck) << uNext;
            ++uNext;
            return true;
        });
        bytes_t all(sound.GetSize());
        EXPECT_EQ(all.size(), sound.Read(all.data(), all.size() + 1));
        EXPECT_EQ(40U, uNext);
        bytes_t expected = file.sound;
        std::fill_n(expected.begin() + 7 * FRAME_SIZE, FRAME_SIZE, uint8_t{0x96});
        EXPECT_TRUE(EqualBytes(expected, all));
    }
}
