#include "tests/support/ID3Builder.h"
#include "tests/support/KitTest.h"

#include <sys/stat.h>

namespace
{

using names_t = std::set<std::string>;

/** The output for sound in the standard order, of a channel type that its number does not tell. */
bytes_t Expected(const bytes_t &sound, uint32_t uChannels, uint32_t uType,
                 const bytes_t *pTag = nullptr)
{
    bytes_t file = ExpectedDSF(sound, uChannels, 2822400, pTag);
    file[48] = static_cast<uint8_t>(uType);
    return file;
}

class Convert : public kit_test
{
protected:
    run_t ConvertIn(const std::vector<std::string> &options = {}) const
    {
        std::vector<std::string> args = {strIn};
        args.insert(args.end(), options.begin(), options.end());
        return Run("convert", args);
    }

    static timespec TimeOf(const std::string &strPath)
    {
        struct stat status = {};
        EXPECT_EQ(0, stat(strPath.c_str(), &status));
        return status.st_mtim;
    }
};

TEST_F(Convert, RefusesWhatWouldBeLostUnlessLenient)
{
    const auto Stereo = [](const bytes_t &sound, int64_t lSize = -1) {
        return DSDIFFBuilder().Sound(sound, lSize);
    };
    const auto WithFormSize = [](bytes_t file, uint64_t uSize) {
        const bytes_t size = DSDIFFBuilder::Number(uSize, 8);
        std::copy(size.begin(), size.end(), file.begin() + 4);
        return file;
    };
    const bytes_t sound = Pattern(10000);
    const bytes_t plain = Stereo(sound).Build();
    const bytes_t shortFile = Part(plain, 0, plain.size() - 1001);
    const bytes_t tag = TitleTag("kept");
    const bytes_t tagged = Stereo(sound).After(DSDIFFBuilder::Chunk("ID3 ", tag)).Build();
    // An empty output: always refused.
    const struct {
        const char *cpName;
        bytes_t file;
        const char *cpReason;
        bytes_t output;
    } aRows[] = {
        {"cut", WithFormSize(shortFile, shortFile.size() - 12), "sound", // within a frame, too
         Expected(Part(sound, 0, 8998), 2, 2)},
        {"half a frame", Stereo(Part(sound, 0, 9999)).Build(), "frame",
         Expected(Part(sound, 0, 9998), 2, 2)},
        {"no rate", Stereo(sound).Rate(0).Build(), "rate", Expected(sound, 2, 2)},
        {"form too small", WithFormSize(tagged, 100), "form", Expected(sound, 2, 2, &tag)},
        {"form ends in a header", WithFormSize(tagged, 26), "form", Expected(sound, 2, 2, &tag)},
        {"chunk too large", Stereo(sound).After(DSDIFFBuilder::Chunk("ID3 ", tag, 5000)).Build(),
         "ID3 ", Expected(sound, 2, 2)},
        {"unnamed set", Stereo(sound).Channels({"LFE ", "MLFT"}).Build(), "channel",
         Expected(sound, 2, 2)},
        {"other form", WithFormSize(DSDIFFBuilder::Text("FRM800000000XXXX"), 4), "DSD ", {}},
        {"no sound", DSDIFFBuilder().NoSound().Build(), "sound", {}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        folder.Write("in.dff", row.file);
        const run_t strict = ConvertIn({"-q"});
        EXPECT_EQ(1, strict.iStatus);
        EXPECT_TRUE(strict.strErr.starts_with("vantrel-kit: " + strIn + ": ")) << strict.strErr;
        EXPECT_NE(std::string::npos, strict.strErr.find(row.cpReason)) << strict.strErr;
        EXPECT_EQ(1, std::count(strict.strErr.begin(), strict.strErr.end(), '\n'));
        EXPECT_EQ(names_t{"in.dff"}, Files());

        const run_t lenient = ConvertIn({"--lenient"});
        EXPECT_EQ(row.output.empty() ? 1 : 0, lenient.iStatus) << lenient.strErr;
        if (!row.output.empty()) {
            EXPECT_EQ(row.output, folder.Read("in.dsf"));
            EXPECT_NE(std::string::npos, lenient.strErr.find(": warning: ")) << lenient.strErr;
        }
        fs::remove(strOut);
        EXPECT_EQ(names_t{"in.dff"}, Files());
    }
}

TEST_F(Convert, PutsEverySetOfChannelsInOrder)
{
    const std::string L = "MLFT", R = "MRGT", C = "C   ", LFE = "LFE ", LS = "LS  ", RS = "RS  ";
    const struct {
        std::vector<std::string> ids; // any order
        uint32_t uType;
        std::vector<size_t> places; // of these ids in the output
    } aRows[] = {
        {{"SRGT", "SLFT"}, 2, {1, 0}},
        {{R, "SLFT"}, 2, {1, 0}},
        {{"X   ", "Y   "}, 2, {0, 1}},
        {{LFE, L, C, R}, 5, {3, 0, 2, 1}},
        {{RS, L, C, LS, R}, 6, {4, 0, 2, 3, 1}},
        {{LS, RS, LFE, C, "SRGT", "SLFT"}, 7, {4, 5, 3, 2, 1, 0}},
    };
    for (const auto &row : aRows) {
        const size_t uChannels = row.ids.size();
        SCOPED_TRACE(testing::Message() << uChannels << " channels, type " << row.uType);
        // More than one read, a last group that is not full, and a group and reads that are.
        for (const size_t uFrames : {size_t{0}, size_t{1}, size_t{4096}, size_t{300001}}) {
            const bytes_t sound = Pattern(uFrames * uChannels);
            bytes_t sorted(sound.size());
            for (size_t i = 0; i < sound.size(); ++i) {
                sorted[i / uChannels * uChannels + row.places[i % uChannels]] = sound[i];
            }
            folder.Write("in.dff", DSDIFFBuilder().Channels(row.ids).Sound(sound).Build());
            const run_t run = ConvertIn({"-f"});
            ASSERT_EQ(0, run.iStatus) << run.strErr;
            EXPECT_TRUE(Expected(sorted, uint32_t(uChannels), row.uType) == folder.Read("in.dsf"));
        }
    }
}

TEST_F(Convert, TakesTheFirstTagThatExists)
{
    const bytes_t given = TitleTag("given"), first = TitleTag("first"), last = TitleTag("last"),
                  appended = TitleTag("appended"), none = {'n', 'o', 'n', 'e'};
    // What no parser accepts is copied like any other.
    const bytes_t broken = DSDIFFBuilder::Text("ID3\xFF\xFF\xFF\xFF\xFF\xFF\xFF broken");
    const auto Tag = [](const bytes_t &tag) { return DSDIFFBuilder::Chunk("ID3 ", tag); };
    const auto Text = [](const std::string &strId, const std::string &strText) {
        return DSDIFFBuilder::Chunk(strId, DSDIFFBuilder::Number(strText.size(), 4) +
                                               DSDIFFBuilder::Text(strText));
    };
    const bytes_t master =
        DSDIFFBuilder::Chunk("DIIN", Text("DIAR", "G\xC3\xB6") + Text("DITI", "G\xF6"));
    const bytes_t empty = DSDIFFBuilder::Chunk("DIIN", Text("DIAR", "") + Text("DITI", ""));
    const DSDIFFBuilder all =
        DSDIFFBuilder().Before(Tag(first)).After(Tag(last) + master).Trailing(appended);
    folder.Write("tag", given);
    folder.Write("none", none);
    folder.Write("empty", {});
    const struct {
        DSDIFFBuilder file;
        std::vector<std::string> options;
        const char *cpTag;
        bytes_t tag;
        bool bWarning;
    } aRows[] = {
        {all, {"--tag", folder.Path("tag")}, "given", given, false},
        {all, {"--tag", folder.Path("none")}, "none", {}, true},
        {all, {"--tag", folder.Path("empty")}, "none", {}, true},
        {all, {"--no-tag"}, "none", {}, false},
        {all, {}, "carried", last, false},
        {DSDIFFBuilder().Before(Tag(first)).After(Tag(none)), {}, "none", {}, true},
        {DSDIFFBuilder().After(Tag({})).Trailing(appended), {}, "none", {}, true},
        {DSDIFFBuilder().After(Tag(broken)), {}, "carried", broken, false},
        {DSDIFFBuilder().After(master).Trailing(appended), {}, "carried", appended, false},
        {DSDIFFBuilder().After(empty), {}, "none", {}, false},
        {DSDIFFBuilder(), {}, "none", {}, false},
        {DSDIFFBuilder(), {"--tag", folder.Path("tag")}, "given", given, false},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << row.cpTag << " in row " << &row - aRows);
        folder.Write("in.dff", row.file.Build());
        std::vector<std::string> options = row.options;
        options.insert(options.end(), {"-f", "--json"});
        const run_t run = ConvertIn(options);
        ASSERT_EQ(0, run.iStatus) << run.strErr;
        EXPECT_EQ(Expected(Pattern(16), 2, 2, row.tag.empty() ? nullptr : &row.tag),
                  folder.Read("in.dsf"));
        EXPECT_EQ("{\"input\":\"" + strIn + "\",\"output\":\"" + strOut +
                      "\",\"status\":\"converted\",\"error\":null,",
                  run.strOut.substr(0, run.strOut.find("\"warnings\"")));
        EXPECT_NE(std::string::npos,
                  run.strOut.find("],\"channels\":2,\"sample_rate\":2822400,\"samples\":64,"
                                  "\"tag\":\"" +
                                  std::string(row.cpTag) + "\",\"tag_bytes\":" +
                                  std::to_string(row.tag.size()) + ",\"verified\":true}\n"))
            << run.strOut;
        EXPECT_EQ(row.bWarning, run.strErr.find(": warning: ") != std::string::npos) << run.strErr;
        EXPECT_EQ(row.bWarning, run.strOut.find("\"warnings\":[]") == std::string::npos);
    }

    // Made: read by the library's own reader.
    folder.Write("in.dff", DSDIFFBuilder().After(master).Build());
    const run_t run = ConvertIn({"-f", "--json"});
    EXPECT_NE(std::string::npos, run.strOut.find("\"tag\":\"made\"")) << run.strOut;
    const bytes_t file = folder.Read("in.dsf");
    const bytes_t made = Part(file, 92 + 8192);
    EXPECT_EQ(Expected(Pattern(16), 2, 2, &made), file);
    EXPECT_EQ(DSDIFFBuilder::Text("ID3\3"), Part(made, 0, 4));
    const std::string strMade(made.begin(), made.end());
    EXPECT_NE(std::string::npos, strMade.find(std::string("TPE1\0\0\0\3\0\0\0G\xF6", 13)));
    EXPECT_NE(std::string::npos, strMade.find(std::string("TIT2\0\0\0\3\0\0\0G\xF6", 13)));
}

TEST_F(Convert, FailsWhenTheTagFileCannotBeRead)
{
    folder.Write("in.dff", DSDIFFBuilder().Build());
    ASSERT_EQ(0, mkfifo(folder.Path("pipe").c_str(), 0600));
    for (const std::string &strTag :
         {folder.Path("missing"), folder.Path(""), std::string("/dev/null"), folder.Path("pipe")}) {
        const run_t run = ConvertIn({"--tag", strTag});
        EXPECT_EQ(1, run.iStatus);
        EXPECT_NE(std::string::npos, run.strErr.find("tag file " + strTag)) << run.strErr;
        EXPECT_EQ((names_t{"in.dff", "pipe"}), Files());
    }
}

TEST_F(Convert, LeavesAnExistingOutputUnlessForced)
{
    folder.Write("in.dff", DSDIFFBuilder().Build());
    folder.Write("in.dsf", {1, 2, 3});
    const run_t refused = ConvertIn();
    EXPECT_EQ(1, refused.iStatus);
    EXPECT_NE(std::string::npos, refused.strErr.find("--force")) << refused.strErr;
    EXPECT_NE(std::string::npos, refused.strErr.find("--skip-existing")) << refused.strErr;
    EXPECT_EQ("0 converted, 0 skipped, 1 failed", Summary(refused));

    const run_t skipped = ConvertIn({"--skip-existing", "--json"});
    EXPECT_EQ(0, skipped.iStatus);
    EXPECT_EQ("0 converted, 1 skipped, 0 failed", Summary(skipped));
    EXPECT_EQ("{\"input\":\"" + strIn + "\",\"output\":\"" + strOut +
                  "\",\"status\":\"skipped\",\"error\":null,\"warnings\":[],\"channels\":null,"
                  "\"sample_rate\":null,\"samples\":null,\"tag\":null,\"tag_bytes\":null,"
                  "\"verified\":false}\n",
              skipped.strOut);

    // A failure, forced or not, leaves it as well.
    folder.Write("in.dff", DSDIFFBuilder().Rate(0).Build());
    EXPECT_EQ(1, ConvertIn({"--force"}).iStatus);
    EXPECT_EQ(bytes_t({1, 2, 3}), folder.Read("in.dsf"));

    folder.Write("in.dff", DSDIFFBuilder().Build());
    EXPECT_EQ(0, ConvertIn({"--force", "--no-verify"}).iStatus);
    EXPECT_EQ(Expected(Pattern(16), 2, 2), folder.Read("in.dsf"));
    EXPECT_EQ((names_t{"in.dff", "in.dsf"}), Files());
}

TEST_F(Convert, DryRunJudgesAndWritesNothing)
{
    folder.Write("good.dff",
                 DSDIFFBuilder().After(DSDIFFBuilder::Chunk("ID3 ", TitleTag("x"))).Build());
    folder.Write("bad.dff", DSDIFFBuilder().Rate(0).Build());
    folder.Write("taken.dff", DSDIFFBuilder().Build());
    folder.Write("taken.dsf", {});
    const names_t before = Files();
    const run_t run = Run("convert", {"-n", "--json", "-j1", folder.Path("good.dff"),
                                      folder.Path("bad.dff"), folder.Path("taken.dff")});
    EXPECT_EQ(1, run.iStatus);
    EXPECT_EQ("0 converted, 0 skipped, 2 failed (dry run: 1 would be converted)", Summary(run));
    EXPECT_EQ(before, Files());
    EXPECT_NE(std::string::npos,
              run.strOut.find("\"status\":\"would-convert\",\"error\":null,\"warnings\":[],"
                              "\"channels\":2,\"sample_rate\":2822400,\"samples\":64,"
                              "\"tag\":\"carried\",\"tag_bytes\":" +
                              std::to_string(TitleTag("x").size()) + ",\"verified\":false}\n"))
        << run.strOut;

    const std::string strFolder = folder.Path("new/folder/");
    EXPECT_EQ(0, Run("convert", {"-n", folder.Path("good.dff"), "-o", strFolder}).iStatus);
    EXPECT_EQ(before, Files());
    const run_t file =
        Run("convert", {"-n", folder.Path("good.dff"), "-o", folder.Path("taken.dsf/below.dsf")});
    EXPECT_EQ(1, file.iStatus) << "a file where a folder has to be";
}

TEST_F(Convert, KeepsTheTimeAndRemovesTheInputWhenAsked)
{
    folder.Write("in.dff", DSDIFFBuilder().Build());
    const timespec aTimes[] = {{1000000000, 123456789}, {1234567890, 987654321}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, strIn.c_str(), aTimes, 0));
    ASSERT_EQ(0, ConvertIn().iStatus);
    EXPECT_EQ(1234567890, TimeOf(strOut).tv_sec);
    EXPECT_EQ(987654321, TimeOf(strOut).tv_nsec);
    EXPECT_EQ(1, ConvertIn({"--delete-input"}).iStatus) << "the output exists";
    EXPECT_TRUE(fs::exists(strIn));
    EXPECT_EQ(0, ConvertIn({"--delete-input", "--skip-existing"}).iStatus);
    EXPECT_TRUE(fs::exists(strIn)) << "skipped, not verified";
    EXPECT_EQ(2, ConvertIn({"--delete-input", "--no-verify", "-f"}).iStatus);
    EXPECT_EQ(0, ConvertIn({"--delete-input", "-f"}).iStatus);
    EXPECT_EQ(names_t{"in.dsf"}, Files());
    EXPECT_EQ(Expected(Pattern(16), 2, 2), folder.Read("in.dsf"));
}

TEST_F(Convert, TakesAnyName)
{
    for (const std::string &strName :
         {std::string("a b"), std::string("line\nbreak"), std::string("\xFF\xFE"),
          std::string("file:x"), std::string("-x"), std::string("100%s")}) {
        SCOPED_TRACE(strName);
        const std::string strInput = folder.Write(strName + ".DFF", DSDIFFBuilder().Build());
        const run_t run = Run("convert", {"--json", "--", strInput});
        EXPECT_EQ(0, run.iStatus) << run.strErr;
        EXPECT_EQ(2, std::count(run.strErr.begin(), run.strErr.end(), '\n')) << run.strErr;
        EXPECT_EQ(Expected(Pattern(16), 2, 2), folder.Read(strName + ".dsf"));
        if (strName == "\xFF\xFE") {
            EXPECT_NE(std::string::npos, run.strOut.find("/\xEF\xBF\xBD\xEF\xBF\xBD.DFF\""))
                << run.strOut;
        }
    }
}

TEST_F(Convert, WorksOnManyFilesWithAnyNumberOfJobs)
{
    fs::create_directories(folder.Path("in/below"));
    const auto Name = [](int i) { return (i % 3 == 0 ? "/below/" : "/") + std::to_string(i); };
    for (int i = 0; i < 40; ++i) {
        DSDIFFBuilder builder;
        builder.ChannelCount(size_t(i % 6 + 1)).Sound(Pattern(size_t(i) * 60 * 97));
        folder.Write("in" + Name(i) + ".dff",
                     builder.Compression(i % 7 == 3 ? "" : "DSD ").Build());
    }
    folder.Write("in/other.txt", {1});
    for (const std::string strJobs : {"1", "2", "4"}) {
        const run_t run = Run("convert", {folder.Path("in"), "-j", strJobs, "-o",
                                          folder.Path("out" + strJobs), "--json"});
        EXPECT_EQ(1, run.iStatus);
        EXPECT_EQ("34 converted, 0 skipped, 6 failed", Summary(run));
        EXPECT_EQ(40, std::count(run.strOut.begin(), run.strOut.end(), '\n'));
        for (int i = 0; i < 40; ++i) {
            const std::string strName = "out" + strJobs + Name(i) + ".dsf";
            ASSERT_EQ(i % 7 != 3, fs::exists(folder.Path(strName)));
            EXPECT_TRUE(i % 7 == 3 ||
                        folder.Read(strName) == folder.Read("out1" + Name(i) + ".dsf"));
        }
    }
}

TEST_F(Convert, NoticesWhatHappensInTheMeantime)
{
    const struct {
        const char *cpName;
        std::vector<std::string> options;
        std::function<void()> fnChange;
        std::string strReason;
    } aRows[] = {
        {"cut", {"--no-verify"}, [this] { fs::resize_file(strIn, 1 << 20); }, ""},
        {"touched",
         {},
         [this] {
             const timespec aTimes[] = {{1, 1}, {1, 1}};
             utimensat(AT_FDCWD, strIn.c_str(), aTimes, 0);
         },
         "changed"},
        {"output made",
         {},
         [this] {
             folder.Write("in.dsf", {1, 2, 3});
         },
         "exists"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        EXPECT_EQ(names_t{}, Files());
        WriteSparse("in.dff", 96 << 20);
        std::vector<std::string> args = row.options;
        args.push_back(strIn);
        const run_t run = Run("convert", args, [&](pid_t) {
            WaitFor(".part");
            row.fnChange();
        });
        EXPECT_EQ(1, run.iStatus);
        EXPECT_NE(std::string::npos, run.strErr.find(row.strReason)) << run.strErr;
        fs::remove(strIn);
    }
    EXPECT_EQ(names_t{"in.dsf"}, Files());
    EXPECT_EQ(bytes_t({1, 2, 3}), folder.Read("in.dsf"));
}

TEST_F(Convert, UsesLittleMemoryWhateverTheSizes)
{
    // A form that ends early must not make the rest of the file a tag in memory.
    folder.Write("in.dff", DSDIFFBuilder().Build());
    const long lSmall = ConvertIn({"-j1"}).lPeakSize;
    WriteSparse("in.dff", 128 << 20);
    for (const bool bLenient : {false, true}) {
        if (bLenient) {
            std::fstream file(strIn, std::ios::in | std::ios::out | std::ios::binary);
            file.seekp(4);
            file.write("\0\0\0\0\0\0\0\x10", 8);
        }
        const run_t run = ConvertIn({"-f", "-j1", "--lenient"});
        EXPECT_EQ(0, run.iStatus) << run.strErr;
        EXPECT_LT(run.lPeakSize - lSmall, 16 << 10) << "KiB";
    }
}

} // namespace
