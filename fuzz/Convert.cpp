#include "base/clAlloc.h"
#include "fuzz/Use.h"
#include "id3/clID3base.h"

#include <cmath>
#include <cwchar>

#include <locale.h> // for uselocale()

namespace
{

void AddUTF8(std::string &strText, uint32_t uCode)
{
    const auto Put = [&](uint32_t uByte) { strText += static_cast<char>(uByte); };
    if (uCode < 0x80) {
        Put(uCode);
        return;
    }
    const int iMore = uCode < 0x800 ? 1 : uCode < 0x10000 ? 2 : 3;
    Put((0xFF00U >> (iMore + 1) & 0xFFU) | uCode >> 6 * iMore);
    for (int i = iMore - 1; i >= 0; --i) {
        Put(0x80U | (uCode >> 6 * i & 0x3FU));
    }
}

void CheckTexts(const std::vector<clString> &texts, const std::vector<std::string> &model)
{
    Check(std::equal(texts.begin(), texts.end(), model.begin(), model.end(),
                     [](const clString &a, const std::string &b) { return b == a.c_str(); }),
          "other pieces");
}

// Up to the first unit that has no meaning where it stands.
std::string UTF16Model(const std::vector<uint16_t> &units, bool bSwap)
{
    std::string strText;
    const auto At = [&](size_t i) -> uint32_t {
        return bSwap ? __builtin_bswap16(units[i]) : units[i];
    };
    for (size_t i = 0; units[i] != 0; ++i) {
        uint32_t uCode = At(i);
        if (uCode >> 10 == 0x37) {
            break;
        }
        if (uCode >> 10 == 0x36) {
            const uint32_t uLow = At(++i);
            if (uLow >> 10 != 0x37) {
                break;
            }
            uCode = 0x10000 + ((uCode & 0x3FF) << 10) + (uLow & 0x3FF);
        }
        AddUTF8(strText, uCode);
    }
    return strText;
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

void UseEncodings(clInput input)
{
    std::vector<uint16_t> units;
    std::vector<wchar_t> wide;
    while (!input.IsEmpty()) {
        units.push_back(static_cast<uint16_t>(input.Byte() << 8 | input.Byte()));
        wide.push_back(static_cast<wchar_t>(units.back() * (units.back() % 4 == 3 ? 16 : 1)));
    }
    units.push_back(0);
    wide.push_back(0);
    const clString strUTF16(units.data());
    CheckText(strUTF16);
    if (units[0] == 0xFEFF || units[0] == 0xFFFE) {
        const std::string strModel = UTF16Model(units, units[0] == 0xFFFE);
        Check(strModel.substr(3) == strUTF16.c_str(), "UTF-16");
    }
    clString str;
    if (Try([&] { str = wide.data(); })) {
        Check(std::wcscmp(str.wc_str(), wide.data()) == 0, "wide text");
    }
}

// Text through all the ways there are, in one encoding or the other.
void UseText(clInput input)
{
    const int iEncoding = input.Byte();
    const std::string strText = input.CText();
    std::string strModel;
    for (const char c : strText) {
        AddUTF8(strModel, static_cast<uint8_t>(c));
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

// The pieces between delimiters that are not empty.
std::vector<std::string> Pieces(const std::string &strText, const std::string &strDelims)
{
    std::vector<std::string> pieces;
    for (size_t i = strText.find_first_not_of(strDelims); i < strText.size();
         i = strText.find_first_not_of(strDelims, i)) {
        const size_t sizeEnd = std::min(strText.find_first_of(strDelims, i), strText.size());
        pieces.push_back(strText.substr(i, sizeEnd - i));
        i = sizeEnd;
    }
    return pieces;
}

void UseTokens(clInput input)
{
    const std::string strDelims = input.CText(input.Byte() % 4);
    const std::string strText = input.CText();
    const std::vector<std::string> model = Pieces(strText, strDelims);
    clString str(strText.c_str());
    CheckTexts(str.Split(strDelims.c_str()), model);
    // The token may be the text itself, and an edit in between changes nothing.
    std::vector<clString> tokens;
    for (bool bFirst = true; str.Tok(str, strDelims.c_str(), bFirst); bFirst = false) {
        tokens.push_back(str);
        str += "x";
    }
    CheckTexts(tokens, model);
}

void UseLines(clInput input)
{
    constexpr char SPACES[] = " \t\v\f";
    const std::string strEnds("\n\r\0", 3);
    const std::string strText = input.Text();
    // What follows the last line end is no line.
    const size_t sizeStart = strText.rfind("\xEF\xBB\xBF", 0) == 0 ? 3 : 0;
    const size_t sizeEnd = strText.find_last_of(strEnds) + 1;
    std::vector<std::string> model =
        sizeEnd <= sizeStart ? std::vector<std::string>()
                             : Pieces(strText.substr(sizeStart, sizeEnd - sizeStart), strEnds);
    for (std::string &strLine : model) {
        strLine.erase(0, std::min(strLine.find_first_not_of(SPACES), strLine.size()));
        strLine.erase(strLine.find_last_not_of(SPACES) + 1);
    }
    std::erase(model, "");
    clAlloc buffer;
    buffer.SetSize(static_cast<int64_t>(strText.size()));
    std::copy(strText.begin(), strText.end(), static_cast<char *>(buffer.GetPtr()));
    CheckTexts(clString::SplitLines(buffer), model);
}

// The text of tags, in every encoding that a byte can name.
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
    static const locale_t UTF8 = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    clInput input(pData, sizeData);
    const uint8_t uKind = input.Byte();
    // The library takes the locale it finds; the program never sets one.
    uselocale(uKind < 128 ? LC_GLOBAL_LOCALE : UTF8);
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
