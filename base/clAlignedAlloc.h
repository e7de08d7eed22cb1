#pragma once

#include "base/Export.h"

#include <cstdint>

/**
 * Owns a block of memory of exactly the requested size, aligned to 32 bytes for vector loads. The
 * pointer is null only when the size is 0. One thread at a time. Failures are std::runtime_error,
 * as in clAlloc.
 */
class VANTREL_API clAlignedAlloc
{
public:
    clAlignedAlloc() noexcept = default;

    clAlignedAlloc(const clAlignedAlloc &source); ///< a deep copy
    virtual ~clAlignedAlloc();

    /** Replaces the content by a deep copy; copying onto itself changes nothing. */
    virtual void Copy(const clAlignedAlloc &source);

    /** As Copy, but releases nothing: for storage that is not initialised yet. */
    virtual void Construct(const clAlignedAlloc &source);

    virtual clAlignedAlloc &operator=(const clAlignedAlloc &source); ///< as Copy

    /** Makes the block exactly lSize bytes. An unchanged size keeps block and content; any other
     * makes a new, uninitialised block. @return the block, null for size 0
     * @throws std::runtime_error for a negative size or short memory; the object is then empty */
    void *SetSize(int64_t lSize);

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

/** The name of clAlignedAlloc in signal processing code. */
class VANTREL_API clDSPAlloc : public clAlignedAlloc
{
public:
    clDSPAlloc() noexcept = default;
    clDSPAlloc(const clDSPAlloc &) = default; ///< a deep copy
    ~clDSPAlloc() override;

    using clAlignedAlloc::operator=;
    /** As Copy. */
    clDSPAlloc &operator=(const clDSPAlloc &source)
    {
        Copy(source);
        return *this;
    }
};
