#include "kit/clVerifier.h"

#include "kit/clDigest.h"
#include "kit/clFileStream.h"
#include "kit/clXInput.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/ID3Builder.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

class clVerifier_ : public testing::Test
{
public:
    ~clVerifier_() noexcept override {}

protected:
    /** Empty when the verification finds no difference. */
    std::string Verify(const bytes_t &output)
    {
        folder.Write("out.dsf", output);
        try {
            verifier.Verify(folder.Path("out.dsf"), sound, {2822400, 2, tag, strDigest},
                            [](uint64_t) {});
        } catch (const clXInput &caught) {
            return caught.what();
        }
        return {};
    }

    void Open(const bytes_t &bytes)
    {
        input.Open(std::make_unique<clFileStream>(
            folder.Write("in.dff", DSDIFFBuilder().Sound(bytes).Build())));
        sound.Open(input);
    }

    const TempFolder folder;
    const bytes_t tag = TitleTag("title");
    std::string strDigest;
    clInputFile input;
    clSoundReader sound;
    clVerifier verifier;
};

TEST_F(clVerifier_, FindsEveryDifference)
{
    const bytes_t frames = Pattern(2 * (4096 * 70 + 1000));
    Open(frames);
    const bytes_t good = ExpectedDSF(frames, 2, 2822400, &tag);
    ASSERT_EQ("", Verify(good));
    const auto WithBit = [&](size_t uByte) {
        bytes_t bad = good;
        bad[uByte] ^= 0x10;
        return bad;
    };
    for (size_t i = 0; i < 92; ++i) {
        EXPECT_NE("", Verify(WithBit(i))) << "byte " << i << " of the headers";
    }
    clDigest digest(clDigest::CHECKSUM);
    digest.Add(frames.data(), frames.size());
    // Against the sound itself, and against a digest of it.
    for (const std::string &strOfSound : {std::string(), digest.Finish()}) {
        strDigest = strOfSound;
        // The first and last byte, both sides of a boundary of reads, and the padding.
        for (const size_t i :
             {size_t{92}, size_t{92 + 262143}, size_t{92 + 262144},
              size_t{92 + 2 * 4096 * 70 + 4096 + 999}, good.size() - tag.size() - 1,
              good.size() - tag.size(), good.size() - 1}) {
            EXPECT_NE("", Verify(WithBit(i))) << "byte " << i;
        }
        EXPECT_EQ("", Verify(good));
    }
    strDigest.clear();
    EXPECT_NE("", Verify(Part(good, 0, good.size() - 1)));
    EXPECT_NE("", Verify(good + bytes_t(1)));
    EXPECT_NE("", Verify({}));
    // Sound other and as long, channels exchanged, a tag where none belongs.
    EXPECT_NE("", Verify(ExpectedDSF(bytes_t(frames.rbegin(), frames.rend()), 2, 2822400, &tag)));
    EXPECT_NE("", Verify(ExpectedDSF(frames, 2, 2822400)));
    EXPECT_EQ("verification failed: the sound differs at sample 0", Verify(WithBit(92)));
    EXPECT_EQ("", Verify(good)) << "the same object after all that";
}

TEST_F(clVerifier_, ReadsNothingThatHasGone)
{
    const bytes_t frames = Pattern(2 * 24 * 4096);
    bytes_t buffer(frames.size());
    for (const bytes_t &file :
         {DSDIFFBuilder().Sound(frames).Build(), ExpectedDSF(frames, 2, 2822400)}) {
        sound.Close();
        input.Open(std::make_unique<clFileStream>(folder.Write("in", file)));
        sound.Open(input);
        std::filesystem::resize_file(folder.Path("in"), 92 + 12 * 8192); // whole groups
        EXPECT_THROW(sound.Read(buffer.data(), buffer.size() / 2), clXInput);
    }
}

} // namespace
