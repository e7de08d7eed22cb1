#include "base/clAlignedAlloc.h"

#include "tests/support/ExpectThrow.h"

#include <cstring>
#include <stdexcept>

static_assert(sizeof(clDSPAlloc) == 32, "code compiled against the header relies on its layout");

TEST(clAlignedAlloc, BlocksAreAlignedExactAndCopied)
{
    clDSPAlloc alloc;
    for (const int64_t lSize : {1, 33, 4096, 7}) {
        SCOPED_TRACE(lSize);
        void *pBlock = alloc.SetSize(lSize);
        EXPECT_EQ(lSize, alloc.GetSize());
        EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(pBlock) % 32);
    }
    std::memcpy(alloc.GetPtr(), "source", 7);
    const clDSPAlloc copy(alloc);
    EXPECT_THROW_MSG(alloc.SetSize(-1), std::runtime_error,
                     "clAlignedAlloc::SetSize(): lAllocSize < 0");
    EXPECT_THROW_MSG(alloc.SetSize(int64_t{1} << 62U), std::runtime_error,
                     "clAlignedAlloc::SetSize(): posix_memalign()");
    EXPECT_EQ(nullptr, alloc.GetPtr());
    alloc = copy;
    alloc.Copy(alloc);
    EXPECT_STREQ("source", static_cast<const char *>(alloc.GetPtr()));
}
