#include "tests/support/RunProgram.h"

#include <gtest/gtest.h>

namespace
{

run_t RunScript(const std::string &strScript)
{
    return RunProgram({"/bin/bash", "-c", strScript, VANTREL_KIT_PROGRAM});
}

} // namespace

TEST(vantrel_kit, HelpAndVersionAreResults)
{
    const run_t version = RunScript("\"$0\" --version");
    EXPECT_EQ(0, version.iStatus);
    EXPECT_EQ("vantrel-kit " VANTREL_VERSION "\n", version.strOut);
    EXPECT_EQ("", version.strErr);
    EXPECT_EQ(0, RunScript("\"$0\" --help").iStatus);
    const std::pair<const char *, const char *> aLost[] = {
        {"\"$0\" --version >/dev/full", "No space left on device"},
        {"\"$0\" --help >/dev/full", "No space left on device"},
        // The pipe has no reader any more when the program writes.
        {"exec > >(:); wait $!; exec \"$0\" --version", "Broken pipe"},
    };
    for (const auto &[cpScript, cpReason] : aLost) {
        const run_t run = RunScript(cpScript);
        EXPECT_EQ(1, run.iStatus);
        EXPECT_EQ(std::string("vantrel-kit: standard output: ") + cpReason + "\n", run.strErr);
    }
    EXPECT_EQ(0, RunScript("\"$0\" --version >&- 2>&-").iStatus);
}
