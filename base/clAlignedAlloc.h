#pragma once

#include <cstdint>

/**
 * An owned block of memory of exactly the size asked for, aligned to 32 bytes for vector loads.
 *
 * The pointer is null exactly when the size is 0. One thread at a time. Failures are
 * std::runtime_error, as those of clAlloc.
 */
class clAlignedAlloc
{
public:
    clAlignedAlloc() noexcept = default;

    /** A copy with memory of its own. @throws std::runtime_error when memory is short */
    clAlignedAlloc(const clAlignedAlloc &source);
    virtual ~clAlignedAlloc();

    /** Replaces the content by a copy of the source's; a copy onto itself changes nothing. */
    virtual void Copy(const clAlignedAlloc &source);

    /** As Copy, for storage that holds nothing to release yet. */
    virtual void Construct(const clAlignedAlloc &source);

    virtual clAlignedAlloc &operator=(const clAlignedAlloc &source);

    /**
     * Makes the block exactly lSize bytes. With an unchanged size memory and content stay; with any
     * other the old content is gone and the new bytes are not initialised.
     *
     * @return the block, null for size 0
     * @throws std::runtime_error when lSize is negative or memory is short; the object is then
     * empty
     */
    void *SetSize(int64_t lSize);

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

/** The aligned block under the name that signal processing knows it by. */
class clDSPAlloc : public clAlignedAlloc
{
public:
    clDSPAlloc() noexcept = default;
    clDSPAlloc(const clDSPAlloc &) = default;
    ~clDSPAlloc() override;

    using clAlignedAlloc::operator=;
    clDSPAlloc &operator=(const clDSPAlloc &source)
    {
        Copy(source);
        return *this;
    }
};
