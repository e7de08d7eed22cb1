// Nothing is ever destroyed: a conversion is killed, interrupted or given an error at each of its
// system calls in turn, and the folder is examined afterwards.

#include "tests/support/KitTest.h"
#include "tests/support/TracedRun.h"

#include <cstring>
#include <map>

namespace
{

/** A way of working, with what is there before. */
struct scenario_t {
    const char *cpName;
    std::vector<std::string> options;
    bool bOld = false;                         // an output exists
    std::map<std::string, int> mapErrors = {}; // of calls that the file system does not have
    std::string strBelow = {}; // where the output goes, as a folder that does not exist
    int iInputs = 1;

    bool Has(const std::string &strOption) const
    {
        return std::find(options.begin(), options.end(), strOption) != options.end();
    }
};

void PrintTo(const scenario_t &scenario, std::ostream *pStream)
{
    *pStream << scenario.cpName;
}

using is_meant_t = std::function<bool(const call_t &)>;

class KillProof : public kit_test, public testing::WithParamInterface<scenario_t>
{
protected:
    KillProof() : kit_test(TempFolder::InMemory()) {}

    void SetUp() override
    {
        Reset();
        const run_t run = RunEach([](const call_t &) { return 0; });
        if (run.iStatus == TracedRun::NOT_ALLOWED) {
            GTEST_SKIP() << "programs cannot be traced here";
        }
        ASSERT_EQ(0, run.iStatus) << run.strErr;
    }

    std::string Input(int i) const { return folder.Path("in" + std::to_string(i) + ".dff"); }
    std::string Output(int i) const
    {
        return folder.Path(scenario.strBelow + "in" + std::to_string(i) + ".dsf");
    }

    // The folder as every run finds it.
    void Reset() const
    {
        for (const auto &entry : fs::directory_iterator(folder.Path(""))) {
            fs::remove_all(entry);
        }
        for (int i = 0; i < scenario.iInputs; ++i) {
            folder.Write("in" + std::to_string(i) + ".dff", input);
            if (scenario.bOld) {
                folder.Write("in" + std::to_string(i) + ".dsf", old);
            }
        }
    }

    // A run whose calls are looked at from the first one on that concerns the folder. Those that
    // the file system does not have fail before that.
    run_t RunEach(const at_call_t &fnAtCall) const
    {
        std::vector<std::string> args = {VANTREL_KIT_PROGRAM, "convert", "-q"};
        for (int i = 0; i < scenario.iInputs; ++i) {
            args.push_back(Input(i));
        }
        args.insert(args.end(), scenario.options.begin(), scenario.options.end());
        if (!scenario.strBelow.empty()) {
            args.insert(args.end(), {"-o", folder.Path(scenario.strBelow)});
        }
        bool bStarted = false;
        return TracedRun::Run(args, [&](const call_t &call) {
            bStarted = bStarted || call.strPath.starts_with(folder.Path(""));
            const auto error = scenario.mapErrors.find(call.strName);
            return error != scenario.mapErrors.end() ? error->second
                   : bStarted                        ? fnAtCall(call)
                                                     : 0;
        });
    }

    // The same with something at one of the calls that are meant, counted from 0; false when there
    // are fewer.
    bool RunTo(int iMoment, run_t &run, const is_meant_t &fnIsMeant, const at_call_t &fnAtMoment)
    {
        Reset();
        int iCall = 0;
        run = RunEach([&](const call_t &call) {
            return fnIsMeant(call) && iCall++ == iMoment ? fnAtMoment(call) : 0;
        });
        iMoments += iCall > iMoment ? 1 : 0;
        return iCall > iMoment;
    }

    static bool IsNamed(const call_t &call) { return !call.strName.empty(); }

    // What holds at any moment: every input, unless its output is in place and it was to go; every
    // output is the old one or the new one, whole; a temporary file for each job at most.
    void ExpectNothingLost(bool bTemporaries)
    {
        std::set<std::string> names = Files();
        for (int i = 0; i < scenario.iInputs; ++i) {
            const auto Name = [](const std::string &strPath, const TempFolder &base) {
                return fs::path(strPath).lexically_relative(base.Path("")).string();
            };
            const std::string strName = Name(Output(i), folder);
            const bytes_t found = fs::exists(Output(i)) ? folder.Read(strName) : bytes_t();
            EXPECT_TRUE(found == expected || found == (scenario.bOld ? old : bytes_t()));
            // Where a name is taken by an empty file, a crash leaves that.
            EXPECT_TRUE(!found.empty() || !fs::exists(Output(i)) ||
                        (scenario.mapErrors.size() > 1 && bTemporaries));
            if (fs::exists(Input(i))) {
                EXPECT_TRUE(input == folder.Read(Name(Input(i), folder)));
            } else {
                EXPECT_TRUE(scenario.Has("--delete-input") && found == expected);
            }
            names.erase(strName);
            names.erase(Name(Input(i), folder));
        }
        EXPECT_LE(names.size(), bTemporaries ? size_t(scenario.iInputs) : 0);
        for (const std::string &strName : names) {
            const std::string strLast = fs::path(strName).filename();
            EXPECT_TRUE(strLast.starts_with('.') && strLast.ends_with(".part")) << strName;
        }
    }

    const scenario_t scenario = GetParam();
    const bytes_t sound = Pattern(300002); // more than one read
    const bytes_t tag = DSDIFFBuilder::Text("ID3\4 any bytes");
    const bytes_t input =
        DSDIFFBuilder().Sound(sound).After(DSDIFFBuilder::Chunk("ID3 ", tag)).Build();
    const bytes_t expected = ExpectedDSF(sound, 2, 2822400, &tag);
    const bytes_t old = Pattern(5000);
    int iMoments = 0;
};

INSTANTIATE_TEST_SUITE_P(
    Kit, KillProof,
    testing::Values(scenario_t{"OverOld", {"--force", "--delete-input"}, true},
                    scenario_t{"InNewFolders", {"--delete-input"}, false, {}, "new/below/"},
                    scenario_t{"ByLink", {"--delete-input"}, false, {{"renameat2", EINVAL}}},
                    scenario_t{"ByEmptyFile",
                               {"--delete-input"},
                               false,
                               {{"renameat2", EOPNOTSUPP}, {"link", EPERM}}},
                    scenario_t{"TwoJobs", {"-j2", "--force", "--delete-input"}, true, {}, "", 2}),
    testing::PrintToStringParamName());

TEST_P(KillProof, SurvivesTheEndAtEveryCall)
{
    run_t run;
    for (int i = 0; RunTo(i, run, IsNamed, [](const call_t &) { return KILL_NOW; }); ++i) {
        SCOPED_TRACE(testing::Message() << "killed before call " << i);
        EXPECT_EQ(128 + SIGKILL, run.iStatus);
        ExpectNothingLost(true);
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_LT(40, iMoments);
}

TEST_P(KillProof, CleansUpAfterASignalAtEveryCall)
{
    run_t run;
    const auto Signal = [](const call_t &call) {
        kill(call.pid, SIGTERM);
        return 0;
    };
    // Those that change nothing make no difference.
    const auto Changes = [](const call_t &call) {
        static const std::set<std::string> quiet = {"", "stat", "seek", "memory", "advise"};
        return quiet.count(call.strName) == 0;
    };
    for (int i = 0; RunTo(i, run, Changes, Signal); ++i) {
        SCOPED_TRACE(testing::Message() << "signal before call " << i);
        // The last call ends the process with the status that it has by then.
        EXPECT_TRUE(run.iStatus == 128 + SIGTERM || (run.iStatus == 0 && i > 20)) << run.iStatus;
        ExpectNothingLost(false);
        ASSERT_FALSE(HasFailure());
    }
}

TEST_P(KillProof, TellsEveryCallThatFails)
{
    if (scenario.iInputs > 1) {
        GTEST_SKIP() << "the calls of two jobs have no order";
    }
    const std::string strPrefix = "vantrel-kit: " + Input(0) + ": ";
    const std::set<std::string> grave = {"open",   "read",   "write",     "sync", "utime",
                                         "rename", "unlink", "renameat2", "link", "mkdir"};
    for (const int iError : {EIO, ENOSPC, EDQUOT, EINTR, EMFILE, ENOMEM}) {
        if (iError != EIO && !scenario.bOld) {
            continue; // the ways differ in their calls, not in how they take an error
        }
        const auto CanFail = [iError](const call_t &call) {
            const std::string &strName = call.strName;
            const bool bPart = call.strPath.ends_with(".part");
            switch (iError) {
            case EIO:
                return !strName.empty() && strName != "return" && strName != "exit";
            case ENOMEM:
                return strName == "memory";
            case EMFILE:
                return strName == "open";
            case EINTR:
                return strName == "write" || strName == "sync" || strName == "close" ||
                       strName == "read";
            default:
                return strName == "write" || (strName == "open" && bPart);
            }
        };
        run_t run;
        call_t failed;
        const auto Fail = [&](const call_t &call) {
            failed = call;
            return iError;
        };
        for (int i = 0; RunTo(i, run, CanFail, Fail); ++i) {
            SCOPED_TRACE(testing::Message() << failed.strName << " of " << failed.strPath << ": "
                                            << std::strerror(iError));
            const bool bOwn = failed.strPath.starts_with(folder.Path(""));
            const bool bGrave = grave.count(failed.strName) != 0 ||
                                (failed.strName == "close" && failed.bWritable &&
                                 failed.strPath.ends_with(".part"));
            if (run.iStatus == 1) {
                EXPECT_TRUE(run.strErr.starts_with(strPrefix) && run.strErr.ends_with('\n') &&
                            std::count(run.strErr.begin(), run.strErr.end(), '\n') == 1)
                    << run.strErr;
                const bool bPart = failed.strPath.ends_with(".part");
                const bool bTells = run.strErr.find("the output") != std::string::npos ||
                                    run.strErr.find(".dsf") != std::string::npos;
                EXPECT_TRUE(!bPart || bTells) << "is it the output? " << run.strErr;
                EXPECT_TRUE(failed.strPath != Input(0) || !bTells) << run.strErr;
            } else {
                EXPECT_EQ(0, run.iStatus) << run.strErr;
                EXPECT_TRUE(!bOwn || !bGrave || iError == EINTR) << "not told";
                EXPECT_TRUE(fs::exists(Output(0)));
            }
            ExpectNothingLost(false);
            ASSERT_FALSE(HasFailure());
        }
    }
}

TEST_P(KillProof, FlushesBeforeItMovesAndMovesBeforeItRemoves)
{
    if (scenario.iInputs > 1) {
        GTEST_SKIP() << "the calls of two jobs have no order";
    }
    Reset();
    int iNow = 0, iWritten = 0, iFlushed = 0, iMoved = 0, iFolder = 0, iRemoved = 0;
    const std::string strFolder = fs::path(Output(0)).parent_path();
    const run_t run = RunEach([&](const call_t &call) {
        ++iNow;
        const bool bPart = call.strPath.ends_with(".part");
        const bool bRefused = scenario.mapErrors.count(call.strName) != 0;
        if (bPart &&
            (call.strName == "write" || call.strName == "truncate" || call.strName == "utime")) {
            iWritten = iNow;
        } else if (bPart && call.strName == "sync") {
            iFlushed = iNow;
        } else if (bPart && !bRefused &&
                   (call.strName.starts_with("rename") || call.strName == "link")) {
            iMoved = iNow;
        } else if (call.strName == "sync" && call.strPath == strFolder) {
            iFolder = iNow;
        } else if (call.strName == "unlink" && call.strPath == Input(0)) {
            iRemoved = iNow;
        }
        return 0;
    });
    EXPECT_EQ(0, run.iStatus);
    EXPECT_LT(0, iWritten);
    EXPECT_LT(iWritten, iFlushed);
    EXPECT_LT(iFlushed, iMoved);
    EXPECT_LT(iMoved, iFolder);
    EXPECT_EQ(scenario.Has("--delete-input"), iFolder < iRemoved);
    ExpectNothingLost(false);
}

TEST_P(KillProof, ReplacesWhatAppearsInTheMeantimeOnlyWhenForced)
{
    const bytes_t other = Pattern(77);
    for (const std::string strMove : {"renameat2", "link", "rename", "open"}) {
        SCOPED_TRACE(strMove);
        Reset();
        bool bAppeared = false;
        const run_t run = RunEach([&](const call_t &call) {
            const bool bMove =
                call.strName == strMove &&
                (strMove == "open" ? call.strPath == Output(0)
                                   : call.strPath.find("in0.dsf.") != std::string::npos);
            if (bMove && !bAppeared) {
                bAppeared = true;
                folder.Write(fs::path(Output(0)).lexically_relative(folder.Path("")), other);
            }
            return 0;
        });
        if (!bAppeared) {
            continue;
        }
        ++iMoments;
        const bytes_t found = folder.Read(fs::path(Output(0)).lexically_relative(folder.Path("")));
        if (scenario.Has("--force")) {
            EXPECT_EQ(0, run.iStatus) << run.strErr;
            EXPECT_TRUE(expected == found);
        } else if (strMove != "rename") { // the last of the ways cannot tell in time
            EXPECT_EQ(1, run.iStatus);
            EXPECT_NE(std::string::npos, run.strErr.find("--force")) << run.strErr;
            EXPECT_TRUE(other == found);
            EXPECT_TRUE(input == folder.Read("in0.dff"));
            EXPECT_EQ(2, Files().size());
        }
    }
    EXPECT_LT(0, iMoments);
}

} // namespace
