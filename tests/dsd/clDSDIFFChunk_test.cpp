#include "dsd/clDSDIFFChunk.h"

#include "base/clException.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ID3Builder.h"

#include <functional>

#include <gtest/gtest.h>

namespace
{

using B = DSDIFFBuilder;

// A form of any content, not only such as the builder makes.
bytes_t Form(const bytes_t &chunks, const std::string &strType = "DSD ")
{
    bytes_t data = B::Text(strType);
    Append(data, chunks);
    return B::Chunk("FRM8", data);
}

bytes_t Property(const bytes_t &subChunks, int64_t lSize = -1)
{
    bytes_t data = B::Text("SND ");
    Append(data, subChunks);
    return B::Chunk("PROP", data, lSize);
}

struct parsed_t {
    explicit parsed_t(const bytes_t &file) : stream(file) { form.Read(&stream); }
    clDSDIFFFormChunk form;
    MemoryStream stream;
};

void Parse(const bytes_t &file)
{
    MemoryStream stream(file);
    clDSDIFFFormChunk form;
    form.Read(&stream);
}

} // namespace

TEST(clDSDIFFFormChunk, RefusesDamageInWords)
{
    const std::string strVers = "clDSDIFFVersChunk::Read(): ";
    const std::string strProp = "clDSDIFFPropChunk::Read(): ";
    const bytes_t channels = B::Text(std::string("\0\2SLFTSRGT", 10));
    const struct {
        const char *cpCase;
        bytes_t file;
        std::string strMessage;
    } aRows[] = {
        {"empty", {}, "id != 'FRM8'"},
        {"header cut", B::Text("FRM8"), "id != 'FRM8'"},
        {"other file", B::Text("RIFFxxxxWAVEfmt data"), "id != 'FRM8'"},
        {"no type", B::Chunk("FRM8", {}), "type != 'DSD '"},
        {"other form", Form({}, "AIFF"), "type != 'DSD '"},
        {"version", Form(B::Chunk("FVER", B::Number(0, 6))),
         strVers + "size mismatch, chunk 'FVER'"},
        {"property", Form(B::Chunk("PROP", B::Text("SN"))),
         strProp + "size mismatch, chunk 'PROP'"},
        {"property type", Form(B::Chunk("PROP", B::Text("VID "))), strProp + "type != 'SND '"},
        {"rate", Form(Property(B::Chunk("FS  ", B::Number(0, 2)))),
         strProp + "size mismatch, chunk 'FS  '"},
        {"channels, too small", Form(Property(B::Chunk("CHNL", {1}))),
         strProp + "size mismatch, chunk 'CHNL'"},
        {"channels, one byte more", Form(Property(B::Chunk("CHNL", channels, 11))),
         strProp + "size mismatch, chunk 'CHNL'"},
        {"compression, too small", Form(Property(B::Chunk("CMPR", {1}))),
         strProp + "size mismatch, chunk 'CMPR'"},
        {"compression name", Form(Property(B::Chunk("CMPR", B::Text("DSD \3abcd")))),
         strProp + "name size mismatch, chunk 'CMPR'"},
        {"start", Form(Property(B::Chunk("ABSS", B::Number(0, 6)))),
         strProp + "size mismatch, chunk 'ABSS'"},
        {"speakers", Form(Property(B::Chunk("LSCO", B::Number(0, 4)))),
         strProp + "size mismatch, chunk 'LSCO'"},
        {"size past 63 bits", Form(B::HugeChunk("COMT", {}, uint64_t{1} << 63)),
         "size out of range, chunk 'COMT'"},
        {"size that wraps the count", Form(B::HugeChunk("DSD ", {}, UINT64_MAX - 4)),
         "size out of range, chunk 'DSD '"},
        {"size that wraps the position", Form(B::HugeChunk("DSD ", {}, INT64_MAX - 20)),
         "size out of range, chunk 'DSD '"},
        {"sub-chunk of that kind, with an id that is no text",
         Form(Property(B::HugeChunk("\033[2J", {}, UINT64_MAX))),
         strProp + "size out of range, chunk '?[2J'"},
        {"form of that kind", B::HugeChunk("FRM8", B::Text("DSD "), UINT64_MAX),
         "size out of range, chunk 'FRM8'"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpCase);
        EXPECT_THROW_MSG(Parse(row.file), clXDSDIFF,
                         "clDSDIFFFormChunk::Read(): " + row.strMessage);
    }
}

TEST(clDSDIFFFormChunk, WrapsWhatTheStreamThrows)
{
    const bytes_t file = B().Build();
    const auto ParseFailing = [&](auto *pException, unsigned uNth) {
        MemoryStream stream(file);
        using exception_t = std::remove_pointer_t<decltype(pException)>;
        stream.FailAt<exception_t>(MemoryStream::CALL_READ, uNth, "broken");
        clDSDIFFFormChunk form;
        form.Read(&stream);
    };
    EXPECT_THROW_MSG(ParseFailing(static_cast<clXFileIO *>(nullptr), 4), clXDSDIFF,
                     "clDSDIFFFormChunk::Read(): clDSDIFFVersChunk::Read(): broken");
    // Only the form wraps what is not of the family.
    EXPECT_THROW_MSG(ParseFailing(static_cast<std::runtime_error *>(nullptr), 6), clXDSDIFF,
                     "clDSDIFFFormChunk::Read(): broken");
}

TEST(clDSDIFFFormChunk, FindsItsWayOverOddSizes)
{
    // An unknown chunk of odd size in front, and a property chunk that ends in an odd sub-chunk:
    // once with the pad byte counted in its size, once without, when it is its own.
    const bytes_t odd = B::Chunk("XXXX", B::Text("odd"));
    const bytes_t unpadded(odd.begin(), odd.end() - 1);
    for (const bytes_t &last : {odd, unpadded}) {
        bytes_t chunks = odd;
        Append(chunks, Property(last));
        Append(chunks, B::Chunk("DSD ", Pattern(8)));
        const parsed_t parsed(Form(chunks));
        EXPECT_EQ(8U, parsed.form.chunkData.uSize);
    }
}

TEST(clDSDIFFFormChunk, TakesTheTagFromWhereItStands)
{
    const bytes_t junk = B::Text("not a tag");
    bytes_t corrupt = TitleTag("lost");
    corrupt[9] = 0x7F; // announces more than there is
    const struct {
        const char *cpCase;
        bytes_t file;
        const char *cpTitle;
    } aRows[] = {
        {"chunk in front", B().Before(B::Chunk("ID3 ", TitleTag("front"))).Build(), "front"},
        {"chunk behind", B().After(B::Chunk("ID3 ", TitleTag("behind"))).Build(), "behind"},
        {"behind the form", B().Trailing(TitleTag("trailing")).Build(), "trailing"},
        {"corrupt", B().After(B::Chunk("ID3 ", corrupt)).Build(), ""},
        {"corrupt, behind the form", B().Trailing(corrupt).Build(), ""},
        {"empty chunk", B().After(B::Chunk("ID3 ", {})).Build(), ""},
        {"two bytes", B().Trailing(B::Text("ID")).Build(), ""},
        {"other bytes", B().Trailing(junk).Build(), ""},
        {"cut chunk", B().After(B::Chunk("ID3 ", TitleTag("cut"), int64_t{1} << 60)).Build(),
         "cut"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpCase);
        const parsed_t parsed(row.file);
        EXPECT_STREQ(row.cpTitle, parsed.form.tag.GetTitle().c_str());
        EXPECT_EQ(16U, parsed.form.chunkData.uSize);
    }
    // Where the stream does not know better, what is announced takes no memory in advance.
    MemoryStream unsized(B().After(B::Chunk("ID3 ", TitleTag("cut"), int64_t{1} << 60)).Build());
    clDSDIFFFormChunk form;
    form.Read(unsized.ClaimSize(0));
    EXPECT_STREQ("cut", form.tag.GetTitle().c_str());
}

TEST(clDSDIFFFormChunk, KeepsNothingOfAnEarlierFile)
{
    MemoryStream streamFull(B().SubChunk(B::Chunk("LSCO", B::Number(3, 2)))
                                .SubChunk(B::Chunk("ABSS", B::Number(0x0001020300000004, 8)))
                                .After(B::Chunk("ID3 ", TitleTag("first")))
                                .Build());
    MemoryStream streamBare(Form({}));
    clDSDIFFFormChunk form;
    form.Read(&streamFull);
    EXPECT_STREQ("5 channels", form.chunkProperty.GetSpeakerConfig());
    EXPECT_EQ(1U, form.chunkProperty.sStart.uHours);
    EXPECT_EQ(4U, form.chunkProperty.sStart.uSamples);
    EXPECT_EQ("not compressed", form.chunkProperty.strCompressionName);

    form.Read(&streamBare);
    EXPECT_EQ(0U, form.chunkVersion.uVersion);
    EXPECT_EQ(0U, form.chunkProperty.sChannels.channels);
    EXPECT_EQ(0U, form.chunkProperty.uSampleRate);
    EXPECT_STREQ("undefined", form.chunkProperty.GetSpeakerConfig());
    EXPECT_STREQ("", form.tag.GetTitle().c_str());
    EXPECT_EQ(0U, form.chunkData.uSize);
    EXPECT_THROW(form.chunkData.CheckReadRaw(), clXDSDIFF);
}

TEST(clDSDIFFPropChunk, AcceptsBothWaysToPadTheCompressionName)
{
    for (const char *cpPad : {"", "x"}) {
        const bytes_t data = B::Text(std::string("DST \x0Enot compressed") + cpPad);
        bytes_t chunks = B::Chunk("CMPR", data);
        Append(chunks, B::Chunk("FS  ", B::Number(5644800, 4)));
        const parsed_t parsed(Form(Property(chunks)));
        EXPECT_EQ(1U, parsed.form.chunkProperty.GetCompression());
        EXPECT_EQ("not compressed", parsed.form.chunkProperty.strCompressionName);
        EXPECT_EQ(5644800U, parsed.form.chunkProperty.uSampleRate);
    }
}

TEST(clDSDIFFPropChunk, RefusesWhatItCannotName)
{
    const parsed_t none(Form(Property({})));
    EXPECT_THROW_MSG(none.form.chunkProperty.GetCompression(), clXDSDIFF,
                     "clDSDIFFPropChunk::GetCompression(): unknown compression");
    EXPECT_THROW_MSG(none.form.chunkProperty.GetChannelId(0), clXDSDIFF,
                     "clDSDIFFPropChunk::GetChannelId(): uChIdx >= sChannels.channels");
    const parsed_t speakers(Form(Property(B::Chunk("LSCO", B::Number(77, 2)))));
    EXPECT_THROW_MSG(speakers.form.chunkProperty.GetSpeakerConfig(), clXDSDIFF,
                     "clDSDIFFPropChunk::GetSpeakerConfig(): unknown speaker config");
}

TEST(clDSDIFFPropChunk, PlacesChannelsByIdAndCount)
{
    const struct {
        std::vector<std::string> ids;
        std::vector<uint32_t> auPositions;
        std::vector<uint32_t> auCodes;
        bool bConflict;
    } aRows[] = {
        {{"LFE "}, {0}, {3}, false},
        {{"SRGT", "SLFT"}, {1, 0}, {1, 0}, false},
        {{"MRGT", "MLFT"}, {0, 1}, {1, 0}, false}, // stereo knows its own ids alone
        {{"SLFT", "SLFT"}, {0, 1}, {0, 0}, true},
        {{"LFE ", "MLFT", "MRGT"}, {2, 0, 1}, {3, 0, 1}, false},
        {{"MLFT", "C   ", "LFE "}, {0, 1, 2}, {0, 2, 3}, true},
        {{"LS  ", "RS  ", "MLFT", "MRGT"}, {2, 3, 0, 1}, {4, 5, 0, 1}, false},
        {{"MLFT", "MRGT", "C   ", "LS  "}, {0, 1, 2, 3}, {0, 1, 2, 4}, true},
        {{"MLFT", "MRGT", "LS  ", "RS  ", "C   "}, {0, 1, 3, 4, 2}, {0, 1, 4, 5, 2}, false},
        {{"MLFT", "MRGT", "LS  ", "RS  ", "C   ", "LFE "},
         {0, 1, 4, 5, 2, 3},
         {0, 1, 4, 5, 2, 3},
         false},
        {{"RS  ", "LS  ", "LFE ", "C   ", "MRGT", "MLFT", "C001"},
         {0, 1, 2, 3, 4, 5, 6},
         {5, 4, 3, 2, 1, 0, 6},
         false},
    };
    for (const auto &row : aRows) {
        const parsed_t parsed(B().Channels(row.ids).Build());
        const clDSDIFFPropChunk &property = parsed.form.chunkProperty;
        SCOPED_TRACE(testing::PrintToString(row.ids));
        EXPECT_EQ(row.bConflict, property.HasChannelConflict());
        for (uint32_t i = 0; i < row.ids.size(); ++i) {
            EXPECT_EQ(row.auPositions[i], property.GetChannelId(i));
            EXPECT_EQ(row.auCodes[i], property.GetSpeakerCodes()[i]);
        }
    }
}
