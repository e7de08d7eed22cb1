#include "base/clException.h"
#include "base/clString.h"
#include "tests/support/ExpectThrow.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using texts = std::vector<std::string>;

std::string Text(const clString &str)
{
    EXPECT_LT(str.sizeStr, str.sizeAlloc);
    EXPECT_EQ(str.sizeStr, std::strlen(str.c_str()));
    return str.c_str();
}

texts Texts(const std::vector<clString> &strings)
{
    texts result(strings.size());
    std::transform(strings.begin(), strings.end(), result.begin(), Text);
    return result;
}

} // namespace

TEST(clString, ParsesWholeIntegers)
{
    const struct {
        const char *cpText;
        int32_t iValue;
        uint64_t uValue;
    } aRows[] = {
        {"0x1F", 31, 31},
        {"017", 15, 15},
        {" \t+12", 12, 12},
        {"-1", -1, UINT64_MAX},
        {"2147483648", INT32_MIN, 2147483648U},
        {"4294967297", 1, 4294967297U},
        {"99999999999999999999", -1, UINT64_MAX}, // both parsers stop at their largest value
    };
    for (const auto &row : aRows) {
        EXPECT_EQ(row.iValue, clString(row.cpText).ToInt()) << row.cpText;
        EXPECT_EQ(row.uValue, clString(row.cpText).ToUInt()) << row.cpText;
    }
    for (const char *cpText : {"", " ", "x", "12 ", "12x", "08", "1.5"}) {
        SCOPED_TRACE(cpText);
        EXPECT_THROW_MSG(clString(cpText).ToInt(), clXString, "clString::ToInt(): not an integer");
        EXPECT_THROW_MSG(clString(cpText).ToUInt(), clXString,
                         "clString::ToUInt(): not an integer");
    }
}

TEST(clString, ParsesFloatsWithASecondChance)
{
    const std::pair<const char *, double> aRows[] = {
        {" -2.5e1", -25}, {"0x10", 16},  {"inf", HUGE_VAL}, {"1e99999", HUGE_VAL},
        {"2.5x", 2.5},    {"2.5 ", 2.5}, {"1,5", 1}, // these only the second chance takes
    };
    for (const auto &[cpText, dValue] : aRows) {
        const clString str(cpText);
        EXPECT_EQ(static_cast<float>(dValue), str.ToFloat()) << cpText;
        EXPECT_EQ(dValue, str.ToDouble()) << cpText;
        EXPECT_EQ(static_cast<long double>(dValue), str.ToLongDouble()) << cpText;
    }
    for (const char *cpText : {"", " ", "x", ".", "1e99999x"}) {
        SCOPED_TRACE(cpText);
        const clString str(cpText);
        EXPECT_THROW_MSG(str.ToFloat(), clXString, "clString::ToFloat(): not a float");
        EXPECT_THROW_MSG(str.ToDouble(), clXString, "clString::ToDouble(): not a double");
        EXPECT_THROW_MSG(str.ToLongDouble(), clXString,
                         "clString::ToLongDouble(): not a long double");
    }
    const clString strThird("0.333333333333333333333333");
    EXPECT_EQ(1.0F / 3, strThird.ToFloat());
    EXPECT_EQ(1.0 / 3, strThird.ToDouble());
    EXPECT_EQ(1.0L / 3, strThird.ToLongDouble());
}

TEST(clString, AssignsLongWithRoomForItsLow32Bits)
{
    clString str;
    for (const long lValue :
         {0L, -1L, 9L, -123L, 2147483647L, 2147483648L, -2147483648L, 999999L}) {
        str = lValue;
        EXPECT_EQ(std::to_string(lValue), Text(str));
    }
    EXPECT_EQ(16U, str.sizeAlloc); // room for eight bytes, two more than the digits need
    str = 4294967296;
    EXPECT_EQ("42", Text(str));
    str = 4294967295;
    EXPECT_EQ("429", Text(str));
    str = LONG_MIN;
    EXPECT_EQ("-9", Text(str));
}

TEST(clString, AssignsEveryUnsignedLongButTheLast)
{
    clString str;
    std::vector<unsigned long> values = {9223372036854775808UL, ULONG_MAX - 1};
    for (unsigned long uPower = 1; uPower != 0 && values.size() < 80; uPower *= 10) {
        values.insert(values.end(), {uPower - 1, uPower, uPower + 1, uPower + 7});
    }
    for (const unsigned long uValue : values) {
        str = uValue;
        EXPECT_EQ(std::to_string(uValue), Text(str));
    }
    str = 10UL;
    EXPECT_THROW_MSG(str = ULONG_MAX, clXString,
                     "clString::operator=(unsigned long): value out of range");
    EXPECT_EQ("10", Text(str));
}

TEST(clString, FormatsDoubles)
{
    const std::tuple<double, const char *, const char *> aRows[] = {
        {0.1, "0.1", "0.1"},
        {1.0 / 3, "0.333333", "0.3333333333333333"},
        {2822400, "2.8224e+06", "2822400"},
        {-1e300, "-1e+300", "-1e+300"},
        {-HUGE_VAL, "-inf", "-inf"},
    };
    for (const auto &[dValue, cpAssigned, cpFloatC] : aRows) {
        for (const long lBefore : {8L, 20L, 48L, 128L}) {
            clString str;
            str.SetSizeI(lBefore);
            str = dValue;
            EXPECT_EQ(cpAssigned, Text(str));
            EXPECT_EQ(32U, str.sizeAlloc);
            str.FloatC(dValue);
            EXPECT_EQ(cpFloatC, Text(str));
        }
        EXPECT_EQ(cpFloatC, Text(clString::FromFloat(dValue)));
    }
}

TEST(clString, ReadsUTF16UpToTheFirstFault)
{
    const std::pair<std::vector<uint16_t>, const char *> aRows[] = {
        {{0, 'x', 0}, ""},
        {{0xFEFF, 0}, ""},
        {{0xFEFF, 'A', 0xE9, 0x20AC, 0}, "A\xC3\xA9\xE2\x82\xAC"},
        {{0xFFFE, 0x4100, 0xAC20, 0}, "A\xE2\x82\xAC"},
        {{0xFEFF, 0xD83C, 0xDFB5, '!', 0}, "\xF0\x9F\x8E\xB5!"},
        {{0xFEFF, 'A', 0xD83C, 'B', 0}, "A"}, // half a pair, in its three kinds
        {{0xFEFF, 'A', 0xDFB5, 'B', 0}, "A"},
        {{0xFEFF, 'A', 0xD83C, 0}, "A"},
    };
    for (const auto &[units, cpResult] : aRows) {
        clString str("before");
        str.iEncoding = 1;
        str = units.data();
        EXPECT_EQ(cpResult, Text(str));
        EXPECT_EQ(0, str.iEncoding);
        EXPECT_EQ(cpResult, Text(clString(units.data())));
    }
    // Three bytes a unit is as much as the text can grow.
    std::vector<uint16_t> units(1002, 0xFFFD);
    units.front() = 0xFEFF;
    units.back() = 0;
    clString str(units.data());
    EXPECT_EQ(3000U, str.sizeStr);
    str = static_cast<const uint16_t *>(nullptr);
    EXPECT_EQ("", Text(str));
}

TEST(clString, ReadsLatin1)
{
    EXPECT_EQ("", Text(clString::FromLatin1("")));
    EXPECT_EQ("A\x7F\xC2\x80\xC3\xA9\xC3\xBF", Text(clString::FromLatin1("A\x7F\x80\xE9\xFF")));
}

TEST(clString, WideTextFollowsTheLocale)
{
    const std::string strSystem = std::string(": ") + std::strerror(EILSEQ);
    const std::string strAssign = "clString::operator=(const wchar_t *): wcstombs()" + strSystem;
    const wchar_t *wcpText = L"A\u20AC\U0001F3B5";
    const char *cpText = "A\xE2\x82\xAC\xF0\x9F\x8E\xB5";
    clString str("kept");
    str.iEncoding = 1;
    EXPECT_THROW_MSG(str = wcpText, clXString, strAssign);
    EXPECT_EQ("kept", Text(str));
    EXPECT_EQ(0, str.iEncoding);
    EXPECT_THROW_MSG(clString{wcpText}, clXString, strAssign);

    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C.UTF-8"));
    str = wcpText;
    EXPECT_EQ(cpText, Text(str));
    EXPECT_STREQ(wcpText, str.wc_str());
    str = str.wc_str() + 1;
    EXPECT_EQ(cpText + 1, Text(str));
    EXPECT_STREQ(wcpText + 1, str.wc_str());
    EXPECT_STREQ(L"", clString().wc_str());
    str += "\xC3";
    EXPECT_THROW_MSG(str.wc_str(), clXString, "clString::wc_str(): mbstowcs(NULL,,0)" + strSystem);
    EXPECT_EQ(cpText + 1 + std::string("\xC3"), Text(str));
    str = static_cast<const wchar_t *>(nullptr);
    EXPECT_EQ("", Text(str));
    std::setlocale(LC_CTYPE, "C");
}

TEST(clString, TokensComeWithoutEmptyOnes)
{
    const std::tuple<const char *, const char *, texts> aRows[] = {
        {"a,,b", ",", {"a", "b"}}, {",;a;,", ",;", {"a"}}, {"a b", "", {"a b"}}, {",,,", ",", {}}};
    for (const auto &[cpText, cpDelims, tokens] : aRows) {
        SCOPED_TRACE(cpText);
        clString str(cpText), strToken("before");
        str.iEncoding = 1;
        bool bFirst = true;
        for (const std::string &strExpected : tokens) {
            EXPECT_TRUE(str.Tok(strToken, cpDelims, bFirst));
            EXPECT_EQ(strExpected, Text(strToken));
            EXPECT_EQ(1, strToken.iEncoding);
            bFirst = false;
        }
        EXPECT_FALSE(str.Tok(strToken, cpDelims, bFirst));
        EXPECT_EQ("", Text(strToken));
        EXPECT_EQ(tokens, Texts(str.Split(cpDelims)));
        EXPECT_EQ(cpText, Text(str));
    }
}

TEST(clString, TokensMayReplaceTheStringItself)
{
    for (const bool bShared : {false, true}) {
        clString str("first,second,third");
        const clString strOther(bShared ? str : clString());
        texts tokens;
        for (bool bFirst = true; tokens.size() < 9 && str.Tok(str, ",", bFirst); bFirst = false) {
            tokens.push_back(Text(str));
        }
        EXPECT_EQ((texts{"first", "second", "third"}), tokens);
    }
}

TEST(clString, SplitsLinesOfABuffer)
{
    const std::pair<std::string, texts> aRows[] = {
        {"", {}},
        {"\xEF\xBB\xBF", {}},
        {"\xEF\xBB\xBFx\n", {"x"}},
        {"\xEF\xBB\n", {"\xEF\xBB"}},
        {"x\r\ny", {"x"}}, // what no line end follows is dropped
        {std::string("x\0y\0", 4), {"x", "y"}},
        {"\n\r\n \t \n  x y \r", {"x y"}},
    };
    for (const auto &[strBytes, lines] : aRows) {
        clAlloc buffer;
        buffer.SetSize(static_cast<int64_t>(strBytes.size()));
        std::copy(strBytes.begin(), strBytes.end(), static_cast<char *>(buffer.GetPtr()));
        EXPECT_EQ(lines, Texts(clString::SplitLines(buffer))) << strBytes;
    }
}

TEST(clString, StrErrorReplacesTheText)
{
    for (const int iErrorNumber : {0, ENOENT, 123456}) {
        clString str("before");
        str.StrError(iErrorNumber);
        EXPECT_EQ(std::strerror(iErrorNumber), Text(str));
    }
}
