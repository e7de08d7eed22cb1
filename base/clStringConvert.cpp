#include "base/clString.h"

#include "base/clException.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <sstream>

#include <iconv.h>

namespace
{

/** An open converter into UTF-8. */
class clConverter
{
public:
    clConverter(const char *cpCharset, const char *cpFailure)
        : hConverter(iconv_open("UTF-8", cpCharset))
    {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the error value is defined as this cast.
        if (hConverter == reinterpret_cast<iconv_t>(-1)) {
            throw clXString(cpFailure);
        }
    }
    clConverter(const clConverter &) = delete;
    clConverter &operator=(const clConverter &) = delete;
    ~clConverter() { iconv_close(hConverter); }

    iconv_t Get() const noexcept { return hConverter; }

private:
    iconv_t hConverter;
};

/**
 * Converts text to UTF-8, up to the first sequence that is invalid in the charset.
 *
 * @param pText     sizeBytes bytes
 * @param sizeRoom  an upper bound of the result's bytes
 * @param cpFailure text of the clXString that is thrown when there is no converter
 */
clString ToUTF8(const char *cpCharset, const void *pText, size_t sizeBytes, size_t sizeRoom,
                const char *cpFailure)
{
    clAllocT<char> allocOut;
    char *cpOut = allocOut.SetSize(static_cast<int64_t>(sizeRoom + 1));
    const clConverter converter(cpCharset, cpFailure);
    // iconv() does not write through this pointer, although its parameter is not const.
    char *cpIn = static_cast<char *>(const_cast<void *>(pText));
    while (sizeBytes != 0 && sizeRoom != 0) {
        if (iconv(converter.Get(), &cpIn, &sizeBytes, &cpOut, &sizeRoom) ==
            static_cast<size_t>(-1)) {
            break;
        }
    }
    *cpOut = 0;
    return clString(allocOut.GetData());
}

// The C parsers use the current locale, where the decimal point may be a comma. Text that they do
// not parse completely is parsed again in the "C" locale, which ignores what follows the number.
template <class T>
T ParseFloat(const char *cpText, T (*pParse)(const char *, char **), const char *cpFailure)
{
    char *cpEnd = nullptr;
    T value = pParse(cpText, &cpEnd);
    if (cpEnd != cpText && *cpEnd == 0) {
        return value;
    }
    std::istringstream stream(cpText);
    stream.imbue(std::locale::classic());
    stream >> value;
    if (stream.fail()) {
        throw clXString(cpFailure);
    }
    return value;
}

std::ostringstream FormatC(double dValue)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.precision(16);
    stream << dValue;
    return stream;
}

// The characters that snprintf() wrote, at most sizeRoom; its result may be negative or larger.
uint64_t ClampWritten(int iResult, uint64_t sizeRoom)
{
    return std::min(static_cast<uint64_t>(std::max(iResult, 0)), sizeRoom);
}

// Enough for 64 bits in decimal with a sign, and for "%g".
constexpr size_t NUMBER_SIZE = 32;

} // namespace

clString &clString::operator=(long lValue)
{
    // Compatibility: only the low 32 bits decide how many digits are kept.
    uint32_t uLow = static_cast<uint32_t>(lValue);
    if (uLow >> 31U != 0) {
        uLow = 0U - uLow;
    }
    const uint64_t sizeRoom =
        static_cast<uint64_t>(std::ceil(std::log10(static_cast<double>(uLow + 1U)))) + 2;
    char aText[NUMBER_SIZE];
    const int iResult = std::snprintf(aText, sizeof aText, "%ld", lValue);
    Assign(aText, ClampWritten(iResult, sizeRoom), sizeRoom);
    return *this;
}

clString &clString::operator=(unsigned long uValue)
{
    if (uValue + 1 == 0) {
        throw clXString("clString::operator=(unsigned long): value out of range");
    }
    const uint64_t sizeRoom =
        static_cast<uint64_t>(std::ceil(std::log10(static_cast<double>(uValue + 1)))) + 1;
    char aText[NUMBER_SIZE];
    const int iResult = std::snprintf(aText, sizeof aText, "%lu", uValue);
    Assign(aText, ClampWritten(iResult, sizeRoom), sizeRoom);
    return *this;
}

clString &clString::operator=(double dValue)
{
    char aText[NUMBER_SIZE];
    const int iResult = std::snprintf(aText, sizeof aText, "%g", dValue);
    Assign(aText, ClampWritten(iResult, sizeof aText - 1), sizeof aText - 1);
    // The capacity is fixed, independent of the earlier text.
    SetSizeI(sizeof aText);
    return *this;
}

clString &clString::operator=(const uint16_t *upText)
{
    iEncoding = 0;
    if (upText == nullptr || *upText == 0) {
        Clear();
        return *this;
    }
    size_t sizeUnits = 0;
    while (upText[sizeUnits] != 0) {
        ++sizeUnits;
    }
    const clString strText = ToUTF8("UTF-16", upText, 2 * sizeUnits, 6 * sizeUnits,
                                    "clString::operator=(const uint16_t *): iconv_open()");
    return *this = strText.c_str();
}

clString &clString::operator=(const wchar_t *wcpText)
{
    iEncoding = 0;
    if (wcpText == nullptr) {
        Clear();
        return *this;
    }
    const size_t sizeLen = std::wcstombs(nullptr, wcpText, 0);
    if (sizeLen == static_cast<size_t>(-1)) {
        throw clXString("clString::operator=(const wchar_t *): wcstombs()", errno);
    }
    clAllocT<char> allocText;
    char *cpText = allocText.SetSize(static_cast<int64_t>(sizeLen + 1));
    if (std::wcstombs(cpText, wcpText, sizeLen + 1) == static_cast<size_t>(-1)) {
        // Compatibility: callers rely on this text, which lacks the "=" of the operation.
        throw clXString("clString::operator(const wchar_t *): wcstombs()", errno);
    }
    return *this = cpText;
}

int32_t clString::ToInt() const
{
    const char *cpText = Text();
    char *cpEnd = nullptr;
    const long lValue = std::strtol(cpText, &cpEnd, 0);
    if (cpEnd == cpText || *cpEnd != 0) {
        throw clXString("clString::ToInt(): not an integer");
    }
    return static_cast<int32_t>(lValue);
}

uint64_t clString::ToUInt() const
{
    const char *cpText = Text();
    char *cpEnd = nullptr;
    const unsigned long uValue = std::strtoul(cpText, &cpEnd, 0);
    if (cpEnd == cpText || *cpEnd != 0) {
        throw clXString("clString::ToUInt(): not an integer");
    }
    return uValue;
}

float clString::ToFloat() const
{
    return ParseFloat<float>(Text(), std::strtof, "clString::ToFloat(): not a float");
}

double clString::ToDouble() const
{
    return ParseFloat<double>(Text(), std::strtod, "clString::ToDouble(): not a double");
}

long double clString::ToLongDouble() const
{
    return ParseFloat<long double>(Text(), std::strtold,
                                   "clString::ToLongDouble(): not a long double");
}

void clString::FloatC(double dValue)
{
    const std::ostringstream stream = FormatC(dValue);
    *this = stream.str().c_str();
    if (stream.fail()) {
        throw clXString("clString::FloatC(): std::ostringstream::fail()");
    }
}

clString clString::FromFloat(double dValue)
{
    const std::ostringstream stream = FormatC(dValue);
    if (stream.fail()) {
        throw clXString("clString::FromFloat(): std::ostringstream::fail()");
    }
    return clString(stream.str().c_str());
}

clString clString::FromLatin1(const char *cpText)
{
    const size_t sizeLen = std::strlen(cpText);
    return ToUTF8("ISO8859-1", cpText, sizeLen, 6 * sizeLen,
                  "clString::FromLatin1(): iconv_open()");
}

const wchar_t *clString::wc_str()
{
    const char *cpText = Text();
    const size_t sizeLen = std::mbstowcs(nullptr, cpText, 0);
    if (sizeLen == static_cast<size_t>(-1)) {
        throw clXString("clString::wc_str(): mbstowcs(NULL,,0)", errno);
    }
    wchar_t *wcpText = allocWcStr.SetSize(static_cast<int64_t>(sizeLen + 1));
    sizeWcStr = sizeLen + 1;
    if (std::mbstowcs(wcpText, cpText, sizeLen + 1) == static_cast<size_t>(-1)) {
        throw clXString("clString::wc_str(): mbstowcs()", errno);
    }
    return wcpText;
}

bool clString::Tok(clString &strToken, const char *cpDelims, bool bFirst)
{
    if (bFirst) {
        TokEnd();
    }
    const char *cpToken = nullptr;
    if (cpTokCopy != nullptr) {
        cpToken = strtok_r(nullptr, cpDelims, &cpTokSave);
    } else {
        cpTokCopy = strdup(Text());
        if (cpTokCopy == nullptr) {
            throw clXString("clString::Tok(): strdup()", errno);
        }
        cpToken = strtok_r(cpTokCopy, cpDelims, &cpTokSave);
    }
    if (cpToken == nullptr) {
        strToken.Clear();
        return false;
    }
    // Assigned as a clString: strToken may be this one, and assigning a char * may end its tokens.
    clString strFound(cpToken);
    strFound.iEncoding = iEncoding;
    strToken = strFound;
    return true;
}

clString clString::Tok(const char *cpDelims, bool bFirst)
{
    clString strToken;
    Tok(strToken, cpDelims, bFirst);
    return strToken;
}

void clString::TokEnd() noexcept
{
    std::free(cpTokCopy);
    cpTokCopy = nullptr;
    cpTokSave = nullptr;
}

std::vector<clString> clString::Split(const char *cpDelims)
{
    std::vector<clString> tokens;
    clString strToken;
    for (bool bFirst = true; Tok(strToken, cpDelims, bFirst); bFirst = false) {
        tokens.push_back(strToken);
    }
    TokEnd();
    return tokens;
}

std::vector<clString> clString::SplitLines(clAlloc &buffer)
{
    std::vector<clString> lines;
    char *cpByte = static_cast<char *>(buffer.GetPtr());
    const char *cpEnd = cpByte + buffer.GetSize();
    if (buffer.GetSize() >= 3 && std::memcmp(cpByte, "\xEF\xBB\xBF", 3) == 0) {
        cpByte += 3;
    }
    for (const char *cpLine = cpByte; cpByte != cpEnd; ++cpByte) {
        if (*cpByte != '\n' && *cpByte != '\r' && *cpByte != 0) {
            continue;
        }
        *cpByte = 0;
        if (cpLine != cpByte) {
            clString strLine(cpLine);
            strLine.Clean();
            if (strLine.sizeStr != 0) {
                lines.push_back(strLine);
            }
        }
        cpLine = cpByte + 1;
    }
    return lines;
}

void clString::StrError(int iErrorNumber)
{
    const char *cpText = std::strerror(iErrorNumber);
    if (cpText == nullptr) {
        throw clXString("clString::StrError()");
    }
    *this = cpText;
}
