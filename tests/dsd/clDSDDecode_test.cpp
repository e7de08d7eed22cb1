// The decoded reads of both formats, seen through the interface that they share.

#include "base/clException.h"
#include "tests/support/DecodeHelpers.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Response.h"

#include <random>

#include <gtest/gtest.h>

namespace
{

// A read of whole blocks in DSF, times the channels.
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

TEST_P(decode, ResponseIsFlatThenSilent)
{
    const std::vector<double> aResponse = MeasureResponse([&](const bytes_t &sound) {
        Open(sound, 1);
        return ReadAll(*spFile, BLOCK);
    });
    // Linear phase, late by a whole number of samples, and over when the seeks say it is.
    constexpr size_t CENTRE = 16 * DELAY + 15;
    for (size_t i = 0; i < aResponse.size(); ++i) {
        const double dMirror = i <= 2 * CENTRE ? aResponse[2 * CENTRE - i] : 0.0;
        ASSERT_NEAR(dMirror, aResponse[i], 1e-15) << i;
    }
    // In kHz at 64 times 44.1.
    const auto At = [&](double dKiloHertz) { return Magnitude(aResponse, dKiloHertz / 2822.4); };
    for (double d = 0.0; d <= 20.0; d += 0.5) {
        EXPECT_NEAR(0.0, At(d), 0.001) << d;
    }
    for (double d = 20.0; d <= 50.0; d += 0.5) {
        EXPECT_NEAR(0.0, At(d), 0.1) << d;
    }
    for (int iFold = 1; iFold <= 8; ++iFold) {
        for (double d = -40.0; d <= 40.0; d += 0.25) {
            ASSERT_GT(-145.0, At(176.4 * iFold + d)) << 176.4 * iFold + d;
        }
    }
}

TEST_P(decode, FullScaleIsOneAndIdleIsSilence)
{
    const struct {
        uint8_t uByte;
        bool bDouble;
        double dLevel;
        double dWithin;
    } aRows[] = {
        {0xFF, false, 1.0, 1e-9}, {0x00, false, -1.0, 1e-9}, {0xFF, true, 2.0, 1e-9},
        {0x00, true, -2.0, 1e-9}, {0x96, false, 0.0, 1e-8},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(static_cast<unsigned>(row.uByte));
        Open(bytes_t(8192, row.uByte), 1, row.bDouble);
        const samples_t all = ReadOn(*spFile, BLOCK);
        ASSERT_EQ(4096U, all.size());
        // From silence it takes the length of the filter; idle is silence from the start.
        const size_t sizeFrom = row.uByte == 0x96 ? 0 : 27;
        for (size_t i = sizeFrom; i < all.size(); ++i) {
            ASSERT_NEAR(row.dLevel, all[i], row.dWithin) << i;
        }
    }
}

TEST_P(decode, AudioIsLateUnlessTheDelayIsTakenOut)
{
    constexpr uint32_t CHANNELS = 2;
    // Bytes of each channel, the last of a sample missing its second.
    for (const size_t sizeBytes : {1U, 2U, 3U, 24U, 26U, 28U, 4095U, 4096U, 4097U, 10000U}) {
        SCOPED_TRACE(sizeBytes);
        const size_t sizeFrames = sizeBytes / 2;
        const bytes_t sound = Pattern(sizeBytes * CHANNELS);
        Open(sound, CHANNELS);
        EXPECT_EQ(DELAY, spFile->GetDelay());
        EXPECT_EQ(sizeFrames, spFile->GetOutputLength());
        samples_t late = ReadOn(*spFile, CHANNELS * BLOCK);
        EXPECT_EQ(sizeFrames * CHANNELS, late.size());
        // In pieces, of which the last is no whole frame.
        samples_t rest(CHANNELS * DELAY + 1);
        EXPECT_EQ(6U, spFile->Flush(rest.data(), 7));
        EXPECT_EQ(CHANNELS * DELAY - 6, spFile->Flush(rest.data() + 6, rest.size() - 6));
        EXPECT_EQ(0U, spFile->Flush(rest.data(), rest.size()));
        late.insert(late.end(), rest.begin(), rest.end() - 1);
        EXPECT_EQ(0U, spFile->Read(rest.data(), 0));

        Open(sound, CHANNELS, false, true);
        EXPECT_EQ(0U, spFile->GetDelay());
        // Where the format allows it, in reads smaller than the delay.
        const size_t sizeRead = GetParam() == FORMAT_DSDIFF ? CHANNELS : CHANNELS * BLOCK;
        EXPECT_TRUE(Same(Part(late, CHANNELS * DELAY), ReadOn(*spFile, sizeRead)));
    }
}

TEST_P(decode, SeeksGiveTheSameSamplesOnceTheFilterIsFull)
{
    const bytes_t sound = Pattern(2 * 4 * 2 * BLOCK);
    for (const bool bWithoutDelay : {false, true}) {
        Open(sound, 2, false, bWithoutDelay);
        const samples_t all = ReadOn(*spFile, 2 * BLOCK);
        ASSERT_EQ(8 * BLOCK, all.size());
        for (const size_t sizeBlock : {3U, 1U, 0U, 2U}) {
            if (sizeBlock != 0) {
                // Then the seek is one to where the file stands already.
                samples_t before(2 * BLOCK);
                spFile->SeekFrame((sizeBlock - 1) * BLOCK);
                spFile->Read(before.data(), before.size());
            }
            spFile->SeekFrame(sizeBlock * BLOCK);
            const samples_t part = ReadOn(*spFile, 2 * BLOCK);
            const size_t sizeFrom = 2 * sizeBlock * BLOCK;
            ASSERT_EQ(all.size() - sizeFrom, part.size());
            // Nothing is there before the beginning, so nothing is missing behind a seek to it.
            const size_t sizeFull = sizeBlock == 0 ? 0 : 2U * (bWithoutDelay ? 14 : 27);
            EXPECT_TRUE(Same(Part(all, sizeFrom + sizeFull), Part(part, sizeFull)));
            EXPECT_EQ(sizeFull == 0, part.front() == all[sizeFrom]);
        }
    }
}

TEST_P(decode, RawReadsAndFlushesInBetweenRestartIt)
{
    const bytes_t sound = Pattern(16 * BLOCK);
    Open(sound, 1);
    samples_t out(BLOCK);
    spFile->SeekFrame(2 * BLOCK);
    spFile->Read(out.data(), BLOCK);
    const samples_t expected = out;

    const std::function<void()> aBetween[] = {
        [&] {
            bytes_t raw(2 * BLOCK);
            spFile->ReadRaw(raw.data(), raw.size());
        },
        [&] {
            spFile->Read(out.data(), BLOCK);
            spFile->Flush(out.data(), 1);
        },
    };
    for (const auto &Between : aBetween) {
        spFile->SeekFrame(0);
        spFile->Read(out.data(), BLOCK);
        Between();
        spFile->Read(out.data(), BLOCK);
        EXPECT_TRUE(Same(expected, out));
    }
}

TEST_P(decode, NothingAskedForNeedsNoBuffer)
{
    const bytes_t sound = Pattern(16384);
    for (const bool bWithoutDelay : {false, true}) {
        SCOPED_TRACE(bWithoutDelay);
        const auto Reopen = [&] {
            spFile->Open(MakeStream(GetParam(), sound, 2), 0, 2, false, bWithoutDelay);
        };
        Reopen();
        const samples_t expected = ReadAll(*spFile, 2 * BLOCK);
        Reopen();
        const auto AskForNothing = [&] {
            EXPECT_EQ(0U, spFile->Flush(nullptr, 0));
            EXPECT_EQ(0U, spFile->Read_5_1(nullptr, 0));
            EXPECT_EQ(0U, spFile->Read(nullptr, 0));
            EXPECT_EQ(0U, spFile->ReadRaw(nullptr, 0));
            EXPECT_EQ(0U, spFile->ReadRaw_5_1(nullptr, 0));
        };
        AskForNothing();
        samples_t all(2 * BLOCK);
        all.resize(spFile->Read(all.data(), all.size()));
        AskForNothing();
        const samples_t rest = ReadAll(*spFile, 2 * BLOCK);
        all.insert(all.end(), rest.begin(), rest.end());
        EXPECT_TRUE(Same(expected, all));
        AskForNothing();
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
    // Without memory there are no workers; nor does a failed Open leave those of the one before.
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

// One sound, and every way to it.
TEST(clDSD, DecodesToTheSameBitsEveryWay)
{
    const uint32_t uSeed = 20240611;
    SCOPED_TRACE(uSeed);
    std::mt19937 random(uSeed);
    const auto Any = [&](uint32_t uFrom, uint32_t uTo) {
        return std::uniform_int_distribution<uint32_t>(uFrom, uTo)(random);
    };
    for (uint32_t uRound = 0; uRound < 24; ++uRound) {
        const uint32_t uChannels = uRound % 6 + 1;
        const size_t sizeBytes = Any(1, 60000);
        const bool bDouble = Any(0, 1) != 0;
        const bytes_t sound = Pattern(sizeBytes * uChannels);
        const auto spPlain = MakeFile(FORMAT_DSDIFF);
        spPlain->Open(MakeStream(FORMAT_DSDIFF, sound, uChannels), 0, 1, bDouble, false, true);
        const samples_t expected = ReadAll(*spPlain, uChannels * 30000);
        ASSERT_EQ((sizeBytes / 2 + DELAY) * uChannels, expected.size());

        for (int iWay = 0; iWay < 6; ++iWay) {
            const auto format = iWay % 2 == 0 ? FORMAT_DSDIFF : FORMAT_DSF;
            const uint32_t uBlock = 2 * Any(1, Any(1, 3000));
            MemoryStream *pStream = nullptr;
            uint32_t uRead = Any(1, Any(1, 30000));
            if (format == FORMAT_DSDIFF) {
                pStream = MakeStream(format, sound, uChannels);
            } else {
                // Any block size, either order of bits.
                const size_t sizeGroups = (sizeBytes + uBlock - 1) / uBlock;
                const bool bMsbFirst = Any(0, 1) != 0;
                bytes_t data(sizeGroups * uBlock * uChannels, 0x55);
                for (size_t i = 0; i < sound.size(); ++i) {
                    const size_t sizeByte = i / uChannels;
                    data[(sizeByte / uBlock * uChannels + i % uChannels) * uBlock +
                         sizeByte % uBlock] = bMsbFirst ? sound[i] : Reversed(sound[i]);
                }
                pStream = DSFBuilder()
                              .Channels(uChannels, 2)
                              .BlockSize(uBlock)
                              .BitsPerSample(bMsbFirst ? 8 : 1)
                              .Data(data, sizeBytes * 8)
                              .Stream();
                uRead = uBlock / 2 * Any(1, 60000 / uBlock + 1);
            }
            pStream->ShortReads(Any(1, 5000));
            const uint32_t uWorkers = Any(0, 7);
            const bool bPlain = Any(0, 1) != 0;
            SCOPED_TRACE(testing::Message()
                         << "round " << uRound << ", way " << iWay << ", " << uWorkers
                         << " workers, reads of " << uRead << ", plain " << bPlain);
            const auto spFile = MakeFile(format);
            spFile->Open(pStream, Any(0, 1) * uRead, uWorkers, bDouble, false, bPlain);
            ASSERT_TRUE(Same(expected, ReadAll(*spFile, size_t{uRead} * uChannels)));
        }
    }
}

TEST(clDSDIFF, Read51PlacesChannelsBySpeaker)
{
    const struct {
        std::vector<std::string> ids;
        int aiChannels[6]; // in each place of the frame; -1: silence
    } aRows[] = {
        {{"SRGT", "SLFT"}, {0, 1, -1, -1, -1, -1}},
        // Of two channels with one place the later has it.
        {{"SLFT", "MLFT", "LS  "}, {1, -1, -1, -1, 2, -1}},
    };
    clDSDIFF reader;
    for (const auto &row : aRows) {
        const size_t sizeChannels = row.ids.size();
        reader.Open(
            DSDIFFBuilder().Channels(row.ids).Sound(Pattern(sizeChannels * 2 * 20)).Stream());
        samples_t plain(sizeChannels * 20);
        ASSERT_EQ(plain.size(), reader.Read(plain.data(), plain.size()));
        reader.SeekSample(0);
        // Asked for more than there is: silence up to the end of the buffer.
        samples_t out(6 * 40, 7.0);
        ASSERT_EQ(120U, reader.Read_5_1(out.data(), out.size()));
        for (size_t i = 0; i < out.size(); ++i) {
            const int iChannel = i < 120 ? row.aiChannels[i % 6] : -1;
            const size_t sizePlain = i / 6 * sizeChannels + static_cast<size_t>(iChannel);
            ASSERT_EQ(iChannel < 0 ? 0.0 : plain[sizePlain], out[i]) << i;
        }
        // The frames of Flush are those of the last read.
        EXPECT_EQ(6 * DELAY, reader.Flush(out.data(), out.size()));
        EXPECT_THROW_MSG(reader.Read_5_1(out.data(), 8), clXDSDIFF,
                         "clDSDIFF::Read_5_1(): read size must be multiple of channels");
    }
}

TEST(clDSF, Read51PlacesChannelsByType)
{
    clDSF reader;
    const bytes_t data = Pattern(size_t{4} * 4096);
    samples_t four(4 * BLOCK);
    samples_t out(6 * BLOCK, 7.0);
    for (const uint32_t uType : {4U, 5U}) {
        reader.Open(DSFBuilder().Channels(4, uType).Data(data, 4096 * 8).Stream());
        ASSERT_EQ(four.size(), reader.Read(four.data(), four.size()));
        reader.SeekSample(0);
        out.assign(out.size(), 7.0);
        ASSERT_EQ(out.size(), reader.Read_5_1(out.data(), out.size()));
        const size_t sizeThird = uType == 4 ? 4 : 2;
        for (size_t i = 0; i < BLOCK; ++i) {
            EXPECT_EQ(four[4 * i + 1], out[6 * i + 1]);
            EXPECT_EQ(four[4 * i + 2], out[6 * i + sizeThird]);
            EXPECT_EQ(7.0, out[6 * i + 6 - sizeThird]) << "left alone";
        }
    }
    EXPECT_THROW_MSG(reader.Read_5_1(out.data(), 6 * BLOCK - 6), clXDSF,
                     "clDSF::Read(): read size must be multiple of blocksize");
}

TEST(clDSF, ReadGivesTheWholeSamplesOfABrokenGroup)
{
    // Two groups of two blocks of eight bytes; what is there of the second, and its samples.
    const bytes_t data = Pattern(32);
    const struct {
        size_t sizeRest;
        size_t sizeSamples;
    } aRows[] = {{0, 0}, {7, 0}, {9, 0}, {10, 1}, {13, 2}, {16, 4}};
    samples_t out(16);
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.sizeRest);
        bytes_t file = DSFBuilder().BlockSize(8).Data(data, 128).Build();
        file.resize(file.size() - 16 + row.sizeRest);
        clDSF reader;
        reader.Open((new MemoryStream(file))->ClaimSize(0)->ShortReads(5));
        EXPECT_EQ(2 * (4 + row.sizeSamples), reader.Read(out.data(), out.size()));
        EXPECT_EQ(0U, reader.Read(out.data(), out.size()));
    }
    // Behind the sample count there is no sound.
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

// The switches that a subclass has.
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
    blocks.Open(DSFBuilder().BlockSize(1).Data({0x01, 0x80}, 8).Stream());
    ASSERT_EQ(16U, blocks.Read(out.data(), 16));
    EXPECT_TRUE(out[0] == 1.0 && out[15] == 1.0 && out[1] == -1.0 && out[14] == -1.0);
}
