#include "dsd/clDSDIFFChunk.h"

#include "base/clException.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ID3Builder.h"

#include <utility>

namespace
{

using B = DSDIFFBuilder;

// A form with any content, also what the builder cannot make.
bytes_t Form(const bytes_t &chunks, const std::string &strType = "DSD ")
{
    bytes_t data = B::Text(strType);
    Append(data, chunks);
    return B::Chunk("FRM8", data);
}

bytes_t Property(const bytes_t &subChunks)
{
    bytes_t data = B::Text("SND ");
    Append(data, subChunks);
    return B::Chunk("PROP", data);
}

// A property chunk of one sub-chunk.
bytes_t Sub(const std::string &strId, const bytes_t &data, int64_t lSize = -1)
{
    return Form(Property(B::Chunk(strId, data, lSize)));
}

bytes_t Huge(const std::string &strId)
{
    return Form(Property(B::HugeChunk(strId, B::Text("DSD \4none"), uint64_t{1} << 63)));
}

struct parsed_t {
    explicit parsed_t(const bytes_t &file) : stream(file) { form.Read(&stream); }
    clDSDIFFFormChunk form;
    MemoryStream stream;
};

} // namespace

TEST(clDSDIFFFormChunk, RefusesDamage)
{
    const std::string strVers = "clDSDIFFVersChunk::Read(): ";
    const std::string strProp = "clDSDIFFPropChunk::Read(): ";
    const bytes_t channels = B::Text(std::string("\0\2SLFTSRGT", 10));
    const std::pair<bytes_t, std::string> aRows[] = {
        {B::Text("FRM8"), "id != 'FRM8'"},
        {B::Text("RIFFxxxxWAVEfmt data"), "id != 'FRM8'"},
        {Form({}, "AIFF"), "type != 'DSD '"},
        {Form(B::Chunk("FVER", B::Number(0, 6))), strVers + "size mismatch, chunk 'FVER'"},
        {Form(B::Chunk("PROP", B::Text("SN"))), strProp + "size mismatch, chunk 'PROP'"},
        {Form(B::Chunk("PROP", B::Text("VID "))), strProp + "type != 'SND '"},
        {Sub("FS  ", B::Number(0, 2)), strProp + "size mismatch, chunk 'FS  '"},
        {Sub("CHNL", {1}), strProp + "size mismatch, chunk 'CHNL'"},
        {Sub("CHNL", channels, 11), strProp + "size mismatch, chunk 'CHNL'"},
        {Sub("CMPR", {1}), strProp + "size mismatch, chunk 'CMPR'"},
        {Sub("CMPR", B::Text("DSD \3abcd")), strProp + "name size mismatch, chunk 'CMPR'"},
        {Sub("ABSS", B::Number(0, 6)), strProp + "size mismatch, chunk 'ABSS'"},
        {Sub("LSCO", B::Number(0, 4)), strProp + "size mismatch, chunk 'LSCO'"},
        // A wrong size is reported before one that is out of range.
        {Form(B::HugeChunk("FVER", {}, UINT64_MAX)), strVers + "size mismatch, chunk 'FVER'"},
        {Form(B::HugeChunk("PROP", B::Text("VID "), UINT64_MAX)), strProp + "type != 'SND '"},
        {Huge("FS  "), strProp + "size mismatch, chunk 'FS  '"},
        {Huge("CHNL"), strProp + "size mismatch, chunk 'CHNL'"},
        {Huge("CMPR"), strProp + "name size mismatch, chunk 'CMPR'"},
        {Huge("ABSS"), strProp + "size mismatch, chunk 'ABSS'"},
        {Huge("LSCO"), strProp + "size mismatch, chunk 'LSCO'"},
        {B::HugeChunk("FRM8", B::Text("AIFF"), UINT64_MAX), "type != 'DSD '"},
        {Form(B::HugeChunk("ID3 ", TitleTag("a"), 1ULL << 63)),
         "clAlloc::SetSize(): lAllocSize < 0"},
        // Sizes past 63 bits, and sizes that make the count or the position wrap. Ids are
        // printable.
        {Form(B::HugeChunk("PROP", B::Text("SND "), UINT64_MAX)),
         strProp + "size out of range, chunk 'PROP'"},
        {Form(B::HugeChunk("COMT", {}, uint64_t{1} << 63)), "size out of range, chunk 'COMT'"},
        {Form(B::HugeChunk("DSD ", {}, UINT64_MAX - 4)), "size out of range, chunk 'DSD '"},
        {Form(B::HugeChunk("DSD ", {}, INT64_MAX - 20)), "size out of range, chunk 'DSD '"},
        {Form(Property(B::HugeChunk("\033[2J", {}, UINT64_MAX))),
         strProp + "size out of range, chunk '?[2J'"},
    };
    for (const auto &[file, strMessage] : aRows) {
        SCOPED_TRACE(strMessage);
        EXPECT_THROW_MSG(parsed_t{file}, clXDSDIFF, "clDSDIFFFormChunk::Read(): " + strMessage);
    }
}

TEST(clDSDIFFFormChunk, AcceptsAnySizeOnARemoteStream)
{
    // While a source is being recorded, both sizes are unknown.
    for (const uint64_t uSize : {uint64_t{INT64_MAX}, uint64_t{1} << 63, UINT64_MAX}) {
        SCOPED_TRACE(uSize);
        const bytes_t file = B().Unbounded(uSize).Build();
        MemoryStream stream(file);
        clDSDIFFFormChunk form;
        form.Read(stream.Remote()->ClaimSize(0));
        EXPECT_EQ(uSize, form.chunkData.uSize);
        bytes_t out(64);
        EXPECT_EQ(16U, form.chunkData.ReadRaw(out.data(), out.size()));
        EXPECT_EQ(0U, form.chunkData.ReadRaw(out.data(), out.size()));
        // In a local file the data is skipped, which such a size does not allow.
        EXPECT_THROW_MSG(parsed_t{file}, clXDSDIFF,
                         "clDSDIFFFormChunk::Read(): size out of range, chunk 'DSD '");
    }
}

TEST(clDSDIFFFormChunk, WrapsWhatTheStreamThrows)
{
    // Also exceptions outside the clX family, unlike the other chunks.
    MemoryStream stream(B().Build());
    stream.FailAt<std::runtime_error>(MemoryStream::CALL_READ, 6, "broken");
    clDSDIFFFormChunk form;
    EXPECT_THROW_MSG(form.Read(&stream), clXDSDIFF, "clDSDIFFFormChunk::Read(): broken");
}

TEST(clDSDIFFFormChunk, FindsItsWayOverOddSizes)
{
    // An unknown chunk of odd size comes first. The property chunk ends in an odd sub-chunk, whose
    // pad byte its size includes in one file and not in the other.
    const bytes_t odd = B::Chunk("XXXX", B::Text("odd"));
    const bytes_t unpadded(odd.begin(), odd.end() - 1);
    for (const bytes_t &last : {odd, unpadded}) {
        SCOPED_TRACE(last.size());
        bytes_t chunks = odd;
        Append(chunks, Property(last));
        Append(chunks, B::Chunk("DSD ", Pattern(8)));
        const parsed_t parsed(Form(chunks));
        EXPECT_EQ(8U, parsed.form.chunkData.uSize);
    }
}

TEST(clDSDIFFFormChunk, FindsTheTagInAnyPlace)
{
    bytes_t corrupt = TitleTag("lost");
    corrupt[9] = 0x7F; // announces more than there is
    const B cut = B().After(B::Chunk("ID3 ", TitleTag("cut"), int64_t{1} << 60));
    const std::pair<bytes_t, const char *> aRows[] = {
        {B().Before(B::Chunk("ID3 ", TitleTag("front"))).Build(), "front"},
        {B().After(B::Chunk("ID3 ", TitleTag("after"))).Build(), "after"},
        {B().Trailing(TitleTag("trailing")).Build(), "trailing"},
        {B().After(B::Chunk("ID3 ", corrupt)).Build(), ""},
        {B().After(B::Chunk("ID3 ", {})).Build(), ""},
        {B().Trailing(corrupt).Build(), ""},
        {B().Trailing(B::Text("ID")).Build(), ""},
        {B().Trailing(B::Text("ID3")).Build(), ""},
        {cut.Build(), "cut"},
    };
    for (const auto &[file, cpTitle] : aRows) {
        SCOPED_TRACE(testing::Message() << cpTitle << ", " << file.size() << " bytes");
        const parsed_t parsed(file);
        EXPECT_STREQ(cpTitle, parsed.form.tag.GetTitle().c_str());
        EXPECT_EQ(16U, parsed.form.chunkData.uSize);
    }
    MemoryStream slow(B().Trailing(TitleTag("trailing")).Build());
    clDSDIFFFormChunk piecemeal;
    piecemeal.Read(slow.ShortReads(4));
    EXPECT_STREQ("trailing", piecemeal.tag.GetTitle().c_str());
    // If the size of the stream is unknown, the announced size is not allocated in advance.
    MemoryStream unsized(cut.Build());
    clDSDIFFFormChunk form;
    form.Read(unsized.ClaimSize(0));
    EXPECT_STREQ("cut", form.tag.GetTitle().c_str());
}

TEST(clDSDIFFFormChunk, ReadsAfterTheFormOnlyWhatCanBeATag)
{
    // Records the largest read.
    struct counting_t : MemoryStream {
        using MemoryStream::MemoryStream;
        ssize_t Read(void *pBuffer, size_t sizeBuffer) override
        {
            sizeLargest = std::max(sizeLargest, sizeBuffer);
            return MemoryStream::Read(pBuffer, sizeBuffer);
        }
        size_t sizeLargest = 0;
    };
    constexpr int64_t SIZE = int64_t{3} << 30;
    constexpr size_t LARGEST_TAG = (size_t{1} << 28) + 20;
    const bytes_t form = B::HugeChunk("FRM8", B::Text("DSD "), 4);
    const struct {
        bytes_t trailing;
        bool bRemote;
        size_t sizeMost;
        const char *cpTitle;
    } aRows[] = {
        {bytes_t(100), false, 12, ""},
        {TitleTag("tag"), false, LARGEST_TAG - 10, "tag"},
        {TitleTag("tag"), true, size_t{SIZE} - 16, "tag"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.sizeMost);
        counting_t stream(form + row.trailing);
        stream.ClaimSize(SIZE);
        row.bRemote ? stream.Remote() : &stream;
        clDSDIFFFormChunk parsed;
        parsed.Read(&stream);
        EXPECT_EQ(row.sizeMost, stream.sizeLargest);
        EXPECT_STREQ(row.cpTitle, parsed.tag.GetTitle().c_str());
    }
}

TEST(clDSDIFFFormChunk, KeepsNothingOfAnEarlierFile)
{
    parsed_t parsed(B().SubChunk(B::Chunk("LSCO", B::Number(3, 2)))
                        .SubChunk(B::Chunk("ABSS", B::Number(0x0001020300000004, 8)))
                        .After(B::Chunk("ID3 ", TitleTag("first")))
                        .Build());
    const clDSDIFFFormChunk &form = parsed.form;
    EXPECT_STREQ("5 channels", form.chunkProperty.GetSpeakerConfig());
    EXPECT_EQ(1U, form.chunkProperty.sStart.uHours);
    EXPECT_EQ(4U, form.chunkProperty.sStart.uSamples);
    EXPECT_EQ("not compressed", form.chunkProperty.strCompressionName);

    MemoryStream bare(Form({}));
    parsed.form.Read(&bare);
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
        SCOPED_TRACE(cpPad);
        bytes_t chunks = B::Chunk("CMPR", B::Text(std::string("DST \x0Enot compressed") + cpPad));
        Append(chunks, B::Chunk("FS  ", B::Number(5644800, 4)));
        const parsed_t parsed(Form(Property(chunks)));
        EXPECT_EQ(1U, parsed.form.chunkProperty.GetCompression());
        EXPECT_EQ("not compressed", parsed.form.chunkProperty.strCompressionName);
        EXPECT_EQ(5644800U, parsed.form.chunkProperty.uSampleRate);
    }
}

TEST(clDSDIFFPropChunk, KnowsOnlyItsOwnValues)
{
    const parsed_t speakers(Sub("LSCO", B::Number(77, 2)));
    EXPECT_THROW_MSG(speakers.form.chunkProperty.GetSpeakerConfig(), clXDSDIFF,
                     "clDSDIFFPropChunk::GetSpeakerConfig(): unknown speaker config");
    EXPECT_THROW_MSG(speakers.form.chunkProperty.GetChannelId(0), clXDSDIFF,
                     "clDSDIFFPropChunk::GetChannelId(): uChIdx >= sChannels.channels");
    const parsed_t swapped(B().Channels({"SRGT", "SLFT"}).Build());
    EXPECT_EQ(1U, swapped.form.chunkProperty.GetChannelId(0));
}
