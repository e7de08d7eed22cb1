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

TEST_F(Check, FindsWhatIsWrongWithDSDIFF)
{
    const auto Plain = []() { return DSDIFFBuilder().Sound(Pattern(1000)); };
    const auto Tagged = [&](const bytes_t &tag) {
        return Plain().After(DSDIFFBuilder::Chunk("ID3 ", tag)).Build();
    };
    const bytes_t good = Plain().Build();
    const bytes_t tag = TitleTag("title");
    const bytes_t frames = DSDIFFBuilder::Chunk("FRTE", {0, 0, 0, 75, 0, 75});
    const bytes_t marker = DSDIFFBuilder::Chunk("MARK", bytes_t(21));
    const struct {
        const char *cpName;
        bytes_t file;
        texts_t findings;
    } aRows[] = {
        {"plain", good, {}},
        {"no samples", DSDIFFBuilder().Sound({}).Build(), {}},
        {"tag", Tagged(tag), {}},
        {"tag after the form", Plain().Trailing(tag).Build(), {}},
        {"no last pad byte",
         Part(DSDIFFBuilder().Channels({"C   "}).Sound({1}).Build(), 0, 127),
         {}},
        {"cut", Part(good, 0, good.size() - 1), {"form", "sound", "frame"}},
        {"half a frame", Plain().Sound(Pattern(999)).Build(), {"frame"}},
        {"no rate", Plain().Rate(0).Build(), {"rate"}},
        {"unnamed set", Plain().Channels({"SLFT", "LFE "}).Build(), {"channel"}},
        {"two left", Plain().Channels({"SLFT", "MLFT"}).Build(), {"place L"}},
        {"no compression", Plain().Compression("").Build(), {"CMPR"}},
        {"chunk too large",
         Plain().After(DSDIFFBuilder::Chunk("XXXX", tag, 999)).Build(),
         {"'XXXX'"}},
        {"no tag in its chunk", Tagged(bytes_t(20)), {"does not begin with 'ID3'"}},
        {"tag that does not parse",
         Tagged(ID3Builder(3).Text("TIT2", "x").SetByte(17, 0xFF).Build()),
         {"the tag at byte"}},
        {"tag that is cut", Tagged(Part(tag, 0, tag.size() - 2)), {"the tag at byte"}},
        {"marker that is cut",
         Plain().After(DSDIFFBuilder::Chunk("DIIN", marker)).Build(),
         {"'MARK'"}},
        {"DST",
         Plain().Compression("DST ").NoSound().After(DSDIFFBuilder::Chunk("DST ", frames)).Build(),
         {"DST"}},
        {"nothing", {}, {"neither a DSDIFF nor a DSF file"}},
        {"other", DSDIFFBuilder::Text("RIFF0000WAVE"), {"neither a DSDIFF nor a DSF file"}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        ExpectFindings(row.file, row.findings);
    }
}

TEST_F(Check, FindsWhatIsWrongWithDSF)
{
    const auto U32 = [](uint32_t uValue) { return DSFBuilder::Number(uValue, 4); };
    const auto U64 = [](uint64_t uValue) { return DSFBuilder::Number(uValue, 8); };
    // 4 bytes and 4 bits of each channel; the rest is padding.
    bytes_t data(8192);
    data[3] = data[4096 + 3] = 0xFF;
    data[4] = 0x0F;
    const auto Short = [&](size_t sizeAt, uint8_t uByte) {
        bytes_t changed = data;
        changed[sizeAt] = uByte;
        return DSFBuilder().Data(changed, 36).Build();
    };
    const bytes_t good = DSFBuilder().Build();
    const bytes_t tag = TitleTag("title");
    const auto Tagged = [&](const bytes_t &bytes, uint64_t uPointer) {
        return DSFBuilder().Trailing(bytes).Patch(20, DSFBuilder::Number(uPointer, 8)).Build();
    };
    const struct {
        const char *cpName;
        bytes_t file;
        texts_t findings;
    } aRows[] = {
        {"plain", good, {}},
        {"padded", Short(0, 1), {}},
        {"tag", Tagged(tag, 92 + 8192), {}},
        {"interrupted", DSFBuilder().Patch(12, U64(0)).Patch(64, U64(0)).Build(), {"interrupted"}},
        {"file size", DSFBuilder().Patch(12, U64(9000)).Build(), {"9000"}},
        {"cut", Part(good, 0, good.size() - 1), {"header announces", "sound"}},
        {"in the headers", Part(good, 0, 91), {"headers"}},
        {"too many samples", DSFBuilder().Patch(64, U64(4096 * 8 + 1)).Build(), {"sample"}},
        {"too few samples",
         DSFBuilder().Patch(80 + 4, U64(12 + 16384)).Trailing(bytes_t(8192)).Build(),
         {"sample"}},
        {"type", DSFBuilder().Channels(2, 3).Build(), {"channel type 3"}},
        {"block size",
         DSFBuilder().BlockSize(8192).Data(bytes_t(16384), 8192 * 8).Build(),
         {"block size"}},
        {"a bit of the padding", Short(4, 0x1F), {"padding"}},
        {"a byte of the padding", Short(8191, 1), {"padding"}},
        {"no pointer", DSFBuilder().Trailing(tag).Build(), {"metadata pointer"}},
        {"pointer into the sound", Tagged(tag, 1000), {"metadata pointer"}},
        {"pointer beyond the file", Tagged(tag, 1 << 20), {"metadata pointer"}},
        {"no tag there", Tagged(bytes_t(20), 92 + 8192), {"metadata pointer"}},
        {"cut tag", Tagged(Part(tag, 0, tag.size() - 2), 92 + 8192), {"the tag at byte"}},
        {"no rate", DSFBuilder().Patch(56, U32(0)).Build(), {"rate"}},
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

    // What cannot be written is a failure whatever the answer is.
    folder.Write("good.dff", DSDIFFBuilder().Build());
    const run_t full = RunProgram(
        {"sh", "-c",
         std::string(VANTREL_KIT_PROGRAM) + " check " + folder.Path("good.dff") + " >/dev/full"});
    EXPECT_EQ(1, full.iStatus);
    EXPECT_NE(std::string::npos, full.strErr.find("standard output")) << full.strErr;
}
