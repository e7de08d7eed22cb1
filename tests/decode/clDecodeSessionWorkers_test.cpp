// The workers of a session: every read ends with all of them idle, however it ends.

#include "decode/clDecodeSession.h"
#include "tests/support/DecodingTest.h"
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

// Long enough to have several pieces, and work for both threads.
constexpr uint64_t FRAMES = 65536;

const bytes_t SOUND = Pattern(2 * 2 * FRAMES);

clDecodeSession::setup_t TwoChannels()
{
    clDecodeSession::setup_t setup;
    setup.uChannels = 2;
    return setup;
}

} // namespace

TEST(clDecodeSession, SignalsDoNotInterruptABatch)
{
    struct sigaction action = {};
    struct sigaction old = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &old);
    const itimerval often = {{0, 200}, {0, 200}};
    const itimerval never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    clDecoding decoding(TwoChannels());
    MemorySource source(SOUND, 2);
    samples_t all;
    EXPECT_NO_THROW(all = decoding.ReadToEnd(source, 2048));
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_EQ(2 * FRAMES, all.size());
}

TEST(clDecodeSession, FailedFetchEndsTheReadAlone)
{
    clDecoding decoding(TwoChannels());
    MemorySource source(SOUND, 2);
    const samples_t expected = decoding.Read(source, FRAMES);
    ASSERT_EQ(2 * FRAMES, expected.size());
    for (const uint64_t uFailing : {0U, 16384U, 65536U}) {
        SCOPED_TRACE(uFailing);
        source.uPosition = 0;
        source.fnBeforeFetch = [&](uint64_t uPosition) {
            if (uPosition == uFailing) {
                throw std::runtime_error("lost");
            }
        };
        EXPECT_THROW_MSG(decoding.Read(source, FRAMES), std::runtime_error, "lost");
        source.fnBeforeFetch = [](uint64_t) {};
        source.uPosition = 0;
        EXPECT_TRUE(EqualBytes(expected, decoding.Read(source, FRAMES)));
    }
}

TEST(clDecodeSession, ThreadCancelledInAReadLeavesNoBatch)
{
    clDecoding decoding(TwoChannels());
    MemorySource source(SOUND, 2);
    const samples_t expected = decoding.Read(source, FRAMES);

    clSemaphore semStalled;
    source.uPosition = 0;
    source.fnBeforeFetch = [&](uint64_t uPosition) {
        if (uPosition < FRAMES) {
            return;
        }
        semStalled.Post();
        for (;;) {
            // Not pause(): after a cancellation in a call that the thread sanitizer intercepts, it
            // sees no order between this thread and others.
            pthread_testcancel();
            std::this_thread::yield();
        }
    };
    // The buffer is destroyed with the thread.
    std::thread thread([&] { decoding.Read(source, FRAMES); });
    semStalled.Wait();
    pthread_cancel(thread.native_handle());
    thread.join();

    source.fnBeforeFetch = [](uint64_t) {};
    source.uPosition = 0;
    EXPECT_TRUE(EqualBytes(expected, decoding.Read(source, FRAMES)));
}
