#include "examples/clDSTFile.h"

#include "examples/DescribeDST.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

// The file is what the plain one of the same options becomes, frame by frame.
TEST(clDSTFile, HoldsThePlainSample)
{
    using builder_t = DSDIFFBuilder;
    constexpr size_t FRAME = 2 * 4704;
    const clDSTEncoder encoder(2, 2822400);
    const TempFolder folder;
    const std::string strFile = folder.Path("a.dff");
    for (const char *cpSeconds : {"0", "0.02666666", "0.02667"}) {
        SCOPED_TRACE(cpSeconds);
        ASSERT_EQ(0, RunProgram({MAKE_SAMPLE, strFile, "--seconds", cpSeconds}).iStatus);
        bytes_t sound = Part(folder.Read("a.dff"), builder_t().Sound({}).Build().size());
        sound.resize((sound.size() + FRAME - 1) / FRAME * FRAME, 0x96);
        ASSERT_EQ(0, RunProgram({MAKE_SAMPLE, strFile, "--seconds", cpSeconds, "--dst"}).iStatus);

        const size_t sizeStart = builder_t().CompressedSound({}).Build().size();
        bytes_t index;
        bytes_t chunks = builder_t::Chunk("FRTE", builder_t::Number(sound.size() / FRAME, 4) +
                                                      builder_t::Number(75, 2));
        for (size_t i = 0; i < sound.size(); i += FRAME) {
            const bytes_t part = Part(sound, i, FRAME);
            const bytes_t coded = CompressDST(encoder, part);
            EXPECT_LT(2 * coded.size(), FRAME);
            Append(index, builder_t::Number(sizeStart + chunks.size() + 12, 8) +
                              builder_t::Number(coded.size(), 4));
            const bytes_t check = builder_t::Number(clDSTEncoder::CheckValue(part), 4);
            Append(chunks, builder_t::Chunk("DSTF", coded) + builder_t::Chunk("DSTC", check));
        }
        builder_t expected;
        expected.CompressedSound(chunks).After(builder_t::Chunk("DSTI", index));
        EXPECT_TRUE(folder.Read("a.dff") == expected.Build());
    }
}
