#include "base/clAlloc.h"
#include "fuzz/Use.h"
#include "id3/clID3base.h"

#include <cmath>
#include <cwchar>

#include <locale.h> // for uselocale()

namespace
{

void CheckTexts(const std::vector<clString> &texts, const std::vector<std::string> &model)
{
    Check(std::equal(texts.begin(), texts.end(), model.begin(), model.end(),
                     [](const clString &a, const std::string &b) { return b == a.c_str(); }),
          "other pieces");
}

void UseNumbers(clInput input)
{
    const uint64_t uValue = input.Number();
    double dValue = 0;
    std::memcpy(&dValue, &uValue, sizeof(dValue));
    clString str;
    if (Try([&] { str = static_cast<unsigned long>(uValue); })) {
        Check(std::to_string(uValue) == str.c_str() && str.ToUInt() == uValue, "unsigned long");
    }
    str = static_cast<long>(uValue);
    CheckText(str);
    Check(std::to_string(static_cast<long>(uValue)).rfind(str.c_str(), 0) == 0, "long");
    str = dValue;
    CheckText(str);
    str.FloatC(dValue);
    Check(std::strcmp(str.c_str(), clString::FromFloat(dValue).c_str()) == 0, "FloatC");
    if (std::isnormal(dValue) && std::fabs(dValue) < 1e308) {
        Check(std::fabs(str.ToDouble() / dValue - 1) < 1e-15, "ToDouble");
    }
    str.StrError(static_cast<int>(uValue));
    str = input.CText().c_str();
    Try([&] { str.ToInt(); });
    Try([&] { str.ToUInt(); });
    Try([&] { str.ToFloat(); });
    Try([&] { str.ToDouble(); });
    Try([&] { str.ToLongDouble(); });
}

// Arbitrary UTF-16 units, then valid characters in both wide encodings, which must give one text.
void UseEncodings(clInput input)
{
    std::vector<uint16_t> units;
    std::vector<uint16_t> marked = {0xFEFF};
    std::vector<wchar_t> wide;
    while (!input.IsEmpty()) {
        const uint32_t uUnit = input.Byte() * 256U + input.Byte();
        units.push_back(static_cast<uint16_t>(uUnit));
        if (uUnit == 0 || uUnit >> 11 == 0x1B) {
            continue;
        }
        const uint32_t uCode = uUnit % 4 == 3 ? uUnit * 16 + 0x10000 : uUnit;
        wide.push_back(static_cast<wchar_t>(uCode));
        if (uCode >= 0x10000) {
            marked.push_back(static_cast<uint16_t>(0xD7C0 + (uCode >> 10)));
        }
        marked.push_back(static_cast<uint16_t>(uCode < 0x10000 ? uCode : 0xDC00 + uCode % 0x400));
    }
    units.push_back(0);
    marked.push_back(0);
    wide.push_back(0);
    CheckText(clString(units.data()));
    clString str;
    if (Try([&] { str = wide.data(); })) {
        Check(std::wcscmp(str.wc_str(), wide.data()) == 0, "wide text");
        Check(str.Compare(clString(marked.data()).c_str()) == 0, "UTF-16");
    }
}

// Converts a text every way, in either encoding.
void UseText(clInput input)
{
    const int iEncoding = input.Byte();
    const std::string strText = input.CText();
    std::string strModel;
    for (const char c : strText) {
        const auto uByte = static_cast<uint8_t>(c);
        if (uByte >= 0x80) {
            strModel += static_cast<char>(0xC0 | uByte >> 6);
        }
        strModel += static_cast<char>(uByte < 0x80 ? uByte : uByte & 0xBF);
    }
    const clString strLatin1 = clString::FromLatin1(strText.c_str());
    Check(strModel == strLatin1.c_str(), "Latin-1");
    clString str(strText.c_str(), strText.size() + 1, iEncoding);
    if (Try([&] { str.wc_str(); })) {
        const clString strCopy(str.wc_str());
        Check(strText == strCopy.c_str(), "text to wide and back");
    }
    Try([&] { str.ToUpper(); });
    CheckText(str);
    Try([&] { str.ToLower(); });
    CheckText(str);
}

void UseTokens(clInput input)
{
    const std::string strDelims = input.CText(input.Byte() % 4);
    const std::string strText = input.CText();
    std::vector<std::string> model(1);
    for (const char c : strText) {
        if (strDelims.find(c) == std::string::npos) {
            model.back() += c;
        } else {
            model.emplace_back();
        }
    }
    std::erase(model, "");
    clString str(strText.c_str());
    CheckTexts(str.Split(strDelims.c_str()), model);
    // The token may be the text itself, and edits between calls change nothing.
    std::vector<clString> tokens;
    for (bool bFirst = true; str.Tok(str, strDelims.c_str(), bFirst); bFirst = false) {
        tokens.push_back(str);
        str += "x";
    }
    CheckTexts(tokens, model);
}

void UseLines(clInput input)
{
    const std::vector<uint8_t> bytes = input.Bytes();
    clAlloc buffer;
    buffer.SetSize(static_cast<int64_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t *>(buffer.GetPtr()));
    for (const clString &strLine : clString::SplitLines(buffer)) {
        CheckText(strLine);
        Check(strLine.sizeStr != 0 && strLine.FindAny("\r\n") == clString::NOT_FOUND, "no line");
    }
}

// Strings of tags, in the encoding that their first byte names.
class clCursor : public clID3base
{
public:
    explicit clCursor(clInput input) : bytes(input.Bytes())
    {
        cpCursor = bytes.data();
        uRemaining = bytes.size();
        while (uRemaining != 0) {
            const uint8_t uEncoding = ReadByte();
            const uint64_t uBefore = uRemaining;
            clString str;
            if (!Try([&] { Check(ReadString(str, uEncoding) == uBefore - uRemaining, "count"); })) {
                break;
            }
            CheckText(str);
        }
    }

private:
    const std::vector<uint8_t> bytes;
};

} // namespace

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    static const locale_t utf8Locale = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    clInput input(pData, sizeData);
    const uint8_t uKind = input.Byte();
    // The library uses the locale of the thread; the program never sets one.
    uselocale(uKind < 128 ? LC_GLOBAL_LOCALE : utf8Locale);
    switch (uKind % 6) {
    case 0:
        return UseNumbers(input);
    case 1:
        return UseEncodings(input);
    case 2:
        return UseText(input);
    case 3:
        return UseTokens(input);
    case 4:
        return UseLines(input);
    default:
        static_cast<void>(clCursor(input));
    }
}
