#include "tests/support/KitTest.h"

#include <csignal>

namespace
{

class Compare : public kit_test
{
protected:
    /** What is printed for two files; for a failure, what standard error says. */
    std::string Answer(const bytes_t &a, const bytes_t &b) const
    {
        const run_t run = Run("compare", {folder.Write("a", a), folder.Write("b", b)});
        const bool bFailed = !run.strErr.empty();
        EXPECT_EQ(run.strOut.starts_with("identical: ") ? 0 : 1, run.iStatus);
        EXPECT_NE(bFailed, !run.strOut.empty()) << run.strOut;
        return bFailed ? run.strErr : run.strOut;
    }

    static bytes_t Flipped(bytes_t bytes, size_t uAt, uint8_t uMask)
    {
        bytes[uAt] ^= uMask;
        return bytes;
    }
};

const bytes_t SOUND = Pattern(2 * 200000);

bytes_t Stereo(const bytes_t &sound)
{
    return DSDIFFBuilder().Sound(sound).Build();
}

} // namespace

TEST_F(Compare, TellsTheFirstDifference)
{
    // The same three channels in two orders.
    bytes_t lrc = Pattern(3 * 5000);
    bytes_t crl = lrc;
    for (size_t i = 0; i < crl.size(); i += 3) {
        std::swap(crl[i], crl[i + 2]);
    }
    const auto Three = [](const std::vector<std::string> &ids, const bytes_t &sound) {
        return DSDIFFBuilder().Channels(ids).Sound(sound).Build();
    };
    const bytes_t dff = Stereo(SOUND);
    const bytes_t dsf = ExpectedDSF(SOUND, 2, 2822400);
    // 36 samples of silence, with and without rubbish in the padding.
    const bytes_t odd = DSFBuilder().Data(bytes_t(8192), 36).Build();
    const bytes_t rubbish = DSFBuilder().Data(Flipped(bytes_t(8192), 4, 0xF0), 36).Build();
    const bytes_t lastBit = DSFBuilder().Data(Flipped(bytes_t(8192), 4100, 8), 36).Build();
    const struct {
        const char *cpName;
        bytes_t a, b;
        std::string strAnswer;
    } aRows[] = {
        {"DSDIFF and DSF", dff, dsf,
         "identical: 2 channels, 1600000 samples per channel, 2822400 Hz"},
        {"order of channels", Three({"MLFT", "MRGT", "C   "}, lrc),
         Three({"C   ", "SRGT", "SLFT"}, crl),
         "identical: 3 channels, 40000 samples per channel, 2822400 Hz"},
        {"padding", odd, rubbish, "identical: 2 channels, 36 samples per channel, 2822400 Hz"},
        {"last sample", odd, lastBit, "different: channel R, sample 35"},
        {"last channel", dff, Stereo(Flipped(SOUND, SOUND.size() - 1, 1)),
         "different: channel R, sample 1599999"},
        {"the later channel first", dff, Stereo(Flipped(Flipped(SOUND, 300000, 1), 300001, 2)),
         "different: channel R, sample 1200006"},
        {"by place", Three({"C   ", "MRGT", "MLFT"}, crl),
         Three({"MLFT", "MRGT", "C   "}, Flipped(lrc, 3002, 0x10)),
         "different: channel C, sample 8003"},
        {"rate", dff, DSDIFFBuilder().Rate(5644800).Sound({}).Build(),
         "different: sample rate: 2822400 and 5644800 Hz"},
        {"channels", Three({"MLFT", "MRGT", "C   "}, lrc), dsf,
         "different: channels: L R C and L R"},
        {"length", Stereo(Part(SOUND, 0, 10)), dsf,
         "different: length: 40 and 1600000 samples per channel"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        EXPECT_EQ(row.strAnswer + "\n", Answer(row.a, row.b));
    }
}

TEST_F(Compare, FailsForWhatCannotBeConverted)
{
    const bytes_t good = Stereo(SOUND);
    const struct {
        const char *cpName;
        bytes_t file;
        const char *cpReason;
    } aRows[] = {
        {"cut", Part(good, 0, good.size() - 10), "sound data ends early"},
        {"other", DSDIFFBuilder::Text("text"), "neither a DSDIFF nor a DSF file"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        const std::string strAnswer = Answer(good, row.file);
        EXPECT_TRUE(strAnswer.starts_with("vantrel-kit: " + folder.Path("b") + ": ")) << strAnswer;
        EXPECT_NE(std::string::npos, strAnswer.find(row.cpReason)) << strAnswer;
    }
    const run_t both = Run("compare", {"--json", folder.Path("no"), folder.Path("b")});
    EXPECT_EQ(1, both.iStatus);
    EXPECT_EQ(2, std::count(both.strErr.begin(), both.strErr.end(), '\n')) << both.strErr;
    EXPECT_EQ("{\"a\":\"" + folder.Path("no") + "\",\"b\":\"" + folder.Path("b") +
                  "\",\"identical\":null,\"difference\":null,\"channel\":null,\"sample\":null}\n",
              both.strOut);
    fs::create_directory(folder.Path("folder"));
    EXPECT_EQ(1, Run("compare", {folder.Path("folder"), folder.Path("no")}).iStatus);
    EXPECT_EQ(2, Run("compare", {folder.Path("folder"), folder.Path("b")}).iStatus);
    EXPECT_EQ(2, Run("compare", {folder.Path("b")}).iStatus);
    EXPECT_EQ(2, Run("compare", {folder.Path("b"), folder.Path("b"), folder.Path("b")}).iStatus);
}

TEST_F(Compare, PairsTheFilesOfTwoFolders)
{
    for (const char *cpFolder : {"a/sub", "b/sub"}) {
        fs::create_directories(folder.Path(cpFolder));
    }
    const bytes_t dff = Stereo(SOUND);
    const bytes_t dsf = ExpectedDSF(SOUND, 2, 2822400);
    folder.Write("a/same.dff", dff);
    folder.Write("b/same.DSF", dsf);
    folder.Write("a/sub/other.dsf", dsf);
    folder.Write("b/sub/other.dff", Stereo(Flipped(SOUND, 2, 0x20)));
    folder.Write("a/gone.dff", dff);
    folder.Write("b/sub/new.dff", dff);
    folder.Write("a/twice.dff", dff);
    folder.Write("a/twice.dsf", dsf);
    folder.Write("b/twice.dsf", dsf);
    folder.Write("a/bad.dff", {});
    folder.Write("b/bad.dff", dff);
    const std::string a = folder.Path("a"), b = folder.Path("b");
    std::string strExpected = "bad: failed: neither a DSDIFF nor a DSF file\nmissing: ";
    strExpected.append(a).append(
        "/gone.dff\n"
        "same: identical: 2 channels, 1600000 samples per channel, 2822400 Hz\nmissing: ");
    strExpected.append(b).append("/sub/new.dff\n"
                                 "sub/other: different: channel L, sample 10\ntwice: failed: ");
    strExpected.append(a).append("/twice.dsf has the same path without the extension, so neither "
                                 "was compared\n");
    for (const char *cpJobs : {"-j1", "-j3"}) {
        const run_t run = Run("compare", {a, b + "/", cpJobs});
        EXPECT_EQ(1, run.iStatus);
        EXPECT_EQ(strExpected, run.strOut);
        EXPECT_NE(std::string::npos, run.strErr.find("vantrel-kit: " + a + "/twice.dff: "));
        EXPECT_NE(std::string::npos, run.strErr.find("vantrel-kit: " + a + "/bad.dff: "));
        EXPECT_EQ("1 identical, 1 different, 2 missing, 2 failed", Summary(run));
    }
    for (const char *cpName : {"a/twice.dff", "a/twice.dsf", "a/bad.dff"}) {
        fs::remove(folder.Path(cpName));
    }
    const run_t json = Run("compare", {a, b, "-j1", "--json", "-q"});
    const std::string strBad = b + "/bad.dff\",";
    const std::string strMissing = R"({"a":null,"b":")" + strBad +
                                   R"("identical":false,"difference":"missing: )" + strBad +
                                   R"("channel":null,)";
    for (const std::string &strPart :
         {strMissing, b + "/same.DSF\",\"identical\":true,\"difference\":null,\"channel\":null,",
          std::string(R"("difference":"channel L, sample 10","channel":"L","sample":10})")}) {
        EXPECT_NE(std::string::npos, json.strOut.find(strPart)) << json.strOut;
    }
    EXPECT_EQ(6, std::count(json.strOut.begin(), json.strOut.end(), '\n'));
    fs::create_directory(folder.Path("empty"));
    EXPECT_EQ(1, Run("compare", {folder.Path("empty"), folder.Path("empty")}).iStatus);
    EXPECT_EQ(0, Run("compare", {a, a}).iStatus);
}

TEST_F(Compare, StopsOnASignal)
{
    const std::string strSmall = folder.Write("small.dff", Stereo(SOUND));
    const long lSmall = Run("compare", {strSmall, strSmall}).lPeakSize;
    // More than a second of reading, on any disk.
    const std::string strBig = WriteSparse("big.dff", uint64_t{1} << 36);
    const run_t run = Run("compare", {strBig, strBig}, [](pid_t pid) {
        usleep(200000);
        kill(pid, SIGTERM);
    });
    EXPECT_EQ(128 + SIGTERM, run.iStatus);
    EXPECT_EQ("", run.strOut);
    EXPECT_LT(run.lPeakSize - lSmall, 16 << 10) << "KiB";
}
