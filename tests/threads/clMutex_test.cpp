#include "threads/clMutex.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <cerrno>

#include <dlfcn.h>

TEST(clMutex, DestructorReportsAHeldMutexExceptDuringUnwinding)
{
    if (dlsym(RTLD_DEFAULT, "__tsan_init") != nullptr) {
        GTEST_SKIP() << "the thread sanitizer reports the misuse";
    }
    const clException held("clMutex::~clMutex(): pthread_mutex_destroy()", EBUSY);
    const auto fnHold = [](bool bThrow) {
        clMutex mtx;
        mtx.Wait();
        if (bThrow) {
            throw clXThread("first");
        }
    };
    EXPECT_THROW_MSG(fnHold(false), clException, held.what());
    EXPECT_THROW_MSG(fnHold(true), clXThread, "first");
}
