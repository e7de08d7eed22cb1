#include "threads/clThread.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "threads/clSemaphore.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace
{

using Step = std::function<void *(const std::string &, void *)>;

/** Records its steps and calls the test's function for each; borrows that function. */
class clProbeThread : public clThread
{
public:
    using clThread::bJoinable;
    using clThread::bRunning;

    explicit clProbeThread(const Step &fnTest) : fnStep(fnTest) {}

    std::string strSteps;

protected:
    void ThreadInit() override { Run("ThreadInit", nullptr); }
    void ThreadClean() override { Run("ThreadClean", nullptr); }
    void *Execute(void *pArg) override { return Run("Execute", pArg); }

private:
    void *Run(const char *cpStep, void *pArg)
    {
        strSteps += cpStep;
        strSteps += ' ';
        return fnStep(cpStep, pArg);
    }

    const Step &fnStep;
};

} // namespace

TEST(clThread, RunsItsStepsInTurnAndRefusesCallsInTheWrongState)
{
    clSemaphore semStarted, semGoOn, semDone;
    const Step fnStep = [&](const std::string &strStep, void *pArg) {
        if (strStep == "Execute") {
            semStarted.Post();
            semGoOn.Wait();
        } else if (strStep == "ThreadClean") {
            semDone.Post();
        }
        return pArg;
    };
    clProbeThread thread(fnStep);
    for (const bool bDetach : {false, true, false}) {
        SCOPED_TRACE(bDetach);
        EXPECT_THROW_MSG(thread.Cancel(), clXThread, "clThread::Cancel(): not running!");
        EXPECT_EQ(nullptr, thread.Wait());
        thread.strSteps.clear();
        thread.Create(&thread, bDetach);
        semStarted.Wait();
        EXPECT_THROW_MSG(thread.Create(nullptr, false), clXThread,
                         "clThread::Create(): already running!");
        semGoOn.Post();
        semDone.Wait();
        EXPECT_EQ(bDetach ? nullptr : &thread, thread.Wait());
        EXPECT_FALSE(thread.bJoinable || thread.bRunning);
        EXPECT_EQ("ThreadInit Execute ThreadClean ", thread.strSteps);
    }
}

TEST(clThread, ExceptionsArePrintedAndEndOneStep)
{
    for (const std::string strThrowing : {"ThreadInit", "Execute", "ThreadClean"}) {
        for (const bool bOurs : {true, false}) {
            SCOPED_TRACE(testing::Message() << strThrowing << ", clException: " << bOurs);
            const Step fnStep = [&](const std::string &strStep, void *pArg) {
                if (strStep == strThrowing && bOurs) {
                    throw clXFileIO("boom");
                }
                if (strStep == strThrowing) {
                    throw std::runtime_error("boom");
                }
                return pArg;
            };
            clProbeThread thread(fnStep);
            testing::internal::CaptureStderr();
            thread.Create(&thread, false);
            EXPECT_EQ(strThrowing == "ThreadClean" ? &thread : nullptr, thread.Wait());
            EXPECT_EQ("\nclThread::" + strThrowing +
                          (bOurs ? "(): boom\n" : "(): unknown exception\n"),
                      testing::internal::GetCapturedStderr());
        }
    }
}

TEST(clThread, CancelAndTheDestructorUnwindWithoutAMessage)
{
    clSemaphore semStarted;
    clSemaphore semNever;
    bool bUnwound = false;
    const Step fnStep = [&](const std::string &strStep, void *pArg) {
        if (strStep == "Execute") {
            const std::shared_ptr<bool> pGuard(&bUnwound, [](bool *pFlag) { *pFlag = true; });
            semStarted.Post();
            semNever.Wait();
        }
        return pArg;
    };
    testing::internal::CaptureStderr();
    {
        clProbeThread thread(fnStep);
        thread.Create(nullptr, false);
        semStarted.Wait();
        thread.Cancel();
        EXPECT_TRUE(thread.bJoinable && !thread.bRunning);
        EXPECT_EQ(PTHREAD_CANCELED, thread.Wait());
        EXPECT_TRUE(bUnwound);
        EXPECT_EQ("ThreadInit Execute ", thread.strSteps);
        bUnwound = false;
        thread.Create(nullptr, false);
        semStarted.Wait();
    }
    EXPECT_TRUE(bUnwound);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}
