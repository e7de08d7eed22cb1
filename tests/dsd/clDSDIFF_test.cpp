#include "dsd/clDSDIFF.h"

#include "base/clException.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/EqualBytes.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ID3Builder.h"

#include <memory>
#include <numeric>
#include <utility>

using B = DSDIFFBuilder;

TEST(clDSDIFF, ReadRawTakesWholeFramesOnly)
{
    const bytes_t sound = Pattern(600);
    for (const size_t sizeMost : {1U, 4U, 5U, 7U, 100U}) {
        SCOPED_TRACE(sizeMost);
        clDSDIFF reader;
        reader.OpenMeta(B().ChannelCount(6).Sound(sound).Stream()->ShortReads(sizeMost));
        bytes_t out(sound.size());
        EXPECT_THROW_MSG(reader.ReadRaw(out.data(), 100), clXDSDIFF,
                         "clDSDIFF::ReadRaw(): read size must be multiple of channels");
        size_t sizeDone = 0;
        while (const uint64_t uRead =
                   reader.ReadRaw(out.data() + sizeDone, out.size() - sizeDone)) {
            sizeDone += uRead;
        }
        EXPECT_TRUE(EqualBytes(sound, out));
        // The whole buffer, also of a slow stream.
        reader.SeekSample(0);
        out.assign(out.size(), 0);
        EXPECT_EQ(sound.size(), reader.ReadStored(out.data(), out.size()));
        EXPECT_TRUE(EqualBytes(sound, out));
    }
}

TEST(clDSDIFF, ReadRawEndsWithTheDataOrTheFile)
{
    const bytes_t whole = B().Sound(Pattern(20)).Build();
    const std::pair<bytes_t, size_t> aRows[] = {
        {B().Sound(Pattern(20)).After(B::Chunk("DIIN", Pattern(50))).Build(), 20},
        {Part(whole, 0, whole.size() - 7), 13},
        {B().Sound(Pattern(13)).Build(), 13},
        {B().Sound({}).Build(), 0},
    };
    for (const auto &[file, sizeSound] : aRows) {
        SCOPED_TRACE(testing::Message() << sizeSound << " of " << file.size());
        clDSDIFF reader;
        reader.OpenMeta(new MemoryStream(file));
        bytes_t out(64, 0x55);
        EXPECT_EQ(sizeSound, reader.ReadRaw(out.data(), out.size()));
        // An incomplete last frame is counted and not stored.
        bytes_t expected = Pattern(sizeSound / 2 * 2);
        expected.resize(out.size(), 0x55);
        EXPECT_TRUE(EqualBytes(expected, out));
        EXPECT_EQ(0U, reader.ReadRaw(out.data(), 2));
        reader.SeekSample(0);
        EXPECT_EQ(sizeSound, reader.ReadStored(out.data(), out.size()));
        EXPECT_TRUE(EqualBytes(Pattern(sizeSound), Part(out, 0, sizeSound)));
    }
}

TEST(clDSDIFF, ReadRaw51FillsPlacesWithoutAChannel)
{
    clDSDIFF reader;
    reader.OpenMeta(B().Sound({1, 2, 3, 4}).Stream());
    bytes_t out(18, 0);
    EXPECT_EQ(12U, reader.ReadRaw_5_1(out.data(), out.size()));
    EXPECT_EQ((bytes_t{1, 2, 0x96, 0x96, 0x96, 0x96, 3, 4, 0x96, 0x96, 0x96, 0x96, //
                       0x96, 0x96, 0x96, 0x96, 0x96, 0x96}),
              out);
    EXPECT_THROW_MSG(reader.ReadRaw_5_1(out.data(), 8), clXDSDIFF,
                     "clDSDIFF::ReadRaw_5_1(): read size must be multiple of channels");

    // The seventh and the eighth channel have no place in the frame; the read takes two parts.
    bytes_t sound(24);
    std::iota(sound.begin(), sound.end(), uint8_t{0});
    reader.OpenMeta(B().ChannelCount(8).Sound(sound).Stream());
    EXPECT_EQ(18U, reader.ReadRaw_5_1(out.data(), out.size()));
    EXPECT_EQ((bytes_t{0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, 16, 17, 18, 19, 20, 21}), out);
    EXPECT_EQ(0U, reader.ReadRaw_5_1(out.data(), out.size()));
}

TEST(clDSDIFF, ReportsItsFigures)
{
    clDSDIFF reader;
    reader.OpenMeta(B().Sound({}, 4704000).Stream());
    EXPECT_EQ(176400U, reader.GetOutputRate());
    EXPECT_EQ(4704U, reader.GetBlockSize());
    EXPECT_EQ(2352U, reader.GetBlockSamples());
    EXPECT_EQ(18816000U, reader.GetLength());
    EXPECT_EQ(2352000U, reader.GetOutputSize());
    EXPECT_EQ(1176000U, reader.GetOutputLength());

    // No product overflows, and no division is by zero.
    reader.OpenMeta(B().ChannelCount(0).Rate(0).Sound({}, int64_t{1} << 61).Stream());
    EXPECT_EQ(uint64_t{1} << 60, reader.GetOutputSize());
    EXPECT_EQ(0U, reader.GetOutputLength());
    EXPECT_EQ(0U, reader.GetLength());
    reader.OpenMeta(B().ChannelCount(3).Unbounded(UINT64_MAX).Stream()->Remote()->ClaimSize(0));
    EXPECT_EQ(UINT64_MAX - 7, reader.GetLength());
    EXPECT_EQ(UINT64_MAX / 2, reader.GetOutputSize());
}

TEST(clDSDIFF, SeeksInSamplesOfAllChannels)
{
    const bytes_t sound = Pattern(64);
    clDSDIFF reader;
    reader.OpenMeta(B().Sound(sound).Stream());
    EXPECT_EQ(0U, reader.GetPosition());
    // Four decoded samples are 64 one-bit samples of two channels: eight bytes.
    EXPECT_EQ(32U, reader.SeekSample(4));
    bytes_t out(2);
    reader.ReadRaw(out.data(), 2);
    EXPECT_EQ(Part(sound, 8, 2), out);
    EXPECT_EQ(160U, reader.SeekFrame(10));
    for (const uint64_t uPast : {uint64_t{33}, uint64_t{1} << 60, UINT64_MAX}) {
        SCOPED_TRACE(uPast);
        EXPECT_THROW_MSG(reader.SeekSample(uPast), clXDSDIFF,
                         "clDSDIFFDataChunk::Seek(): newpos > length");
        EXPECT_THROW_MSG(reader.SeekFrame(uPast), clXDSDIFF,
                         "clDSDIFFDataChunk::Seek(): newpos > length");
    }
    EXPECT_EQ(160U, reader.GetPosition());
    reader.ReadRaw(out.data(), 2);
    EXPECT_EQ(Part(sound, 40, 2), out);
    reader.SeekSample(32);
    EXPECT_EQ(0U, reader.ReadRaw(out.data(), 2));
}

TEST(clDSDIFF, DeletesAStreamThatItCannotOpen)
{
    const auto Stuck = [] {
        return B().Stream()->FailAt<clXFileIO>(MemoryStream::CALL_CLOSE, 1, "stuck");
    };
    MemoryStream *const pStream = B().Stream();
    const std::weak_ptr<const void> life = pStream->Life();
    clDSDIFF reader;
    reader.OpenMeta(Stuck());
    EXPECT_THROW_MSG(reader.OpenMeta(pStream), clXDSDIFF,
                     "clDSDIFF::OpenMeta(): clDSDIFF::Close(): stuck");
    EXPECT_TRUE(life.expired());
    // The destructor swallows the exception.
    reader.OpenMeta(Stuck());
}

TEST(clDSDIFF, RefusesWhatItCannotRead)
{
    uint8_t aOut[6];
    clDSDIFF reader;
    EXPECT_THROW_MSG(reader.ReadRaw(aOut, 2), clXDSDIFF, "clDSDIFFDataChunk::ReadRaw(): no data");
    EXPECT_THROW_MSG(reader.SeekSample(0), clXDSDIFF, "clDSDIFF::SeekSample(): not open");
    EXPECT_THROW_MSG(reader.OpenMeta(nullptr), clXDSDIFF, "clDSDIFF::OpenMeta(): no stream");
    for (const size_t uChannels : {0U, 4U}) {
        SCOPED_TRACE(uChannels);
        reader.OpenMeta(B().ChannelCount(uChannels).Stream());
        EXPECT_THROW_MSG(reader.ReadRaw(aOut, 2), clXDSDIFF,
                         "clDSDIFF::ReadRaw(): read size must be multiple of channels");
        EXPECT_THROW_MSG(reader.ReadStored(aOut, 2), clXDSDIFF,
                         "clDSDIFF::ReadStored(): read size must be multiple of channels");
    }
}
