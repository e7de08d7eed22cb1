#ifdef VANTREL_KIT_PROGRAM

#include "tests/support/KitTest.h"
#include "tests/support/TracedRun.h"

namespace
{

using KitProof = kit_test;

TEST_F(KitProof, TwoJobsTakeLittleMemoryForManyGiB)
{
    if (fs::space(folder.Path("")).available < uint64_t{8} << 30) {
        GTEST_SKIP() << "too little space on disk";
    }
    WriteSparse("large.dff", uint64_t{9} << 29); // more than 4 GiB
    WriteSparse("small.dff", uint64_t{1} << 30);
    // The peak of the program itself, which the test's own does not hide.
    long lPeak = 0;
    const run_t run = TracedRun::Run(
        {VANTREL_KIT_PROGRAM, "convert", "-j2", folder.Path("")}, [&lPeak](const call_t &call) {
            if (call.strName == "exit") {
                std::ifstream status("/proc/" + std::to_string(call.pid) + "/status");
                for (std::string strWord; status >> strWord;) {
                    if (strWord == "VmHWM:") {
                        status >> lPeak;
                    }
                }
            }
            return 0;
        });
    if (run.iStatus == TracedRun::NOT_ALLOWED) {
        GTEST_SKIP() << "programs cannot be traced here";
    }
    EXPECT_EQ(0, run.iStatus) << run.strErr;
    EXPECT_EQ("2 converted, 0 skipped, 0 failed", Summary(run));
    EXPECT_EQ((uint64_t{9} << 29) + 92, fs::file_size(folder.Path("large.dsf")));
    std::printf("             peak: %ld KiB\n", lPeak);
    EXPECT_LT(0, lPeak);
    EXPECT_GT(40 << 10, lPeak);
}

} // namespace

#endif
