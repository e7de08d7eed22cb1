#include "id3/clID3base.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <string>

using namespace std::string_literals;

namespace
{

// A cursor over borrowed text.
struct Cursor : clID3base {
    explicit Cursor(const std::string &strSource)
    {
        cpCursor = reinterpret_cast<const uint8_t *>(strSource.data());
        uRemaining = strSource.size();
    }
    using clID3base::ReadSS3;
    using clID3base::ReadSS5;
};

} // namespace

// The tests of frames and tags cover the other integers.
TEST(clID3base, SynchsafeIntegersAreReadCompletely)
{
    EXPECT_EQ(257U, Cursor("\0\2\1x"s).ReadSS3());
    EXPECT_EQ(0xFFFFFFFF, Cursor("\x7F\x7F\x7F\x7F\x7Fx"s).ReadSS5());
    EXPECT_THROW_MSG(Cursor("\2\1"s).ReadSS3(), clXID3tag,
                     "clID3base::ReadSS3(): not enough data left");
    EXPECT_THROW_MSG(Cursor("\0\0\2\1"s).ReadSS5(), clXID3tag,
                     "clID3base::ReadSS5(): not enough data left");
}
