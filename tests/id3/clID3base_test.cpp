#include "id3/clID3base.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <string>
#include <vector>

using namespace std::string_literals;

namespace
{

// The cursor over a block of exactly its bytes, whose ends a checker sees.
struct Cursor : clID3base {
    explicit Cursor(const std::string &strSource) : bytes(strSource.begin(), strSource.end())
    {
        cpCursor = bytes.data();
        uRemaining = bytes.size();
    }
    using clID3base::ReadByte;
    using clID3base::ReadDWord;
    using clID3base::ReadSS3;
    using clID3base::ReadSS4;
    using clID3base::ReadSS5;
    using clID3base::ReadWord;
    using clID3base::ReadWord24;
    using clID3base::uRemaining;

    const std::vector<uint8_t> bytes;
};

} // namespace

TEST(clID3base, IntegersAreReadWholeOrNotAtAll)
{
    const struct {
        uint32_t (*pRead)(Cursor &);
        std::string strSource;
        uint32_t uValue;
        const char *cpName;
    } aRows[] = {
        {[](Cursor &c) -> uint32_t { return c.ReadByte(); }, "\xFF"s, 0xFF, "ReadByte"},
        {[](Cursor &c) -> uint32_t { return c.ReadWord(); }, "\xFF\xFE"s, 0xFFFE, "ReadWord"},
        {[](Cursor &c) { return c.ReadWord24(); }, "\1\2\3"s, 0x010203, "ReadWord24"},
        {[](Cursor &c) { return c.ReadDWord(); }, "\xFC\xFB\xFA\xF9"s, 0xFCFBFAF9, "ReadDWord"},
        {[](Cursor &c) { return c.ReadSS3(); }, "\0\2\1"s, 257, "ReadSS3"},
        {[](Cursor &c) { return c.ReadSS4(); }, "\0\0\2\1"s, 257, "ReadSS4"},
        {[](Cursor &c) { return c.ReadSS5(); }, "\x7F\x7F\x7F\x7F\x7F"s, 0xFFFFFFFF, "ReadSS5"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        Cursor shortCursor(row.strSource.substr(1));
        EXPECT_THROW_MSG(row.pRead(shortCursor), clXID3tag,
                         "clID3base::"s + row.cpName + "(): not enough data left");
        EXPECT_EQ(row.strSource.size() - 1, shortCursor.uRemaining);
        Cursor cursor(row.strSource + "x");
        EXPECT_EQ(row.uValue, row.pRead(cursor));
        EXPECT_EQ(1U, cursor.uRemaining);
    }
}
