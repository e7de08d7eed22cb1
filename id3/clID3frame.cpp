#include "id3/clID3frame.h"

#include "base/clException.h"

#include <cstring>

namespace
{

// The encoding that is passed for a MIME type: 8-bit text that is not converted.
constexpr uint8_t ENCODING_PLAIN = 255;
// Big-endian UTF-16, which needs no mark.
constexpr uint8_t ENCODING_BIG_ENDIAN = 2;

constexpr uint8_t aBigEndianMark[] = {0xFE, 0xFF};
constexpr uint8_t aLittleEndianMark[] = {0xFF, 0xFE};

bool BeginsWithMark(const void *pText, uint64_t sizeText)
{
    return sizeText >= 2 && (std::memcmp(pText, aBigEndianMark, 2) == 0 ||
                             std::memcmp(pText, aLittleEndianMark, 2) == 0);
}

/**
 * Converts UTF-16 text. Works on a copy, because text of odd length lacks a complete terminator.
 *
 * @param bBigEndian the byte order of a text without a mark; false: that of the machine, which the
 *                   conversion assumes
 */
void AssignUTF16(clString &strTarget, const void *pText, uint64_t sizeText, bool bBigEndian)
{
    clAllocT<uint16_t> allocUnits;
    const uint64_t uUnits = sizeText / 2 + 3;
    uint16_t *upUnits = allocUnits.SetSize(static_cast<int64_t>(uUnits));
    std::memset(upUnits + uUnits - 3, 0, 3 * sizeof(*upUnits));
    uint16_t *upText = upUnits;
    if (bBigEndian && !BeginsWithMark(pText, sizeText)) {
        std::memcpy(upText++, aBigEndianMark, sizeof(aBigEndianMark));
    }
    std::memcpy(upText, pText, sizeText);
    strTarget = static_cast<const uint16_t *>(upUnits);
}

} // namespace

// ---- ID3v2.4 and what all versions share ----

clID3frame::clID3frame() = default;

clID3frame::clID3frame(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining)
{
    SetCursor(cpTagCursor, uTagRemaining);
    clID3frame::ReadHeader();
    RequireBody("clID3frame::clID3frame(): insufficient data");
    DecodeBody(HIGH_IS_UTF8, "clID3frame::clID3frame(): header size mismatch");
    ReturnCursor(cpTagCursor, uTagRemaining);
}

clID3frame::~clID3frame() noexcept(false) = default;

void clID3frame::Reset()
{
    clID3base::Reset();
    std::memset(aId, 0, sizeof(aId));
    uSize = 0;
    uFlags = 0;
    uTextEncoding = 0;
}

void clID3frame::ReadHeader()
{
    ReadBytes(aId, 4);
    uSize = ReadSS4();
    uFlags = ReadWord();
}

clString clID3frame::GetId() const
{
    char aText[sizeof(aId) + 1] = {};
    std::memcpy(aText, aId, sizeof(aId));
    return clString(aText);
}

const clAlloc &clID3frame::GetData() const
{
    return allocData;
}

const clString &clID3frame::GetText() const
{
    return strText;
}

const clString &clID3frame::GetMimeType() const
{
    return strMimeType;
}

uint8_t clID3frame::GetPictureType() const
{
    return uPictureType;
}

void clID3frame::SetCursor(const uint8_t *cpTagCursor, uint64_t uTagRemaining) noexcept
{
    cpCursor = cpTagCursor;
    uRemaining = uTagRemaining;
}

void clID3frame::RequireBody(const char *cpFailure) const
{
    // Also limits every allocation below to the bytes that are present.
    if (uSize > uRemaining) {
        throw clXID3tag(cpFailure);
    }
}

void clID3frame::ReturnCursor(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining) const noexcept
{
    cpTagCursor = cpCursor;
    uTagRemaining = uRemaining;
}

void clID3frame::DecodeBody(highencoding_t high, const char *cpMismatch)
{
    if (aId[0] == 'T' && !IsId("TXXX")) {
        DecodeText(high);
    } else if (aId[0] == 'W' && !IsId("WXXX")) {
        DecodeUrl();
    } else if (IsId("APIC")) {
        DecodePicture(cpMismatch);
    } else {
        DecodeRaw();
    }
}

void clID3frame::DecodeText(highencoding_t high)
{
    uTextEncoding = ReadByte();
    // A body without an encoding byte makes the size wrap, and ReadBytes refuses it.
    const uint64_t sizeText = static_cast<uint64_t>(uSize) - 1;
    auto *pText = static_cast<char *>(allocData.SetSize(static_cast<int64_t>(uSize) + 1));
    ReadBytes(pText, sizeText);
    pText[sizeText] = 0;
    pText[sizeText + 1] = 0;
    if (uTextEncoding == 0) {
        strText = clString::FromLatin1(pText);
    } else if (uTextEncoding <= 2 || high == HIGH_IS_UTF16) {
        AssignUTF16(strText, pText, sizeText, uTextEncoding == ENCODING_BIG_ENDIAN);
    } else {
        strText = pText;
    }
}

void clID3frame::DecodeUrl()
{
    auto *pText = static_cast<char *>(allocData.SetSize(static_cast<int64_t>(uSize) + 1));
    ReadBytes(pText, uSize);
    pText[uSize] = 0;
    strText = pText;
}

void clID3frame::DecodePicture(const char *cpMismatch)
{
    uTextEncoding = ReadByte();
    const uint64_t sizeMimeType = ReadString(strMimeType, ENCODING_PLAIN);
    uPictureType = ReadByte();
    const uint64_t sizeDescription = ReadString(strText, uTextEncoding);
    DecodePictureData(sizeMimeType + sizeDescription + 2, cpMismatch);
}

void clID3frame::DecodePictureData(uint64_t sizeHeader, const char *cpMismatch)
{
    // The strings end at a terminator or with the tag, so they may be longer than the frame.
    if (sizeHeader > uSize) {
        throw clXID3tag(cpMismatch);
    }
    const uint64_t sizePicture = uSize - sizeHeader;
    ReadBytes(allocData.SetSize(static_cast<int64_t>(sizePicture)), sizePicture);
}

void clID3frame::DecodeRaw()
{
    ReadBytes(allocData.SetSize(static_cast<int64_t>(uSize)), uSize);
}

bool clID3frame::IsId(const char *cpId) const noexcept
{
    // Compares the zero byte after a short id as well.
    return std::strncmp(reinterpret_cast<const char *>(aId), cpId, sizeof(aId)) == 0;
}

// ---- ID3v2.3 ----

clID3frame3::clID3frame3(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining)
{
    SetCursor(cpTagCursor, uTagRemaining);
    clID3frame3::ReadHeader();
    RequireBody("clID3frame3::clID3frame3(): insufficient data");
    DecodeBody(HIGH_IS_UTF16, "clID3frame3::clID3frame3(): header size mismatch");
    ReturnCursor(cpTagCursor, uTagRemaining);
}

void clID3frame3::ReadHeader()
{
    ReadBytes(aId, 4);
    uSize = ReadDWord();
    uFlags = ReadWord();
}

// ---- ID3v2.2 ----

clID3frame2::clID3frame2(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining)
{
    SetCursor(cpTagCursor, uTagRemaining);
    clID3frame2::ReadHeader();
    RequireBody("clID3frame2::clID3frame2(): insufficient data");
    DecodeShortBody();
    ReturnCursor(cpTagCursor, uTagRemaining);
}

void clID3frame2::ReadHeader()
{
    ReadBytes(aId, 3);
    aId[3] = 0;
    uSize = ReadWord24();
    uFlags = 0;
}

clString clID3frame2::GetShortId() const
{
    return clID3frame::GetId();
}

void clID3frame2::DecodeShortBody()
{
    if (aId[0] == 'T' && !IsId("TXX")) {
        DecodeText(HIGH_IS_UTF16);
    } else if (aId[0] == 'W' && !IsId("WXX")) {
        DecodeShortUrl();
    } else if (IsId("PIC")) {
        DecodeShortPicture();
    } else {
        DecodeRaw();
    }
}

void clID3frame2::DecodeShortUrl()
{
    DecodeRaw();
    if (uSize != 0) {
        auto *pText = static_cast<char *>(allocData.GetPtr());
        // Compatibility: callers rely on the loss of the last character.
        pText[uSize - 1] = 0;
        strText = pText;
    }
}

void clID3frame2::DecodeShortPicture()
{
    uTextEncoding = ReadByte();
    char aFormat[4] = {};
    for (int iIdx = 0; iIdx < 3; iIdx++) {
        aFormat[iIdx] = static_cast<char>(ReadByte());
    }
    if (std::strcmp(aFormat, "PNG") == 0) {
        strMimeType = "image/png";
    } else if (std::strcmp(aFormat, "JPG") == 0) {
        strMimeType = "image/jpeg";
    }
    uPictureType = ReadByte();
    const uint64_t sizeDescription = ReadString(strText, uTextEncoding);
    DecodePictureData(sizeDescription + 5, "clID3frame2::clID3frame2(): header size mismatch");
}
