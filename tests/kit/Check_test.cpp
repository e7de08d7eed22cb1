#include "tests/support/ID3Builder.h"
#include "tests/support/KitTest.h"

#include <sys/stat.h>

namespace
{

using texts_t = std::vector<std::string>;

class Check : public kit_test
{
protected:
    static texts_t Lines(const std::string &strText)
    {
        texts_t lines;
        std::istringstream stream(strText);
        for (std::string strLine; std::getline(stream, strLine);) {
            lines.push_back(strLine);
        }
        return lines;
    }

    /** Expects one finding for each text, which is a part of it, in this order. */
    void ExpectFindings(const bytes_t &file, const texts_t &findings) const
    {
        const std::string strFile = folder.Write("in", file);
        const run_t run = Run("check", {"-q", strFile});
        EXPECT_EQ(findings.empty() ? 0 : 1, run.iStatus);
        EXPECT_EQ("", run.strErr);
        const texts_t lines = Lines(run.strOut);
        if (findings.empty()) {
            EXPECT_EQ(texts_t{"ok: " + strFile}, lines);
            return;
        }
        ASSERT_EQ(findings.size(), lines.size()) << run.strOut;
        for (size_t i = 0; i < lines.size(); ++i) {
            EXPECT_TRUE(lines[i].starts_with("bad: " + strFile + ": ")) << lines[i];
            EXPECT_NE(std::string::npos, lines[i].find(findings[i])) << lines[i];
        }
    }
};

} // namespace

// One row for each part that judges a file; the tests of these parts have all findings.
TEST_F(Check, FindsWhatIsWrong)
{
    const bytes_t tag = TitleTag("title");
    const auto Plain = []() { return DSDIFFBuilder().Sound(Pattern(1000)); };
    const auto Chunk = [](const std::string &strId, const bytes_t &data) {
        return DSDIFFBuilder::Chunk(strId, data);
    };
    const auto TaggedDSF = [](const bytes_t &bytes) {
        return DSFBuilder().Trailing(bytes).Patch(20, DSFBuilder::Number(92 + 8192, 8)).Build();
    };
    bytes_t padding(8192);
    padding[4] = 0x1F;
    const bytes_t good = Plain().Build();
    const bytes_t frames = Chunk("DST ", Chunk("FRTE", {0, 0, 0, 75, 0, 75}));
    const struct {
        const char *cpName;
        bytes_t file;
        texts_t findings;
    } aRows[] = {
        {"plain", Plain().After(Chunk("ID3 ", tag)).Build(), {}},
        {"cut", Part(good, 0, good.size() - 1), {"form", "sound", "frame"}},
        {"unnamed set", Plain().Channels({"SLFT", "LFE "}).Build(), {"channel"}},
        {"no tag in its chunk",
         Plain().After(Chunk("ID3 ", bytes_t(20))).Build(),
         {"does not begin with 'ID3'"}},
        {"cut tag",
         Plain().After(Chunk("ID3 ", Part(tag, 0, tag.size() - 2))).Build(),
         {"the tag at byte"}},
        {"cut marker",
         Plain().After(Chunk("DIIN", Chunk("MARK", bytes_t(21)))).Build(),
         {"'MARK'"}},
        {"DST", Plain().Compression("DST ").NoSound().After(frames).Build(), {"DST"}},
        {"other", DSDIFFBuilder::Text("RIFF0000WAVE"), {"neither a DSDIFF nor a DSF file"}},
        {"DSF", TaggedDSF(tag), {}},
        {"interrupted",
         DSFBuilder().Patch(12, bytes_t(8)).Patch(64, bytes_t(8)).Build(),
         {"interrupted"}},
        {"padding", DSFBuilder().Data(padding, 36).Build(), {"padding"}},
        {"cut tag of DSF", TaggedDSF(Part(tag, 0, tag.size() - 2)), {"the tag at byte"}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        ExpectFindings(row.file, row.findings);
    }
}

TEST_F(Check, ReportsEveryInputInOrder)
{
    texts_t args = {"-j4"};
    std::string strExpected;
    for (int i = 0; i < 40; ++i) {
        const bytes_t file = DSDIFFBuilder().Sound(Pattern(i % 3 == 0 ? 3 : 4)).Build();
        args.push_back(folder.Write(std::to_string(i), file));
        strExpected +=
            (i % 3 == 0 ? "bad: " : "ok: ") + args.back() +
            (i % 3 == 0 ? ": sound data ends within a frame: 3 bytes for 2 channels" : "") + "\n";
    }
    const std::string strMissing = folder.Path("not\nthere");
    args.push_back(strMissing);
    strExpected += "bad: " + folder.Path("not?there") + ": No such file or directory\n";
    const run_t run = Run("check", args);
    EXPECT_EQ(1, run.iStatus);
    EXPECT_EQ(strExpected, run.strOut);
    EXPECT_EQ("26 ok, 15 bad\n", run.strErr);

    const run_t json = Run("check", {"--json", "-q", "-j1", args[1], args[2], strMissing});
    EXPECT_EQ("{\"file\":\"" + args[1] +
                  "\",\"ok\":false,\"problems\":[\"sound data ends within "
                  "a frame: 3 bytes for 2 channels\"]}\n{\"file\":\"" +
                  args[2] + "\",\"ok\":true,\"problems\":[]}\n{\"file\":\"" +
                  folder.Path("not\\nthere") +
                  "\",\"ok\":false,\"problems\":[\"No such file or directory\"]}\n",
              json.strOut);
}

TEST_F(Check, FailsWhereNothingCanBeRead)
{
    const std::string strEmpty = folder.Path("empty");
    fs::create_directory(strEmpty);
    const run_t empty = Run("check", {strEmpty, "-q"});
    EXPECT_EQ(1, empty.iStatus);
    EXPECT_EQ("vantrel-kit: " + strEmpty + ": the folder has no .dff or .dsf file\n", empty.strErr);

    ASSERT_EQ(0, mkfifo(strIn.c_str(), 0600));
    const run_t pipe = Run("check", {strIn, "https://example.invalid/x.dff"});
    EXPECT_EQ(1, pipe.iStatus);
    EXPECT_EQ(2, std::count(pipe.strOut.begin(), pipe.strOut.end(), '\n')) << pipe.strOut;
    EXPECT_TRUE(pipe.strOut.starts_with("bad: " + strIn + ": ")) << pipe.strOut;
    EXPECT_EQ(2, Run("check", {}).iStatus);

    // A failed write of the answer is a failure.
    folder.Write("good.dff", DSDIFFBuilder().Build());
    const run_t full = RunProgram(
        {"sh", "-c",
         std::string(VANTREL_KIT_PROGRAM) + " check " + folder.Path("good.dff") + " >/dev/full"});
    EXPECT_EQ(1, full.iStatus);
    EXPECT_NE(std::string::npos, full.strErr.find("standard output")) << full.strErr;
}
