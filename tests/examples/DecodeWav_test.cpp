// The example that decodes, from outside: a tone of the sample generator through both formats.

#include "examples/clWavFile.h"
#include "tests/support/RunProgram.h"
#include "tests/support/Spectrum.h"
#include "tests/support/TempFolder.h"

#include <cstring>

#include <gtest/gtest.h>

namespace
{

// Bytes of a WAV file before the samples.
constexpr size_t HEADER = 116;
// 2 to the 14th samples at 176.4 kHz; one bin is 10.8 Hz wide.
constexpr size_t LENGTH = 1 << 14;

uint64_t Number(const std::string &strBytes, size_t uOffset, size_t sizeBytes)
{
    uint64_t uValue = 0; // its lowest byte first, as in the file
    strBytes.copy(reinterpret_cast<char *>(&uValue), sizeBytes, uOffset);
    return uValue;
}

} // namespace

TEST(decode_wav, KeepsATone)
{
    const TempFolder folder;
    const std::string strDSDIFF = folder.Path("a.dff");
    const std::string strDSF = folder.Path("a.dsf");
    // Bins 93 and 1003: 1.0 kHz and 10.8 kHz.
    const std::string strFrequencies =
        std::to_string(93 * 176400.0 / LENGTH) + ',' + std::to_string(1003 * 176400.0 / LENGTH);
    ASSERT_EQ(0, RunProgram({MAKE_SAMPLE, strDSDIFF, "--seconds", "0.12", "--frequency",
                             strFrequencies, "--level", "-4"})
                     .iStatus);
    ASSERT_EQ(0, RunProgram({VANTREL_PROGRAM, strDSDIFF, strDSF}).iStatus);
    ASSERT_EQ(0, RunProgram({DECODE_WAV, strDSDIFF, folder.Path("a.wav")}).iStatus);
    ASSERT_EQ(0, RunProgram({DECODE_WAV, strDSF, folder.Path("b.wav")}).iStatus);
    const std::vector<uint8_t> wav = folder.Read("a.wav");
    EXPECT_TRUE(wav == folder.Read("b.wav"));

    const size_t uFrames = 176400 * 12 / 100;
    ASSERT_EQ(HEADER + uFrames * 8, wav.size());
    const std::string strHeader = clWavFile::MakeHeader(176400, 2, uFrames * 8);
    EXPECT_EQ(strHeader, std::string(wav.begin(), wav.begin() + HEADER));
    for (const size_t uChannel : {0U, 1U}) {
        std::vector<double> aSamples(LENGTH);
        for (size_t i = 0; i < LENGTH; ++i) {
            float fSample = 0.0F;
            // Modulator and filter have settled by then.
            std::memcpy(&fSample, &wav[HEADER + ((1000 + i) * 2 + uChannel) * 4], 4);
            aSamples[i] = fSample;
        }
        // A gain of the loop that is too high distorts this level first.
        const tone_t tone = MeasureTone(aSamples, uChannel == 0 ? 93 : 1003, 1857);
        EXPECT_NEAR(-4.0, tone.dLevel, 0.001);
        EXPECT_GE(tone.dRatio, 122.0);
    }
}

TEST(clWavFile, HeaderGrowsBeyondFourGiB)
{
    // The largest data of a WAV file: 108 bytes of the header count as well.
    constexpr uint64_t MOST = (uint64_t{1} << 32) - 1 - 108;
    constexpr uint64_t FRAME = 24;
    const uint64_t uSmall = MOST / FRAME * FRAME;
    for (const uint64_t uSize : {uSmall, uSmall + FRAME}) {
        const bool bLarge = uSize > MOST;
        const std::string strHeader = clWavFile::MakeHeader(176400, 6, uSize);
        ASSERT_EQ(HEADER, strHeader.size());
        EXPECT_EQ(bLarge ? "RF64" : "RIFF", strHeader.substr(0, 4));
        EXPECT_EQ(bLarge ? "ds64" : "JUNK", strHeader.substr(12, 4));
        EXPECT_EQ(bLarge ? 108 + uSize : 0, Number(strHeader, 20, 8));
        EXPECT_EQ(bLarge ? uSize : 0, Number(strHeader, 28, 8));
        EXPECT_EQ(bLarge ? uSize / FRAME : 0, Number(strHeader, 36, 8));
        EXPECT_EQ(bLarge ? UINT32_MAX : 108 + uSize, Number(strHeader, 4, 4));
        EXPECT_EQ(bLarge ? UINT32_MAX : uSize, Number(strHeader, 112, 4));
    }
}
