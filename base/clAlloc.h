#pragma once

#include "base/Export.h"

#include <cstdint>

/**
 * Owns a block of heap memory of exactly the requested size. The pointer is null only when the size
 * is 0. One thread at a time. Failures are std::runtime_error, not clException. The destructor may
 * throw because clWeakAlloc's does.
 */
class VANTREL_API clAlloc
{
public:
    clAlloc() noexcept = default;

    clAlloc(const clAlloc &source); ///< a deep copy
    virtual ~clAlloc() noexcept(false);

    /** Replaces the content by a deep copy; copying onto itself changes nothing. */
    virtual void Copy(const clAlloc &source);

    virtual void CopyTo(clAlloc &target) const; ///< Copy in the other direction

    /** As Copy, but releases nothing: for storage that is not initialised yet. */
    virtual void Construct(const clAlloc &source);

    virtual clAlloc &operator=(const clAlloc &source); ///< as Copy

    /** Makes the block exactly lSize bytes. An unchanged size keeps block and content; any other
     * makes a new, uninitialised block. @return the block, null for size 0
     * @throws std::runtime_error for a negative size or short memory; the object is then empty */
    void *SetSize(int64_t lSize);

    /** As SetSize, but keeps the content up to the smaller of both sizes.
     * @throws std::runtime_error for a negative size (the object is then empty) or short memory
     * (the old block stays) */
    void *Resize(int64_t lSize);

    /** Unlocks a block that a subclass has locked in memory. */
    void Unlock() noexcept;

    void Free() noexcept; ///< releases the block; the size is then 0

    /** Valid until the size changes. */
    void *GetPtr() const noexcept { return pData; }

    int64_t GetSize() const noexcept { return lAllocSize; } ///< in bytes

protected:
    /** Gets a new block without releasing the old one. @throws std::runtime_error as SetSize */
    void Allocate(int64_t lSize);

    bool bLocked = false;   ///< set only by subclasses that lock the block
    int64_t lAllocSize = 0; ///< bytes of the block
    void *pData = nullptr;  ///< the block
};

/** A clAlloc as an array of T, which must be trivially copyable. */
template <class T>
class VANTREL_API clAllocT : public clAlloc
{
public:
    clAllocT() noexcept = default;
    clAllocT(const clAllocT &) = default; ///< a deep copy
    ~clAllocT() noexcept(false) override = default;

    using clAlloc::operator=;
    /** As Copy. */
    clAllocT &operator=(const clAllocT &source)
    {
        Copy(source);
        return *this;
    }

    /** In elements, otherwise as in clAlloc. */
    virtual T *SetSize(int64_t lCount) { return static_cast<T *>(clAlloc::SetSize(Bytes(lCount))); }
    /** In elements, otherwise as in clAlloc. */
    virtual T *Resize(int64_t lCount) { return static_cast<T *>(clAlloc::Resize(Bytes(lCount))); }

    /** As GetPtr. */
    virtual T *GetData() const { return static_cast<T *>(pData); }
    /** In elements. */
    virtual int64_t GetCount() const { return lAllocSize / static_cast<int64_t>(sizeof(T)); }

private:
    // Wraps in 64 bits: a product above the signed range becomes negative and is refused.
    static int64_t Bytes(int64_t lCount) noexcept
    {
        return static_cast<int64_t>(static_cast<uint64_t>(lCount) * sizeof(T));
    }
};

/**
 * A clAlloc with several owners, which increment and decrement lRefCount themselves, atomically if
 * they are on different threads; the one that makes it 0 deletes the object.
 */
class VANTREL_API clWeakAlloc : public clAlloc
{
public:
    clWeakAlloc() noexcept = default;

    /** A deep copy with one owner. */
    clWeakAlloc(const clWeakAlloc &source);

    /** @throws std::runtime_error when the count is not 0, because an owner would use freed memory;
     * the block is released anyway. Silent during the unwinding of another exception. */
    // NOLINTNEXTLINE(bugprone-exception-escape): it reports the remaining owner.
    ~clWeakAlloc() noexcept(false) override;

    /** Sets the count to 1 and copies as Copy does. */
    virtual void CopyShared(const clAlloc &source);

    clWeakAlloc &operator=(const clAlloc &source) override; ///< as CopyShared

    /** Copies the content but not the count, which becomes 1. */
    clWeakAlloc &operator=(const clWeakAlloc &source);

    int64_t lRefCount = 1; ///< the number of owners
};
