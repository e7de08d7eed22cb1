// A server that falls silent in the middle of its head: half a minute of nothing.

#include "base/clException.h"
#include "io/clStreamReaderHTTP.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ScriptedServer.h"

#include <chrono>
#include <csignal>
#include <future>
#include <thread>

TEST(clStreamReaderHTTP, SilenceInAHeadEndsAfterHalfAMinuteWhateverSignalsCome)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    ScriptedServer server({{"HTTP/1.1 200 OK\r\nA: b", ServerAnswer::SILENCE}});
    std::promise<void> promise;
    std::thread signaller([reader = pthread_self(), end = promise.get_future()] {
        while (end.wait_for(std::chrono::seconds(7)) == std::future_status::timeout) {
            pthread_kill(reader, SIGUSR1);
        }
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW_MSG(clStreamReaderHTTP reader(clString(server.Url("/").c_str())), clXStreamReader,
                     "clStreamReaderHTTP::GetHead(): read timeout");
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    promise.set_value();
    signaller.join();
    EXPECT_LE(30.0, seconds.count());
    EXPECT_GT(36.0, seconds.count()) << "a signal makes the wait start again";
}
