#include "id3/clID3tag.h"

#include "base/clException.h"
#include "id3/clID3frame.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ID3Builder.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace std::string_literals;

namespace
{

struct Tag : clID3tag {
    using clID3tag::mapFrames;

    explicit Tag(const ID3Builder &builder) { Parse(builder); }
    using clID3tag::Parse;
    void Parse(const ID3Builder &builder)
    {
        const auto bytes = builder.Build();
        clID3tag::Parse(bytes.data(), bytes.size());
    }
};

// A tag of fewer than 128 bytes with a frame of each kind.
ID3Builder FullTag(uint8_t uMajor, const std::string &strExtendedHeader = "")
{
    const bool bShort = uMajor == 2;
    return ID3Builder(uMajor)
        .Bytes(strExtendedHeader)
        .Text(bShort ? "TT2" : "TIT2", "Title")
        .Text(bShort ? "TP1" : "TPE1", "\xFF\xFE\x41\0"s, 1)
        .Frame(bShort ? "WAR" : "WOAR", "http://a/")
        .Frame(bShort ? "TXX" : "TXXX", "raw")
        .Frame(bShort ? "PIC" : "APIC", (bShort ? "\0PNG"s : "\0image/png\0"s) + "\3front\0data"s);
}

void ExpectFullTag(const Tag &tag)
{
    EXPECT_EQ(5u, tag.mapFrames.size());
    EXPECT_STREQ("Title", tag.GetTitle().c_str());
    EXPECT_STREQ("image/png", tag.GetPictureMimeType());
    ASSERT_EQ(4u, tag.GetPictureSize());
    EXPECT_EQ("data", std::string(static_cast<const char *>(tag.GetPicture()), 4));
}

} // namespace

TEST(clID3tag, FramesEndAtPaddingFooterOrTheEnd)
{
    for (const uint8_t uMajor : std::vector<uint8_t>{2, 3, 4}) {
        SCOPED_TRACE(int{uMajor});
        // The footer is the last ten bytes, after any padding.
        ExpectFullTag(Tag(FullTag(uMajor).Bytes(std::string(12, 0)).Flags(0x10)));
        // Too few bytes for another frame end the frames; the size in the header does not.
        ExpectFullTag(
            Tag(FullTag(uMajor).Bytes(std::string(uMajor == 2 ? 5 : 9, 'X')).SetByte(9, 0)));
        // An id of zeros begins the padding.
        ExpectFullTag(Tag(FullTag(uMajor).Bytes(std::string(uMajor == 2 ? 3 : 4, 0) + "XXXX")));
    }
}

TEST(clID3tag, ChecksHeadersAndFooter)
{
    const std::string strParse = "clID3tag::Parse(): ";
    const ID3Builder full = FullTag(4);
    const ID3Builder extended = ID3Builder().Flags(0x40);
    const std::tuple<ID3Builder, size_t, std::string> aRows[] = {
        {ID3Builder(full).SetByte(2, '2'), 0, strParse + "not an ID3v2 tag"},
        {ID3Builder(full).Truncate(9), 0, "clID3base::ReadSS4(): not enough data left"},
        // Too new, or unsynchronised.
        {ID3Builder(full).SetByte(4, 1).Truncate(5), 0, ""},
        {ID3Builder(full).Flags(0xFF), 0, ""},
        {ID3Builder(full).Truncate(40), 0, strParse + "incomplete data"},
        // Too short for header and footer: the difference wraps, and the size check passes.
        {ID3Builder().Flags(0x10).Truncate(19), 0, strParse + "no footer, incomplete data"},
        {ID3Builder(full).Flags(0x10).Bytes("\0\0\0\0"s).SetByte(-8, 'X'), 5,
         strParse + "invalid footer"},
        // The size of an extended header skips nothing.
        {FullTag(4, "\0\0\1\0\1\x70\0\5\xF\x7F\x7F\x7F\x7E\1\xAB"s).Flags(0x40), 5, ""},
        {ID3Builder(extended).Bytes("\0\0\0\5\1\0"s), 0, strParse + "invalid extended header"},
        {ID3Builder(extended).Bytes("\0\0\0\7\1\x40\1"s), 0, strParse + "update size != 0"},
        {ID3Builder(extended).Bytes("\0\0\0\7\1\x20\4"s), 0, strParse + "CRC32 size != 5"},
        {ID3Builder(extended).Bytes("\0\0\0\7\1\x10\0"s), 0, strParse + "restrictions size != 1"},
    };
    for (const auto &[builder, uFrames, strMessage] : aRows) {
        SCOPED_TRACE(testing::PrintToString(builder.Build()));
        // Parse removes earlier frames; a failing one keeps those that it has read.
        Tag tag(FullTag(2));
        if (strMessage.empty()) {
            tag.Parse(builder);
        } else {
            EXPECT_THROW_MSG(tag.Parse(builder), clXID3tag, strMessage);
        }
        EXPECT_EQ(uFrames, tag.mapFrames.size());
    }
}

TEST(clID3tag, InputMayBeAFrameOfTheSameTag)
{
    const auto inner = FullTag(3).Build();
    Tag tag(ID3Builder().Frame("APIC", "\0\0\0\0"s.append(inner.begin(), inner.end())));
    tag.Parse(tag.GetPicture(), tag.GetPictureSize());
    ExpectFullTag(tag);
}

TEST(clID3tag, FieldsTakeTheFirstFrameOfTheFirstId)
{
    // The text of each frame is its id and its index. Expected: title, composer, performer, album.
    const std::tuple<uint8_t, std::vector<const char *>, const char *> aRows[] = {
        {4, {"TALB", "TIT2", "TIT2", "TALB"}, "TIT21,,,TALB0"},
        {4, {"TPE3", "TPE1", "TPE2"}, ",TPE11,TPE22,"},
        {4, {"TPE3", "TPE2", "TCOM"}, ",TCOM2,TPE21,"},
        {2, {"TP3", "TP2", "TP1", "TT2", "TAL"}, "TT23,TP12,TP21,TAL4"},
    };
    for (const auto &[uMajor, ids, cpFields] : aRows) {
        SCOPED_TRACE(cpFields);
        ID3Builder builder(uMajor);
        int iIdx = 0;
        for (const char *cpId : ids) {
            builder.Text(cpId, cpId + std::to_string(iIdx++));
        }
        const Tag tag(builder);
        const clString strFields = tag.GetTitle() + "," + tag.GetComposer() + "," +
                                   tag.GetPerformer() + "," + tag.GetAlbum();
        EXPECT_STREQ(cpFields, strFields.c_str());
    }
}

TEST(clID3tag, TrackIsTheNumberBeforeTheSlash)
{
    const std::pair<const char *, int> aRows[] = {{"-7/12", -7}, {"010/20", 8}, {"7/1/2", 7},
                                                  {"/12", 0},    {"7 ", 0},     {"x", 0}};
    for (const auto &[cpText, iTrack] : aRows) {
        EXPECT_EQ(iTrack, Tag(ID3Builder().Text("TRCK", cpText)).GetTrack()) << cpText;
    }
}

TEST(clID3tag, PictureIsTheFirstCoverOrUnspecifiedOne)
{
    // The types, and the index of the chosen picture from 1, which is also its size.
    const std::pair<std::vector<uint8_t>, uint64_t> aRows[] = {
        {{}, 0}, {{1, 2, 4, 255}, 0}, {{4, 0, 3}, 2}, {{0, 3}, 1}, {{4, 3, 0}, 2}};
    for (const auto &[types, uChosen] : aRows) {
        ID3Builder builder;
        std::string strData;
        for (const uint8_t uType : types) {
            builder.Frame("APIC", "\0\0"s + char(uType) + '\0' + (strData += 'x'));
        }
        const Tag tag(builder);
        SCOPED_TRACE(testing::PrintToString(types));
        EXPECT_EQ(uChosen, tag.GetPictureSize());
        EXPECT_STREQ(uChosen == 0 ? nullptr : "", tag.GetPictureMimeType());
    }
}
