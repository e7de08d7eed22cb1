#include "base/clException.h"
#include "base/clString.h"
#include "tests/support/ExpectThrow.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace
{

std::string Text(const clString &str)
{
    EXPECT_EQ(str.sizeStr, std::strlen(str.c_str()));
    return str.c_str();
}

} // namespace

TEST(clString, ParsesWholeIntegers)
{
    const std::tuple<const char *, int32_t, uint64_t> aRows[] = {
        {"0x1F", 31, 31},
        {"017", 15, 15},
        {"-1", -1, UINT64_MAX},
        {"2147483648", INT32_MIN, 2147483648U},
        {"4294967297", 1, 4294967297U},
        {"99999999999999999999", -1, UINT64_MAX}, // both parsers return their largest value
    };
    for (const auto &[cpText, iValue, uValue] : aRows) {
        EXPECT_EQ(iValue, clString(cpText).ToInt()) << cpText;
        EXPECT_EQ(uValue, clString(cpText).ToUInt()) << cpText;
    }
    for (const char *cpText : {"", " ", "12 ", "08"}) {
        SCOPED_TRACE(cpText);
        EXPECT_THROW_MSG(clString(cpText).ToInt(), clXString, "clString::ToInt(): not an integer");
        EXPECT_THROW_MSG(clString(cpText).ToUInt(), clXString,
                         "clString::ToUInt(): not an integer");
    }
}

TEST(clString, ParsesFloatsAgainInTheCLocale)
{
    const std::pair<const char *, double> aRows[] = {
        {" -2.5e1", -25}, {"0x10", 16},  {"inf", HUGE_VAL}, {"1e99999", HUGE_VAL},
        {"2.5x", 2.5},    {"2.5 ", 2.5}, {"1,5", 1}, // only as in "C"
    };
    for (const auto &[cpText, dValue] : aRows) {
        EXPECT_EQ(static_cast<float>(dValue), clString(cpText).ToFloat()) << cpText;
        EXPECT_EQ(dValue, clString(cpText).ToDouble()) << cpText;
    }
    for (const char *cpText : {"", " ", "x"}) {
        SCOPED_TRACE(cpText);
        const clString str(cpText);
        EXPECT_THROW_MSG(str.ToFloat(), clXString, "clString::ToFloat(): not a float");
        EXPECT_THROW_MSG(str.ToDouble(), clXString, "clString::ToDouble(): not a double");
        EXPECT_THROW_MSG(str.ToLongDouble(), clXString,
                         "clString::ToLongDouble(): not a long double");
    }
}

TEST(clString, AssignsIntegers)
{
    clString str;
    for (const long lValue : {0L, -123L, 2147483647L, -2147483648L, 999999L}) {
        SCOPED_TRACE(lValue);
        str = lValue;
        EXPECT_EQ(std::to_string(lValue), Text(str));
    }
    str = 4294967296;
    EXPECT_EQ("42", Text(str)); // the low 32 bits decide the length
    EXPECT_THROW_MSG(str = UINT64_MAX, clXString,
                     "clString::operator=(unsigned long): value out of range");
}

TEST(clString, ReadsUTF16UpToTheFirstFault)
{
    const std::pair<std::vector<uint16_t>, const char *> aRows[] = {
        {{0xFEFF, 'A', 0xE9, 0x20AC, 0}, "A\xC3\xA9\xE2\x82\xAC"},
        {{0xFFFE, 0x4100, 0xAC20, 0}, "A\xE2\x82\xAC"},
        {{0xFEFF, 0xD83C, 0xDFB5, '!', 0}, "\xF0\x9F\x8E\xB5!"},
        {{0xFEFF, 'A', 0xD83C, 'B', 0}, "A"}, // an incomplete surrogate pair
        {{0xFEFF, 'A', 0xDFB5, 'B', 0}, "A"},
        {{0xFEFF, 'A', 0xD83C, 0}, "A"},
    };
    for (const auto &[units, cpResult] : aRows) {
        SCOPED_TRACE(testing::PrintToString(units));
        clString str("before");
        str.iEncoding = 1;
        str = units.data();
        EXPECT_EQ(cpResult, Text(str));
        EXPECT_EQ(0, str.iEncoding);
    }
}

TEST(clString, WideTextFollowsTheLocale)
{
    const std::string strSystem = std::string(": ") + std::strerror(EILSEQ);
    const wchar_t *wcpText = L"A\u20AC\U0001F3B5";
    const char *cpText = "A\xE2\x82\xAC\xF0\x9F\x8E\xB5";
    clString str("kept");
    str.iEncoding = 1;
    EXPECT_THROW_MSG(str = wcpText, clXString,
                     "clString::operator=(const wchar_t *): wcstombs()" + strSystem);
    EXPECT_EQ("kept", Text(str));
    EXPECT_EQ(0, str.iEncoding);

    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C.UTF-8"));
    str = wcpText;
    EXPECT_EQ(cpText, Text(str));
    str = str.wc_str() + 1;
    EXPECT_EQ(cpText + 1, Text(str));
    EXPECT_STREQ(wcpText + 1, str.wc_str());
    str += "\xC3";
    EXPECT_THROW_MSG(str.wc_str(), clXString, "clString::wc_str(): mbstowcs(NULL,,0)" + strSystem);
    std::setlocale(LC_CTYPE, "C");
}

TEST(clString, SplitsLinesOfABuffer)
{
    const std::pair<std::string, std::string> aRows[] = {
        {"\xEF\xBB\xBFx\n", "x|"},
        {"x\r\ny", "x|"}, // text after the last line end is omitted
        {std::string("x\0y\0", 4), "x|y|"},
        {"\n\r\n \t \n  x y \r", "x y|"},
    };
    for (const auto &[strBytes, strExpected] : aRows) {
        SCOPED_TRACE(testing::PrintToString(strBytes));
        clAlloc buffer;
        buffer.SetSize(static_cast<int64_t>(strBytes.size()));
        std::copy(strBytes.begin(), strBytes.end(), static_cast<char *>(buffer.GetPtr()));
        std::string strLines;
        for (const clString &strLine : clString::SplitLines(buffer)) {
            strLines += Text(strLine) + '|';
        }
        EXPECT_EQ(strExpected, strLines);
    }
}
