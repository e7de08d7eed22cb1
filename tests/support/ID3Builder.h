#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/**
 * Builds valid or damaged ID3v2 tags of versions 2.2 to 2.4. Frame ids have the length of the
 * version: "TIT2" or "TT2".
 */
class ID3Builder
{
public:
    explicit ID3Builder(uint8_t uMajor = 4) : strVersion{char(uMajor), 0} {}

    /** Header flags; bit 4 adds the footer. */
    ID3Builder &Flags(int iBits) { return Set(iFlags, iFlags | iBits); }

    /** Appends raw bytes between or after frames. */
    ID3Builder &Bytes(const std::string &strBytes) { return Set(strBody, strBody + strBytes); }

    /** Appends a frame with an unchanged body, for example a URL. */
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

    /** Replaces a byte of the finished tag, counted from its end when the offset is negative. */
    ID3Builder &SetByte(int64_t lOffset, uint8_t uValue) { return Set(patches[lOffset], uValue); }

    /** Cuts the finished tag. */
    ID3Builder &Truncate(size_t sizeLimit) { return Set(sizeMax, sizeLimit); }

    std::vector<uint8_t> Build() const
    {
        const std::string strHeader = strVersion + char(iFlags) + Int(strBody.size(), 4, 7);
        const std::string strFooter = (iFlags & 0x10) != 0 ? "3DI" + strHeader : "";
        const std::string strTag = "ID3" + strHeader + strBody + strFooter;
        std::vector<uint8_t> tag(strTag.begin(), strTag.end());
        for (const auto &[lOffset, uValue] : patches) {
            tag.at(lOffset < 0 ? tag.size() - size_t(-lOffset) : size_t(lOffset)) = uValue;
        }
        tag.resize(std::min(tag.size(), sizeMax));
        return tag;
    }

private:
    template <class T>
    ID3Builder &Set(T &field, const T &value)
    {
        field = value;
        return *this;
    }

    // A big-endian integer with iBits bits in each byte.
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
    std::map<int64_t, uint8_t> patches;
};

/** A tag with only a title. */
inline std::vector<uint8_t> TitleTag(const std::string &strTitle)
{
    return ID3Builder(3).Text("TIT2", strTitle).Build();
}
