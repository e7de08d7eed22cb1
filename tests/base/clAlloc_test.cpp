#include "base/clAlloc.h"

#include "tests/support/ExpectThrow.h"

#include <cstring>
#include <stdexcept>
#include <string>

// Makes the sanitizers return null for an allocation that is too large, as malloc() does, instead
// of ending the process. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char *__asan_default_options();
extern "C" const char *__tsan_default_options();
const char *__asan_default_options()
{
    return "allocator_may_return_null=1";
}
const char *__tsan_default_options()
{
    return __asan_default_options();
}
// NOLINTEND(bugprone-reserved-identifier)

namespace
{

// Code compiled against these headers relies on the layout.
static_assert(sizeof(clAlloc) == 32 && sizeof(clAllocT<wchar_t>) == 32);
static_assert(sizeof(clWeakAlloc) == 40);

void Fill(clAlloc &alloc, const std::string &strText)
{
    std::memcpy(alloc.SetSize(static_cast<int64_t>(strText.size())), strText.data(),
                strText.size());
}

std::string Content(const clAlloc &alloc)
{
    return std::string(static_cast<const char *>(alloc.GetPtr()),
                       static_cast<size_t>(alloc.GetSize()));
}

} // namespace

TEST(clAlloc, SizesAndCopiesAreExact)
{
    clAlloc alloc;
    for (const int64_t lSize : {0, 1, 4096, 3}) {
        SCOPED_TRACE(lSize);
        void *pBlock = alloc.SetSize(lSize);
        EXPECT_EQ(lSize, alloc.GetSize());
        EXPECT_EQ(lSize == 0, pBlock == nullptr);
        // The converter calls this for every block and relies on the unchanged pointer.
        EXPECT_EQ(pBlock, alloc.SetSize(lSize));
    }
    Fill(alloc, "0123456789");
    alloc.Resize(20);
    EXPECT_EQ(20, alloc.GetSize());
    const clAlloc copy(alloc);
    alloc.Resize(4);
    EXPECT_EQ("0123", Content(alloc));
    EXPECT_EQ(nullptr, alloc.Resize(0));
    alloc = copy;
    alloc.Copy(alloc);
    EXPECT_EQ("0123456789", Content(alloc).substr(0, 10));
}

TEST(clAlloc, RefusedSizesFreeAllButAFailedResize)
{
    constexpr int64_t TOO_MUCH = int64_t{1} << 62U;
    clAlloc alloc;
    Fill(alloc, "text");
    EXPECT_THROW_MSG(alloc.SetSize(-1), std::runtime_error, "clAlloc::SetSize(): lAllocSize < 0");
    EXPECT_EQ("", Content(alloc));
    Fill(alloc, "text");
    EXPECT_THROW_MSG(alloc.Resize(-1), std::runtime_error, "clAlloc::Resize(): lAllocSize < 0");
    EXPECT_EQ("", Content(alloc));
    Fill(alloc, "text");
    EXPECT_THROW_MSG(alloc.Resize(TOO_MUCH), std::runtime_error, "clAlloc::Resize(): realloc()");
    EXPECT_EQ("text", Content(alloc));
    EXPECT_THROW_MSG(alloc.SetSize(TOO_MUCH), std::runtime_error, "clAlloc::SetSize(): malloc()");
    EXPECT_EQ("", Content(alloc));
}

TEST(clAllocT, CountsElements)
{
    clAllocT<wchar_t> alloc;
    std::memcpy(alloc.SetSize(3), L"abc", 12);
    EXPECT_EQ(12, alloc.GetSize());
    EXPECT_EQ(3, alloc.GetCount());
    // The product wraps in 64 bits; with its top bit set it is negative.
    EXPECT_THROW_MSG(alloc.SetSize(int64_t{1} << 61U), std::runtime_error,
                     "clAlloc::SetSize(): lAllocSize < 0");
}

TEST(clWeakAlloc, DestructionNeedsACountOfZero)
{
    const auto Destroy = [](int64_t lRefCount, bool bThrow) {
        clWeakAlloc alloc;
        alloc.lRefCount = lRefCount;
        if (bThrow) {
            throw std::logic_error("in flight");
        }
    };
    Destroy(0, false);
    EXPECT_THROW_MSG(Destroy(-1, false), std::runtime_error,
                     "clWeakAlloc::~clWeakAlloc(): lRefCount != 0");
    EXPECT_THROW_MSG(Destroy(1, true), std::logic_error, "in flight");
}
