#include "kit/clTagFields.h"

#include "tests/support/Bytes.h"
#include "tests/support/ID3Builder.h"

#include <random>

#include <gtest/gtest.h>

namespace
{

clTagFields Read(const bytes_t &tag)
{
    return clTagFields::Read(tag.data(), tag.size());
}

std::string Picture(uint8_t uMajor)
{
    const std::string strType = uMajor == 2 ? "PNG" : std::string("image/png") + '\0';
    return '\0' + strType + '\3' + "front" + '\0' + std::string("\x89PNG\xFF\0\xFF\xE0", 8);
}

TEST(clTagFields, ReadsTheFieldsOfEveryVersion)
{
    const struct {
        uint8_t uMajor;
        std::vector<std::string> ids; // title, artist, album, track, year, genre, picture
    } aRows[] = {{2, {"TT2", "TP1", "TAL", "TRK", "TYE", "TCO", "PIC"}},
                 {3, {"TIT2", "TPE1", "TALB", "TRCK", "TYER", "TCON", "APIC"}},
                 {4, {"TIT2", "TPE1", "TALB", "TRCK", "TDRC", "TCON", "APIC"}}};
    for (const auto &row : aRows) {
        SCOPED_TRACE(int(row.uMajor));
        const clTagFields fields = Read(ID3Builder(row.uMajor)
                                            .Text(row.ids[0], "G\xF6\xDF")
                                            .Text(row.ids[1], "artist")
                                            .Text(row.ids[2], "album")
                                            .Text(row.ids[3], "3/12")
                                            .Text(row.ids[4], "1999")
                                            .Text(row.ids[5], "(17)")
                                            .Frame(row.ids[6], Picture(row.uMajor))
                                            .Frame(row.ids[6], Picture(row.uMajor))
                                            .Build());
        EXPECT_EQ("2." + std::to_string(row.uMajor) + ".0", fields.strVersion);
        EXPECT_EQ("G\xC3\xB6\xC3\x9F", fields.strTitle);
        EXPECT_EQ("artist", fields.strArtist);
        EXPECT_EQ("album", fields.strAlbum);
        EXPECT_EQ("3/12", fields.strTrack);
        EXPECT_EQ(3U, fields.uTrack);
        EXPECT_EQ(12U, fields.uTracks);
        EXPECT_EQ(1999U, fields.uYear);
        EXPECT_EQ("Rock", fields.strGenre);
        EXPECT_EQ(2U, fields.sizePictures);
    }
}

TEST(clTagFields, ReadsUnsynchronisedTagsExtendedHeadersAndPlainSizes)
{
    // Version 2.3 as a whole: the zero bytes after 0xFF are no content, nor counted by sizes.
    const std::string strUnits("\1\xFF\0\xFE"
                               "a\0b\0",
                               8);
    const bytes_t unsynchronised = ID3Builder(3)
                                       .Flags(0x80)
                                       .Bytes("TIT2" + std::string("\0\0\0\7\0\0", 6) + strUnits)
                                       .Text("TPE1", "after")
                                       .Build();
    EXPECT_EQ("ab", Read(unsynchronised).strTitle);
    EXPECT_EQ("after", Read(unsynchronised).strArtist);

    for (const uint8_t uMajor : {uint8_t{3}, uint8_t{4}}) {
        const std::string strExtended =
            uMajor == 3 ? std::string("\0\0\0\6\0\0\0\0\0\0", 10) : std::string("\0\0\0\6\1\0", 6);
        EXPECT_EQ("x",
                  Read(ID3Builder(uMajor).Flags(0x40).Bytes(strExtended).Text("TIT2", "x").Build())
                      .strTitle);
    }

    // Version 2.4 with sizes as in version 2.3.
    const std::string strLong(200, 'x');
    EXPECT_EQ("after", Read(ID3Builder(4)
                                .Bytes("TALB" + std::string("\0\0\0\xC9\0\0\0", 7) + strLong)
                                .Text("TPE1", "after")
                                .Build())
                           .strArtist);
}

TEST(clTagFields, MakesTagsThatItReads)
{
    clTagFields fields;
    EXPECT_TRUE(fields.Make().empty());
    fields.strTitle = "\xE2\x82\xAC & \xF0\x9D\x84\x9E"; // beyond Latin-1, and beyond 16 bits
    fields.strArtist = "G\xC3\xB6\xC3\x9F";
    fields.strAlbum = "album";
    fields.uTrack = 7;
    fields.uTracks = 12;
    for (const uint8_t uMajor : {uint8_t{2}, uint8_t{3}, uint8_t{4}}) {
        const bytes_t pictures = ID3Builder(uMajor)
                                     .Text(uMajor == 2 ? "TT2" : "TIT2", "other")
                                     .Frame(uMajor == 2 ? "PIC" : "APIC", Picture(uMajor))
                                     .Build();
        const bytes_t tag = fields.Make(pictures.data(), pictures.size());
        const clTagFields read = Read(tag);
        EXPECT_EQ("2.3.0", read.strVersion);
        EXPECT_EQ(fields.strTitle, read.strTitle);
        EXPECT_EQ(fields.strArtist, read.strArtist);
        EXPECT_EQ(fields.strAlbum, read.strAlbum);
        EXPECT_EQ("7/12", read.strTrack);
        EXPECT_EQ(1U, read.sizePictures);
        const std::string strTag(tag.begin(), tag.end());
        EXPECT_NE(std::string::npos, strTag.find("image/png"));
        EXPECT_NE(std::string::npos, strTag.find(std::string("\x89PNG\xFF\0\xFF\xE0", 8)));
    }
    EXPECT_EQ(0U, Read(fields.Make()).sizePictures);
}

TEST(clTagFields, MakesTextsValid)
{
    const std::pair<std::string, std::string> aRows[] = {
        {"plain", "plain"},
        {"G\xC3\xB6", "G\xC3\xB6"},
        {"G\xF6\xDF", "G\xC3\xB6\xC3\x9F"},
        {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"}, // a surrogate
        {"\xC0\xAF", "\xC3\x80\xC2\xAF"},             // an overlong form
        {"\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"},
        {"\xE2\x82", "\xC3\xA2\xC2\x82"}, // cut off
        {std::string("a\0\0", 3), "a"},
        {std::string("\0", 1), ""},
    };
    for (const auto &[strText, strUTF8] : aRows) {
        EXPECT_EQ(strUTF8, clTagFields::ToUTF8(strText));
    }
}

TEST(clTagFields, HostileTagsGiveFewerFields)
{
    // Nested chapters and compressed frames, which the library underneath would follow.
    std::string strNested;
    for (int i = 20000; i-- > 0;) {
        const int iInner = 12 * i + 2;
        strNested += std::string("CHAP\0", 5) + char(iInner >> 16) + char(iInner >> 8) +
                     char(iInner) + std::string("\0\0a\0", 4);
    }
    EXPECT_EQ("", Read(ID3Builder(3).Bytes(strNested).Build()).strTitle);
    const std::string strCompressed = "TIT2" + std::string("\0\0\0\x0D\0\x80\0\0\0\x04", 10) +
                                      std::string("\x78\x9C\x63\x00\x00\x00\x01\x00\x01", 9);
    const clTagFields fields =
        Read(ID3Builder(3).Bytes(strCompressed).Text("TPE1", "after").Build());
    EXPECT_EQ("", fields.strTitle);
    EXPECT_EQ("after", fields.strArtist);

    // Anything at all: cut, and with bytes changed.
    const bytes_t whole = ID3Builder(4)
                              .Text("TIT2", "title", 3)
                              .Text("TRCK", "1/2")
                              .Text("TDRC", std::string("\xFF\xFE\0\xD8", 4), 1)
                              .Frame("APIC", Picture(4))
                              .Build();
    std::mt19937 random(1);
    for (int i = 0; i < 3000; ++i) {
        bytes_t tag = Part(whole, 0, random() % (whole.size() + 1));
        for (int iChanges = 0; iChanges < 4 && tag.size() > 3; ++iChanges) {
            tag[3 + random() % (tag.size() - 3)] = static_cast<uint8_t>(random());
        }
        EXPECT_LE(Read(tag).sizePictures, 1U);
    }
}

} // namespace
