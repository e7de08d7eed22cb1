// The program as its users see it: arguments, exit status, both outputs and the files.

#include "tests/support/VantrelTest.h"

#include <numeric>

using B = DSDIFFBuilder;

TEST_F(vantrel, ConvertsEveryLengthAroundItsBlocks)
{
    // A turn of the loop is 64 blocks.
    for (uint32_t uChannels = 1; uChannels <= 6; ++uChannels) {
        for (const size_t uFrames :
             {0U, 1U, 4095U, 4096U, 4097U, 64U * 4096 - 1, 64U * 4096, 64U * 4096 + 1}) {
            SCOPED_TRACE(testing::Message()
                         << uChannels << " channels, " << uFrames << " bytes each");
            const bytes_t sound = Pattern(uFrames * uChannels);
            EXPECT_EQ(said_t(), Convert(B().ChannelCount(uChannels).Rate(5644800).Sound(sound)));
            EXPECT_TRUE(ExpectedDSF(sound, uChannels, 5644800) == Output());
        }
    }
}

TEST_F(vantrel, PutsChannelsIntoTheStandardOrder)
{
    const struct {
        std::vector<std::string> ids;
        bytes_t expected;
        const char *cpWarning;
    } aRows[] = {
        {{"MLFT", "MRGT", "LS  ", "RS  ", "C   ", "LFE "}, {0, 1, 4, 5, 2, 3}, ""},
        {{"SRGT", "SLFT"}, {1, 0}, ""},
        {{"MLFT", "MRGT", "C   ", "LS  "},
         {0, 1, 2, 3},
         "warning: two channels claim the same place, all channels stay in the order of the input "
         "file\n"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::PrintToString(row.ids));
        bytes_t frame(row.ids.size());
        std::iota(frame.begin(), frame.end(), uint8_t{0});
        EXPECT_EQ(said_t(0, row.cpWarning), Convert(B().Channels(row.ids).Sound(frame)));
        const auto uChannels = static_cast<uint32_t>(frame.size());
        EXPECT_EQ(ExpectedDSF(row.expected, uChannels, 2822400), Output());
    }
}

TEST_F(vantrel, SaysHowItIsCalled)
{
    const said_t usage(1, PROGRAM + " <infile> <outfile> [tagfile]\n");
    EXPECT_EQ(usage, Run({}));
    EXPECT_EQ(usage, Run({strIn}));
    EXPECT_TRUE(fs::is_empty(folder.Path("")));
}

TEST_F(vantrel, AppendsTheTagAsItIs)
{
    const bytes_t sound = Pattern(10);
    folder.Write("in.dff", B().Sound(sound).Build());
    for (const size_t sizeTag : {0U, 10U, 1U << 20}) {
        SCOPED_TRACE(sizeTag);
        const bytes_t tag = Pattern(sizeTag);
        EXPECT_EQ(said_t(), Run({strIn, strOut, folder.Write("tag", tag)}));
        EXPECT_EQ(ExpectedDSF(sound, 2, 2822400, &tag), Output());
    }
    const bytes_t none;
    EXPECT_EQ(said_t(), Run({strIn, strOut, "/dev/null"}));
    EXPECT_EQ(ExpectedDSF(sound, 2, 2822400, &none), Output());
}

TEST_F(vantrel, LeavesAProvisionalHeaderWithoutItsTag)
{
    folder.Write("in.dff", B().Build());
    const std::pair<const char *, const char *> aRows[] = {
        {"none", "exception: clFileIO::Open(): open(): No such file or directory\n"},
        {".", "exception: clFileIO::Read(): read(): Is a directory\n"},
    };
    for (const auto &[cpTag, cpError] : aRows) {
        EXPECT_EQ(said_t(1, cpError), Run({strIn, strOut, folder.Path(cpTag)}));
        EXPECT_EQ(92U + 8192U, fs::file_size(strOut)) << "the sound is converted";
        ExpectProvisional();
    }
}

TEST_F(vantrel, RefusesBeforeTheOutputIsMade)
{
    const std::pair<B, said_t> aRows[] = {
        {B().Compression("DST "), {2, "error: input file is compressed\n"}},
        {B().ChannelCount(0), {1, "error: input file has 0 channels, a DSF file takes 1 to 6\n"}},
        {B().ChannelCount(7), {1, "error: input file has 7 channels, a DSF file takes 1 to 6\n"}},
        {B().NoSound(), {1, "exception: clDSDIFFDataChunk::ReadRaw(): no data\n"}},
        {B().Compression(""),
         {1, "exception: clDSDIFFPropChunk::GetCompression(): unknown compression\n"}},
    };
    for (const auto &[builder, said] : aRows) {
        EXPECT_EQ(said, Convert(builder));
        EXPECT_FALSE(HasOutput()) << said.second;
    }
    EXPECT_EQ(said_t(1, "error: the tag file is no regular file\n"),
              Run({strIn, strOut, "/dev/zero"}));
    EXPECT_EQ(said_t(1, "exception: clStreamReaderFile::clStreamReaderFile(): clFileIO::Open(): "
                        "open(): No such file or directory\n"),
              Run({folder.Path("none"), strOut}));
    EXPECT_FALSE(HasOutput());
}

TEST_F(vantrel, NeverOverwritesWhatItReads)
{
    const bytes_t input = B().Build();
    folder.Write("in.dff", input);
    const std::string strTag = folder.Write("tag", Pattern(30));
    fs::create_symlink("in.dff", folder.Path("symlink"));
    fs::create_hard_link(strIn, folder.Path("hardlink"));
    fs::create_directory(folder.Path("sub"));
    const std::string strSame = "error: input and output are the same file\n";
    const std::pair<std::vector<std::string>, std::string> aRows[] = {
        {{strIn, strIn}, strSame},
        {{strIn, folder.Path("symlink")}, strSame},
        {{strIn, folder.Path("hardlink")}, strSame},
        {{strIn, folder.Path("sub/../in.dff")}, strSame},
        {{"file:" + strIn, strIn}, strSame},
        {{"file://" + strIn, strIn}, strSame},
        {{strIn, strTag, strTag}, "error: tag file and output are the same file\n"},
    };
    for (const auto &[args, strError] : aRows) {
        EXPECT_EQ(said_t(1, strError), Run(args)) << args[1];
        EXPECT_EQ(input, folder.Read("in.dff"));
        EXPECT_EQ(Pattern(30), folder.Read("tag"));
    }
    // The name leads to no file until the output is created.
    EXPECT_EQ(said_t(1, "error: tag file and output are the same file\n"),
              Run({strIn, strOut, strOut}));
    ExpectProvisional();
}

TEST_F(vantrel, ConvertsWhatIsThereAndWarns)
{
    const struct {
        B builder;
        size_t sizeSound;
        const char *cpWarning;
    } aRows[] = {
        {B().Sound(Pattern(20), 21), 20, "warning: read 20 of 21 announced bytes of sound data\n"},
        {B().Sound(Pattern(13)), 12,
         "warning: read 13 of 13 announced bytes of sound data, the last 1 of them no whole frame "
         "and left out\n"},
        {B().Rate(0).Sound(Pattern(20)), 20,
         "warning: input file names no sample rate, 2822400 Hz assumed\n"},
    };
    for (const auto &row : aRows) {
        EXPECT_EQ(said_t(0, row.cpWarning), Convert(row.builder));
        EXPECT_EQ(ExpectedDSF(Pattern(row.sizeSound), 2, 2822400), Output()) << row.cpWarning;
    }
}

TEST_F(vantrel, ConvertsWithoutStandardDescriptorsAndReaders)
{
    folder.Write("in.dff", B().Sound(Pattern(20), 30).Build());
    for (const char *cpScript : {
             // The output file must not become one of the descriptors.
             "exec \"$0\" \"$1\" \"$2\" <&- >&- 2>&-",
             // The pipe has no reader any more when the program writes its first line.
             "exec 2> >(:); wait $!; exec \"$0\" \"$1\" \"$2\"",
         }) {
        SCOPED_TRACE(cpScript);
        EXPECT_EQ(0, RunProgram({"/bin/bash", "-c", cpScript, PROGRAM, strIn, strOut}).iStatus);
        EXPECT_EQ(ExpectedDSF(Pattern(20), 2, 2822400), Output());
        fs::remove(strOut);
    }
}
