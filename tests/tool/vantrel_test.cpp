// The program as its users see it: arguments, exit status, both outputs and the files.

#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/VantrelTest.h"

#include <filesystem>

#include <sys/stat.h>

namespace
{

using B = DSDIFFBuilder;
namespace fs = std::filesystem;

} // namespace

TEST_F(vantrel, ConvertsEveryLengthAroundItsBlocks)
{
    // A turn of the loop is 64 blocks.
    for (uint32_t uChannels = 1; uChannels <= 6; ++uChannels) {
        for (const size_t sizeFrames :
             {0U, 1U, 4095U, 4096U, 4097U, 64U * 4096 - 1, 64U * 4096, 64U * 4096 + 1}) {
            SCOPED_TRACE(testing::Message()
                         << uChannels << " channels, " << sizeFrames << " bytes each");
            const bytes_t sound = Pattern(sizeFrames * uChannels);
            const run_t run = Convert(B().ChannelCount(uChannels).Rate(5644800).Sound(sound));
            EXPECT_EQ("", run.strErr);
            EXPECT_EQ(0, run.iStatus);
            EXPECT_TRUE(ExpectedDSF(sound, uChannels, 5644800) == folder.Read("out.dsf"));
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
        for (size_t i = 0; i < frame.size(); ++i) {
            frame[i] = static_cast<uint8_t>(i);
        }
        const run_t run = Convert(B().Channels(row.ids).Sound(frame));
        EXPECT_EQ(row.cpWarning, run.strErr);
        EXPECT_EQ(0, run.iStatus);
        EXPECT_EQ(ExpectedDSF(row.expected, static_cast<uint32_t>(frame.size()), 2822400),
                  folder.Read("out.dsf"));
    }
}

TEST_F(vantrel, SaysHowItIsCalled)
{
    for (const std::vector<std::string> &args :
         {std::vector<std::string>{}, std::vector<std::string>{folder.Path("in.dff")}}) {
        const run_t run = Run(args);
        EXPECT_EQ(PROGRAM + " <infile> <outfile> [tagfile]\n", run.strErr);
        EXPECT_EQ(1, run.iStatus);
    }
    EXPECT_TRUE(fs::is_empty(folder.Path("")));
}

TEST_F(vantrel, AppendsTheTagAsItIs)
{
    const bytes_t sound = Pattern(10);
    for (const size_t sizeTag : {0U, 10U, 1U << 20}) {
        SCOPED_TRACE(sizeTag);
        const bytes_t tag = Pattern(sizeTag);
        const run_t run = Convert(B().Sound(sound), folder.Write("tag", tag));
        EXPECT_EQ("", run.strErr);
        EXPECT_EQ(0, run.iStatus);
        EXPECT_EQ(ExpectedDSF(sound, 2, 2822400, &tag), folder.Read("out.dsf"));
    }
}

TEST_F(vantrel, LeavesAProvisionalHeaderWithoutItsTag)
{
    const struct {
        std::string strTag;
        const char *cpError;
    } aRows[] = {
        {folder.Path("none"), "exception: clFileIO::Open(): open(): No such file or directory\n"},
        {folder.Path("."), "exception: clFileIO::Read(): read(): Is a directory\n"},
    };
    for (const auto &row : aRows) {
        const run_t run = Convert(B(), row.strTag);
        EXPECT_EQ(row.cpError, run.strErr);
        EXPECT_EQ(1, run.iStatus);
        EXPECT_EQ(92U + 8192U, fs::file_size(folder.Path("out.dsf"))) << "the sound is converted";
        ExpectProvisional();
    }
}

TEST_F(vantrel, RefusesBeforeTheOutputIsMade)
{
    const std::string strFifo = folder.Path("fifo");
    ASSERT_EQ(0, mkfifo(strFifo.c_str(), 0600));
    const struct {
        B builder;
        std::string strTag;
        int iStatus;
        const char *cpError;
    } aRows[] = {
        {B().Compression("DST "), "", 2, "error: input file is compressed\n"},
        {B().ChannelCount(0), "", 1, "error: input file has 0 channels, a DSF file takes 1 to 6\n"},
        {B().ChannelCount(7), "", 1, "error: input file has 7 channels, a DSF file takes 1 to 6\n"},
        {B().NoSound(), "", 1, "exception: clDSDIFFDataChunk::ReadRaw(): no data\n"},
        {B().Compression(""), "", 1,
         "exception: clDSDIFFPropChunk::GetCompression(): unknown compression\n"},
        {B().SubChunk(B::Chunk("LSCO", {})), "", 1,
         "exception: clDSDIFF::OpenMeta(): clDSDIFFFormChunk::Read(): clDSDIFFPropChunk::Read(): "
         "size mismatch, chunk 'LSCO'\n"},
        {B(), strFifo, 1, "error: the tag file is no regular file\n"},
    };
    for (const auto &row : aRows) {
        const run_t run = Convert(row.builder, row.strTag);
        EXPECT_EQ(row.cpError, run.strErr);
        EXPECT_EQ(row.iStatus, run.iStatus);
        EXPECT_FALSE(HasOutput()) << row.cpError;
    }
    const run_t run = Run({folder.Path("none"), folder.Path("out.dsf")});
    EXPECT_EQ("exception: clStreamReaderFile::clStreamReaderFile(): clFileIO::Open(): open(): "
              "No such file or directory\n",
              run.strErr);
    EXPECT_EQ(1, run.iStatus);
    EXPECT_FALSE(HasOutput());
}

TEST_F(vantrel, NeverOverwritesWhatItReads)
{
    const bytes_t input = B().Build();
    const std::string strIn = folder.Write("in.dff", input);
    const std::string strTag = folder.Write("tag", Pattern(30));
    fs::create_symlink("in.dff", folder.Path("symlink"));
    fs::create_hard_link(strIn, folder.Path("hardlink"));
    fs::create_directory(folder.Path("sub"));
    const std::string strSame = "error: input and output are the same file\n";
    const struct {
        std::vector<std::string> args;
        std::string strError;
    } aRows[] = {
        {{strIn, strIn}, strSame},
        {{strIn, folder.Path("symlink")}, strSame},
        {{strIn, folder.Path("hardlink")}, strSame},
        {{strIn, folder.Path("sub/../in.dff")}, strSame},
        {{"file:" + strIn, strIn}, strSame},
        {{"file://" + strIn, strIn}, strSame},
        {{strIn, strTag, strTag}, "error: tag file and output are the same file\n"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.args[1]);
        const run_t run = Run(row.args);
        EXPECT_EQ(row.strError, run.strErr);
        EXPECT_EQ(1, run.iStatus);
        EXPECT_EQ(input, folder.Read("in.dff"));
        EXPECT_EQ(Pattern(30), folder.Read("tag"));
    }
}

TEST_F(vantrel, ConvertsWhatIsThereAndWarns)
{
    const struct {
        B builder;
        size_t sizeSound;
        uint32_t uRate;
        const char *cpWarning;
    } aRows[] = {
        {B().Sound(Pattern(20), 30), 20, 2822400,
         "warning: read 20 of 30 announced bytes of sound data\n"},
        {B().Sound(Pattern(20), 21), 20, 2822400,
         "warning: read 20 of 21 announced bytes of sound data\n"},
        {B().Sound(Pattern(13)), 12, 2822400,
         "warning: read 13 of 13 announced bytes of sound data, the last 1 of them no whole frame "
         "and left out\n"},
        {B().Sound(Pattern(1)), 0, 2822400,
         "warning: read 1 of 1 announced bytes of sound data, the last 1 of them no whole frame "
         "and left out\n"},
        {B().Rate(0).Sound(Pattern(20)), 20, 2822400,
         "warning: input file names no sample rate, 2822400 Hz assumed\n"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpWarning);
        const run_t run = Convert(row.builder);
        EXPECT_EQ(row.cpWarning, run.strErr);
        EXPECT_EQ(0, run.iStatus);
        EXPECT_EQ(ExpectedDSF(Pattern(row.sizeSound), 2, row.uRate), folder.Read("out.dsf"));
    }
}

TEST_F(vantrel, KeepsItsMessagesOutOfTheOutput)
{
    // Started without standard descriptors, the output file must not become one of them.
    folder.Write("in.dff", B().Sound(Pattern(20), 30).Build());
    const run_t run = RunProgram({"/bin/sh", "-c", "exec \"$0\" \"$1\" \"$2\" <&- >&- 2>&-",
                                  PROGRAM, folder.Path("in.dff"), folder.Path("out.dsf")});
    EXPECT_EQ(0, run.iStatus);
    EXPECT_EQ(ExpectedDSF(Pattern(20), 2, 2822400), folder.Read("out.dsf"));
}
