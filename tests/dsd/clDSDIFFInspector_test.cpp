#include "dsd/clDSDIFFInspector.h"

#include "base/clException.h"
#include "dsd/clDSDIFF.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/ID3Builder.h"
#include "tests/support/InspectorHelpers.h"

#include <algorithm>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

using B = DSDIFFBuilder;
using I = clDSDIFFInspector;

namespace
{

const bytes_t TAG = TitleTag("title");

bytes_t DST(uint32_t uFrames, uint16_t uRate)
{
    return B::Chunk("DST ", B::Chunk("FRTE", B::Number(uFrames, 4) + B::Number(uRate, 2)) +
                                B::Chunk("DSTF", Pattern(7)));
}

} // namespace

TEST(clDSDIFFInspector, FindsNothingWrongWithWholeFiles)
{
    const bytes_t odd = B().Channels({"C   "}).Sound(Pattern(15)).Build();
    const bytes_t files[] = {
        B().Build(),
        B().Sound({}).Build(),
        B().Trailing(TAG).Build(),
        odd,
        odd + TAG,
        Part(odd, 0, odd.size() - 1),
        // The form may leave out the last pad byte, which may be there or not.
        B().Channels({"C   "}).Sound(Pattern(15)).FormSize(odd.size() - 13).Build(),
        B().Channels({"C   "}).Sound(Pattern(15)).FormSize(odd.size() - 13).Trailing(TAG).Build(),
        B().SubChunk(B::Chunk("ABSS", Pattern(8))).SubChunk(B::Chunk("LSCO", {0, 0})).Build(),
        B().SubChunk(B::Chunk("????", Pattern(3))).After(B::Chunk("ABCD", Pattern(5))).Build(),
        B().After(B::Chunk("DIIN", B::Chunk("DIAR", B::Number(1, 4) + B::Text("a")))).Build(),
        B().Before(B::Chunk("ID3 ", TAG)).Build(),
        B().Compression("DST ").NoSound().After(DST(1, 75)).Build(),
    };
    for (const bytes_t &file : files) {
        SCOPED_TRACE(&file - files);
        EXPECT_EQ("", Texts(Inspected<I>(file, true)));
    }
}

TEST(clDSDIFFInspector, ReportsEachFault)
{
    const bytes_t whole = B().Build();
    const size_t sizeForm = whole.size() - 12;
    const std::string strForm = "L: the form announces ";
    const bytes_t extra = B::Chunk("XYZ ", Pattern(4));
    const struct {
        bytes_t file;
        std::string strTexts;
    } aRows[] = {
        {{}, "R: not DSDIFF: the file has only 0 bytes"},
        {B::Text("RIFF") + whole, "R: not DSDIFF: the file begins with 'RIFF', not with 'FRM8'"},
        {B::Chunk("FRM8", B::Text("AIFF") + extra),
         "R: not DSDIFF: the type of the form is 'AIFF', not 'DSD '"},
        {B::Chunk("FRM8", B::Text("DSD ")), "R: no chunk 'PROP', which says what the sound is|"
                                            "R: no sound data chunk"},
        {B().Rate(0).Build(), "L: no sample rate"},
        {B().Channels({}).Build(), "R: no channels"},
        {B().ChannelCount(7).Sound({}).Build(), "R: 7 channels, of which a DSF file has at most 6"},
        {B().Channels({"SLFT", "MLFT"}).Build(), "L: two channels claim the place L"},
        {B().Channels({"MRGT", "LFE ", "C\x1B[1"}).Sound({}).Build(),
         "L: no DSF channel type names the channels R LFE 'C?[1'"},
        {B().Compression("").Build(), "R: no chunk 'CMPR', which names the compression"},
        {B().NoSound().Build(), "R: no sound data chunk"},
        {B().Compression("DST ").Build(),
         "R: no sound data chunk: the compression is 'DST ', the only one is 'DSD '"},
        {B().NoSound().After(DST(1, 75)).Build(),
         "R: no sound data chunk: the compression is 'DSD ', the only one is 'DST '"},
        {B().Compression("DST ").NoSound().After(DST(1, 74)).Build(),
         "L: DST sound of 74 frames a second, not of 75"},
        {B().Compression("DST ").NoSound().After(B::Chunk("DST ", Pattern(30))).Build(),
         "R: DST sound does not begin with the chunk 'FRTE'"},
        {B().Rate(44100 * 64 + 1).Compression("DST ").NoSound().After(DST(1, 75)).Build(),
         "R: DST sound cannot have a sample rate of 2822401 Hz"},
        {B().Sound(Pattern(5)).Build(),
         "L: sound data ends within a frame: 5 bytes for 2 channels"},
        {Part(whole, 0, whole.size() - 6), strForm + std::to_string(sizeForm) +
                                               " bytes, the file has " +
                                               std::to_string(sizeForm - 6) +
                                               " after the form's header|"
                                               "L: sound data ends early: 10 of 16 announced "
                                               "bytes are there"},
        {B().Sound(Pattern(4), INT64_MAX).FormSize(UINT64_MAX).Build(),
         strForm + "18446744073709551615 bytes, the file has 122 after the form's header|"
                   "L: sound data ends early: 4 of 9223372036854775807 announced bytes are there"},
        {B().Trailing(extra).Build(), strForm + std::to_string(sizeForm) + " bytes, the file has " +
                                          std::to_string(sizeForm + extra.size()) +
                                          " after the form's header"},
        {B().Trailing(TAG + bytes_t(3)).Build(),
         "L: 3 bytes follow the tag at the end of the file"},
        {B().After({1, 2, 3, 4}).Build(), "L: 4 bytes at byte 146 make no chunk"},
        {B().After(B::HugeChunk("XYZ\n", {}, UINT64_MAX)).Build(),
         "L: chunk 'XYZ?' at byte 146 extends beyond the file"},
        {B().Before(B::Chunk("FVER", Pattern(6))).Build(),
         "R: chunk 'FVER' at byte 118 has a wrong size"},
        {B().After(B::Chunk("PROP", B::Text("SNDX"))).Build(),
         "L: chunk 'PROP' at byte 146 is not the first|"
         "R: chunk 'PROP' at byte 146 does not begin with 'SND '|"
         "R: no chunk 'CMPR', which names the compression|L: no sample rate|R: no channels"},
        {B().SubChunk(B::Chunk("FS  ", Pattern(5))).Build(),
         "R: chunk 'FS  ' at byte 118 has a wrong size|"
         "L: chunk 'FS  ' at byte 118 is not the first|L: no sample rate"},
        {B().SubChunk(B::HugeChunk("ABCD", {}, UINT64_MAX - 3)).Build(),
         "L: chunk 'ABCD' at byte 118 extends beyond its chunk 'PROP' at byte 32"},
        {B().SubChunk(bytes_t(6)).Build(),
         "L: 6 bytes at the end of chunk 'PROP' at byte 32 make no chunk"},
        {B().SubChunk(B::Chunk("CMPR", B::Text("DSD \3ab"))).Build(),
         "R: chunk 'CMPR' at byte 118 has a wrong size|"
         "L: chunk 'CMPR' at byte 118 is not the first"},
        {B().After(B::Chunk("DSD ", Pattern(2))).Build(),
         "L: more sound data: chunk 'DSD ' at byte 146"},
        {B().Before(B::Chunk("ID3 ", TAG)).After(B::Chunk("ID3 ", Pattern(9))).Build(),
         "W: chunk 'ID3 ' at byte 184 does not begin with 'ID3'"},
        {B().After(B::HugeChunk("DIIN", Pattern(3), 3)).Build(),
         "C: 3 bytes at the end of chunk 'DIIN' make no chunk"},
        {B().After(B::Chunk("COMT", bytes_t((1 << 20) + 1))).Build(),
         "C: chunk 'COMT' at byte 146 is not read: its size of 1048577 bytes is too large"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.strTexts);
        EXPECT_EQ(row.strTexts, Texts(Inspected<I>(row.file, false)));
    }
}

TEST(clDSDIFFInspector, KeepsAFewOfManyFaults)
{
    bytes_t many;
    for (int i = 0; i < 1000; ++i) {
        Append(many, B::Chunk("FVER", {}) + B::Chunk("ID3 ", TAG) + B::Chunk("DIIN", {1}));
    }
    const I inspector = Inspected<I>(B().Before(many).Build(), false);
    const findings_t &findings = inspector.GetFindings();
    ASSERT_EQ(16U + 1 + 9, findings.size());
    EXPECT_EQ("984 more faults of this kind", findings.back().strText);
    EXPECT_EQ(I::MAX_TAGS, inspector.aTagChunks.size());
    EXPECT_EQ(16U, inspector.sound.uAnnounced);
}

TEST(clDSDIFFInspector, AStreamMayEndBeforeItsSize)
{
    // Walking by the size would take years.
    MemoryStream stream(Part(B().FormSize(INT64_MAX).Build(), 0, 60));
    stream.ClaimSize(INT64_MAX);
    I inspector;
    inspector.Inspect(stream);
    EXPECT_NE(std::string::npos,
              Texts(inspector).find("R: the file ends before its size of 9223372036854775807"));

    MemoryStream failing(B().Build());
    failing.FailAt<clXFileIO>(MemoryStream::CALL_READ, 1, "failed");
    EXPECT_THROW(inspector.Inspect(failing), clXFileIO);
}

// Damaged files: the inspector accepts nothing that the reader refuses or reads otherwise.
TEST(clDSDIFFInspector, AgreesWithTheReader)
{
    const bytes_t whole = B().SubChunk(B::Chunk("ABSS", Pattern(8)), true)
                              .SubChunk(B::Chunk("????", Pattern(3)))
                              .Before(B::Chunk("ID3 ", TAG))
                              .After(B::Chunk("DIIN", B::Chunk("DIAR", B::Number(1, 4))))
                              .Trailing(TAG)
                              .Build();
    constexpr unsigned SEED = 20261122;
    std::mt19937 random(SEED);
    const uint8_t auValues[] = {0, 1, 2, 3, 4, 5, 12, 0x7F, 0x80, 0xFF};
    unsigned uAccepted = 0;
    for (int i = 0; i < 30000; ++i) {
        SCOPED_TRACE(testing::Message() << "seed " << SEED << ", file " << i);
        bytes_t file = whole;
        for (size_t uEdits = random() % 3; uEdits != 0; --uEdits) {
            const size_t uAt = random() % file.size();
            switch (random() % 4) {
            case 0:
                file.resize(std::max<size_t>(uAt, 1));
                break;
            case 1:
                file.insert(file.begin() + static_cast<ptrdiff_t>(uAt), random() % 14, 0);
                break;
            default:
                file[uAt] = auValues[random() % std::size(auValues)];
            }
        }
        const I inspector = Inspected<I>(file, false);
        const findings_t &findings = inspector.GetFindings();
        if (!std::all_of(findings.begin(), findings.end(), [](const finding_t &finding) {
                return finding.eSeverity > severity_t::LENIENT;
            })) {
            continue;
        }
        clDSDIFF reader;
        auto *const pStream = new MemoryStream(file);
        ASSERT_NO_THROW(reader.OpenMeta(pStream));
        if (inspector.eCompression == I::compression_t::DST) {
            continue;
        }
        ++uAccepted;
        ASSERT_EQ(reader.GetSampleRate(), inspector.uSampleRate);
        ASSERT_EQ(reader.GetChannels(), inspector.auIds.size());
        ASSERT_EQ(reader.GetDataSize(), inspector.sound.uPresent);
        ASSERT_EQ(static_cast<uint64_t>(pStream->Tell()), inspector.sound.uOffset);
        ASSERT_EQ(reader.GetLength(), inspector.GetSamples());
        ASSERT_FALSE(reader.IsCompressed());
    }
    EXPECT_GT(uAccepted, 5000U);
}
