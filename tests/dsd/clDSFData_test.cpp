#include "base/clException.h"
#include "dsd/clDSF.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

using B = DSFBuilder;

// Blocks of two bytes keep the expectations readable: one group of stereo is left, left, right,
// right.
B Small(const bytes_t &data, uint64_t uSamples)
{
    return B().BlockSize(2).Data(data, uSamples);
}

} // namespace

TEST(clDSF, WriteRawReversesBitsOfWholeGroups)
{
    const TempFolder folder;
    clDSF writer;
    writer.Create(folder.Path("a.dsf").c_str(), 0, 2);
    bytes_t group(8192, 0x96);
    group[0] = 0x01;
    for (const uint64_t uSize : {uint64_t{1}, uint64_t{4096}, uint64_t{8191}, UINT64_MAX}) {
        EXPECT_THROW_MSG(writer.WriteRaw(group.data(), uSize), clXDSF,
                         "clDSF::WriteRaw(): write size must be multiple of blocksize");
    }
    EXPECT_EQ(0U, writer.WriteRaw(group.data(), 0));
    EXPECT_EQ(0U, writer.GetPosition());
    EXPECT_EQ(8192U, writer.WriteRaw(group.data(), group.size()));
    EXPECT_EQ(8192U, writer.GetPosition());
    const bytes_t file = folder.Read("a.dsf");
    ASSERT_EQ(92U + 8192U, file.size());
    EXPECT_EQ(0x80, file[92]);
    EXPECT_EQ(0x69, file[93]);
}

TEST(clDSF, WriteFramesRefusesWhatItCannotWrite)
{
    const uint32_t auPositions[] = {0, 1, 2, 3};
    const uint8_t uByte = 0;
    const TempFolder folder;
    clDSF writer;
    EXPECT_THROW_MSG(writer.WriteFrames(&uByte, 1, auPositions), clXDSF,
                     "clDSF::WriteFrames(): not open for writing");
    writer.Create(folder.Path("a.dsf").c_str(), 2822400, 4);
    EXPECT_EQ(0U, writer.WriteFrames(&uByte, 0, auPositions));
    EXPECT_THROW_MSG(writer.WriteFrames(&uByte, UINT64_MAX, auPositions), clXDSF,
                     "clDSF::WriteFrames(): write size out of range");
}

TEST(clDSF, ReadRawDeliversInterleavedBytes)
{
    const bytes_t blocks = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};
    clDSF reader;
    bytes_t out(8);
    reader.OpenMeta(Small(blocks, 32).Stream());
    EXPECT_EQ(8U, reader.ReadRaw(out.data(), 8));
    EXPECT_EQ((bytes_t{0x80, 0xC0, 0x40, 0x20, 0xA0, 0xE0, 0x60, 0x10}), out);
    EXPECT_EQ(8U, reader.GetPosition());
    EXPECT_EQ(0U, reader.ReadRaw(out.data(), 8));
    EXPECT_THROW_MSG(reader.ReadRaw(out.data(), 6), clXDSF,
                     "clDSF::ReadRaw(): read size must be multiple of blocksize");

    reader.OpenMeta(Small(blocks, 32).BitsPerSample(8).Stream());
    EXPECT_EQ(8U, reader.ReadRaw(out.data(), 8));
    EXPECT_EQ((bytes_t{0x01, 0x03, 0x02, 0x04, 0x05, 0x07, 0x06, 0x08}), out);
}

TEST(clDSF, ReadRawCountsOnlySound)
{
    const struct {
        uint64_t uSamples; // in twelve bytes, three groups
        std::vector<uint64_t> aResults;
    } aRows[] = {
        {48, {4, 4, 4, 0}}, {47, {4, 4, 2, 0}}, {40, {4, 4, 2, 0}},
        {33, {4, 4, 0, 0}}, {32, {4, 4, 0, 0}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.uSamples);
        clDSF reader;
        reader.OpenMeta(Small(bytes_t(12, 0x01), row.uSamples).Stream());
        bytes_t out(4);
        for (const uint64_t uResult : row.aResults) {
            out.assign(4, 0);
            EXPECT_EQ(uResult, reader.ReadRaw(out.data(), out.size()));
        }
    }
    clDSF reader;
    bytes_t out(4);
    // Behind the last sound there is nothing more to deliver.
    reader.OpenMeta(Small(bytes_t(12, 0x01), 8).Stream());
    EXPECT_EQ(2U, reader.ReadRaw(out.data(), 4));
    EXPECT_THROW_MSG(reader.ReadRaw(out.data(), 4), std::runtime_error,
                     "clDSF::ReadRaw(): sizeRead > sizeReq");
    // Sizes without bound: what is there is delivered.
    const bytes_t all = B::Number(UINT64_MAX, 8);
    reader.OpenMeta(Small(bytes_t(4, 0x01), 16).Patch(84, all).Patch(64, all).Stream());
    out.resize(8);
    EXPECT_EQ(4U, reader.ReadRaw(out.data(), out.size()));
}

TEST(clDSF, ReadRawRefusesAStreamThatEndsInsideAGroup)
{
    const bytes_t whole = Small(bytes_t(8, 0x01), 32).Build();
    clDSF reader;
    reader.OpenMeta((new MemoryStream(bytes_t(whole.begin(), whole.end() - 1)))->ClaimSize(0));
    bytes_t out(8);
    EXPECT_THROW_MSG(reader.ReadRaw(out.data(), 8), clXDSF,
                     "clDSF::RearrangeData(): size must be blocksize * channels");
}

TEST(clDSF, ReadRaw51PlacesChannelsByType)
{
    const bytes_t idle(6, 0x96);
    const struct {
        uint32_t uType;
        uint32_t uChannels;
        std::vector<size_t> aSlots;
    } aRows[] = {
        {1, 1, {0}},
        {2, 2, {0, 1}},
        {3, 3, {0, 1, 2}},
        {4, 4, {0, 1, 4, 5}},
        {5, 4, {0, 1, 2, 3}},
        {6, 5, {0, 1, 2, 4, 5}},
        {7, 6, {0, 1, 2, 3, 4, 5}},
        {7, 2, {0, 1}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << "type " << row.uType << ", channels " << row.uChannels);
        bytes_t blocks;
        bytes_t expected(6, 0x96);
        for (uint32_t i = 0; i < row.uChannels; ++i) {
            blocks.insert(blocks.end(), 2, static_cast<uint8_t>(0x80 >> i));
            expected[row.aSlots[i]] = static_cast<uint8_t>(1 << i);
        }
        clDSF reader;
        reader.OpenMeta(Small(blocks, 16).Channels(row.uChannels, row.uType).Stream());
        bytes_t out(12);
        EXPECT_EQ(12U, reader.ReadRaw_5_1(out.data(), out.size()));
        EXPECT_EQ(expected, bytes_t(out.begin(), out.begin() + 6));
        EXPECT_EQ(expected, bytes_t(out.begin() + 6, out.end()));
    }
    for (const uint32_t uType : {0U, 8U, UINT32_MAX}) {
        clDSF reader;
        reader.OpenMeta(Small(bytes_t(4), 16).Channels(2, uType).Stream());
        bytes_t out(12);
        EXPECT_THROW_MSG(reader.ReadRaw_5_1(out.data(), out.size()), clXDSF,
                         "clDSF::ReadRaw_5_1(): unknown channel layout");
        EXPECT_THROW_MSG(reader.Read_5_1(nullptr, 0), clXDSF,
                         "clDSF::Read_5_1(): unknown channel layout");
    }
}

TEST(clDSF, SeeksToGroups)
{
    // One group is two blocks of 4096 bytes, 2048 decoded samples of each channel.
    bytes_t data(3 * 8192, 0);
    data[2 * 8192] = 0x01;
    clDSF reader;
    reader.OpenMeta(B().Data(data, 3 * 4096 * 8).Stream());
    bytes_t out(8192);
    EXPECT_EQ(uint64_t{2} * 4096 * 8, reader.SeekSample(2 * 4096));
    EXPECT_EQ(2U * 8192, reader.GetPosition());
    EXPECT_EQ(8192U, reader.ReadRaw(out.data(), out.size()));
    EXPECT_EQ(0x80, out[0]);
    EXPECT_EQ(uint64_t{2} * 4096, reader.SeekFrame(2 * 2048));
    EXPECT_EQ(8192U, reader.ReadRaw(out.data(), out.size()));
    EXPECT_EQ(0x80, out[0]);

    EXPECT_THROW_MSG(reader.SeekSample(4095), clXDSF,
                     "clDSF::SeekSample(): size must be multiple of blocksize");
    EXPECT_THROW_MSG(reader.SeekFrame(1), clXDSF,
                     "clDSF::SeekFrame(): size must be multiple of blocksize");
    EXPECT_THROW_MSG(reader.SeekSample(4 * 4096), clXDSF, "clDSF::SeekSample(): newpos > length");
    EXPECT_THROW_MSG(reader.SeekSample(uint64_t{1} << 60), clXDSF,
                     "clDSF::SeekSample(): newpos > length");
    EXPECT_THROW_MSG(reader.SeekFrame(4 * 2048), clXDSF, "clDSF::SeekFrame(): newpos > length");
    EXPECT_THROW_MSG(reader.SeekFrame(uint64_t{1} << 60), clXDSF,
                     "clDSF::SeekFrame(): newpos > length");
    EXPECT_EQ(3U * 8192, reader.GetPosition());
}

TEST(clDSF, ConvertDataUnfoldsBitsInTime)
{
    const bytes_t blocks = {0x01, 0x00, 0xFF, 0xFF, 0x80, 0x00, 0xFF, 0xFF}; // two groups
    double aLeft[32];
    double aRight[32];
    double *const apDest[] = {aLeft, aRight};
    clDSF reader;
    for (const uint32_t uBits : {1U, 8U}) {
        reader.OpenMeta(Small(blocks, 32).BitsPerSample(uBits).Stream());
        reader.ConvertData(apDest, blocks.data(), blocks.size());
        for (size_t i = 0; i < 32; ++i) {
            // With one the lowest bit of a byte comes first, with eight the highest.
            const bool bOne = uBits == 1 ? i == 0 || i == 16 + 7 : i == 7 || i == 16;
            EXPECT_EQ(bOne ? 1.0 : -1.0, aLeft[i]) << i;
            EXPECT_EQ(1.0, aRight[i]);
        }
    }
    EXPECT_THROW_MSG(reader.ConvertData(apDest, blocks.data(), 3), clXDSF,
                     "clDSF::ConvertData(): size must be multiple of blocksize");
}
