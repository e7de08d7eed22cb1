#include "id3/clID3base.h"

#include "base/clAlloc.h"
#include "base/clException.h"

#include <cstring>

namespace
{

// The bytes of 8-bit text and of UTF-16 text within sizeMax bytes, with the terminator if there is
// one.
uint64_t GetByteTextSize(const uint8_t *cpText, uint64_t sizeMax)
{
    const void *pEnd = std::memchr(cpText, 0, sizeMax);
    if (pEnd == nullptr) {
        return sizeMax;
    }
    return static_cast<uint64_t>(static_cast<const uint8_t *>(pEnd) - cpText) + 1;
}

uint64_t GetUTF16TextSize(const uint8_t *cpText, uint64_t sizeMax)
{
    uint64_t sizeText = 0;
    while (sizeMax - sizeText >= 2) {
        const bool bLast = cpText[sizeText] == 0 && cpText[sizeText + 1] == 0;
        sizeText += 2;
        if (bLast) {
            break;
        }
    }
    return sizeText;
}

} // namespace

clID3base::~clID3base() noexcept(false) = default;

void clID3base::Reset()
{
    uRemaining = 0;
    cpCursor = nullptr;
}

uint32_t clID3base::SS2Int32(const uint8_t *cpBytes, uint64_t uCount)
{
    uint32_t uValue = 0;
    for (uint64_t uIdx = 0; uIdx < uCount; uIdx++) {
        if ((cpBytes[uIdx] & 0x80) != 0) {
            throw clXID3tag("clID3base::SS2Int32(): invalid data");
        }
        uValue = uValue << 7 | cpBytes[uIdx];
    }
    return uValue;
}

uint8_t clID3base::ReadByte()
{
    return static_cast<uint8_t>(ReadInt(1, "clID3base::ReadByte(): not enough data left"));
}

uint16_t clID3base::ReadWord()
{
    return static_cast<uint16_t>(ReadInt(2, "clID3base::ReadWord(): not enough data left"));
}

uint32_t clID3base::ReadWord24()
{
    return ReadInt(3, "clID3base::ReadWord24(): not enough data left");
}

uint32_t clID3base::ReadDWord()
{
    return ReadInt(4, "clID3base::ReadDWord(): not enough data left");
}

uint32_t clID3base::ReadSS3()
{
    return ReadSS(3, "clID3base::ReadSS3(): not enough data left");
}

uint32_t clID3base::ReadSS4()
{
    return ReadSS(4, "clID3base::ReadSS4(): not enough data left");
}

uint32_t clID3base::ReadSS5()
{
    return ReadSS(5, "clID3base::ReadSS5(): not enough data left");
}

void clID3base::ReadBytes(void *pTarget, uint64_t uCount)
{
    Require(uCount, "clID3base::ReadBytes(): not enough data left");
    // Both pointers may be null when there is nothing to copy.
    if (uCount != 0) {
        std::memcpy(pTarget, cpCursor, uCount);
        Advance(uCount);
    }
}

uint64_t clID3base::ReadString(clString &strTarget, uint8_t uEncoding)
{
    Require(1, "clID3base::ReadString(): not enough data left");

    // Enough for any text and the widest terminator. Only the used part is written, so that many
    // short texts in a large tag cost little.
    clAlloc allocText;
    const uint64_t sizeRoom = uRemaining + 2;
    allocText.SetSize(sizeRoom < uRemaining ? -1 : static_cast<int64_t>(sizeRoom));
    auto *pText = static_cast<char *>(allocText.GetPtr());

    const bool bUTF16 = uEncoding == 1 || uEncoding == 2;
    const uint64_t sizeText =
        bUTF16 ? GetUTF16TextSize(cpCursor, uRemaining) : GetByteTextSize(cpCursor, uRemaining);
    std::memcpy(pText, cpCursor, sizeText);
    // Text at the end of the tag may have no terminator.
    pText[sizeText] = 0;
    if (bUTF16) {
        pText[sizeText + 1] = 0;
        // Compatibility: callers rely on it, although it destroys the byte order mark.
        pText[0] = 0;
        strTarget = static_cast<const uint16_t *>(allocText.GetPtr());
    } else if (uEncoding == 0) {
        strTarget = clString::FromLatin1(pText);
    } else {
        strTarget = pText;
    }
    Advance(sizeText);
    return sizeText;
}

void clID3base::Require(uint64_t uCount, const char *cpFailure) const
{
    if (uRemaining < uCount) {
        throw clXID3tag(cpFailure);
    }
}

void clID3base::Advance(uint64_t uCount) noexcept
{
    cpCursor += uCount;
    uRemaining -= uCount;
}

uint32_t clID3base::ReadInt(uint64_t uCount, const char *cpFailure)
{
    Require(uCount, cpFailure);
    uint32_t uValue = 0;
    for (uint64_t uIdx = 0; uIdx < uCount; uIdx++) {
        uValue = uValue << 8 | cpCursor[uIdx];
    }
    Advance(uCount);
    return uValue;
}

uint32_t clID3base::ReadSS(uint64_t uCount, const char *cpFailure)
{
    Require(uCount, cpFailure);
    const uint32_t uValue = SS2Int32(cpCursor, uCount);
    Advance(uCount);
    return uValue;
}
