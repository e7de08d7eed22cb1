#include "dsd/clDSFInspector.h"

#include "base/clException.h"
#include "dsd/clDSF.h"
#include "io/clStreamReaderFile.h"
#include "tests/support/DSFBuilder.h"
#include "tests/support/ID3Builder.h"
#include "tests/support/InspectorHelpers.h"
#include "tests/support/TempFolder.h"

#include <string>

#include <gtest/gtest.h>

using B = DSFBuilder;

namespace
{

const bytes_t TAG = TitleTag("title");

clDSFInspector Inspected(const bytes_t &file)
{
    return ::Inspected<clDSFInspector>(file, true);
}

// One group of stereo blocks whose samples are ones and whose padding is zero.
bytes_t Blocks(uint64_t uSamples, bool bMsbFirst = false)
{
    bytes_t data(8192);
    for (size_t i = 0; i < uSamples; ++i) {
        for (const size_t uBlock : {0U, 4096U}) {
            data[uBlock + i / 8] |= static_cast<uint8_t>(bMsbFirst ? 0x80 >> i % 8 : 1 << i % 8);
        }
    }
    return data;
}

} // namespace

TEST(clDSFInspector, FindsNothingWrongWithWholeFiles)
{
    const bytes_t files[] = {
        B().Build(),
        B().Data({}, 0).Build(),
        B().Data(Blocks(0), 1).Build(),
        B().Data(Blocks(13), 13).Build(),
        B().Data(Blocks(13, true), 13).BitsPerSample(8).Build(),
        B().Data(Blocks(4095 * 8), 4095 * 8).Build(),
        B().Trailing(TAG).Patch(20, B::Number(92 + 8192, 8)).Build(),
        B().Patch(20, B::Number(92 + 8192, 8)).Build(),
        B().Channels(6, 7).Data(bytes_t(size_t{6} * 4096, 1), 32768).Build(),
    };
    for (const bytes_t &file : files) {
        SCOPED_TRACE(&file - files);
        EXPECT_EQ("", Texts(Inspected(file)));
    }
}

TEST(clDSFInspector, ReportsEachFault)
{
    const bytes_t whole = B().Build();
    const auto patched = [](size_t uOffset, uint64_t uValue, int iBytes = 4) {
        return B().Patch(uOffset, B::Number(uValue, iBytes)).Build();
    };
    bytes_t bad = TAG;
    bad[17] = 0xFF;
    const auto padded = [](size_t uAt) {
        bytes_t data = Blocks(13);
        data[uAt] |= 0x80;
        return B().Data(data, 13).Build();
    };
    const struct {
        bytes_t file;
        std::string strTexts;
    } aRows[] = {
        {{}, "R: not DSF: the file does not begin with 'DSD '"},
        {Part(whole, 0, 91), "R: the file ends in its headers: it has only 91 bytes"},
        {patched(4, 29, 8), "R: chunk 'DSD ' at byte 0 announces 29 bytes instead of 28"},
        {patched(28, 0x78787878), "R: chunk 'xxxx' at byte 28 is not 'fmt '"},
        {patched(84, 11, 8),
         "R: chunk 'data' at byte 80 announces 11 bytes instead of at least 12"},
        {patched(12, 1, 8), "L: the header announces a file of 1 byte, the file has 8284"},
        {patched(40, 2), "C: unknown format version 2"},
        {patched(44, 1), "R: unknown data format 1"},
        {patched(48, 3), "L: channel type 3 is not one of 2 channels"},
        {patched(52, 0), "R: no channels"},
        {patched(52, UINT32_MAX), "R: 4294967295 channels, of which there are at most 6|"
                                  "L: 32768 samples per channel do not fit 8192 bytes of sound "
                                  "data: they take 1 group of 17592186040320 bytes"},
        {patched(56, 0), "L: no sample rate"},
        {patched(60, 16), "R: 16 bits per sample, which must be 1 or 8"},
        {patched(64, 32769, 8), "L: 32769 samples per channel do not fit 8192 bytes of sound data: "
                                "they take 2 groups of 8192 bytes"},
        {patched(64, 0, 8), "C: 0 samples per channel do not fit 8192 bytes of sound data: they "
                            "take 0 groups of 8192 bytes"},
        {patched(64, UINT64_MAX, 8),
         "L: 18446744073709551615 samples per channel do not fit 8192 bytes of sound data: they "
         "take 562949953421312 groups of 8192 bytes"},
        {patched(72, 0), "R: the block size is 0"},
        {B().BlockSize(8).Data(bytes_t(16), 64).Build(), "C: the block size is 8 instead of 4096"},
        {Part(whole, 0, 8000), "L: the header announces a file of 8284 bytes, the file has 8000|"
                               "L: sound data ends early: 7908 of 8192 announced bytes are there"},
        {patched(84, UINT64_MAX, 8),
         "L: sound data ends early: 8192 of 18446744073709551603 announced bytes are there|"
         "C: 32768 samples per channel do not fit 18446744073709551603 bytes of sound data: they "
         "take 1 group of 8192 bytes"},
        {padded(8191), "C: the padding after the last sample of channel 2 is not zero"},
        {B().Trailing(TAG).Build(),
         "C: 26 bytes follow the sound data, to which no metadata pointer leads"},
        {patched(20, 8283, 8),
         "C: the metadata pointer to byte 8283 leads before the end of the sound data"},
        {patched(20, 8285, 8), "C: the metadata pointer to byte 8285 leads beyond the file"},
        {B().Trailing(bytes_t(4) + TAG).Patch(20, B::Number(8288, 8)).Build(),
         "C: the metadata pointer to byte 8288 leaves out 4 bytes after the sound data"},
        {B().Trailing(Pattern(9)).Patch(20, B::Number(8284, 8)).Build(),
         "C: the metadata pointer to byte 8284 does not lead to a tag"},
        {B().Trailing(Part(TAG, 0, 20)).Patch(20, B::Number(8284, 8)).Build(),
         "C: the tag at byte 8284 announces 26 bytes, 20 are there"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.strTexts);
        EXPECT_EQ(row.strTexts, Texts(Inspected(row.file)));
    }
    const std::string strBad =
        Texts(Inspected(B().Trailing(bad).Patch(20, B::Number(8284, 8)).Build()));
    EXPECT_EQ(0U, strBad.find("C: the tag at byte 8284 does not parse: clID3")) << strBad;
}

TEST(clDSFInspector, CountsTheSamplesThatAreThere)
{
    const bytes_t whole = B().Data(bytes_t(16384), 65536 - 3).Build();
    const struct {
        size_t sizeData;
        uint64_t uSamples;
    } aRows[] = {{16384, 65533}, {16383, 65528}, {12289, 32776}, {12288, 32768},
                 {8193, 32768},  {8191, 32760},  {4096, 0},      {0, 0}};
    for (const auto &row : aRows) {
        EXPECT_EQ(row.uSamples, Inspected(Part(whole, 0, 92 + row.sizeData)).GetSamples())
            << row.sizeData;
    }
}

TEST(clDSFInspector, KnowsAnInterruptedConversion)
{
    const TempFolder folder;
    const std::string strPath = folder.Path("cut.dsf");
    {
        clDSF writer;
        writer.Create(strPath.c_str(), 2822400, 2);
        const bytes_t group(8192, 0x69);
        writer.WriteRaw(group.data(), group.size());
        writer.Close();
    }
    clStreamReaderFile stream(clString(strPath.c_str()));
    clDSFInspector inspector;
    inspector.Inspect(stream);
    EXPECT_EQ("R: the conversion that wrote the file was interrupted: its header is provisional, "
              "without samples and without the file's size",
              Texts(inspector));
}
