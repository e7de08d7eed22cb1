#pragma once

#include "base/Export.h"
#include "base/clString.h"

#include <cstdint>

/**
 * A forward cursor over the bytes of an ID3v2 tag, which are borrowed: they must outlive the reads.
 * Integers are big-endian. A read that fails throws clXID3tag and does not move the cursor. One
 * thread at a time. The order of the virtual functions is fixed; append only. The destructor may
 * throw because strings and buffers of the subclasses do.
 */
class VANTREL_API clID3base
{
public:
    clID3base() noexcept = default;

    /** Ends the borrowing: no bytes remain. */
    virtual void Reset();
    virtual ~clID3base() noexcept(false);

    /** The low 32 bits of a synchsafe integer: seven bits per byte, highest first. Without bytes 0.
     * @throws clXID3tag when a byte has its top bit set */
    static uint32_t SS2Int32(const uint8_t *cpBytes, uint64_t uCount);

protected:
    // Protected, so that frames and tags are not sliced.
    clID3base(const clID3base &) = default;            ///< only for subclasses that add nothing
    clID3base &operator=(const clID3base &) = default; ///< likewise

    uint8_t ReadByte();    ///< reads 1 byte
    uint16_t ReadWord();   ///< reads 2 bytes
    uint32_t ReadWord24(); ///< reads 3 bytes
    uint32_t ReadDWord();  ///< reads 4 bytes

    /** Reads a synchsafe integer of 3 bytes. @throws clXID3tag also as SS2Int32 */
    uint32_t ReadSS3();
    uint32_t ReadSS4(); ///< as ReadSS3, of 4 bytes
    uint32_t ReadSS5(); ///< of 5 bytes; the low 32 bits of the value

    /** Copies bytes. @param pTarget may be null for a count of 0 */
    void ReadBytes(void *pTarget, uint64_t uCount);

    /** Reads text up to and including its terminator, or to the end of the bytes. UTF-16 text
     * leaves a single byte at the end unread, and its first byte is converted as zero.
     * Compatibility: callers rely on both.
     * @param uEncoding 0: ISO 8859-1; 1 and 2: UTF-16; any other: not converted
     * @return the bytes read, with the terminator
     * @throws clXID3tag when no bytes remain; std::runtime_error when memory is short */
    uint64_t ReadString(clString &strTarget, uint8_t uEncoding);

    uint64_t uRemaining = 0;           ///< bytes left at cpCursor
    const uint8_t *cpCursor = nullptr; ///< the next byte; borrowed

private:
    void Require(uint64_t uCount, const char *cpFailure) const;
    void Advance(uint64_t uCount) noexcept;
    uint32_t ReadInt(uint64_t uCount, const char *cpFailure);
    uint32_t ReadSS(uint64_t uCount, const char *cpFailure);
};
