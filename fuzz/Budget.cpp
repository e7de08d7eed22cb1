// Limits every input to a second of processor time, which does not depend on the load of the
// machine, and to 256 MiB of memory in use at once. Input that needs more ends the process.

#include "fuzz/Target.h"

#include <time.h> // for clock_gettime()

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FUZZ_COUNTS_MEMORY
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define FUZZ_COUNTS_MEMORY
#endif

#ifdef FUZZ_COUNTS_MEMORY
#include <atomic>

#include <sanitizer/allocator_interface.h>

namespace
{

constexpr int64_t MAX_BYTES = 256 << 20;

std::atomic<int64_t> lBytesInUse;

// Counts the memory of the engine as well, which is small while an input runs.
void CountMalloc(const volatile void * /*pBlock*/, size_t uBlock)
{
    if (lBytesInUse.fetch_add(static_cast<int64_t>(uBlock)) > MAX_BYTES) {
        // The report allocates memory too.
        lBytesInUse = INT64_MIN / 2;
        Check(false, "more than 256 MiB in use");
    }
}

void CountFree(const volatile void *pBlock)
{
    if (pBlock != nullptr) {
        lBytesInUse -=
            static_cast<int64_t>(__sanitizer_get_allocated_size(const_cast<const void *>(pBlock)));
    }
}

const int INSTALLED = __sanitizer_install_malloc_and_free_hooks(CountMalloc, CountFree);

} // namespace
#endif

namespace
{

double ProcessorSeconds()
{
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *pData, size_t sizeData)
{
#ifdef FUZZ_COUNTS_MEMORY
    Check(INSTALLED != 0, "memory is not counted");
    lBytesInUse = 0;
#endif
    const double dStart = ProcessorSeconds();
    Fuzz(pData, sizeData);
    Check(ProcessorSeconds() - dStart < 1.0, "more than a second");
    return 0;
}
