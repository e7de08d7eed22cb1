#include "base/clAlloc.h"

#include "base/clException.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <sys/mman.h> // for munlock()

clAlloc::clAlloc(const clAlloc &source)
{
    clAlloc::Construct(source);
}

clAlloc::~clAlloc() noexcept(false)
{
    Free();
}

void clAlloc::Copy(const clAlloc &source)
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

void clAlloc::CopyTo(clAlloc &target) const
{
    target.Copy(*this);
}

void clAlloc::Construct(const clAlloc &source)
{
    bLocked = false;
    lAllocSize = 0;
    pData = nullptr;
    clAlloc::Copy(source);
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Copy() checks for self-assignment.
clAlloc &clAlloc::operator=(const clAlloc &source)
{
    Copy(source);
    return *this;
}

void *clAlloc::SetSize(int64_t lSize)
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

void *clAlloc::Resize(int64_t lSize)
{
    Unlock();
    if (lSize == lAllocSize) {
        return pData;
    }
    if (lSize <= 0) {
        Free();
        if (lSize == 0) {
            return nullptr;
        }
        throw std::runtime_error("clAlloc::Resize(): lAllocSize < 0");
    }
    void *pNew = std::realloc(pData, static_cast<size_t>(lSize));
    if (pNew == nullptr) {
        throw std::runtime_error("clAlloc::Resize(): realloc()");
    }
    pData = pNew;
    lAllocSize = lSize;
    return pData;
}

void clAlloc::Unlock() noexcept
{
    if (pData != nullptr && bLocked) {
        bLocked = false;
        munlock(pData, static_cast<size_t>(lAllocSize));
    }
}

void clAlloc::Free() noexcept
{
    Unlock();
    std::free(pData);
    pData = nullptr;
    lAllocSize = 0;
}

void clAlloc::Allocate(int64_t lSize)
{
    if (lSize < 0) {
        throw std::runtime_error("clAlloc::SetSize(): lAllocSize < 0");
    }
    pData = std::malloc(static_cast<size_t>(lSize));
    if (pData == nullptr) {
        throw std::runtime_error("clAlloc::SetSize(): malloc()");
    }
    lAllocSize = lSize;
}

clWeakAlloc::clWeakAlloc(const clWeakAlloc &source) : clAlloc(source) {}

// NOLINTNEXTLINE(bugprone-exception-escape): the header says why.
clWeakAlloc::~clWeakAlloc() noexcept(false)
{
    Free();
    if (lRefCount != 0 && DestructorMayThrow()) {
        throw std::runtime_error("clWeakAlloc::~clWeakAlloc(): lRefCount != 0");
    }
}

void clWeakAlloc::CopyShared(const clAlloc &source)
{
    lRefCount = 1;
    Copy(source);
}

clWeakAlloc &clWeakAlloc::operator=(const clAlloc &source)
{
    CopyShared(source);
    return *this;
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Copy() checks for self-assignment.
clWeakAlloc &clWeakAlloc::operator=(const clWeakAlloc &source)
{
    CopyShared(source);
    return *this;
}
