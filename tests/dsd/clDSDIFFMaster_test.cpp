#include "dsd/clDSDIFFMaster.h"

#include "tests/support/DSDIFFBuilder.h"

#include <string>

#include <gtest/gtest.h>

using B = DSDIFFBuilder;

namespace
{

bytes_t Marker(uint16_t uHours, int32_t iOffset, uint16_t uType, const std::string &strText)
{
    return B::Chunk("MARK", B::Number(uHours, 2) + bytes_t{1, 2} + B::Number(300, 4) +
                                B::Number(static_cast<uint32_t>(iOffset), 4) + B::Number(uType, 2) +
                                B::Number(5, 2) + B::Number(6, 2) + B::Number(strText.size(), 4) +
                                B::Text(strText));
}

bytes_t Counted(const std::string &strId, const std::string &strText, size_t uCount)
{
    return B::Chunk(strId, B::Number(uCount, 4) + B::Text(strText));
}

bytes_t Comment(const std::string &strText)
{
    return bytes_t{0x07, 0xD5, 1, 2, 3, 4} + B::Number(3, 2) + B::Number(1, 2) +
           B::Number(strText.size(), 4) + B::Text(strText) + bytes_t(strText.size() % 2);
}

clDSDIFFMaster Parsed(const bytes_t &information, const bytes_t &comments = B::Number(0, 2))
{
    clDSDIFFMaster master;
    master.AddInformation(information.data(), information.size(), 100);
    master.AddComments(comments.data(), comments.size(), 200);
    return master;
}

std::string Texts(const clDSDIFFMaster &master)
{
    std::string strAll;
    for (const finding_t &finding : master.GetFindings()) {
        EXPECT_EQ(severity_t::CHECK, finding.eSeverity);
        strAll += finding.strText + "|";
    }
    return strAll;
}

} // namespace

TEST(clDSDIFFMaster, TakesTextsMarkersAndComments)
{
    const bytes_t information = B::Chunk("EMID", B::Text("id1")) + Marker(1, -7, 0, "One") +
                                B::Chunk("????", Pattern(5)) + Counted("DIAR", "Artist", 6) +
                                Counted("DITI", "Title", 5) + Marker(0, 7, 4, "");
    const bytes_t comments = B::Number(2, 2) + Comment("odd") + Comment("even");
    const clDSDIFFMaster master = Parsed(information, comments);
    EXPECT_EQ("", Texts(master));
    EXPECT_EQ("id1", master.strIdentifier);
    EXPECT_EQ("Artist", master.strArtist);
    EXPECT_EQ("Title", master.strTitle);
    ASSERT_EQ(2U, master.aMarkers.size());
    const auto &[time, iOffset, uType, uChannel, uFlags, strText] = master.aMarkers[0];
    EXPECT_TRUE(time.uHours == 1 && time.uMinutes == 1 && time.uSeconds == 2);
    EXPECT_EQ(300U, time.uSamples);
    EXPECT_TRUE(iOffset == -7 && uType == 0 && uChannel == 5 && uFlags == 6 && strText == "One");
    EXPECT_EQ(clDSDIFFMaster::INDEX, master.aMarkers[1].uType);
    ASSERT_EQ(2U, master.aComments.size());
    EXPECT_EQ("odd", master.aComments[0].strText);
    EXPECT_EQ("even", master.aComments[1].strText);
    const clDSDIFFMaster::comment_t &even = master.aComments[1];
    EXPECT_TRUE(even.uYear == 2005 && even.uMinute == 4 && even.uType == 3 && even.uReference == 1);
}

TEST(clDSDIFFMaster, KeepsWhatIsThereOfDamagedData)
{
    const bytes_t none = B::Number(0, 2);
    const std::string strEarly = "chunk 'DIAR' at byte 100 ends early|";
    const struct {
        std::string strTexts, strArtist;
        bytes_t information, comments;
        size_t uComments = 0;
    } aRows[] = {
        {strEarly, "Artist", Counted("DIAR", "Artist", 7), none},
        {strEarly, "Artist", Counted("DIAR", "Artist", 0xFFFFFFFF), none},
        {strEarly, "x", B::Chunk("DIAR", {1, 2, 3}) + Counted("DIAR", "x", 1), none},
        {"chunk 'MARK' at byte 100 ends early|", "", B::Chunk("MARK", Pattern(21)), none},
        {"chunk '?[2J' at byte 100 extends beyond its chunk 'DIIN'|", "",
         B::HugeChunk("\x1B[2J", {}, UINT64_MAX), none},
        {"11 bytes at the end of chunk 'DIIN' make no chunk|", "", Pattern(11), none},
        {"chunk 'COMT' at byte 188 ends early|", "", {}, {}},
        {"chunk 'COMT' at byte 188 has 1 of 3 comments|",
         "",
         {},
         B::Number(3, 2) + Comment("odd"),
         1},
        {"chunk 'COMT' at byte 188 ends in the text of a comment|",
         "",
         {},
         Part(B::Number(1, 2) + Comment("even"), 0, 18),
         1},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.strTexts);
        const clDSDIFFMaster master = Parsed(row.information, row.comments);
        EXPECT_EQ(row.strTexts, Texts(master));
        EXPECT_EQ(row.strArtist, master.strArtist);
        EXPECT_EQ(row.uComments, master.aComments.size());
    }
    bytes_t many;
    for (int i = 0; i < 1000; ++i) {
        Append(many, B::Chunk("MARK", {}));
    }
    EXPECT_EQ(9U, Parsed(many).GetFindings().size());
}

TEST(clDSDIFFMaster, PositionIsTimeAndOffsetLessTheStart)
{
    clDSDIFFMaster::marker_t marker;
    marker.time = {1, 2, 3, 4};
    marker.iOffset = -5;
    EXPECT_EQ(3723LL * 100 - 1, clDSDIFFMaster::GetPosition(marker, 100, {}));
    EXPECT_EQ(99, clDSDIFFMaster::GetPosition(marker, 100, {1, 2, 2, 0}));
    EXPECT_EQ(-101, clDSDIFFMaster::GetPosition(marker, 100, {1, 2, 4, 0}));
    marker.time = {65535, 255, 255, UINT32_MAX};
    marker.iOffset = INT32_MAX;
    EXPECT_EQ(235941555LL * UINT32_MAX + UINT32_MAX + INT32_MAX,
              clDSDIFFMaster::GetPosition(marker, UINT32_MAX, {}));
}
