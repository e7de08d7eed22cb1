#include "base/clAlignedAlloc.h"

#include "tests/support/ExpectThrow.h"

#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

static_assert(sizeof(clDSPAlloc) == 32, "code compiled against the header relies on its layout");

TEST(clAlignedAlloc, BlocksAreAlignedAndExact)
{
    clDSPAlloc alloc;
    for (const int64_t lSize : {1, 31, 32, 33, 4096, 7, 0, 0, 5}) {
        SCOPED_TRACE(lSize);
        void *pBlock = alloc.SetSize(lSize);
        EXPECT_EQ(lSize, alloc.GetSize());
        EXPECT_EQ(lSize == 0, pBlock == nullptr);
        EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(pBlock) % 32);
        EXPECT_EQ(pBlock, alloc.SetSize(lSize));
    }
    EXPECT_THROW_MSG(alloc.SetSize(-1), std::runtime_error,
                     "clAlignedAlloc::SetSize(): lAllocSize < 0");
    EXPECT_EQ(nullptr, alloc.GetPtr());
    alloc.SetSize(5);
    EXPECT_THROW_MSG(alloc.SetSize(int64_t{1} << 62U), std::runtime_error,
                     "clAlignedAlloc::SetSize(): posix_memalign()");
    EXPECT_EQ(nullptr, alloc.GetPtr());
    EXPECT_EQ(0, alloc.GetSize());
}

TEST(clAlignedAlloc, CopiesHaveMemoryOfTheirOwn)
{
    clDSPAlloc source, assigned;
    std::memcpy(source.SetSize(7), "source", 7);
    assigned.SetSize(100);
    static_cast<clAlignedAlloc &>(assigned) = source;
    assigned.Copy(assigned);
    const clDSPAlloc copy(source);
    std::memcpy(source.GetPtr(), "edited", 7);
    for (const clDSPAlloc *pCopy : {&copy, static_cast<const clDSPAlloc *>(&assigned)}) {
        EXPECT_EQ(7, pCopy->GetSize());
        EXPECT_STREQ("source", static_cast<const char *>(pCopy->GetPtr()));
        EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(pCopy->GetPtr()) % 32);
    }
    assigned = clDSPAlloc();
    EXPECT_EQ(nullptr, assigned.GetPtr());
}
