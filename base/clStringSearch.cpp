#include "base/clString.h"

#include "base/clException.h"

#include <algorithm>
#include <cstring>

#include <strings.h> // for strcasecmp()

namespace
{

size_t OffsetOf(const char *cpFound, const char *cpText) noexcept
{
    return cpFound != nullptr ? static_cast<size_t>(cpFound - cpText) : clString::NOT_FOUND;
}

} // namespace

int clString::Compare(const char *cpText) const
{
    return std::strcmp(Text(), cpText);
}

int clString::CaseCompare(const char *cpText) const
{
    return strcasecmp(Text(), cpText);
}

int clString::Collate(const char *cpText) const
{
    return std::strcoll(Text(), cpText);
}

// Compatibility: a sum that wraps passes both range checks; the index is then limited to the
// length.
int clString::CompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const
{
    if (uiIdx + uiLen > sizeStr) {
        throw clXString("clString::CompareRange(): uiIdx + uiLen > sizeStr");
    }
    return std::strncmp(Text() + std::min<uint64_t>(uiIdx, sizeStr), cpText, uiLen);
}

int clString::CaseCompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const
{
    if (uiIdx + uiLen > sizeStr) {
        throw clXString("clString::CaseCompareRange(): uiIdx + uiLen > sizeStr");
    }
    return strncasecmp(Text() + std::min<uint64_t>(uiIdx, sizeStr), cpText, uiLen);
}

bool clString::operator<(const clString &str) const
{
    return Compare(str.Text()) < 0;
}

bool clString::BeginsWith(const clString &str) const
{
    return std::strncmp(Text(), str.Text(), str.sizeStr) == 0;
}

bool clString::BeginsWith(const char *cpText) const
{
    return std::strncmp(Text(), cpText, std::strlen(cpText)) == 0;
}

bool clString::CaseBeginsWith(const clString &str) const
{
    return strncasecmp(Text(), str.Text(), str.sizeStr) == 0;
}

bool clString::CaseBeginsWith(const char *cpText) const
{
    return strncasecmp(Text(), cpText, std::strlen(cpText)) == 0;
}

bool clString::EndsWith(const clString &str) const
{
    const size_t sizeChars = str.Length();
    return sizeChars <= sizeStr &&
           std::strncmp(Text() + sizeStr - sizeChars, str.Text(), str.sizeStr) == 0;
}

bool clString::EndsWith(const char *cpText) const
{
    const size_t sizeLen = std::strlen(cpText);
    return sizeLen <= sizeStr && std::strncmp(Text() + sizeStr - sizeLen, cpText, sizeLen) == 0;
}

bool clString::CaseEndsWith(const clString &str) const
{
    const size_t sizeChars = str.Length();
    return sizeChars <= sizeStr &&
           strncasecmp(Text() + sizeStr - sizeChars, str.Text(), str.sizeStr) == 0;
}

bool clString::CaseEndsWith(const char *cpText) const
{
    const size_t sizeLen = std::strlen(cpText);
    return sizeLen <= sizeStr && strncasecmp(Text() + sizeStr - sizeLen, cpText, sizeLen) == 0;
}

size_t clString::Find(char c) const
{
    return OffsetOf(std::strchr(Text(), c), Text());
}

size_t clString::FindLast(char c) const
{
    return OffsetOf(std::strrchr(Text(), c), Text());
}

const char *clString::Find(const char *cpText) const
{
    return std::strstr(Text(), cpText);
}

bool clString::Contains(const char *cpText) const
{
    return Find(cpText) != nullptr;
}

size_t clString::FindAny(const char *cpSet) const
{
    return OffsetOf(std::strpbrk(Text(), cpSet), Text());
}

size_t clString::Span(const char *cpSet) const
{
    return std::strspn(Text(), cpSet);
}

size_t clString::CSpan(const char *cpSet) const
{
    return std::strcspn(Text(), cpSet);
}

clString clString::TailFrom(const char *cpText) const
{
    clString strTail(Find(cpText));
    strTail.iEncoding = iEncoding;
    return strTail;
}
