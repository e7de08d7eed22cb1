#include "base/clString.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <clocale>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>

namespace
{

static_assert(sizeof(clString) == 104, "code compiled against the header relies on its layout");

constexpr unsigned MAX = 0xFFFFFFFFU;

// Checks the text and the invariants of every operation.
void ExpectText(const clString &str, const std::string &strText)
{
    EXPECT_EQ(strText, std::string(str.c_str(), str.sizeStr));
    EXPECT_LT(str.sizeStr, str.sizeAlloc);
    EXPECT_EQ(0, str.c_str()[str.sizeStr]);
}

} // namespace

TEST(clString, SharedBuffersAreSafeAcrossThreads)
{
    const std::string strText(100, 'x');
    for (int iRound = 0; iRound < 300; ++iRound) {
        SCOPED_TRACE(iRound);
        clString strMaster(strText.c_str());
        clString aStr[2] = {strMaster, strMaster};
        // Without strMaster, either thread may be the last owner.
        if (iRound % 2 == 0) {
            strMaster = "";
        }
        const auto Edit = [](clString &str) {
            clString strCopy(str);
            strCopy = clString(strCopy);
            str[0] = '<';
            str.Delete(1, 50);
        };
        std::thread other(Edit, std::ref(aStr[0]));
        Edit(aStr[1]);
        other.join();
        ExpectText(aStr[0], "<" + strText.substr(51));
        ExpectText(aStr[1], "<" + strText.substr(51));
        ExpectText(strMaster, iRound % 2 == 0 ? "" : strText);
    }
}

TEST(clString, SetSizeIChangesAllOrNothing)
{
    clString str("unchanged");
    const clString strShared(str);
    EXPECT_EQ(1024U, clString(nullptr, 1000, 0).sizeAlloc);
    EXPECT_THROW_MSG(clString("x", SIZE_MAX, 0), clXString,
                     "clString::SetSizeI(): clAlloc::SetSize(): lAllocSize < 0");
    EXPECT_THROW_MSG(str.SetSizeI(-1), clXString,
                     "clString::SetSizeI(): clAlloc::Resize(): lAllocSize < 0");
    EXPECT_THROW_MSG(str.SetSizeI(1L << 62U), clXString,
                     "clString::SetSizeI(): clAlloc::Resize(): realloc()");
    EXPECT_EQ(strShared.c_str(), str.c_str());
    str.SetSizeI(0);
    ExpectText(str, "unchang");
    EXPECT_EQ(8U, str.sizeAlloc);
    ExpectText(strShared, "unchanged");
}

TEST(clString, ComparisonsStayInsideTheText)
{
    const clString str("abcDE");
    EXPECT_EQ(0, str.CaseCompareRange("de", 3, 2));
    EXPECT_TRUE(str.CaseBeginsWith("ABc"));
    EXPECT_THROW_MSG(str.CompareRange("c", 5, 1), clXString,
                     "clString::CompareRange(): uiIdx + uiLen > sizeStr");
    EXPECT_THROW_MSG(str.CaseCompareRange("c", 0, 6), clXString,
                     "clString::CaseCompareRange(): uiIdx + uiLen > sizeStr");
    // Sums that wrap pass the check.
    EXPECT_EQ(0, str.CompareRange("E", 4, MAX - 3));
    // A suffix in a clString is placed by its characters and not found if they have more bytes.
    const clString strText("x\xC3\xA9z"), strSuffix("\xC3\xA9Z");
    EXPECT_TRUE(strText.CaseEndsWith(strSuffix.c_str()));
    EXPECT_FALSE(strText.CaseEndsWith(strSuffix));
    EXPECT_TRUE(str.CaseEndsWith(clString("de")));
}

TEST(clString, OnlyWritableAccessUnshares)
{
    clString str("abc");
    const clString strOther(str);
    EXPECT_THROW_MSG(str.at(3), clXString, "clString::at(): sizeIdx >= sizeStr");
    EXPECT_EQ(strOther.c_str(), str.c_str());
    EXPECT_THROW_MSG(str[3], clXString, "clString::operator[](): sizeIdx >= sizeStr");
    EXPECT_NE(strOther.c_str(), str.c_str());
}

TEST(clString, FindsAndCountsBytes)
{
    constexpr size_t NONE = clString::NOT_FOUND;
    const struct {
        const char *cpText;
        char c;
        size_t uFirst, uLast;
        const char *cpSet;
        size_t uAny, uSpan, uCSpan;
    } aRows[] = {
        {"banana", 'a', 1, 5, "ab", 0, 2, 0},   {"banana", 'x', NONE, NONE, "xyz", NONE, 0, 6},
        {"banana", 'n', 2, 4, "n", 2, 0, 2},    {"aaa", 'a', 0, 2, "a", 0, 3, 0},
        {"", 'a', NONE, NONE, "a", NONE, 0, 0},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << row.cpText << ", " << row.c << ", " << row.cpSet);
        const clString str(row.cpText);
        EXPECT_EQ(row.uFirst, str.Find(row.c));
        EXPECT_EQ(row.uLast, str.FindLast(row.c));
        EXPECT_EQ(row.uAny, str.FindAny(row.cpSet));
        EXPECT_EQ(row.uSpan, str.Span(row.cpSet));
        EXPECT_EQ(row.uCSpan, str.CSpan(row.cpSet));
    }
    const clString str("banana");
    EXPECT_EQ(str.c_str() + 1, str.Find("ana"));
    ExpectText(str.TailFrom("nan"), "nana");
    EXPECT_TRUE(str.Contains("") && str.Contains("banana") && !str.Contains("bananas"));
    ExpectText(str.TailFrom("x"), "");
}

TEST(clString, EditsParts)
{
    // Each row: text, index, count; the part there, the rest, and the text with "<>" inserted
    // there.
    const std::tuple<const char *, unsigned, unsigned, const char *, const char *, const char *>
        aRows[] = {
            {"abcdefgh", 0, 8, "abcdefgh", "", "<>abcdefgh"},
            {"abcdefgh", 0, 1, "a", "bcdefgh", "<>abcdefgh"},
            {"abcdefgh", 3, 2, "de", "abcfgh", "abc<>defgh"},
            {"abcdefgh", 7, 1, "h", "abcdefg", "abcdefg<>h"},
            {"abcdefgh", 5, 0, "", "abcdefgh", "abcde<>fgh"},
            {"abcdefgh", 2, MAX, "cdefgh", "ab", "ab<>cdefgh"}, // the 32-bit sum wraps
        };
    for (const auto &[cpText, uIdx, uCount, cpPart, cpRest, cpInserted] : aRows) {
        SCOPED_TRACE(testing::Message() << uIdx << ", " << uCount);
        clString str(cpText);
        const clString strShared(str);
        ExpectText(str.SubString(uIdx, uCount), cpPart);
        ExpectText(str.SubString(uIdx), cpText + uIdx);
        str.Delete(uIdx, uCount);
        ExpectText(str, cpRest);
        str = strShared;
        str.Insert(clString("<>"), uIdx);
        ExpectText(str, cpInserted);
        ExpectText(strShared, cpText);
    }
    clString str("ab");
    str.Insert(str, 2);
    str.Insert(str, 1);
    ExpectText(str, "aababbab");
}

TEST(clString, PartsOutsideTheTextAreRefused)
{
    const std::tuple<const char *, unsigned, unsigned, std::string> aRefused[] = {
        {"abc", 1, 3, "(uIdx + uCount) > sizeStr"},
        {"", 0, 0, "uIdx >= sizeStr"},
    };
    for (const auto &[cpText, uIdx, uCount, strReason] : aRefused) {
        SCOPED_TRACE(strReason);
        clString str(cpText);
        EXPECT_THROW_MSG(str.SubString(uIdx, uCount), clXString,
                         "clString::SubString(): " + strReason);
        EXPECT_THROW_MSG(str.Delete(uIdx, uCount), clXString, "clString::Delete(): " + strReason);
    }
    clString str("abc");
    EXPECT_THROW_MSG(str.Insert(str, 4), clXString, "clString::Insert(): uIdx > sizeStr");
}

TEST(clString, CaseMappingFollowsTheEncoding)
{
    clString str("aBc\xE9");
    str.iEncoding = 1;
    str.ToUpper();
    ExpectText(str, "ABC\xE9");
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C.UTF-8"));
    // U+2C65 has three bytes in UTF-8, its capital U+023A two.
    str = "\xE2\xB1\xA5\xC3\xA9";
    str.iEncoding = 2;
    str.ToUpper();
    ExpectText(str, "\xC8\xBA\xC3\x89");
    EXPECT_EQ(0, str.iEncoding);
    str.ToLower();
    ExpectText(str, "\xE2\xB1\xA5\xC3\xA9");
    std::setlocale(LC_CTYPE, "C");
}
