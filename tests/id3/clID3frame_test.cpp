#include "id3/clID3frame.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ID3Builder.h"

#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace std::string_literals;

namespace
{

// Reads a frame at the cursor and moves that after it.
std::unique_ptr<clID3frame> Read(uint8_t uMajor, const uint8_t *&cpCursor, uint64_t &uRemaining)
{
    if (uMajor == 2) {
        return std::make_unique<clID3frame2>(cpCursor, uRemaining);
    }
    return uMajor == 3 ? std::make_unique<clID3frame3>(cpCursor, uRemaining)
                       : std::make_unique<clID3frame>(cpCursor, uRemaining);
}

} // namespace

TEST(clID3frame, BodiesAreDecodedByIdAndVersion)
{
    const struct {
        uint8_t uMajor, uPictureType;
        const char *cpId;
        std::string strBody;
        const char *cpText;
        std::string strData;
        const char *cpMimeType;
    } aRows[] = {
        {4, 0, "TIT2", "\0\xE9\0x"s, "\xC3\xA9", "\xE9\0x\0\0"s, ""},
        {4, 0, "TIT2", "\1\xFF\xFE\xE9\0A\0"s, "\xC3\xA9\x41", "\xFF\xFE\xE9\0A\0\0\0"s, ""},
        {4, 0, "TIT2", "\2\xFE\xFF\0A\0\0\0B"s, "A", "\xFE\xFF\0A\0\0\0B\0\0"s, ""},
        // Encoding 2 is big-endian in every version, unless it has a mark.
        {4, 0, "TIT2", "\2\0A\0b"s, "Ab", "\0A\0b\0\0"s, ""},
        {3, 0, "TIT2", "\2\0A\0b"s, "Ab", "\0A\0b\0\0"s, ""},
        {2, 0, "TT2", "\2\0A\0b\0"s, "Ab", "\0A\0b\0\0\0"s, ""},
        {4, 0, "TIT2", "\2\xFF\xFE\x41\0"s, "A", "\xFF\xFE\x41\0\0\0"s, ""},
        {3, 0, "TIT2", "\2\xD8\x3D\xDE\0"s, "\xF0\x9F\x98\x80", "\xD8\x3D\xDE\0\0\0"s, ""},
        {4, 0, "TIT2", "\2\0\0\0A"s, "", "\0\0\0A\0\0"s, ""},
        {2, 0, "TT2", "\2"s, "", "\0\0"s, ""},
        // Encoding 1, or a higher one in older versions, without a mark is in the machine's order.
        {4, 0, "TIT2", "\1\0A"s, "\xE4\x84\x80", "\0A\0\0"s, ""},
        {3, 0, "TIT2", "\3\0A"s, "\xE4\x84\x80", "\0A\0\0"s, ""},
        // Only ID3v2.4 has UTF-8.
        {4, 0, "TIT2", "\3\xC3\xA9"s, "\xC3\xA9", "\xC3\xA9\0\0"s, ""},
        {3, 0, "TIT2", "\3\xFF\xFE\x41\0"s, "A", "\xFF\xFE\x41\0\0\0"s, ""},
        // Text of odd length uses the zeros that are stored after it.
        {4, 0, "TIT2", "\1\xFF\xFE\x41\0B"s, "AB", "\xFF\xFE\x41\0B\0\0"s, ""},
        {3, 0, "TIT2", "\1"s, "", "\0\0"s, ""},
        {4, 0, "WOAR", "http", "http", "http\0"s, ""},
        {2, 0, "WAR", "http", "htt", "htt\0"s, ""},
        {4, 0, "TXXX", "\3a\0b"s, "", "\3a\0b"s, ""},
        {4, 4, "APIC", "\0a/b\0\4\xE9\0d\0ta"s, "\xC3\xA9", "d\0ta"s, "a/b"},
        // The description may end with the tag. In UTF-16 its first byte is zero, so it has no mark
        // and is in the machine's order. It ends at a zero unit or before a single byte.
        {3, 0, "APIC", "\0\0\0ab"s, "ab", "", ""},
        {4, 3, "APIC", "\2\0\3\xFE\xFF\0A\0\0xy"s, "\xEF\xBC\x80\xE4\x84\x80", "xy", ""},
        {4, 0, "APIC", "\1\0\0\xFF\xFE\x41\0z"s, "\xEF\xB8\x80\x41", "z", ""},
        {4, 3, "APIC", "\1a/b\0\3A\0B\0\0\0\0data"s, "", "\0data"s, "a/b"},
        {2, 3, "PIC", "\0PNG\3front\0data"s, "front", "data", "image/png"},
        {2, 0, "PIC", "\0JPG\0\0"s, "", "", "image/jpeg"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - aRows << ", " << row.cpId);
        const auto tag = ID3Builder(row.uMajor).Frame(row.cpId, row.strBody).Build();
        const uint8_t *cpCursor = tag.data() + 10;
        uint64_t uRemaining = tag.size() - 10;
        const auto pFrame = Read(row.uMajor, cpCursor, uRemaining);
        EXPECT_EQ(tag.data() + tag.size(), cpCursor);
        EXPECT_EQ(0U, uRemaining);
        EXPECT_STREQ(row.cpId, pFrame->GetId().c_str());
        EXPECT_STREQ(row.cpText, pFrame->GetText().c_str());
        EXPECT_STREQ(row.cpMimeType, pFrame->GetMimeType().c_str());
        EXPECT_EQ(row.uPictureType, pFrame->GetPictureType());
        const auto *cpData = static_cast<const char *>(pFrame->GetData().GetPtr());
        EXPECT_EQ(row.strData, std::string(cpData, cpData + pFrame->GetData().GetSize()));
    }
}

TEST(clID3frame, FailuresLeaveTheCursor)
{
    const std::string strLeft = "(): not enough data left";
    const std::tuple<uint8_t, std::string, std::string> aRows[] = {
        {4, "TIT2\0\0\0\x80\0\0x"s, "clID3base::SS2Int32(): invalid data"},
        {4, "TIT2\0\0\0\2\0\0x"s, "clID3frame::clID3frame(): insufficient data"},
        {3, "TIT2\0\0\0"s, "clID3base::ReadDWord" + strLeft},
        {2, "TT2\0\0"s, "clID3base::ReadWord24" + strLeft},
        {3, "TIT2\xFF\xFF\xFF\xFF\0\0x"s, "clID3frame3::clID3frame3(): insufficient data"},
        {2, "TT2\0\0\2x"s, "clID3frame2::clID3frame2(): insufficient data"},
        // A text of size 0 reads its encoding from the next frame.
        {4, "TIT2\0\0\0\0\0\0"s, "clID3base::ReadByte" + strLeft},
        // The strings of a picture may continue after the frame.
        {4, "APIC\0\0\0\1\0\0\0"s, "clID3base::ReadString" + strLeft},
        {4, "APIC\0\0\0\5\0\0\0a\0\3b\0"s, "clID3frame::clID3frame(): header size mismatch"},
        {3, "APIC\0\0\0\5\0\0\0a\0\3b\0"s, "clID3frame3::clID3frame3(): header size mismatch"},
        {2, "PIC\0\0\6\0PNG\3b\0"s, "clID3frame2::clID3frame2(): header size mismatch"},
    };
    for (const auto &[uMajor, strBytes, strMessage] : aRows) {
        SCOPED_TRACE(strMessage);
        const std::vector<uint8_t> bytes(strBytes.begin(), strBytes.end());
        const uint8_t *cpCursor = bytes.data();
        uint64_t uRemaining = bytes.size();
        EXPECT_THROW_MSG(Read(uMajor, cpCursor, uRemaining), clXID3tag, strMessage);
        EXPECT_EQ(bytes.data(), cpCursor);
        EXPECT_EQ(bytes.size(), uRemaining);
    }
}
