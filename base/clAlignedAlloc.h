#pragma once

#include <cstdint>

/**
 * Owns a block of memory of exactly the requested size, aligned to 32 bytes for vector loads. The
 * pointer is null only when the size is 0. One thread at a time. Failures are std::runtime_error,
 * as in clAlloc.
 */
class clAlignedAlloc
{
public:
    clAlignedAlloc() noexcept = default;

    clAlignedAlloc(const clAlignedAlloc &source);
    virtual ~clAlignedAlloc();

    /** Replaces the content by a deep copy; copying onto itself changes nothing. */
    virtual void Copy(const clAlignedAlloc &source);

    /** As Copy, but releases nothing: for storage that is not initialised yet. */
    virtual void Construct(const clAlignedAlloc &source);

    virtual clAlignedAlloc &operator=(const clAlignedAlloc &source);

    /** Makes the block exactly lSize bytes. An unchanged size keeps block and content; any other
     * makes a new, uninitialised block. @return the block, null for size 0
     * @throws std::runtime_error for a negative size or short memory; the object is then empty */
    void *SetSize(int64_t lSize);

    /** Unlocks a block that a subclass has locked in memory. */
    void Unlock() noexcept;

    void Free() noexcept;

    /** Valid until the size changes. */
    void *GetPtr() const noexcept { return pData; }

    int64_t GetSize() const noexcept { return lAllocSize; }

protected:
    void Allocate(int64_t lSize);

    // Only subclasses that lock the block set this.
    bool bLocked = false;
    int64_t lAllocSize = 0;
    void *pData = nullptr;
};

/** The name of clAlignedAlloc in signal processing code. */
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
