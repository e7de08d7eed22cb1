#include "kit/Printable.h"

#include <cstdint>

namespace
{

constexpr std::string_view CUT_MARK = "..";

uint8_t ByteAt(std::string_view strText, size_t sizeAt) noexcept
{
    return static_cast<uint8_t>(strText[sizeAt]);
}

bool IsControl(char32_t uCode) noexcept
{
    return uCode < 0x20 || (uCode >= 0x7F && uCode < 0xA0);
}

struct range_t {
    char32_t uFirst, uLast;
};

// Marks that are drawn over the character before them, or not at all.
constexpr range_t aNarrow[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},   {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF},   {0x1DC0, 0x1DFF}, {0x200B, 0x200F},
    {0x202A, 0x202E}, {0x2060, 0x2064}, {0x20D0, 0x20FF},   {0x3099, 0x309A}, {0xFE00, 0xFE0F},
    {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF},
};

// The scripts of East Asia, full-width forms and pictures.
constexpr range_t aWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x23E9, 0x23EC},   {0x2614, 0x2615},
    {0x2E80, 0x303E},   {0x3041, 0x3098},   {0x309B, 0xA4CF},   {0xA960, 0xA97C},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
    {0x20000, 0x3FFFD},
};

template <size_t SIZE>
bool IsIn(const range_t (&aRanges)[SIZE], char32_t uCode) noexcept
{
    for (const range_t &range : aRanges) {
        if (uCode >= range.uFirst && uCode <= range.uLast) {
            return true;
        }
    }
    return false;
}

// Not wcwidth(): it follows the locale, which this program never sets.
size_t CountColumnsOf(char32_t uCode) noexcept
{
    if (IsIn(aNarrow, uCode)) {
        return 0;
    }
    return IsIn(aWide, uCode) ? 2 : 1;
}

} // namespace

character_t NextCharacter(std::string_view strText, size_t sizeAt) noexcept
{
    const uint8_t uFirst = ByteAt(strText, sizeAt);
    if (uFirst < 0x80) {
        return {uFirst, 1, true};
    }
    const character_t bad = {uFirst, 1, false};
    size_t sizeBytes = 0;
    char32_t uLeast = 0;
    if (uFirst >= 0xC2 && uFirst < 0xE0) {
        sizeBytes = 2;
        uLeast = 0x80;
    } else if (uFirst >= 0xE0 && uFirst < 0xF0) {
        sizeBytes = 3;
        uLeast = 0x800;
    } else if (uFirst >= 0xF0 && uFirst < 0xF5) {
        sizeBytes = 4;
        uLeast = 0x10000;
    } else {
        return bad;
    }
    if (strText.size() - sizeAt < sizeBytes) {
        return bad;
    }
    char32_t uCode = uFirst & (0x7FU >> sizeBytes);
    for (size_t i = 1; i < sizeBytes; ++i) {
        const uint8_t uByte = ByteAt(strText, sizeAt + i);
        if ((uByte & 0xC0) != 0x80) {
            return bad;
        }
        uCode = uCode << 6 | (uByte & 0x3FU);
    }
    const bool bSurrogate = uCode >= 0xD800 && uCode < 0xE000;
    if (uCode < uLeast || uCode > 0x10FFFF || bSurrogate) {
        return bad;
    }
    return {uCode, sizeBytes, true};
}

std::string Printable(std::string_view strText)
{
    std::string strResult;
    strResult.reserve(strText.size());
    for (size_t i = 0; i < strText.size();) {
        const character_t next = NextCharacter(strText, i);
        if (IsControl(next.uCode)) {
            strResult += '?';
        } else {
            strResult += strText.substr(i, next.sizeBytes);
        }
        i += next.sizeBytes;
    }
    return strResult;
}

size_t CountColumns(std::string_view strText) noexcept
{
    size_t sizeColumns = 0;
    for (size_t i = 0; i < strText.size();) {
        const character_t next = NextCharacter(strText, i);
        sizeColumns += CountColumnsOf(next.uCode);
        i += next.sizeBytes;
    }
    return sizeColumns;
}

std::string CutToColumns(std::string_view strText, size_t sizeColumns)
{
    size_t sizeLeft = CountColumns(strText);
    if (sizeLeft <= sizeColumns) {
        return std::string(strText);
    }
    const std::string_view strMark = sizeColumns > CUT_MARK.size() ? CUT_MARK : "";
    size_t sizeFrom = 0;
    while (sizeFrom < strText.size() && sizeLeft + strMark.size() > sizeColumns) {
        const character_t next = NextCharacter(strText, sizeFrom);
        sizeLeft -= CountColumnsOf(next.uCode);
        sizeFrom += next.sizeBytes;
    }
    return std::string(strMark).append(strText.substr(sizeFrom));
}
