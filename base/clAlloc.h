#pragma once

#include <cstdint>

/**
 * An owned block of heap memory of exactly the size asked for.
 *
 * The pointer is null exactly when the size is 0. One thread at a time. Failures are
 * std::runtime_error, the one place where the library does not use its own exception family.
 *
 * The destructor may throw because that of clWeakAlloc does.
 */
class clAlloc
{
public:
    clAlloc() noexcept = default;

    /** A copy with memory of its own. @throws std::runtime_error when memory is short */
    clAlloc(const clAlloc &source);
    virtual ~clAlloc() noexcept(false);

    /** Replaces the content by a copy of the source's; a copy onto itself changes nothing. */
    virtual void Copy(const clAlloc &source);

    /** Copies this content into the target. */
    virtual void CopyTo(clAlloc &target) const;

    /** As Copy, for storage that holds nothing to release yet. */
    virtual void Construct(const clAlloc &source);

    virtual clAlloc &operator=(const clAlloc &source);

    /**
     * Makes the block exactly lSize bytes. With an unchanged size memory and content stay; with any
     * other the old content is gone and the new bytes are not initialised.
     *
     * @return the block, null for size 0
     * @throws std::runtime_error when lSize is negative or memory is short; the object is then
     * empty
     */
    void *SetSize(int64_t lSize);

    /**
     * Makes the block exactly lSize bytes and keeps the content up to the smaller of both sizes.
     *
     * @return the block, null for size 0
     * @throws std::runtime_error when lSize is negative (the content is lost) or memory is short
     * (the old block stays)
     */
    void *Resize(int64_t lSize);

    /** Undoes a lock of the block in memory. */
    void Unlock() noexcept;

    /** Releases the block. */
    void Free() noexcept;

    /** The block; owned by this object, valid until its size changes. */
    void *GetPtr() const noexcept { return pData; }

    /** Size in bytes. */
    int64_t GetSize() const noexcept { return lAllocSize; }

protected:
    /** Allocates into an empty object. @throws std::runtime_error as SetSize does */
    void Allocate(int64_t lSize);

    bool bLocked = false;
    int64_t lAllocSize = 0;
    void *pData = nullptr;
};

/** A clAlloc seen as an array of T; T must be trivially copyable, since its bytes are moved as they
 * are. */
template <class T>
class clAllocT : public clAlloc
{
public:
    clAllocT() noexcept = default;
    clAllocT(const clAllocT &) = default;
    ~clAllocT() noexcept(false) override = default;

    using clAlloc::operator=;
    clAllocT &operator=(const clAllocT &source)
    {
        Copy(source);
        return *this;
    }

    /** As clAlloc::SetSize, in elements. */
    virtual T *SetSize(int64_t lCount) { return static_cast<T *>(clAlloc::SetSize(Bytes(lCount))); }

    /** As clAlloc::Resize, in elements. */
    virtual T *Resize(int64_t lCount) { return static_cast<T *>(clAlloc::Resize(Bytes(lCount))); }

    /** The block; owned by this object. */
    virtual T *GetData() const { return static_cast<T *>(pData); }

    /** Whole elements in the block. */
    virtual int64_t GetCount() const { return lAllocSize / static_cast<int64_t>(sizeof(T)); }

private:
    // Wraps in 64 bits, so that a product past the signed range arrives as negative and is refused.
    static int64_t Bytes(int64_t lCount) noexcept
    {
        return static_cast<int64_t>(static_cast<uint64_t>(lCount) * sizeof(T));
    }
};

/**
 * A clAlloc that several owners share. The owners themselves count lRefCount up and down, with
 * atomic operations where they live on different threads; the one that brings it to 0 deletes the
 * object.
 */
class clWeakAlloc : public clAlloc
{
public:
    /** An empty buffer with one owner. */
    clWeakAlloc() noexcept = default;

    /** A copy with memory of its own and one owner. */
    clWeakAlloc(const clWeakAlloc &source);

    /**
     * @throws std::runtime_error when the count is not 0, since an owner would be left with freed
     * memory; the block is released all the same. Silent while another exception is on its way.
     */
    // NOLINTNEXTLINE(bugprone-exception-escape): it reports the owner that would be left behind.
    ~clWeakAlloc() noexcept(false) override;

    /** Sets the count to 1 and copies as Copy does. */
    virtual void CopyShared(const clAlloc &source);

    clWeakAlloc &operator=(const clAlloc &source) override;

    /** The count is never copied: it belongs to the object, not to its bytes. */
    clWeakAlloc &operator=(const clWeakAlloc &source);

    int64_t lRefCount = 1;
};
