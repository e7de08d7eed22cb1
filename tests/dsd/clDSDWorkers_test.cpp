// The workers of the decoded reads: that they come and go with the file, and end with each read,
// whatever becomes of it.

#include "tests/support/DecodeHelpers.h"
#include "tests/support/ExpectThrow.h"
#include "threads/clSemaphore.h"

#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

namespace
{

// A read of whole blocks in DSF, times the channels.
constexpr size_t BLOCK = 2048;

class decodeWorkers : public testing::TestWithParam<format_t>
{
protected:
    std::unique_ptr<clDSD> spFile = MakeFile(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Formats, decodeWorkers, testing::Values(FORMAT_DSDIFF, FORMAT_DSF),
                         FormatName<testing::TestParamInfo<format_t>>);

/** Says when it is asked for the bytes at a place, and never delivers them. */
class clStallingStream : public MemoryStream
{
public:
    using MemoryStream::MemoryStream;

    ssize_t Read(void *pBuffer, size_t sizeBuffer) override
    {
        if (Tell() < lStallAt) {
            return MemoryStream::Read(pBuffer, sizeBuffer);
        }
        semStalled.Post();
        for (;;) {
            // Not pause(): a thread cancelled in a call that the thread sanitizer watches over has
            // no order with others any more in its eyes.
            pthread_testcancel();
            std::this_thread::yield();
        }
    }

    off_t lStallAt = 0;
    clSemaphore semStalled;
};

} // namespace

TEST_P(decodeWorkers, ComeAndGoWithTheFile)
{
    // Reads long enough to have work for six.
    const bytes_t sound = Pattern(6 * 2 * 8 * BLOCK);
    samples_t first(6 * 4 * BLOCK);
    samples_t out(first.size());
    for (uint32_t i = 0; i < 40; ++i) {
        const auto spOther = MakeFile(GetParam());
        spOther->Open(MakeStream(GetParam(), sound, 6), out.size(), i % 8);
        ASSERT_EQ(out.size(), spOther->Read(out.data(), out.size()));
        if (i == 0) {
            first = out;
        }
        EXPECT_TRUE(Same(first, out));
        // Closed, opened again, or destroyed in mid-file.
        if (i % 3 == 0) {
            spOther->Close();
        } else if (i % 3 == 1) {
            spOther->Open(MakeStream(GetParam(), sound, 6));
        }
    }
}

TEST_P(decodeWorkers, SignalsDoNotBreakABatchOff)
{
    struct sigaction action = {};
    struct sigaction old = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &old);
    const itimerval often = {{0, 200}, {0, 200}};
    const itimerval never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    spFile->Open(MakeStream(GetParam(), Pattern(2 * 64 * 2 * BLOCK), 2));
    samples_t all;
    EXPECT_NO_THROW(all = ReadAll(*spFile, 2 * BLOCK));
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_EQ(2 * (64 * BLOCK + spFile->GetDelay()), all.size());
}

TEST_P(decodeWorkers, FailureMeanwhileEndsTheReadAlone)
{
    const bytes_t sound = Pattern(2 * 32 * BLOCK);
    MemoryStream *pStream = MakeStream(GetParam(), sound, 2);
    spFile->Open(pStream);
    samples_t expected(2 * 16 * BLOCK);
    ASSERT_EQ(expected.size(), spFile->Read(expected.data(), expected.size()));
    samples_t out(expected.size());
    for (const unsigned uPiece : {1U, 2U, 4U}) {
        spFile->SeekFrame(0);
        pStream->FailAt<std::runtime_error>(MemoryStream::CALL_READ, uPiece, "lost");
        EXPECT_THROW_MSG(spFile->Read(out.data(), out.size()), std::runtime_error, "lost");
        spFile->SeekFrame(0);
        ASSERT_EQ(out.size(), spFile->Read(out.data(), out.size()));
        EXPECT_TRUE(Same(expected, out));
    }
}

TEST(clDSD, ThreadCancelledInAReadLeavesNoWorkerBehind)
{
    const bytes_t file = DSDIFFBuilder().Sound(Pattern(2 * 32 * BLOCK)).Build();
    auto *pStream = new clStallingStream(file);
    pStream->lStallAt = static_cast<off_t>(file.size());
    clDSDIFF reader;
    reader.Open(pStream);
    samples_t expected(2 * 16 * BLOCK);
    ASSERT_EQ(expected.size(), reader.Read(expected.data(), expected.size()));

    pStream->lStallAt = 70000;
    reader.SeekFrame(0);
    // Its buffer goes with the thread.
    std::thread thread([&] {
        samples_t out(expected.size());
        reader.Read(out.data(), out.size());
    });
    pStream->semStalled.Wait();
    pthread_cancel(thread.native_handle());
    thread.join();

    pStream->lStallAt = static_cast<off_t>(file.size());
    reader.SeekFrame(0);
    samples_t out(expected.size());
    ASSERT_EQ(out.size(), reader.Read(out.data(), out.size()));
    EXPECT_TRUE(Same(expected, out));
}
