#include "tests/support/RunProgram.h"

#include <gtest/gtest.h>

namespace
{

run_t RunScript(const std::string &strScript)
{
    return RunProgram({"sh", "-c", strScript, VANTREL_KIT_PROGRAM});
}

} // namespace

TEST(vantrel_kit, HelpAndVersionAreResults)
{
    const run_t version = RunScript("\"$0\" --version");
    EXPECT_EQ(0, version.iStatus);
    EXPECT_EQ("vantrel-kit " VANTREL_VERSION "\n", version.strOut);
    EXPECT_EQ("", version.strErr);
    EXPECT_EQ(0, RunScript("\"$0\" --help").iStatus);
    for (const char *cpLost : {"\"$0\" --version >/dev/full", "\"$0\" --help >/dev/full"}) {
        const run_t run = RunScript(cpLost);
        EXPECT_EQ(1, run.iStatus);
        EXPECT_EQ("vantrel-kit: standard output: No space left on device\n", run.strErr);
    }
    EXPECT_EQ(0, RunScript("\"$0\" --version >&- 2>&-").iStatus);
}

TEST(vantrel_kit, WrongUsageSaysSoOnStandardError)
{
    for (const char *cpScript :
         {"\"$0\"", "\"$0\" transcode", "\"$0\" --wrong", "\"$0\" '\n'", "\"$0\" ''"}) {
        const run_t run = RunScript(cpScript);
        EXPECT_EQ(2, run.iStatus) << cpScript;
        EXPECT_EQ("", run.strOut);
        EXPECT_TRUE(run.strErr.starts_with("vantrel-kit: ")) << run.strErr;
        EXPECT_EQ(run.strErr.size() - 1, run.strErr.find('\n')) << "one line";
    }
}
