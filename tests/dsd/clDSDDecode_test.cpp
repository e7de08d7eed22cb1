// The decoded reads of both formats, tested through the interface that they share.

#include "base/clException.h"
#include "tests/support/DecodeHelpers.h"
#include "tests/support/EqualBytes.h"
#include "tests/support/ExpectThrow.h"

#include <random>

#include <gtest/gtest.h>

namespace
{

// Decoded samples in a block of DSF.
constexpr size_t BLOCK = 2048;
constexpr size_t DELAY = 13;

class decode : public testing::TestWithParam<format_t>
{
protected:
    void Open(const bytes_t &sound, uint32_t uChannels, bool bDouble = false,
              bool bWithoutDelay = false)
    {
        spFile->Open(MakeStream(GetParam(), sound, uChannels), 0, 0, bDouble, bWithoutDelay);
    }

    std::unique_ptr<clDSD> spFile = MakeFile(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Formats, decode, testing::Values(FORMAT_DSDIFF, FORMAT_DSF),
                         FormatName<testing::TestParamInfo<format_t>>);

} // namespace

TEST_P(decode, OpenChoosesAmplitudeAndDelay)
{
    constexpr uint32_t CHANNELS = 2;
    // Within one block; odd, so that the last byte is no decoded sample.
    const bytes_t sound = Pattern(4097 * CHANNELS);
    Open(sound, CHANNELS);
    EXPECT_EQ(DELAY, spFile->GetDelay());
    EXPECT_EQ(2048U, spFile->GetOutputLength());
    samples_t all = ReadAll(*spFile, CHANNELS * BLOCK);
    ASSERT_EQ((2048 + DELAY) * CHANNELS, all.size());

    Open(sound, CHANNELS, true, true);
    EXPECT_EQ(0U, spFile->GetDelay());
    std::transform(all.begin(), all.end(), all.begin(), [](double d) { return 2 * d; });
    EXPECT_TRUE(EqualBytes(Part(all, CHANNELS * DELAY), ReadAll(*spFile, CHANNELS * BLOCK)));
}

TEST_P(decode, SeeksGiveTheSameSamplesOnceTheFilterIsFull)
{
    const bytes_t sound = Pattern(2 * 4 * 2 * BLOCK);
    for (const bool bWithoutDelay : {false, true}) {
        SCOPED_TRACE(bWithoutDelay);
        Open(sound, 2, false, bWithoutDelay);
        const samples_t all = ReadToEnd(*spFile, 2 * BLOCK);
        ASSERT_EQ(8 * BLOCK, all.size());
        for (const size_t uBlock : {3U, 1U, 0U, 2U}) {
            SCOPED_TRACE(uBlock);
            if (uBlock != 0) {
                // The seek is then to the present position.
                samples_t before(2 * BLOCK);
                spFile->SeekFrame((uBlock - 1) * BLOCK);
                spFile->Read(before.data(), before.size());
            }
            spFile->SeekFrame(uBlock * BLOCK);
            const samples_t part = ReadToEnd(*spFile, 2 * BLOCK);
            const size_t uFrom = 2 * uBlock * BLOCK;
            ASSERT_EQ(all.size() - uFrom, part.size());
            // Silence precedes the start of the file, so a seek to it changes nothing.
            const size_t uFull = uBlock == 0 ? 0 : 2U * (bWithoutDelay ? 14 : 27);
            EXPECT_TRUE(EqualBytes(Part(all, uFrom + uFull), Part(part, uFull)));
            EXPECT_EQ(uFull == 0, part.front() == all[uFrom]);
        }
    }
}

TEST_P(decode, ARawReadRestartsDecoding)
{
    Open(Pattern(16 * BLOCK), 1);
    samples_t expected(BLOCK);
    spFile->SeekFrame(2 * BLOCK);
    spFile->Read(expected.data(), BLOCK);
    samples_t out(BLOCK);
    bytes_t raw(2 * BLOCK);
    spFile->SeekFrame(0);
    spFile->Read(out.data(), BLOCK);
    spFile->ReadRaw(raw.data(), raw.size());
    spFile->Read(out.data(), BLOCK);
    EXPECT_TRUE(EqualBytes(expected, out));
}

TEST_P(decode, NothingAskedForNeedsNoBuffer)
{
    const bytes_t sound = Pattern(16384);
    for (const bool bWithoutDelay : {false, true}) {
        SCOPED_TRACE(bWithoutDelay);
        Open(sound, 2, false, bWithoutDelay);
        const samples_t expected = ReadAll(*spFile, 2 * BLOCK);
        Open(sound, 2, false, bWithoutDelay);
        samples_t all;
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(0U, spFile->Flush(nullptr, 0));
            EXPECT_EQ(0U, spFile->Read_5_1(nullptr, 0));
            EXPECT_EQ(0U, spFile->Read(nullptr, 0));
            EXPECT_EQ(0U, spFile->ReadRaw(nullptr, 0));
            EXPECT_EQ(0U, spFile->ReadRaw_5_1(nullptr, 0));
            samples_t some(2 * BLOCK);
            some.resize(spFile->Read(some.data(), some.size()));
            all = all + some;
        }
        EXPECT_TRUE(EqualBytes(expected, all + ReadAll(*spFile, 2 * BLOCK)));
    }
}

TEST_P(decode, NeedsOpenAndAtMostSixChannels)
{
    const bool bDSF = GetParam() == FORMAT_DSF;
    samples_t out(7 * 6 * BLOCK);
    const auto ExpectFailure = [&](const std::string &strMessage, auto &&Use) {
        if (bDSF) {
            EXPECT_THROW_MSG(Use(), clXDSF, strMessage);
        } else {
            EXPECT_THROW_MSG(Use(), clXDSDIFF, strMessage);
        }
    };
    const auto ExpectClosed = [&] {
        const std::string strClass = bDSF ? "clDSF::" : "clDSDIFF::";
        const std::string strWhy = "(): not opened for decoding";
        ExpectFailure(strClass + "Read" + strWhy, [&] { spFile->Read(out.data(), 2 * BLOCK); });
        ExpectFailure(strClass + "Read_5_1" + strWhy,
                      [&] { spFile->Read_5_1(out.data(), 6 * BLOCK); });
        EXPECT_THROW_MSG(spFile->Flush(out.data(), out.size()), clXDSD,
                         "clDSD::Flush(): not opened for decoding");
    };
    spFile->OpenMeta(MakeStream(GetParam(), Pattern(8192), 2));
    ExpectClosed();
    // A failed Open starts no workers, and leaves none of the Open before.
    Open(Pattern(8192), 2);
    EXPECT_THROW(spFile->Open(MakeStream(GetParam(), Pattern(8192), 2), UINT64_MAX),
                 std::runtime_error);
    ExpectClosed();

    const bytes_t data(size_t{7} * 4096);
    spFile->Open(bDSF ? DSFBuilder().Channels(7, 7).Data(data, 4096 * 8).Stream()
                      : DSDIFFBuilder().ChannelCount(7).Stream());
    ExpectFailure(bDSF ? "clDSF::ConvertData(): channels must be <= 6"
                       : "clDSDIFFDataChunk::Read(): channels must be <= 6",
                  [&] { spFile->Read(out.data(), 7 * BLOCK); });
}

// One signal: every block size, bit order, read, worker count and filter, and streams that stop
// anywhere.
TEST(clDSD, DecodesToTheSameBitsEveryWay)
{
    const uint32_t uSeed = 20240611;
    SCOPED_TRACE(uSeed);
    std::mt19937 random(uSeed);
    const auto Any = [&](uint32_t uFrom, uint32_t uTo) {
        return std::uniform_int_distribution<uint32_t>(uFrom, uTo)(random);
    };
    for (uint32_t uRound = 0; uRound < 48; ++uRound) {
        const uint32_t uChannels = uRound % 6 + 1;
        const size_t sizeBytes = Any(1, 60000);
        const bytes_t sound = Pattern(sizeBytes * uChannels);
        clDSDIFF plain;
        plain.Open(MakeStream(FORMAT_DSDIFF, sound, uChannels), 0, 1, false, false, true);
        const samples_t expected = ReadAll(plain, uChannels * 30000);
        ASSERT_EQ((sizeBytes / 2 + DELAY) * uChannels, expected.size());

        const uint32_t uBlock = 2 * Any(1, Any(1, 3000));
        const uint64_t uRead = uint64_t{uChannels} * Any(1, Any(1, 30000));
        const uint64_t uBlocksRead = uBlock / 2 * Any(1, 60000 / uBlock + 1) * uint64_t{uChannels};
        const bool bMsbFirst = Any(0, 1) != 0;
        bytes_t data((sizeBytes + uBlock - 1) / uBlock * uBlock * uChannels, 0x55);
        for (size_t i = 0; i < sound.size(); ++i) {
            const size_t uByte = i / uChannels;
            data[(uByte / uBlock * uChannels + i % uChannels) * uBlock + uByte % uBlock] =
                bMsbFirst ? sound[i] : Reversed(sound[i]);
        }
        const DSFBuilder blocks = DSFBuilder()
                                      .Channels(uChannels, 2)
                                      .BlockSize(uBlock)
                                      .BitsPerSample(bMsbFirst ? 8 : 1)
                                      .Data(data, sizeBytes * 8);
        SCOPED_TRACE(testing::Message() << "round " << uRound << ", reads of " << uRead
                                        << ", blocks of " << uBlock << ", by " << uBlocksRead);
        const auto Open = [&](clDSD &file, MemoryStream *pStream, uint64_t uLargest) {
            file.Open(pStream->ShortReads(Any(1, 5000)), Any(0, 1) * uLargest, Any(0, 7), false,
                      false, Any(0, 1) != 0);
        };
        clDSDIFF dsdiff;
        Open(dsdiff, MakeStream(FORMAT_DSDIFF, sound, uChannels), uRead);
        ASSERT_TRUE(EqualBytes(expected, ReadAll(dsdiff, uRead)));
        clDSF dsf;
        Open(dsf, blocks.Stream(), uBlocksRead);
        ASSERT_TRUE(EqualBytes(expected, ReadAll(dsf, uBlocksRead)));
    }
}

TEST(clDSDIFF, Read51PlacesChannelsBySpeaker)
{
    clDSDIFF reader;
    reader.Open(
        DSDIFFBuilder().Channels({"SRGT", "LS  ", "SLFT"}).Sound(Pattern(3 * 2 * 20)).Stream());
    samples_t plain(3 * 20);
    ASSERT_EQ(plain.size(), reader.Read(plain.data(), plain.size()));
    reader.SeekSample(0);
    // A read past the end: silence up to the end of the buffer.
    samples_t out(6 * 40, 7.0);
    ASSERT_EQ(120U, reader.Read_5_1(out.data(), out.size()));
    constexpr int CHANNELS[] = {2, 0, -1, -1, 1, -1}; // in each place of the frame; -1: silence
    for (size_t i = 0; i < out.size(); ++i) {
        const int iChannel = i < 120 ? CHANNELS[i % 6] : -1;
        const size_t uPlain = i / 6 * 3 + static_cast<size_t>(iChannel);
        ASSERT_EQ(iChannel < 0 ? 0.0 : plain[uPlain], out[i]) << i;
    }
    // Flush delivers frames like those of the last read.
    EXPECT_EQ(6 * DELAY, reader.Flush(out.data(), out.size()));
    EXPECT_THROW_MSG(reader.Read_5_1(out.data(), 8), clXDSDIFF,
                     "clDSDIFF::Read_5_1(): read size must be multiple of channels");
}

TEST(clDSF, ReadGivesTheWholeSamplesOfABrokenGroup)
{
    // Two groups of two blocks of eight bytes; the bytes present of the second, and its samples.
    const bytes_t data = Pattern(32);
    const struct {
        size_t sizeRest;
        size_t uSamples;
    } aRows[] = {{0, 0}, {7, 0}, {9, 0}, {10, 1}, {13, 2}, {16, 4}};
    samples_t out(16);
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.sizeRest);
        bytes_t file = DSFBuilder().BlockSize(8).Data(data, 128).Build();
        file.resize(file.size() - 16 + row.sizeRest);
        clDSF reader;
        reader.Open((new MemoryStream(file))->ClaimSize(0)->ShortReads(5));
        EXPECT_EQ(2 * (4 + row.uSamples), reader.Read(out.data(), out.size()));
        EXPECT_EQ(0U, reader.Read(out.data(), out.size()));
    }
    // After the sample count there is no sound.
    clDSF reader;
    reader.Open(DSFBuilder().BlockSize(8).Data(data, 16).Stream());
    EXPECT_EQ(2U, reader.Read(out.data(), 8));
    EXPECT_EQ(0U, reader.Read(out.data(), 8));
    reader.SeekSample(8);
    EXPECT_THROW_MSG(reader.Read(out.data(), 8), std::runtime_error,
                     "clDSF::Read(): sizeRead > sizeReq");
}

namespace
{

// Changes the settings that subclasses may change.
template <class Base>
class clSwitched : public Base
{
public:
    clSwitched(bool bSixteenth, double dFactor)
    {
        this->bDecimate = bSixteenth;
        this->dGain *= dFactor;
        this->bAmplitudeDoubled = true;
    }
};

} // namespace

TEST(clDSD, SubclassesChangeGainAndDecimation)
{
    samples_t out(64);
    clSwitched<clDSDIFF> louder(true, 0.25);
    louder.Open(DSDIFFBuilder().ChannelCount(1).Sound(bytes_t(128, 0xFF)).Stream());
    ASSERT_EQ(64U, louder.Read(out.data(), 64));
    EXPECT_NEAR(0.5, out.back(), 1e-9);

    clSwitched<clDSDIFF> undecimated(false, 0.5);
    undecimated.Open(DSDIFFBuilder().Sound({0x80, 0x00, 0x01, 0x00}).Stream());
    EXPECT_EQ(0U, undecimated.GetDelay());
    ASSERT_EQ(32U, undecimated.Read(out.data(), 64));
    for (size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(i == 0 || i == 30 ? 1.0 : -1.0, out[i]) << i;
    }
    EXPECT_EQ(0U, undecimated.Flush(out.data(), 64));
    EXPECT_THROW_MSG(undecimated.Read(out.data(), 8), clXDSDIFF,
                     "clDSDIFFDataChunk::Read(): size must be multiple of 8");
    clSwitched<clDSF> blocks(false, 0.5);
    blocks.Open(DSFBuilder().BlockSize(2).Data({0x01, 0x00, 0x00, 0x80}, 16).Stream());
    ASSERT_EQ(32U, blocks.Read(out.data(), 32));
    for (size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(i == 0 || i == 31 ? 1.0 : -1.0, out[i]) << i;
    }
}
