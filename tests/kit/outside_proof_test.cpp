// From outside: limits and signals.

#include "tests/support/KitTest.h"

#include <csignal>
#include <cstring>

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
    static run_t RunAfter(const std::string &strShell, const std::vector<std::string> &options)
    {
        std::vector<std::string> args = {
            "sh", "-c", strShell + "; exec \"$@\"", "sh", VANTREL_KIT_PROGRAM, "convert"};
        args.insert(args.end(), options.begin(), options.end());
        return RunProgram(args);
    }
};

TEST_F(OutsideProof, TellsWhatTheLimitsOfTheProcessForbid)
{
    folder.Write("in.dff", Stereo());
    folder.Write("in.dsf", {1, 2, 3});
    const run_t large = RunAfter("ulimit -f 40", {"-f", strIn});
    EXPECT_EQ(1, large.iStatus);
    EXPECT_NE(std::string::npos, large.strErr.find(strOut + " cannot be written")) << large.strErr;
    EXPECT_EQ(bytes_t({1, 2, 3}), folder.Read("in.dsf"));
    EXPECT_EQ((names_t{"in.dff", "in.dsf"}), Files());
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

} // namespace
