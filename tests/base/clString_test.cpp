#include "base/clString.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <clocale>
#include <functional>
#include <string>
#include <thread>
#include <tuple>

namespace
{

static_assert(sizeof(clString) == 104, "code compiled against the header relies on its layout");

constexpr unsigned MAX = 0xFFFFFFFFU;

// What holds after every operation; the capacity rule on its own is checked where it is promised.
void ExpectSound(const clString &str, const std::string &strText)
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
        clString strMaster(strText.c_str());
        clString aStr[2] = {strMaster, strMaster};
        // Without the master the threads race for who is the last owner.
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
        ExpectSound(aStr[0], "<" + strText.substr(51));
        ExpectSound(aStr[1], "<" + strText.substr(51));
        ExpectSound(strMaster, iRound % 2 == 0 ? "" : strText);
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
    ExpectSound(str, "unchang");
    EXPECT_EQ(8U, str.sizeAlloc);
    ExpectSound(strShared, "unchanged");
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
    // A suffix given as a string is placed by its characters, and so missed if they are wider.
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

TEST(clString, PartsOutsideTheTextAreRefused)
{
    const std::tuple<const char *, unsigned, unsigned, std::string> aRefused[] = {
        {"abc", 1, 3, "(uIdx + uCount) > sizeStr"},
        {"", 0, 0, "uIdx >= sizeStr"},
    };
    for (const auto &[cpText, uIdx, uCount, strReason] : aRefused) {
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
    ExpectSound(str, "ABC\xE9");
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C.UTF-8"));
    // The capital of a letter of three bytes here has two.
    str = "\xE2\xB1\xA5\xC3\xA9";
    str.iEncoding = 2;
    str.ToUpper();
    ExpectSound(str, "\xC8\xBA\xC3\x89");
    EXPECT_EQ(0, str.iEncoding);
    str.ToLower();
    ExpectSound(str, "\xE2\xB1\xA5\xC3\xA9");
    std::setlocale(LC_CTYPE, "C");
}
