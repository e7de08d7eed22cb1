#include "base/clException.h"
#include "dsd/clDSF.h"
#include "tests/support/DSFModel.h"
#include "tests/support/EqualBytes.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TempFolder.h"

#include <algorithm>
#include <utility>

namespace
{

using B = DSFBuilder;

// Short blocks keep the expectations readable: a stereo group is left, left, right, right.
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
    const uint32_t auPlaces[] = {0, 1};
    EXPECT_THROW_MSG(writer.WriteFrames(group.data(), UINT64_MAX, auPlaces), clXDSF,
                     "clDSF::WriteFrames(): write size out of range");
    EXPECT_EQ(0U, writer.WriteFrames(nullptr, 0, nullptr));
    EXPECT_EQ(0U, writer.WriteRaw(nullptr, 0));
    EXPECT_EQ(0U, writer.WriteMeta(nullptr, 0));
    writer.RearrangeData(nullptr, nullptr, 0);
    writer.ConvertData(nullptr, nullptr, 0);
    EXPECT_EQ(8192U, writer.WriteRaw(group.data(), group.size()));
    EXPECT_EQ(8192U, writer.GetPosition());
    std::transform(group.begin(), group.end(), group.begin(), Reversed);
    EXPECT_TRUE(EqualBytes(group, Part(folder.Read("a.dsf"), 92)));
    writer.Create(folder.Path("b.dsf").c_str(), 0, 7);
    EXPECT_THROW_MSG(writer.WriteFrames(group.data(), 1, auPlaces), clXDSF,
                     "clDSF::WriteFrames(): channels must be <= 6");
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
    // Samples in twelve bytes, three groups, and what each read delivers.
    const std::pair<uint64_t, std::vector<uint64_t>> aRows[] = {
        {48, {4, 4, 4, 0}}, {47, {4, 4, 2, 0}}, {33, {4, 4, 0, 0}}};
    clDSF reader;
    bytes_t out(4);
    for (const auto &[uSamples, results] : aRows) {
        reader.OpenMeta(Small(bytes_t(12, 0x01), uSamples).Stream());
        for (const uint64_t uResult : results) {
            EXPECT_EQ(uResult, reader.ReadRaw(out.data(), out.size())) << uSamples;
        }
    }
    // After the sound there is nothing to deliver.
    reader.OpenMeta(Small(bytes_t(12, 0x01), 8).Stream());
    EXPECT_EQ(2U, reader.ReadRaw(out.data(), 4));
    EXPECT_THROW_MSG(reader.ReadRaw(out.data(), 4), std::runtime_error,
                     "clDSF::ReadRaw(): sizeRead > sizeReq");
    // Unlimited sizes: the bytes present are delivered, but not those of an incomplete group.
    const bytes_t all = B::Number(UINT64_MAX, 8);
    const B unbounded = Small(bytes_t(4, 0x01), 16).Patch(84, all).Patch(64, all);
    out.resize(8);
    reader.OpenMeta(unbounded.Stream());
    EXPECT_EQ(4U, reader.ReadRaw(out.data(), out.size()));
    reader.OpenMeta((new MemoryStream(Part(unbounded.Build(), 0, 95)))->ClaimSize(0));
    EXPECT_THROW_MSG(reader.ReadRaw(out.data(), 8), clXDSF,
                     "clDSF::RearrangeData(): size must be blocksize * channels");
}

TEST(clDSF, ReadRaw51PlacesChannelsByType)
{
    const std::pair<uint32_t, std::vector<size_t>> aRows[] = {
        {1, {0}},          {2, {0, 1}},          {4, {0, 1, 4, 5}},
        {5, {0, 1, 2, 3}}, {6, {0, 1, 2, 4, 5}}, {7, {0, 1, 2, 3, 4, 5}},
        {7, {0, 1}}, // fewer channels than the type has places
    };
    clDSF reader;
    bytes_t out(12);
    for (const auto &[uType, places] : aRows) {
        SCOPED_TRACE(testing::Message() << "type " << uType << ", channels " << places.size());
        bytes_t blocks;
        bytes_t expected(6, 0x96);
        for (size_t i = 0; i < places.size(); ++i) {
            blocks.insert(blocks.end(), 2, static_cast<uint8_t>(0x80 >> i));
            expected[places[i]] = static_cast<uint8_t>(1 << i);
        }
        Append(expected, bytes_t(expected));
        const auto uChannels = static_cast<uint32_t>(places.size());
        reader.OpenMeta(Small(blocks, 16).Channels(uChannels, uType).Stream());
        EXPECT_EQ(12U, reader.ReadRaw_5_1(out.data(), out.size()));
        EXPECT_TRUE(EqualBytes(expected, out));
    }
    for (const uint32_t uType : {0U, 8U, UINT32_MAX}) {
        SCOPED_TRACE(uType);
        reader.OpenMeta(Small(bytes_t(4), 16).Channels(2, uType).Stream());
        EXPECT_THROW_MSG(reader.ReadRaw_5_1(out.data(), out.size()), clXDSF,
                         "clDSF::ReadRaw_5_1(): unknown channel layout");
        EXPECT_THROW_MSG(reader.Read_5_1(nullptr, 0), clXDSF,
                         "clDSF::Read_5_1(): unknown channel layout");
    }
}

TEST(clDSF, SeeksToGroups)
{
    // One group is two blocks of 4096 bytes, 2048 decoded samples of each channel.
    constexpr uint64_t GROUP = 4096;
    bytes_t data(3 * 8192, 0);
    data[2 * 8192] = 0x01;
    clDSF reader;
    reader.OpenMeta(B().Data(data, 3 * GROUP * 8).Stream());
    bytes_t out(8192);
    EXPECT_EQ(2 * GROUP * 8, reader.SeekSample(2 * GROUP));
    EXPECT_EQ(2U * 8192, reader.GetPosition());
    EXPECT_EQ(8192U, reader.ReadRaw(out.data(), out.size()));
    EXPECT_EQ(0x80, out[0]);
    EXPECT_EQ(2 * GROUP, reader.SeekFrame(GROUP));

    EXPECT_THROW_MSG(reader.SeekSample(GROUP - 1), clXDSF,
                     "clDSF::SeekSample(): size must be multiple of blocksize");
    EXPECT_THROW_MSG(reader.SeekFrame(1), clXDSF,
                     "clDSF::SeekFrame(): size must be multiple of blocksize");
    for (const uint64_t uPast : {4 * GROUP, uint64_t{1} << 60}) {
        SCOPED_TRACE(uPast);
        EXPECT_THROW_MSG(reader.SeekSample(uPast), clXDSF, "clDSF::SeekSample(): newpos > length");
        EXPECT_THROW_MSG(reader.SeekFrame(uPast), clXDSF, "clDSF::SeekFrame(): newpos > length");
    }
    EXPECT_EQ(2U * 8192, reader.GetPosition());
}

TEST(clDSF, ConvertDataUnfoldsBitsInTime)
{
    const bytes_t blocks = {0x01, 0x00, 0xFF, 0xFF, 0x80, 0x00, 0xFF, 0xFF}; // two groups
    double aLeft[32];
    double aRight[32];
    double *const apDest[] = {aLeft, aRight};
    clDSF reader;
    for (const uint32_t uBits : {1U, 8U}) {
        SCOPED_TRACE(uBits);
        reader.OpenMeta(Small(blocks, 32).BitsPerSample(uBits).Stream());
        reader.ConvertData(apDest, blocks.data(), blocks.size());
        for (size_t i = 0; i < 32; ++i) {
            // One bit per sample: the lowest bit is the earliest; eight: the highest.
            const bool bOne = uBits == 1 ? i == 0 || i == 16 + 7 : i == 7 || i == 16;
            EXPECT_EQ(bOne ? 1.0 : -1.0, aLeft[i]) << i;
            EXPECT_EQ(1.0, aRight[i]);
        }
    }
    EXPECT_THROW_MSG(reader.ConvertData(apDest, blocks.data(), 3), clXDSF,
                     "clDSF::ConvertData(): size must be multiple of blocksize");
}
