#include "tests/support/ID3Builder.h"
#include "tests/support/KitTest.h"

namespace
{

using Build = DSDIFFBuilder;

class Info : public kit_test
{
protected:
    static run_t Json(const std::string &strFile, std::vector<std::string> options = {})
    {
        options.insert(options.end(), {"--json", "-q", strFile});
        return Run("info", options);
    }

    /** The value of a member whose value is neither a list nor an object. */
    static std::string Member(const std::string &strJson, const std::string &strKey)
    {
        const size_t uKey = strJson.find("\"" + strKey + "\":");
        const size_t sizeValue = uKey + strKey.size() + 3;
        return uKey == std::string::npos
                   ? "no such member"
                   : strJson.substr(sizeValue, strJson.find_first_of(",}", sizeValue) - sizeValue);
    }

    std::string Digest(const bytes_t &file) const
    {
        const run_t run = Json(folder.Write("digest", file), {"--digest"});
        EXPECT_EQ(0, run.iStatus) << run.strErr;
        return Member(run.strOut, "digest");
    }

    static bytes_t Counted(const std::string &strText)
    {
        return Build::Number(strText.size(), 4) + Build::Text(strText);
    }

    static bytes_t Marker(uint16_t uHours, uint8_t uSeconds, uint32_t uSamples, int32_t iOffset,
                          uint16_t uType, const std::string &strText)
    {
        return Build::Chunk("MARK", Build::Number(uHours, 2) + bytes_t{0, uSeconds} +
                                        Build::Number(uSamples, 4) +
                                        Build::Number(static_cast<uint32_t>(iOffset), 4) +
                                        Build::Number(uType, 2) + bytes_t(4) + Counted(strText));
    }

    /** A file with a value for every member. */
    static DSDIFFBuilder Full()
    {
        const bytes_t tag = ID3Builder(3)
                                .Text("TIT2", "A title")
                                .Text("TPE1", "Bj\xf6rk")
                                .Text("TALB", "Album")
                                .Text("TRCK", "3/12")
                                .Text("TYER", "1999")
                                .Text("TCON", "(17)")
                                .Text("APIC", std::string("image/png\0\3\0xyz", 14))
                                .Build();
        const bytes_t comment = bytes_t{0, 1} + bytes_t(10) + Counted("two\nlines\x1b");
        // Not in the order of time; the last one is before the start of the file.
        const bytes_t master = Build::Chunk("DIAR", Counted("Dvo\xf8\xe1k")) +
                               Build::Chunk("DITI", Counted("Title \xc3\xa9")) +
                               Marker(1, 3, 0, 0, 7, "") + Marker(1, 2, 9, 0, 0, "Two") +
                               Marker(1, 2, 0, 9, 1, "") + Marker(1, 2, 0, 100, 4, "i") +
                               Marker(1, 1, 0, -1, 0, "One\xff") + Marker(1, 0, 5, 0, 2, "");
        return Build()
            .Sound(Pattern(2 * 1000))
            .SubChunk(Build::Chunk("ABSS", bytes_t{0, 1, 0, 1, 0, 0, 0, 7}))
            .After(Build::Chunk("COMT", comment))
            .After(Build::Chunk("DIIN", master))
            .After(Build::Chunk("ID3 ", tag));
    }
};

} // namespace

TEST_F(Info, TellsAllThatIsKnown)
{
    folder.Write("in.dff", Full().Build());
    const run_t run = Json(strIn);
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    EXPECT_EQ("{\"file\":\"" + strIn +
                  "\",\"format\":\"DSDIFF\",\"version\":\"1.5.0.0\",\"compression\":\"none\","
                  "\"sample_rate\":2822400,\"multiple\":\"DSD64\",\"channels\":2,\"layout\":[\"L\","
                  "\"R\"],"
                  "\"samples\":8000,\"duration\":0.002834467120181406,\"sound_bytes\":2000,"
                  "\"complete\":true,\"problems\":[],\"tag\":{\"version\":\"2.3.0\",\"bytes\":130,"
                  "\"title\":\"A title\",\"artist\":\"Bj\xc3\xb6rk\",\"album\":\"Album\","
                  "\"track\":\"3/12\",\"year\":\"1999\",\"genre\":\"Rock\",\"pictures\":1},"
                  "\"artist\":\"Dvo\xc3\xb8\xc3\xa1k\",\"title\":\"Title \xc3\xa9\",\"markers\":["
                  "{\"type\":\"ProgramStart\",\"track\":0,\"sample\":-2822402,\"text\":\"\"},"
                  "{\"type\":\"TrackStart\",\"track\":1,\"sample\":-8,\"text\":\"One\xc3\xbf\"},"
                  "{\"type\":\"TrackStop\",\"track\":1,\"sample\":2822402,\"text\":\"\"},"
                  "{\"type\":\"TrackStart\",\"track\":2,\"sample\":2822402,\"text\":\"Two\"},"
                  "{\"type\":\"Index\",\"track\":2,\"sample\":2822493,\"text\":\"i\"},"
                  "{\"type\":7,\"track\":2,\"sample\":5644793,\"text\":\"\"}],"
                  "\"comments\":[\"two\\nlines\\u001b\"],\"digest\":null}\n",
              run.strOut);
    const run_t text = Run("info", {strIn});
    for (const char *cpLine :
         {"Sample rate    2822400 Hz (DSD64: 64 times 44100 Hz)\n", "Channels       2: L R\n",
          "Duration       0:00:00.003\n", "Artist         Dvo\xc3\xb8\xc3\xa1k\n",
          "Marker         ProgramStart at -0:00:01.000, sample -2822402\n",
          "Marker         TrackStart at 0:00:01.000, sample 2822402, track 2: Two\n",
          "Comment        two?lines?\n", "  Track        3/12\n"}) {
        EXPECT_NE(std::string::npos, text.strOut.find(cpLine)) << text.strOut;
    }
}

TEST_F(Info, TellsWhatIsNotKnown)
{
    const bytes_t frames = Build::DSTChunks(std::vector<bytes_t>(150, {0x80, 0}));
    const bytes_t good = Build().Sound(Pattern(1000)).Build();
    const struct {
        const char *cpName;
        bytes_t file;
        const char *cpMembers;
    } aRows[] = {
        {"DST", Build().CompressedSound(frames).Build(),
         "compression=\"DST\" samples=5644800 sound_bytes=1411200 duration=2.0"},
        {"cut", Part(good, 0, good.size() - 101), "complete=false samples=3592"},
        {"no rate", Full().Rate(0).Build(),
         "sample_rate=null multiple=null duration=null sample=null samples=8000"},
        {"half of a rate", Build().Rate(1411200).Build(), "multiple=null"},
        {"high rate", Build().Rate(45158400).Build(), "multiple=\"DSD1024\""},
        {"unknown channels", Build().Channels({"SLFT", "C104", "LFE "}).Sound({}).Build(),
         "layout=[\"L\" complete=false"}, // up to the first comma
        {"seven channels", Build().ChannelCount(7).Build(), "channels=7 layout=null"},
        {"other compression", Build().Compression("XYZ ").Build(),
         "compression=null samples=null sound_bytes=null"},
        {"DSF", DSFBuilder().Channels(1, 1).Data(bytes_t(4096), 36).Build(),
         "format=\"DSF\" version=\"1\" samples=36 layout=[\"C\"] sound_bytes=5"},
        {"interrupted", DSFBuilder().Patch(12, bytes_t(8)).Patch(64, bytes_t(8)).Build(),
         "complete=false samples=null duration=null"},
        {"only its first bytes", Part(good, 0, 30), "format=null complete=false"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.cpName);
        const bool bGood = row.file.size() > 30;
        const run_t run = Json(folder.Write("in.dff", row.file));
        EXPECT_EQ(bGood ? 0 : 1, run.iStatus) << run.strErr;
        EXPECT_NE(bGood, run.strErr.starts_with("vantrel-kit: " + strIn + ": "));
        std::istringstream members(row.cpMembers);
        for (std::string strMember; members >> strMember;) {
            const std::string strKey = strMember.substr(0, strMember.find('='));
            EXPECT_EQ(strMember, strKey + "=" + Member(run.strOut, strKey)) << run.strOut;
        }
        EXPECT_EQ(bGood, !Run("info", {strIn}).strOut.empty());
    }
    const run_t missing = Json(folder.Path("missing"));
    EXPECT_EQ(1, missing.iStatus);
    EXPECT_NE(std::string::npos, missing.strOut.find("\"problems\":[\"No such file"))
        << missing.strOut;
}

TEST_F(Info, DigestIsThatOfTheSoundInOrder)
{
    const bytes_t sound = Pattern(6 * 50001);
    bytes_t mixed(sound.size()); // RS LS LFE C R L
    for (size_t i = 0; i < sound.size(); ++i) {
        mixed[i / 6 * 6 + 5 - i % 6] = sound[i];
    }
    const std::string strDigest = Digest(Build().ChannelCount(6).Sound(sound).Build());
    EXPECT_EQ(34U, strDigest.size());
    EXPECT_EQ(strDigest, Digest(ExpectedDSF(sound, 6, 2822400)));
    EXPECT_EQ(strDigest, Digest(Build()
                                    .Channels({"RS  ", "LS  ", "LFE ", "C   ", "MRGT", "MLFT"})
                                    .Sound(mixed)
                                    .Build()));
    // Bits after the last sample do not count, and there may be no samples at all.
    const bytes_t ones(4096, 0xFF);
    EXPECT_EQ(Digest(Build().Channels({"C   "}).Sound({0xFF, 0xF8}).Build()),
              Digest(DSFBuilder().Channels(1, 1).Data(ones, 13).Build()));
    EXPECT_EQ("\"d41d8cd98f00b204e9800998ecf8427e\"", Digest(Build().Sound({}).Build()));

    const run_t none =
        Json(folder.Write("in.dff", Build().Compression("????").Build()), {"--digest"});
    EXPECT_EQ(1, none.iStatus);
    EXPECT_NE(std::string::npos, none.strErr.find("no digest")) << none.strErr;
    EXPECT_EQ("null", Member(none.strOut, "digest"));
}

TEST_F(Info, AgreesWithFFmpeg_judge)
{
    if (RunProgram({"ffmpeg", "-version"}).iStatus != 0) {
        GTEST_SKIP() << "FFmpeg is not installed";
    }
    for (size_t uChannels = 1; uChannels <= 6; ++uChannels) {
        SCOPED_TRACE(uChannels);
        const bytes_t sound = Pattern(uChannels * 40001);
        const bytes_t file = Full().ChannelCount(uChannels).Sound(sound).Build();
        folder.Write("in.dff", file);
        const run_t md5 = RunProgram({"ffmpeg", "-nostdin", "-loglevel", "error", "-i", strIn,
                                      "-map", "0:a", "-c", "copy", "-f", "md5", "-"});
        EXPECT_EQ(0, md5.iStatus) << md5.strErr;
        EXPECT_EQ(md5.strOut,
                  "MD5=" + Member(Json(strIn, {"--digest"}).strOut, "digest").substr(1, 32) + "\n");
    }
}

TEST_F(Info, ReadsAsManyMarkersAsAFileMayHave)
{
    bytes_t master;
    const bytes_t marker = Marker(0, 0, 1, 0, 0, "");
    for (int i = 0; i < 30000; ++i) {
        Append(master, marker);
    }
    const std::string strMany =
        folder.Write("many.dff", Build().After(Build::Chunk("DIIN", master)).Build());
    const run_t many = Json(strMany);
    EXPECT_EQ(0, many.iStatus);
    EXPECT_NE(std::string::npos, many.strOut.find("\"track\":30000,")) << many.strErr;
}
