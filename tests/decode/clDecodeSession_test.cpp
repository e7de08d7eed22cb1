#include "decode/clDecodeSession.h"

#include "tests/support/DecodingTest.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Response.h"

#include <gtest/gtest.h>

namespace
{

constexpr size_t DELAY = 13;

clDecodeSession::setup_t MakeSetup(uint32_t uChannels, uint32_t uWorkers = 0,
                                   bool bWithoutDelay = false)
{
    clDecodeSession::setup_t setup;
    setup.uChannels = uChannels;
    setup.uWorkers = uWorkers;
    setup.bWithoutDelay = bWithoutDelay;
    return setup;
}

} // namespace

TEST(clDecodeSession, ResponseIsFlatThenSilent)
{
    clDecoding decoding(MakeSetup(1));
    const std::vector<double> aResponse = MeasureResponse([&](const bytes_t &sound) {
        MemorySource source(sound, 1);
        decoding.session.Restart();
        return decoding.ReadToEnd(source, 2048) + decoding.Flush(DELAY);
    });
    // Linear phase, a delay of a whole number of samples, and zero after the length that the
    // documents name.
    constexpr size_t CENTRE = 16 * DELAY + 15;
    for (size_t i = 0; i < aResponse.size(); ++i) {
        const double dMirror = i <= 2 * CENTRE ? aResponse[2 * CENTRE - i] : 0.0;
        ASSERT_NEAR(dMirror, aResponse[i], 1e-15) << i;
    }
    // In kHz at 64 times 44.1.
    const auto At = [&](double dKiloHertz) { return Magnitude(aResponse, dKiloHertz / 2822.4); };
    for (double d = 0.0; d <= 50.0; d += 0.5) {
        EXPECT_NEAR(0.0, At(d), d <= 20.0 ? 0.001 : 0.1) << d;
    }
    for (int iFold = 1; iFold <= 8; ++iFold) {
        for (double d = -40.0; d <= 40.0; d += 0.25) {
            ASSERT_GT(-145.0, At(176.4 * iFold + d)) << 176.4 * iFold + d;
        }
    }
}

TEST(clDecodeSession, FullScaleIsOneAndIdleIsSilence)
{
    const struct {
        uint8_t uByte;
        double dGain;
        double dLevel;
        double dWithin;
    } aRows[] = {{0xFF, 1.0 / 32, 1.0, 1e-9},
                 {0x00, 1.0 / 32, -1.0, 1e-9},
                 {0xFF, 2.0 / 32, 2.0, 1e-9},
                 {0x96, 1.0 / 32, 0.0, 1e-8}};
    for (const auto &row : aRows) {
        SCOPED_TRACE(static_cast<unsigned>(row.uByte));
        clDecoding decoding(MakeSetup(1));
        decoding.session.SetConversion(true, row.dGain);
        MemorySource source(bytes_t(8192, row.uByte), 1);
        const samples_t all = decoding.ReadToEnd(source, 2048);
        ASSERT_EQ(4096U, all.size());
        // The filter is full after 27 samples; idle follows silence without a change.
        for (size_t i = row.uByte == 0x96 ? 0 : 27; i < all.size(); ++i) {
            ASSERT_NEAR(row.dLevel, all[i], row.dWithin) << i;
        }
    }
}

TEST(clDecodeSession, DelaysTheSignalUnlessToldNotTo)
{
    constexpr uint32_t CHANNELS = 2;
    // Bytes of each channel; an odd count ends inside a decoded sample.
    for (const size_t sizeBytes : {0U, 1U, 2U, 3U, 24U, 26U, 28U, 4095U, 4096U, 4097U, 10000U}) {
        SCOPED_TRACE(sizeBytes);
        const bytes_t sound = Pattern(sizeBytes * CHANNELS);
        MemorySource source(sound, CHANNELS);
        clDecoding delayed(MakeSetup(CHANNELS));
        samples_t all = delayed.ReadToEnd(source, 2048);
        EXPECT_EQ(sizeBytes / 2 * CHANNELS, all.size());
        // In parts, of which the first is no whole number of frames.
        const samples_t first = delayed.Flush(7);
        EXPECT_EQ(6U, first.size());
        all = all + first + delayed.Flush(CHANNELS * DELAY + 1);
        EXPECT_EQ((sizeBytes / 2 + DELAY) * CHANNELS, all.size());
        EXPECT_TRUE(delayed.Flush(100).empty());

        for (const uint64_t uFrames : {1U, 5U, 14U, 2048U}) {
            SCOPED_TRACE(uFrames);
            source.uPosition = 0;
            clDecoding prompt(MakeSetup(CHANNELS, 0, true));
            EXPECT_TRUE(EqualBytes(Part(all, CHANNELS * std::min(DELAY, all.size() / CHANNELS)),
                                   prompt.ReadToEnd(source, uFrames)));
            EXPECT_TRUE(prompt.Flush(100).empty());
        }
    }
}

TEST(clDecodeSession, StartsFromSilenceWhereTheSourceHasMoved)
{
    const bytes_t sound = Pattern(20000);
    clDecoding decoding(MakeSetup(1));
    MemorySource source(sound, 1);
    source.uPosition = 4096;
    const samples_t expected = decoding.Read(source, 2048);

    const std::function<void()> aBefore[] = {
        [&] { source.uPosition = 4096; },
        [&] {
            source.uPosition = 0;
            decoding.Read(source, 2000);
            source.uPosition = 4096;
        },
        [&] {
            source.uPosition = 0;
            decoding.Read(source, 2048);
            decoding.Flush(1);
        },
        [&] {
            source.uPosition = 0;
            decoding.Read(source, 2048);
            decoding.session.Restart();
        },
    };
    for (const auto &Before : aBefore) {
        SCOPED_TRACE(testing::Message() << "way " << &Before - aBefore);
        Before();
        EXPECT_TRUE(EqualBytes(expected, decoding.Read(source, 2048)));
    }
    source.uPosition = 0;
    decoding.Read(source, 2048);
    EXPECT_FALSE(EqualBytes(expected, decoding.Read(source, 2048)))
        << "without a reason to restart";
}

TEST(clDecodeSession, PlacesChannelsInFrames)
{
    constexpr double OLD = 7.0;
    clDecoding decoding(MakeSetup(3));
    MemorySource source(Pattern(3 * 200), 3);
    const samples_t plain = decoding.Read(source, 100);
    const struct {
        uint32_t auPlaces[3];
        bool bSilence;
        int aiChannels[4]; // in each place of the frame, -1: none
    } aRows[] = {
        {{3, 0, 1}, false, {1, 2, -1, 0}},
        {{1, 7, 0}, true, {2, 0, -1, -1}},
        {{2, 2, 0}, true, {2, -1, 1, -1}}, // the later of two channels with one place
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - aRows);
        source.uPosition = 0;
        decoding.session.Restart();
        samples_t out(4 * 100, OLD);
        ASSERT_EQ(100U,
                  decoding.session.Read(out.data(), 100, {row.auPlaces, 4, row.bSilence}, source));
        samples_t expected;
        for (size_t i = 0; i < out.size(); ++i) {
            const int iChannel = row.aiChannels[i % 4];
            expected.push_back(iChannel >= 0 ? plain[i / 4 * 3 + static_cast<size_t>(iChannel)]
                                             : (row.bSilence ? 0.0 : OLD));
        }
        EXPECT_TRUE(EqualBytes(expected, out));
        EXPECT_EQ(4 * DELAY, decoding.Flush(1000).size()) << "frames as in the last read";
    }
}

TEST(clDecodeSession, RefusesAReadThatNoMemoryCanHold)
{
    clDecodeSession::setup_t setup = MakeSetup(2);
    setup.uLargestRead = UINT64_MAX;
    EXPECT_THROW(clDecoding{setup}, std::runtime_error);
    clDecoding decoding(MakeSetup(2));
    MemorySource source(Pattern(100), 2);
    source.uMissing = UINT64_MAX - 1000;
    samples_t out(2);
    const uint32_t auPlaces[] = {0, 1};
    EXPECT_THROW(decoding.session.Read(out.data(), UINT64_MAX, {auPlaces, 2, false}, source),
                 std::runtime_error);
}
