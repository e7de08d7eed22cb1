#pragma once

#include <cstdint>
#include <string>

inline bool IsPrintable(char c)
{
    return c >= ' ' && c <= '~';
}

/** The characters of an id, with '?' for those that a terminal may take for commands. */
inline std::string IdText(uint32_t uId)
{
    std::string strId;
    for (int iShift = 24; iShift >= 0; iShift -= 8) {
        const auto c = static_cast<char>(uId >> iShift & 0xFF);
        strId += IsPrintable(c) ? c : '?';
    }
    return strId;
}

/** Whether all characters of an id are printable; an ID3v2 tag begins with one that is not. */
inline bool IsId(uint32_t uId)
{
    bool bPrintable = true;
    for (int iShift = 24; iShift >= 0; iShift -= 8) {
        bPrintable = bPrintable && IsPrintable(static_cast<char>(uId >> iShift & 0xFF));
    }
    return bPrintable;
}

/** "chunk 'XYZ ' at byte 300". */
inline std::string ChunkText(uint32_t uId, uint64_t uOffset)
{
    return "chunk '" + IdText(uId) + "' at byte " + std::to_string(uOffset);
}

/** "1 byte", "2 bytes". */
inline std::string CountText(uint64_t uCount, const char *cpUnit)
{
    return std::to_string(uCount) + " " + cpUnit + (uCount == 1 ? "" : "s");
}
