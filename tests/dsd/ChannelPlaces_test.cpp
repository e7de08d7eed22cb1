#include "dsd/ChannelPlaces.h"

#include "dsd/Bytes.h"

#include <string>

#include <gtest/gtest.h>

using namespace ChannelPlaces;

namespace
{

constexpr uint32_t L = Id("MLFT"), R = Id("MRGT"), C = Id("C   "), LFE = Id("LFE "),
                   LS = Id("LS  "), RS = Id("RS  "), SL = Id("SLFT"), SR = Id("SRGT"),
                   X = Id("C001"), Y = Id("C002");

using places_t = std::vector<uint32_t>;

std::string Names(const layout_t &layout)
{
    std::string strNames;
    for (const role_t eRole : layout.aRoles) {
        strNames += std::string(strNames.empty() ? "" : " ") + GetName(eRole);
    }
    return strNames;
}

} // namespace

TEST(ChannelPlaces, LayoutIsWhatTheChannelsAre)
{
    const struct {
        std::vector<uint32_t> auIds;
        uint32_t uType;
        const char *cpNames;
        places_t auPlaces;
    } aRows[] = {
        {{}, 0, "", {}},
        {{C}, 1, "C", {0}},
        {{X}, 1, "C", {0}},
        {{SL, SR}, 2, "L R", {0, 1}},
        {{R, SL}, 2, "R L", {1, 0}},
        {{Y, X}, 2, "L R", {0, 1}},
        {{SL, X}, 0, "L ?", {0, 1}},
        {{C, SL, SR}, 3, "C L R", {2, 0, 1}},
        {{L, R, LS, RS}, 4, "L R LS RS", {0, 1, 2, 3}},
        {{SL, SR, C, LFE}, 5, "L R C LFE", {0, 1, 2, 3}},
        {{L, R, C, LS, RS}, 6, "L R C LS RS", {0, 1, 2, 3, 4}},
        {{LS, RS, LFE, C, SR, SL}, 7, "LS RS LFE C R L", {4, 5, 3, 2, 1, 0}},
        {{X, X, Y}, 0, "? ? ?", {0, 1, 2}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpNames);
        const layout_t layout = GetLayout(row.auIds);
        EXPECT_EQ(row.uType, layout.uType);
        EXPECT_EQ(row.cpNames, Names(layout));
        EXPECT_EQ(row.auPlaces, layout.auPlaces);
        EXPECT_FALSE(layout.bConflict);
    }
    for (const std::vector<uint32_t> &auIds :
         {std::vector<uint32_t>{SL, L}, {L, R, C, C}, {LS, L, SL, RS}}) {
        EXPECT_TRUE(GetLayout(auIds).bConflict);
        EXPECT_EQ(0U, GetLayout(auIds).uType);
    }
}

TEST(ChannelPlaces, LenientLayoutIsThatOfTheConversion)
{
    const struct {
        std::vector<uint32_t> auIds;
        uint32_t uType;
        places_t auPlaces;
    } aRows[] = {
        {{X, SL}, 2, {0, 1}},
        {{SR, X}, 2, {0, 1}},
        {{SL, L}, 2, {0, 1}},
        {{L, LFE, R}, 3, {0, 2, 1}},
        {{C, LFE, L, R}, 4, {2, 3, 0, 1}},
        {{C, LS, L, R}, 4, {0, 1, 2, 3}},
        {{RS, LS, C, R, L}, 6, {4, 3, 2, 1, 0}},
        {{X, X, X, X, X, X}, 7, {0, 1, 2, 3, 4, 5}},
        {{L, R, C, LFE, LS, RS, X}, 0, {0, 1, 2, 3, 4, 5, 6}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::PrintToString(row.auPlaces));
        EXPECT_EQ(row.uType, GetLenientLayout(row.auIds).uType);
        EXPECT_EQ(row.auPlaces, GetLenientLayout(row.auIds).auPlaces);
    }
}

TEST(ChannelPlaces, LayoutOfATypeNeedsItsNumberOfChannels)
{
    const std::string aNames[] = {"",          "C",         "L R",         "L R C",
                                  "L R LS RS", "L R C LFE", "L R C LS RS", "L R C LFE LS RS"};
    const uint32_t auChannels[] = {0, 1, 2, 3, 4, 4, 5, 6};
    for (uint32_t uType = 0; uType < 9; ++uType) {
        for (uint32_t uChannels = 0; uChannels < 9; ++uChannels) {
            SCOPED_TRACE(testing::Message() << uType << ", " << uChannels);
            const layout_t layout = GetLayoutOfType(uType, uChannels);
            const bool bAgree = uType != 0 && uType < 8 && auChannels[uType] == uChannels;
            EXPECT_EQ(bAgree ? uType : 0, layout.uType);
            EXPECT_EQ(uChannels > 6 ? 0 : uChannels, layout.aRoles.size());
            EXPECT_EQ(layout.aRoles.size(), layout.auPlaces.size());
            if (bAgree) {
                EXPECT_EQ(aNames[uType], Names(layout));
            }
        }
    }
    EXPECT_TRUE(GetLayoutOfType(2, UINT32_MAX).aRoles.empty());
}
