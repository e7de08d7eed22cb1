// From outside: trees of files of every shape, full disks, limits and signals.

#include "tests/support/ID3Builder.h"
#include "tests/support/KitTest.h"
#include "tests/support/TracedRun.h"

#include <csignal>
#include <cstdio>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>

namespace
{

using names_t = std::set<std::string>;

bytes_t Stereo(const bytes_t &sound = Pattern(100000))
{
    return DSDIFFBuilder().Sound(sound).Build();
}

class OutsideProof : public kit_test
{
protected:
    OutsideProof() : kit_test(TempFolder::InMemory()) {}

    /** With what a shell does first. */
    static run_t RunAfter(
        const std::string &strShell, const std::vector<std::string> &options,
        const meanwhile_t &fnMeanwhile = [](pid_t) {})
    {
        std::vector<std::string> args = {
            "sh", "-c", strShell + "; exec \"$@\"", "sh", VANTREL_KIT_PROGRAM, "convert"};
        args.insert(args.end(), options.begin(), options.end());
        return RunProgram(args, fnMeanwhile);
    }
};

/** What a file is made of, and what a conversion must make of it. */
struct made_t {
    DSDIFFBuilder file;
    bytes_t bytes; // instead of the file, unless empty
    bytes_t sound; // what arrives, in the order of the input
    bytes_t tag;
    enum { FINE, LENIENT, REFUSED } verdict = FINE;
};

using shape_t = std::function<void(made_t &, size_t sizeChannels)>;

const bytes_t aTags[] = {
    ID3Builder(2).Text("TT2", "two").Build(), TitleTag("three"),
    ID3Builder(4).Text("TIT2", std::string(30000, 'x')).Flags(0x10).Build(),
    DSDIFFBuilder::Text("ID3\xFF\xFF\xFF\xFF\xFF\xFF\xFF no parser accepts it")};

bytes_t TagChunk(const bytes_t &tag)
{
    return DSDIFFBuilder::Chunk("ID3 ", tag);
}

shape_t Tagged(const bytes_t &tag)
{
    return [&tag](made_t &made, size_t) { made.file.After(TagChunk(made.tag = tag)); };
}

void SetFormSize(made_t &made, int64_t lMore)
{
    made.bytes = made.file.Build();
    const bytes_t size = DSDIFFBuilder::Number(made.bytes.size() - 12 + uint64_t(lMore), 8);
    std::copy(size.begin(), size.end(), made.bytes.begin() + 4);
    made.verdict = made_t::LENIENT;
}

// Cuts the sound to what a damaged file still has, less an incomplete frame.
void Shorten(made_t &made, size_t sizeLess, size_t sizeChannels)
{
    made.sound.resize(made.sound.size() - sizeLess);
    made.sound.resize(made.sound.size() / sizeChannels * sizeChannels);
    made.verdict = made_t::LENIENT;
}

const shape_t aShapes[] = {
    [](made_t &, size_t) {},
    Tagged(aTags[0]),
    Tagged(aTags[1]),
    Tagged(aTags[2]),
    Tagged(aTags[3]),
    [](made_t &made, size_t) { made.file.Trailing(made.tag = aTags[1]); },
    [](made_t &made, size_t) { // the last one of the form
        made.file.Before(TagChunk(aTags[0])).After(TagChunk(made.tag = aTags[1]));
        made.file.Trailing(aTags[2]);
    },
    [](made_t &made, size_t) {
        made.file.After(TagChunk({'n', 'o', 'n', 'e'}));
    },
    [](made_t &made, size_t) { made.file.Before(DSDIFFBuilder::Chunk("ABCD", Pattern(77))); },
    [](made_t &made, size_t) { // no samples
        made.file.Sound(made.sound = {}).After(TagChunk(made.tag = aTags[1]));
    },
    [](made_t &made, size_t sizeChannels) { // cut
        made.bytes = made.file.Build();
        made.bytes.resize(made.bytes.size() - made.sound.size() % 2 - 1000);
        Shorten(made, 1000, sizeChannels);
    },
    [](made_t &made, size_t sizeChannels) { // half a frame more, which one channel has not
        const bytes_t sound = made.sound;
        made.file.Sound(sound + bytes_t(sizeChannels / 2, 1)).After(TagChunk(made.tag = aTags[0]));
        made.verdict = sizeChannels == 1 ? made_t::FINE : made_t::LENIENT;
    },
    [](made_t &made, size_t) {
        made.file.Rate(0);
        made.verdict = made_t::LENIENT;
    },
    [](made_t &made, size_t) {
        made.file.After(TagChunk(made.tag = aTags[1]));
        SetFormSize(made, 1000);
    },
    [](made_t &made, size_t) {
        made.file.After(TagChunk(made.tag = aTags[1]));
        SetFormSize(made, -100);
    },
    [](made_t &made, size_t) { // a tag that is not all there is no tag
        made.file.After(DSDIFFBuilder::Chunk("ID3 ", aTags[1], 5000));
        made.verdict = made_t::LENIENT;
    },
    [](made_t &made, size_t) {
        made.file.Compression("DST ");
        made.verdict = made_t::REFUSED;
    },
    [](made_t &made, size_t) {
        made.file.Compression("");
        made.verdict = made_t::REFUSED;
    },
    [](made_t &made, size_t) {
        made.file.NoSound();
        made.verdict = made_t::REFUSED;
    },
    [](made_t &made, size_t) {
        made.bytes = DSDIFFBuilder::Text("RIFF and no DSDIFF");
        made.verdict = made_t::REFUSED;
    },
};

const struct {
    std::vector<std::string> ids;
    uint32_t uType;
    std::vector<size_t> places; // of these ids in the output
    bool bNamed;
} aSets[] = {
    {{"C   "}, 1, {0}, true},
    {{"SLFT", "SRGT"}, 2, {0, 1}, true},
    {{"MRGT", "MLFT"}, 2, {1, 0}, true},
    {{"C   ", "MRGT", "MLFT"}, 3, {2, 1, 0}, true},
    {{"RS  ", "MLFT", "LS  ", "MRGT"}, 4, {3, 0, 2, 1}, true},
    {{"MLFT", "MRGT", "LFE ", "C   "}, 5, {0, 1, 3, 2}, true},
    {{"MLFT", "MRGT", "C   ", "LS  ", "RS  "}, 6, {0, 1, 2, 3, 4}, true},
    {{"LS  ", "RS  ", "LFE ", "C   ", "SRGT", "SLFT"}, 7, {4, 5, 3, 2, 1, 0}, true},
    {{"SLFT", "SLFT"}, 2, {0, 1}, false},            // two channels in one place
    {{"MLFT", "MRGT", "LFE "}, 3, {0, 1, 2}, false}, // no type names them
};

TEST_F(OutsideProof, ConvertsATreeOfEveryShapeAsMade)
{
    const std::string aNames[] = {"plain",    "with space", "line\nbreak",
                                  "\xFF\xFE", "100%s",      "-dash"};
    struct file_t {
        std::string strName;
        bytes_t expected;
        decltype(made_t::verdict) verdict;
    };
    std::vector<file_t> aFiles;
    fs::create_directories(folder.Path("in/a b/c\n\xFF"));
    for (const auto &set : aSets) {
        const size_t sizeChannels = set.ids.size();
        for (const shape_t &shape : aShapes) {
            const size_t i = aFiles.size();
            made_t made;
            made.sound = Pattern((i % 9 * 1111 + 999) * sizeChannels);
            made.file.Channels(set.ids).Sound(made.sound);
            shape(made, sizeChannels);
            if (!set.bNamed && made.verdict == made_t::FINE) {
                made.verdict = made_t::LENIENT;
            }
            bytes_t sorted(made.sound.size());
            for (size_t j = 0; j < sorted.size(); ++j) {
                sorted[j / sizeChannels * sizeChannels + set.places[j % sizeChannels]] =
                    made.sound[j];
            }
            bytes_t expected = ExpectedDSF(sorted, uint32_t(sizeChannels), 2822400,
                                           made.tag.empty() ? nullptr : &made.tag);
            expected[48] = static_cast<uint8_t>(set.uType);
            const std::string strName = (i % 3 == 0   ? "a b/c\n\xFF/"
                                         : i % 3 == 1 ? "a b/"
                                                      : "") +
                                        aNames[i % 6] + " #" + std::to_string(i) + ".";
            folder.Write("in/" + strName + (i % 2 == 0 ? "dff" : "DFF"),
                         made.bytes.empty() ? made.file.Build() : made.bytes);
            aFiles.push_back({strName, expected, made.verdict});
        }
    }
    ASSERT_EQ(200, aFiles.size());

    const struct {
        const char *cpOutput;
        std::vector<std::string> options;
        decltype(made_t::verdict) most; // what is converted at most
    } aRuns[] = {{"strict", {"-j3"}, made_t::FINE},
                 {"lenient1", {"-j1", "--lenient"}, made_t::LENIENT},
                 {"lenient3", {"-j3", "--lenient"}, made_t::LENIENT}};
    for (const auto &row : aRuns) {
        SCOPED_TRACE(row.cpOutput);
        std::vector<std::string> args = row.options;
        const std::string strTo = folder.Path(row.cpOutput);
        args.insert(args.end(), {"--json", "-o", strTo, folder.Path("in")});
        const run_t run = Run("convert", args);
        EXPECT_EQ(1, run.iStatus);
        EXPECT_EQ(200, std::count(run.strOut.begin(), run.strOut.end(), '\n'));
        long lConverted = 0;
        for (const file_t &file : aFiles) {
            SCOPED_TRACE(file.strName);
            // No name has a number sign but the one in front of its number.
            const size_t sizeNumber = file.strName.find('#');
            const size_t sizeAt = run.strOut.find(file.strName.substr(sizeNumber));
            ASSERT_NE(std::string::npos, sizeAt);
            const size_t sizeLine = run.strOut.rfind('\n', sizeAt) + 1;
            const std::string strLine =
                run.strOut.substr(sizeLine, run.strOut.find('\n', sizeAt) - sizeLine);
            const auto Tells = [&strLine](const std::string &strText) {
                return strLine.find(strText) != std::string::npos;
            };
            const bool bConverted = file.verdict <= row.most;
            lConverted += bConverted ? 1 : 0;
            EXPECT_EQ(bConverted, Tells("\"status\":\"converted\"")) << strLine;
            EXPECT_EQ(bConverted, Tells("\"verified\":true")) << strLine;
            EXPECT_EQ(bConverted, Tells("\"error\":null")) << strLine;
            if (bConverted && file.verdict == made_t::LENIENT) {
                EXPECT_FALSE(Tells("\"warnings\":[]")) << strLine;
            }
            const std::string strOutput = std::string(row.cpOutput) + "/" + file.strName + "dsf";
            ASSERT_EQ(bConverted, fs::exists(folder.Path(strOutput)));
            EXPECT_TRUE(!bConverted || file.expected == folder.Read(strOutput));
        }
        std::printf("             %s: %ld of 200 converted\n", row.cpOutput, lConverted);
        EXPECT_EQ(std::to_string(lConverted) + " converted, 0 skipped, " +
                      std::to_string(200 - lConverted) + " failed",
                  Summary(run));
        for (const auto &entry : fs::recursive_directory_iterator(strTo)) {
            lConverted -= entry.is_directory() ? 0 : 1;
        }
        EXPECT_EQ(0, lConverted) << "other files than the outputs";
    }
}

TEST_F(OutsideProof, LeavesTheOldOutputWhereTheNewOneHasNoRoom)
{
    // A file system of its own, which only this process and its children see.
    const run_t run = RunForked([this] {
        const int iAll = getuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
        if (unshare(iAll) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("", folder.Path("").c_str(), "tmpfs", 0, "size=256k") != 0) {
            return 77;
        }
        folder.Write("in.dff", Stereo());
        folder.Write("in.dsf", Pattern(60000));
        const run_t full = Run("convert", {"-f", "--delete-input", strIn});
        const bool bWhole =
            folder.Read("in.dsf") == Pattern(60000) && folder.Read("in.dff") == Stereo();
        // With room again, the same command does it.
        fs::remove(strOut);
        const run_t room = Run("convert", {"-f", strIn});
        std::fputs(full.strErr.c_str(), stdout);
        std::fflush(stdout);
        return full.iStatus == 1 && bWhole && room.iStatus == 0 &&
                       Files() == names_t{"in.dff", "in.dsf"}
                   ? 0
                   : 1;
    });
    if (run.iStatus == 77) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    EXPECT_EQ(0, run.iStatus);
    EXPECT_NE(std::string::npos, run.strOut.find(std::strerror(ENOSPC))) << run.strOut;
}

TEST_F(OutsideProof, TellsWhatTheLimitsOfTheProcessForbid)
{
    folder.Write("in.dff", Stereo());
    folder.Write("in.dsf", {1, 2, 3});
    const run_t large = RunAfter("ulimit -f 40", {"-f", strIn});
    EXPECT_EQ(1, large.iStatus);
    EXPECT_NE(std::string::npos, large.strErr.find(strOut + " cannot be written")) << large.strErr;
    EXPECT_EQ(bytes_t({1, 2, 3}), folder.Read("in.dsf"));
    EXPECT_EQ((names_t{"in.dff", "in.dsf"}), Files());

    const run_t json = RunAfter("exec >/dev/full", {"-f", "--json", strIn});
    EXPECT_EQ(1, json.iStatus);
    EXPECT_NE(std::string::npos, json.strErr.find(std::strerror(ENOSPC))) << json.strErr;
    EXPECT_EQ(ExpectedDSF(Pattern(100000), 2, 2822400), folder.Read("in.dsf"));
}

TEST_F(OutsideProof, ClosesEveryFileOfAThousand)
{
    // Converted, refused, failed on the way: none may keep a descriptor.
    for (int i = 0; i < 1000; ++i) {
        DSDIFFBuilder builder;
        builder.Rate(i % 3 == 1 ? 0 : 2822400).Sound(Pattern(64));
        folder.Write(std::to_string(i) + ".dff", builder.Build());
        if (i % 3 == 2) {
            folder.Write(std::to_string(i) + ".dsf", {});
        }
    }
    const run_t run = RunAfter("ulimit -n 64", {"-j2", folder.Path("")});
    EXPECT_EQ(1, run.iStatus);
    EXPECT_EQ("334 converted, 0 skipped, 666 failed", Summary(run));
    EXPECT_EQ(std::string::npos, run.strErr.find(std::strerror(EMFILE)));
}

TEST_F(OutsideProof, StopsManyInputsAtASignal)
{
    const bytes_t small = ExpectedDSF(Pattern(100000), 2, 2822400);
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) {
        folder.Write("1.dff", Stereo());
        folder.Write("2.dff", Stereo());
        WriteSparse("3.dff", uint64_t{2} << 30);
        WriteSparse("4.dff", uint64_t{2} << 30);
        folder.Write("5.dff", Stereo());
        const run_t run = Run("convert", {"-j2", folder.Path("")}, [&](pid_t pid) {
            WaitFor(".part", "3.dsf");
            WaitFor(".part", "4.dsf");
            kill(pid, iSignal);
        });
        EXPECT_EQ(128 + iSignal, run.iStatus) << run.strErr;
        EXPECT_EQ((names_t{"1.dff", "1.dsf", "2.dff", "2.dsf", "3.dff", "4.dff", "5.dff"}),
                  Files());
        EXPECT_EQ(small, folder.Read("1.dsf"));
        EXPECT_EQ(small, folder.Read("2.dsf"));
        fs::remove(folder.Path("1.dsf"));
        fs::remove(folder.Path("2.dsf"));
    }
}

TEST_F(OutsideProof, EndsAtOnceAtTheSecondSignal)
{
    folder.Write("in.dff", Stereo());
    int iSent = 0, iAfter = 0;
    const run_t run =
        TracedRun::Run({VANTREL_KIT_PROGRAM, "convert", strIn}, [&](const call_t &call) {
            if (call.strName == "write" && iSent == 0 && call.strPath.ends_with(".part")) {
                ++iSent;
                kill(call.pid, SIGINT);
            } else if (call.strName != "return" && iSent == 1) {
                ++iSent;
                kill(call.pid, SIGTERM);
            } else if (call.strName != "exit" && iSent == 2) {
                ++iAfter;
            }
            return 0;
        });
    if (run.iStatus == TracedRun::NOT_ALLOWED) {
        GTEST_SKIP() << "programs cannot be traced here";
    }
    EXPECT_EQ(128 + SIGTERM, run.iStatus);
    EXPECT_EQ(0, iAfter) << "calls after the second signal";
    EXPECT_FALSE(fs::exists(strOut));
}

TEST_F(OutsideProof, LeavesIgnoredSignalsIgnored)
{
    WriteSparse("in.dff", 64 << 20);
    for (const auto &[iSignal, strName] :
         {std::pair(SIGHUP, std::string("HUP")), {SIGINT, "INT"}}) {
        const int iNow = iSignal;
        const run_t run = RunAfter("trap '' " + strName, {"-f", strIn}, [&](pid_t pid) {
            WaitFor(".part");
            kill(pid, iNow);
        });
        EXPECT_EQ(0, run.iStatus) << run.strErr;
        EXPECT_EQ((names_t{"in.dff", "in.dsf"}), Files());
    }
}

} // namespace
