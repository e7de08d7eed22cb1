#include "base/clAlignedAlloc.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <sys/mman.h> // for munlock()

namespace
{

// The size of a 256-bit vector register.
constexpr size_t ALIGNMENT = 32;

} // namespace

clAlignedAlloc::clAlignedAlloc(const clAlignedAlloc &source)
{
    clAlignedAlloc::Construct(source);
}

clAlignedAlloc::~clAlignedAlloc()
{
    Free();
}

void clAlignedAlloc::Copy(const clAlignedAlloc &source)
{
    if (&source == this) {
        return;
    }
    Free();
    if (source.lAllocSize != 0) {
        Allocate(source.lAllocSize);
        std::memcpy(pData, source.pData, static_cast<size_t>(lAllocSize));
    }
}

void clAlignedAlloc::Construct(const clAlignedAlloc &source)
{
    bLocked = false;
    lAllocSize = 0;
    pData = nullptr;
    clAlignedAlloc::Copy(source);
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Copy() checks for self-assignment.
clAlignedAlloc &clAlignedAlloc::operator=(const clAlignedAlloc &source)
{
    Copy(source);
    return *this;
}

void *clAlignedAlloc::SetSize(int64_t lSize)
{
    if (lSize == lAllocSize) {
        return pData;
    }
    Free();
    if (lSize != 0) {
        Allocate(lSize);
    }
    return pData;
}

void clAlignedAlloc::Unlock() noexcept
{
    if (pData != nullptr && bLocked) {
        bLocked = false;
        munlock(pData, static_cast<size_t>(lAllocSize));
    }
}

void clAlignedAlloc::Free() noexcept
{
    Unlock();
    std::free(pData);
    pData = nullptr;
    lAllocSize = 0;
}

void clAlignedAlloc::Allocate(int64_t lSize)
{
    if (lSize < 0) {
        throw std::runtime_error("clAlignedAlloc::SetSize(): lAllocSize < 0");
    }
    void *pNew = nullptr;
    if (posix_memalign(&pNew, ALIGNMENT, static_cast<size_t>(lSize)) != 0) {
        throw std::runtime_error("clAlignedAlloc::SetSize(): posix_memalign()");
    }
    pData = pNew;
    lAllocSize = lSize;
}

clDSPAlloc::~clDSPAlloc() = default;
