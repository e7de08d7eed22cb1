#include "kit/Printable.h"

#include "kit/clJson.h"

#include <cmath>

#include <gtest/gtest.h>

TEST(Printable, ReplacesControlCharactersOnly)
{
    const struct {
        std::string strText, strExpected;
    } aRows[] = {
        {"a\nb\tc\r\x1B[31m", "a?b?c??[31m"},
        {std::string("a\0b\x7F", 4), "a?b?"},
        {"\xC2\x80\xC2\x9B\xC2\x9F\xC2\xA0", "???\xC2\xA0"},
        {"\x9B"
         "31m",
         "?31m"}, // a control character where bytes are characters
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9D\x84\x9E", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9D\x84\x9E"},
        {"caf\xE9 \xFF", "caf\xE9 \xFF"}, // not UTF-8, but no control characters either
        {"\xE2\x82", "\xE2?"},
    };
    for (const auto &row : aRows) {
        EXPECT_EQ(row.strExpected, Printable(row.strText));
    }
}

TEST(clJson, IsOneLineInTheOrderOfItsMakers)
{
    clJson inner;
    inner.SetSigned("sample", -5);
    clJson object;
    object.SetText("z", "a\n\"\\\x1B").SetNull("n").SetBool("b", true);
    object.SetNumber("u", UINT64_MAX).SetReal("r", 0.1).SetReal("bad", std::nan(""));
    object.SetTextOrNull("none", "").SetTexts("t", {"x", "\xFF"}).SetTexts("e", {});
    object.SetObjects("list", {}).SetObject("o", inner);
    EXPECT_EQ(R"({"z":"a\n\"\\\u001b","n":null,"b":true,"u":18446744073709551615,"r":0.1,)"
              R"("bad":null,"none":null,"t":["x",")"
              "\xEF\xBF\xBD"
              R"("],"e":[],"list":[],"o":{"sample":-5}})",
              object.GetLine());
}

TEST(clJson, ReplacesEachBadByte)
{
    const std::string MARK = "\xEF\xBF\xBD";
    const struct {
        std::string strText, strExpected;
    } aRows[] = {
        {"\xC3\xA9\xF0\x9D\x84\x9E", "\xC3\xA9\xF0\x9D\x84\x9E"},
        {"a\xE2\x82z", "a" + MARK + MARK + "z"},         // cut short
        {"\xC0\xAF", MARK + MARK},                       // too long
        {"\xED\xA0\x80", MARK + MARK + MARK},            // half of a pair
        {"\xF4\x90\x80\x80", MARK + MARK + MARK + MARK}, // beyond the last code
        {"\x80\xC3\xA9", MARK + "\xC3\xA9"},
    };
    for (const auto &row : aRows) {
        clJson object;
        object.SetText("t", row.strText);
        EXPECT_EQ("{\"t\":\"" + row.strExpected + "\"}", object.GetLine());
    }
}
