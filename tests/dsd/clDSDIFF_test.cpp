#include "dsd/clDSDIFF.h"

#include "base/clException.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/ExpectThrow.h"

#include <numeric>

#include <gtest/gtest.h>

namespace
{

using B = DSDIFFBuilder;

// Reads to the end in turns of sizeTurn bytes; a last turn that is no whole frame counts in full.
bytes_t ReadAll(clDSDIFF &reader, size_t sizeTurn)
{
    bytes_t all;
    bytes_t turn(sizeTurn);
    while (const uint64_t uRead = reader.ReadRaw(turn.data(), turn.size())) {
        all.insert(all.end(), turn.begin(), turn.begin() + static_cast<ptrdiff_t>(uRead));
    }
    return all;
}

} // namespace

TEST(clDSDIFF, ReadRawTakesWholeFramesOnly)
{
    bytes_t out(4096);
    clDSDIFF reader;
    reader.OpenMeta(B().ChannelCount(6).Sound(Pattern(12288)).Stream());
    EXPECT_THROW_MSG(reader.ReadRaw(out.data(), 4096), clXDSDIFF,
                     "clDSDIFF::ReadRaw(): read size must be multiple of channels");
    EXPECT_EQ(4092U, reader.ReadRaw(out.data(), 4092));
    out.resize(4092);
    EXPECT_TRUE(Pattern(4092) == out) << "the refused read took nothing";
}

TEST(clDSDIFF, ShortReadsNeverMixChannelsUp)
{
    const bytes_t sound = Pattern(600);
    for (const size_t sizeMost : {1U, 4U, 5U, 7U, 100U}) {
        SCOPED_TRACE(sizeMost);
        clDSDIFF reader;
        reader.OpenMeta(B().ChannelCount(6).Sound(sound).Stream()->ShortReads(sizeMost));
        EXPECT_EQ(sound, ReadAll(reader, 120));
    }
}

TEST(clDSDIFF, ReadRawEndsWithTheDataOrTheFile)
{
    // Followed by another chunk; cut in mid-frame; of a size that is no whole number of frames.
    bytes_t cut = B().Sound(Pattern(20)).Build();
    cut.resize(cut.size() - 7);
    const struct {
        bytes_t file;
        size_t sizeSound;
    } aRows[] = {
        {B().Sound(Pattern(20)).After(B::Chunk("DIIN", Pattern(50))).Build(), 20},
        {cut, 13},
        {B().Sound(Pattern(13)).Build(), 13},
        {B().Sound({}).Build(), 0},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.sizeSound);
        clDSDIFF reader;
        reader.OpenMeta(new MemoryStream(row.file));
        bytes_t out(64, 0x55);
        EXPECT_EQ(row.sizeSound, reader.ReadRaw(out.data(), out.size()));
        const size_t sizeWhole = row.sizeSound / 2 * 2;
        out.resize(sizeWhole + 1);
        bytes_t expected = Pattern(sizeWhole);
        expected.push_back(0x55);
        EXPECT_EQ(expected, out);
        EXPECT_EQ(0U, reader.ReadRaw(out.data(), 2));
        EXPECT_EQ(0U, reader.ReadRaw(out.data(), 2));
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

    // The seventh and eighth channel have no place in the frame; three frames come in two parts.
    bytes_t sound(24);
    std::iota(sound.begin(), sound.end(), uint8_t{0});
    reader.OpenMeta(B().ChannelCount(8).Sound(sound).Stream());
    EXPECT_EQ(18U, reader.ReadRaw_5_1(out.data(), out.size()));
    EXPECT_EQ((bytes_t{0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, 16, 17, 18, 19, 20, 21}), out);
    EXPECT_EQ(0U, reader.ReadRaw_5_1(out.data(), out.size()));
}

TEST(clDSDIFF, TellsItsFigures)
{
    clDSDIFF reader;
    reader.OpenMeta(B().Sound({}, 4704000).Stream());
    EXPECT_EQ(2822400U, reader.GetSampleRate());
    EXPECT_EQ(176400U, reader.GetOutputRate());
    EXPECT_EQ(4704U, reader.GetBlockSize());
    EXPECT_EQ(2352U, reader.GetBlockSamples());
    EXPECT_EQ(4704000U, reader.GetDataSize());
    EXPECT_EQ(18816000U, reader.GetLength());
    EXPECT_EQ(2352000U, reader.GetOutputSize());
    EXPECT_EQ(1176000U, reader.GetOutputLength());

    // No product of these leaves 64 bits, and no division meets a zero.
    reader.OpenMeta(B().ChannelCount(0).Rate(0).Sound({}, int64_t{1} << 61).Stream());
    EXPECT_EQ(uint64_t{1} << 60, reader.GetOutputSize());
    EXPECT_EQ(0U, reader.GetOutputLength());
    EXPECT_EQ(0U, reader.GetLength());
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
    EXPECT_EQ(bytes_t(sound.begin() + 8, sound.begin() + 10), out);
    EXPECT_EQ(160U, reader.SeekFrame(10));
    EXPECT_EQ(160U, reader.GetPosition());
    reader.ReadRaw(out.data(), 2);
    EXPECT_EQ(bytes_t(sound.begin() + 40, sound.begin() + 42), out);

    for (const uint64_t uPast : {uint64_t{33}, uint64_t{1} << 60, UINT64_MAX}) {
        EXPECT_THROW_MSG(reader.SeekSample(uPast), clXDSDIFF,
                         "clDSDIFFDataChunk::Seek(): newpos > length");
        EXPECT_THROW_MSG(reader.SeekFrame(uPast), clXDSDIFF,
                         "clDSDIFFDataChunk::Seek(): newpos > length");
    }
    EXPECT_EQ(160U, reader.GetPosition());
    reader.SeekSample(32);
    EXPECT_EQ(0U, reader.ReadRaw(out.data(), 2));
}

TEST(clDSDIFF, OpenRefusesCompressedSound)
{
    clDSDIFF reader;
    EXPECT_THROW_MSG(reader.Open(B().Compression("DST ").Stream()), clXDSDIFF,
                     "clDSDIFF::Open(): unsupported compression");
    reader.OpenMeta(B().Compression("DST ").Stream());
    EXPECT_TRUE(reader.IsCompressed());
    reader.OpenMeta(B().Compression("").Stream());
    EXPECT_THROW_MSG(reader.IsCompressed(), clXDSDIFF,
                     "clDSDIFFPropChunk::GetCompression(): unknown compression");
    EXPECT_NO_THROW(reader.Open(B().Stream()));
    EXPECT_FALSE(reader.IsCompressed());
}

TEST(clDSDIFF, OwnsItsStreamThroughEveryFailure)
{
    const auto ExpectGone = [](MemoryStream *pStream, auto &&Use) {
        const std::weak_ptr<const void> life = pStream->Life();
        {
            clDSDIFF reader;
            Use(reader, pStream);
        }
        EXPECT_TRUE(life.expired());
    };
    ExpectGone(new MemoryStream({}), [](clDSDIFF &reader, MemoryStream *pStream) {
        EXPECT_THROW(reader.OpenMeta(pStream), clXDSDIFF);
    });
    ExpectGone(B().Stream()->FailAt<clXFileIO>(MemoryStream::CALL_CLOSE, 1, "stuck"),
               [](clDSDIFF &reader, MemoryStream *pStream) {
                   reader.OpenMeta(pStream);
                   EXPECT_THROW_MSG(reader.Close(), clXDSDIFF, "clDSDIFF::Close(): stuck");
               });
    ExpectGone(B().Stream()->FailAt<clXFileIO>(MemoryStream::CALL_CLOSE, 1, "stuck"),
               [](clDSDIFF &reader, MemoryStream *pStream) { reader.OpenMeta(pStream); });
    // The stream that could not be opened because the last one could not be closed.
    ExpectGone(B().Stream(), [](clDSDIFF &reader, MemoryStream *pStream) {
        reader.OpenMeta(B().Stream()->FailAt<clXFileIO>(MemoryStream::CALL_CLOSE, 1, "stuck"));
        EXPECT_THROW_MSG(reader.OpenMeta(pStream), clXDSDIFF,
                         "clDSDIFF::OpenMeta(): clDSDIFF::Close(): stuck");
    });
}

TEST(clDSDIFF, RefusesToReadWhatIsNotOpen)
{
    const char *cpNoData = "clDSDIFFDataChunk::ReadRaw(): no data";
    uint8_t aOut[6];
    double aDecoded[6];
    clDSDIFF reader;
    EXPECT_THROW_MSG(reader.ReadRaw(aOut, 2), clXDSDIFF, cpNoData);
    EXPECT_THROW_MSG(reader.SeekSample(0), clXDSDIFF, "clDSDIFF::SeekSample(): not open");
    reader.OpenMeta(B().Stream());
    reader.Close();
    EXPECT_THROW_MSG(reader.ReadRaw(aOut, 2), clXDSDIFF, cpNoData);
    EXPECT_THROW_MSG(reader.ReadRaw_5_1(aOut, 6), clXDSDIFF, cpNoData);
    EXPECT_THROW_MSG(reader.Read(aDecoded, 2), clXDSDIFF, "clDSDIFFDataChunk::Read(): no data");
    EXPECT_THROW_MSG(reader.OpenMeta(nullptr), clXDSDIFF, "clDSDIFF::OpenMeta(): no stream");

    reader.OpenMeta(B().NoSound().Stream());
    EXPECT_THROW_MSG(reader.ReadRaw(aOut, 2), clXDSDIFF, cpNoData);
    reader.OpenMeta(B().ChannelCount(0).Stream());
    EXPECT_THROW_MSG(reader.ReadRaw(aOut, 2), clXDSDIFF,
                     "clDSDIFF::ReadRaw(): read size must be multiple of channels");
    reader.OpenMeta(B().ChannelCount(7).Stream());
    EXPECT_THROW_MSG(reader.Read(aDecoded, 7), clXDSDIFF,
                     "clDSDIFFDataChunk::Read(): channels must be <= 6");
}

TEST(clDSD, OffersItsFormatsBitOrderAndPlaces)
{
    struct clFormat : clDSDIFF {
        using clDSD::MapChannels;
        using clDSD::ReverseBits;
    } format;
    bytes_t bits = {0x01, 0x12, 0xA5};
    format.ReverseBits(bits.data(), bits.size());
    EXPECT_EQ((bytes_t{0x80, 0x48, 0xA5}), bits);
    const uint32_t auTable[] = {2, 0};
    bytes_t bytes(6, 9);
    std::vector<double> samples(6, 9.0);
    clFormat::MapChannels(bytes.data(), bytes_t{1, 2, 3, 4}.data(), 2, auTable, 3, 2);
    clFormat::MapChannels(samples.data(), std::vector<double>{1, 2, 3, 4}.data(), 2, auTable, 3, 2);
    EXPECT_EQ((bytes_t{2, 9, 1, 4, 9, 3}), bytes);
    EXPECT_EQ((std::vector<double>{2, 9, 1, 4, 9, 3}), samples);
}
