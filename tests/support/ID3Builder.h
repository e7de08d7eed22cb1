#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/**
 * Builds ID3v2 tags of versions 2.2 to 2.4 in memory and breaks them where asked. Frame ids are
 * given as the version has them: "TIT2" or "TT2".
 */
class ID3Builder
{
public:
    explicit ID3Builder(uint8_t uMajor = 4) : strVersion{char(uMajor), 0} {}

    /** Header flags in addition to those of the parts below. */
    ID3Builder &Flags(int iBits)
    {
        iFlags |= iBits;
        return *this;
    }

    ID3Builder &Footer() { return Flags(0x10); }

    /** An extended header, byte by byte. */
    ID3Builder &ExtendedHeader(const std::string &strBytes)
    {
        strBody.insert(0, strBytes);
        return Flags(0x40);
    }

    /** Whatever may stand behind the frames. */
    ID3Builder &Bytes(const std::string &strBytes)
    {
        strBody += strBytes;
        return *this;
    }

    ID3Builder &Padding(size_t sizePadding) { return Bytes(std::string(sizePadding, '\0')); }

    /** A frame with its body as it is, as URLs are too. */
    ID3Builder &Frame(const std::string &strId, const std::string &strFrame)
    {
        const char uMajor = strVersion[0];
        return Bytes(strId + Int(strFrame.size(), uMajor == 2 ? 3 : 4, uMajor == 4 ? 7 : 8) +
                     std::string(uMajor == 2 ? 0 : 2, '\0') + strFrame);
    }

    ID3Builder &Text(const std::string &strId, const std::string &strText, uint8_t uEncoding = 0)
    {
        return Frame(strId, char(uEncoding) + strText);
    }

    /** A picture with a description in ISO 8859-1; version 2.2 takes "PNG" or "JPG" as its type. */
    ID3Builder &Picture(uint8_t uType, const std::string &strMimeType, const std::string &strText,
                        const std::string &strData)
    {
        const std::string strTail = char(uType) + strText + '\0' + strData;
        return strVersion[0] == 2 ? Frame("PIC", '\0' + strMimeType + strTail)
                                  : Frame("APIC", '\0' + strMimeType + '\0' + strTail);
    }

    /** Replaces a byte of the finished tag, counted from its end when the offset is negative. */
    ID3Builder &SetByte(int64_t lOffset, uint8_t uValue)
    {
        patches.emplace_back(lOffset, uValue);
        return *this;
    }

    /** Cuts the finished tag. */
    ID3Builder &Truncate(size_t sizeLimit)
    {
        sizeMax = sizeLimit;
        return *this;
    }

    std::vector<uint8_t> Build() const
    {
        const std::string strHeader = strVersion + char(iFlags) + Int(strBody.size(), 4, 7);
        const bool bFooter = (iFlags & 0x10) != 0;
        const std::string strTag = "ID3" + strHeader + strBody + (bFooter ? "3DI" + strHeader : "");
        std::vector<uint8_t> tag(strTag.begin(), strTag.end());
        for (const auto &[lOffset, uValue] : patches) {
            tag.at(lOffset < 0 ? tag.size() - size_t(-lOffset) : size_t(lOffset)) = uValue;
        }
        tag.resize(std::min(tag.size(), sizeMax));
        return tag;
    }

private:
    // An integer, highest byte first, with so many bits to the byte.
    static std::string Int(size_t sizeValue, int iBytes, int iBits)
    {
        std::string strInt;
        while (iBytes-- > 0) {
            strInt += char(sizeValue >> (iBytes * iBits) & ((1u << iBits) - 1));
        }
        return strInt;
    }

    std::string strVersion, strBody;
    int iFlags = 0;
    size_t sizeMax = SIZE_MAX;
    std::vector<std::pair<int64_t, uint8_t>> patches;
};
