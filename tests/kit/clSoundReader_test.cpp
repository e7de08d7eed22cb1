#include "kit/clSoundReader.h"

#include "kit/clInputFile.h"
#include "kit/clXInput.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

class clSoundReader_ : public testing::Test
{
public:
    ~clSoundReader_() noexcept override {}

protected:
    bytes_t ReadAll(size_t uFrames)
    {
        bytes_t all;
        bytes_t buffer(uFrames * sound.GetChannels());
        while (const size_t sizeRead = sound.Read(buffer.data(), uFrames)) {
            Append(all, Part(buffer, 0, sizeRead * sound.GetChannels()));
        }
        return all;
    }

    void Open(const bytes_t &file)
    {
        sound.Close();
        input.Open(folder.Write("file", file));
        ASSERT_EQ("", input.Judge(false, true).strFault);
        sound.Open(input);
    }

    const TempFolder folder;
    clInputFile input;
    clSoundReader sound;
};

TEST_F(clSoundReader_, ClearsUnusedBitsOfTheLastFrame)
{
    for (const uint64_t uSamples : {1U, 4096U * 8 - 3, 4096U * 8, 4096U * 8 + 5}) {
        for (const uint32_t uBits : {1U, 8U}) {
            const size_t sizeData = uSamples > 4096 * 8 ? 16384 : 8192;
            Open(DSFBuilder().BitsPerSample(uBits).Data(bytes_t(sizeData, 0xFF), uSamples).Build());
            const size_t uFrames = size_t(uSamples + 7) / 8;
            bytes_t expected(uFrames * 2, 0xFF);
            const uint8_t uLast = uint8_t(0xFF << (8 * uFrames - uSamples));
            expected[expected.size() - 2] = expected.back() = uLast;
            EXPECT_EQ(expected, ReadAll(4096)) << uSamples;
        }
    }
}

TEST_F(clSoundReader_, NeverEndsEarlyWithoutAFault)
{
    const bytes_t frames = Pattern(200000);
    for (const bytes_t &file :
         {DSDIFFBuilder().Sound(frames).Build(), ExpectedDSF(frames, 2, 2822400)}) {
        Open(file);
        std::filesystem::resize_file(folder.Path("file"), 150000);
        EXPECT_THROW(ReadAll(4096), clException);
        EXPECT_THROW(input.GetStream().ThrowIfChanged(), clXInput);
    }
}

} // namespace
