#include "threads/clThread.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "threads/clSemaphore.h"

#include <cerrno>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace
{

using Step = std::function<void *(const std::string &, void *)>;

/** Writes down its steps and runs the test's own function for each, which must outlive it. */
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

TEST(clThread, RunsItsStepsInTurnAndRefusesWhatDoesNotFitItsState)
{
    clSemaphore semStarted;
    clSemaphore semGoOn;
    clSemaphore semDone;
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
        EXPECT_THROW_MSG(thread.Cancel(), clXThread, "clThread::Cancel(): not running!");
        EXPECT_EQ(nullptr, thread.Wait());
        thread.strSteps.clear();
        thread.Create(&thread, bDetach);
        semStarted.Wait();
        EXPECT_EQ(!bDetach, thread.bJoinable);
        EXPECT_TRUE(thread.bRunning);
        EXPECT_THROW_MSG(thread.Create(nullptr, false), clXThread,
                         "clThread::Create(): already running!");
        semGoOn.Post();
        semDone.Wait();
        EXPECT_EQ(bDetach ? nullptr : &thread, thread.Wait());
        EXPECT_FALSE(thread.bJoinable || thread.bRunning);
        EXPECT_EQ("ThreadInit Execute ThreadClean ", thread.strSteps);
    }
}

TEST(clThread, ExceptionsArePrintedAndEndOnlyTheirStep)
{
    const std::string astrSteps[] = {"ThreadInit", "Execute", "ThreadClean"};
    const std::string astrTexts[] = {"boom", "unknown exception", "unknown exception"};
    for (int iRow = 0; iRow < 9; ++iRow) {
        const std::string &strThrowing = astrSteps[iRow / 3];
        SCOPED_TRACE(testing::Message() << strThrowing << ", kind " << iRow % 3);
        const Step fnStep = [&](const std::string &strStep, void *pArg) {
            if (strStep != strThrowing) {
                return pArg;
            }
            switch (iRow % 3) {
            case 0:
                throw clXFileIO("boom");
            case 1:
                throw std::runtime_error("boom");
            default:
                throw 1; // NOLINT(hicpp-exception-baseclass): just such a one is wanted.
            }
        };
        clProbeThread thread(fnStep);
        testing::internal::CaptureStderr();
        thread.Create(&thread, false);
        EXPECT_EQ(strThrowing == "ThreadClean" ? &thread : nullptr, thread.Wait());
        EXPECT_EQ("\nclThread::" + strThrowing + "(): " + astrTexts[iRow % 3] + "\n",
                  testing::internal::GetCapturedStderr());
        EXPECT_EQ(iRow < 3 ? "ThreadInit " : "ThreadInit Execute ThreadClean ", thread.strSteps);
        EXPECT_FALSE(thread.bRunning);
    }
}

TEST(clThread, CancelledThreadUnwindsQuietlyAndTheDestructorCancels)
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

TEST(clThread, BodyThatExitsItsThreadLeavesTheObjectIdle)
{
    const Step fnStep = [](const std::string &strStep, void *pArg) {
        return strStep == "Execute" ? (pthread_exit(pArg), nullptr) : pArg;
    };
    clProbeThread thread(fnStep);
    for (int i = 0; i < 2; ++i) {
        thread.Create(&thread, false);
        EXPECT_EQ(&thread, thread.Wait());
    }
}

TEST(clThread, SetCancelActsOnTheCallingThread)
{
    for (const bool bDisable : {true, false}) {
        for (const bool bAsync : {true, false}) {
            clThread::SetCancel(bDisable, bAsync);
            int iState = -1;
            int iType = -1;
            pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &iState);
            pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &iType);
            EXPECT_EQ(bDisable ? PTHREAD_CANCEL_DISABLE : PTHREAD_CANCEL_ENABLE, iState);
            EXPECT_EQ(bAsync ? PTHREAD_CANCEL_ASYNCHRONOUS : PTHREAD_CANCEL_DEFERRED, iType);
        }
    }
}

TEST(clThread, StaysIdleWhenNoThreadCanBeStarted)
{
    pthread_attr_t attrBefore;
    pthread_attr_t attr;
    pthread_getattr_default_np(&attrBefore);
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, size_t{1} << 48); // More than there are addresses.
    pthread_setattr_default_np(&attr);
    const Step fnStep;
    clProbeThread thread(fnStep);
    EXPECT_THROW_MSG(thread.Create(nullptr, false), clXThread,
                     clException("clThread::Create(): pthread_create()", EAGAIN).what());
    pthread_setattr_default_np(&attrBefore);
    EXPECT_EQ(nullptr, thread.Wait());
}
