#include "base/clAlloc.h"

#include "tests/support/ExpectThrow.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

// The sanitizers end the process at an allocation that malloc() would merely refuse, unless these
// functions say otherwise; the tests of this room want the refusal.
// NOLINTBEGIN(bugprone-reserved-identifier)
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

// The layout that code compiled against these headers relies on.
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

TEST(clAlloc, SizesAreExact)
{
    clAlloc alloc;
    for (const int64_t lSize : {0, 1, 10, 4096, 3, 0, 0, 1}) {
        SCOPED_TRACE(lSize);
        void *pBlock = alloc.SetSize(lSize);
        EXPECT_EQ(lSize, alloc.GetSize());
        EXPECT_EQ(lSize == 0, pBlock == nullptr);
        const std::string strContent(static_cast<size_t>(lSize), 'x');
        std::copy(strContent.begin(), strContent.end(), static_cast<char *>(pBlock));
        // The converter sizes its buffers for every block and counts on this.
        EXPECT_EQ(pBlock, alloc.SetSize(lSize));
        EXPECT_EQ(pBlock, alloc.Resize(lSize));
        EXPECT_EQ(strContent, Content(alloc));
    }
    Fill(alloc, "0123456789");
    alloc.Resize(20);
    EXPECT_EQ(20, alloc.GetSize());
    EXPECT_EQ("0123456789", Content(alloc).substr(0, 10));
    alloc.Resize(4);
    EXPECT_EQ("0123", Content(alloc));
    EXPECT_EQ(nullptr, alloc.Resize(0));
    EXPECT_EQ(nullptr, alloc.GetPtr());
}

TEST(clAlloc, RefusedSizesFreeAllButAFailedResize)
{
    constexpr int64_t TOO_MUCH = int64_t{1} << 62U;
    clAlloc alloc;
    for (const int64_t lSize : {int64_t{-1}, INT64_MIN}) {
        Fill(alloc, "text");
        EXPECT_THROW_MSG(alloc.SetSize(lSize), std::runtime_error,
                         "clAlloc::SetSize(): lAllocSize < 0");
        EXPECT_EQ("", Content(alloc));
        Fill(alloc, "text");
        EXPECT_THROW_MSG(alloc.Resize(lSize), std::runtime_error,
                         "clAlloc::Resize(): lAllocSize < 0");
        EXPECT_EQ(nullptr, alloc.GetPtr());
    }
    Fill(alloc, "text");
    EXPECT_THROW_MSG(alloc.Resize(TOO_MUCH), std::runtime_error, "clAlloc::Resize(): realloc()");
    EXPECT_EQ("text", Content(alloc));
    EXPECT_THROW_MSG(alloc.SetSize(TOO_MUCH), std::runtime_error, "clAlloc::SetSize(): malloc()");
    EXPECT_EQ("", Content(alloc));
}

TEST(clAlloc, CopiesHaveMemoryOfTheirOwn)
{
    clAlloc source, target;
    Fill(source, "source");
    Fill(target, "longer than that");
    target = source;
    target.Copy(target);
    EXPECT_EQ("source", Content(target));
    EXPECT_NE(source.GetPtr(), target.GetPtr());
    clAlloc().CopyTo(target);
    EXPECT_EQ(nullptr, target.GetPtr());
    const clAlloc copy(source);
    Fill(source, "edited");
    EXPECT_EQ("source", Content(copy));
}

TEST(clAllocT, CountsElements)
{
    clAllocT<wchar_t> alloc;
    std::memcpy(alloc.SetSize(3), L"abc", 12);
    EXPECT_EQ(12, alloc.GetSize());
    EXPECT_EQ(3, alloc.GetCount());
    EXPECT_EQ(0, std::memcmp(alloc.Resize(5), L"abc", 12));
    EXPECT_EQ(20, alloc.GetSize());
    alloc.clAlloc::SetSize(15);
    EXPECT_EQ(3, alloc.GetCount());
    // The product wraps in 64 bits: what has its top bit set after that is negative.
    const char *cpMessage = "clAlloc::SetSize(): lAllocSize < 0";
    EXPECT_THROW_MSG(alloc.SetSize(int64_t{1} << 61U), std::runtime_error, cpMessage);
    EXPECT_THROW_MSG(alloc.SetSize(-1), std::runtime_error, cpMessage);
    EXPECT_THROW_MSG(alloc.SetSize(int64_t{1} << 60U), std::runtime_error,
                     "clAlloc::SetSize(): malloc()");
}

TEST(clWeakAlloc, CopiesBytesButNotOwners)
{
    clWeakAlloc source, assigned;
    Fill(source, "source");
    source.lRefCount = 3;
    clWeakAlloc copy(source);
    EXPECT_EQ("source", Content(copy));
    EXPECT_EQ(1, copy.lRefCount);
    assigned.lRefCount = 2;
    assigned = source;
    EXPECT_EQ("source", Content(assigned));
    EXPECT_EQ(1, assigned.lRefCount);
    assigned.lRefCount = 2;
    static_cast<clAlloc &>(assigned) = clAlloc();
    EXPECT_EQ(1, assigned.lRefCount);
    source.lRefCount = copy.lRefCount = assigned.lRefCount = 0;
}

TEST(clWeakAlloc, DestructionNeedsACountOfZero)
{
    const auto Destroy = [](int64_t lRefCount) {
        clWeakAlloc alloc;
        Fill(alloc, "freed all the same");
        alloc.lRefCount = lRefCount;
    };
    const char *cpMessage = "clWeakAlloc::~clWeakAlloc(): lRefCount != 0";
    Destroy(0);
    EXPECT_THROW_MSG(Destroy(1), std::runtime_error, cpMessage);
    EXPECT_THROW_MSG(Destroy(-1), std::runtime_error, cpMessage);
    const auto DestroyInFlight = [] {
        const clWeakAlloc owned;
        throw std::logic_error("in flight");
    };
    EXPECT_THROW_MSG(DestroyInFlight(), std::logic_error, "in flight");
}
