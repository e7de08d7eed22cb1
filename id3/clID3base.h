#pragma once

#include "base/clString.h"

#include <cstdint>

/**
 * A cursor that moves forwards over the bytes of an ID3v2 tag.
 *
 * Borrows the bytes: they belong to whoever has the tag parsed. Integers are big-endian. A read
 * that fails throws clXID3tag and moves nothing. One thread at a time.
 *
 * The virtual functions stand in the order of their slots. The destructor may throw because those
 * of the strings and buffers that the subclasses hold do.
 */
class clID3base
{
public:
    clID3base() noexcept = default;

    /** Lets go of the bytes: nothing remains to be read. */
    virtual void Reset();
    virtual ~clID3base() noexcept(false);

    /**
     * The value of a synchsafe integer: seven bits to the byte, highest first. Only the low 32 bits
     * are kept, so five bytes lose their top three; this is deliberate. No bytes give 0.
     *
     * @throws clXID3tag when a byte has its top bit set
     */
    static uint32_t SS2Int32(const uint8_t *cpBytes, uint64_t uCount);

protected:
    // Copying is for subclasses that are cursors and nothing else; a frame or tag is never sliced.
    clID3base(const clID3base &) = default;
    clID3base &operator=(const clID3base &) = default;

    uint8_t ReadByte();
    uint16_t ReadWord();
    uint32_t ReadWord24();
    uint32_t ReadDWord();

    /** Synchsafe integers of 3, 4 and 5 bytes. @throws clXID3tag also as SS2Int32 */
    uint32_t ReadSS3();
    uint32_t ReadSS4();
    uint32_t ReadSS5();

    /** Copies bytes; a count of 0 always succeeds and needs no destination. */
    void ReadBytes(void *pTarget, uint64_t uCount);

    /**
     * Reads text up to and including its terminator, or to the end of the bytes when there is none.
     *
     * With UTF-16 a single odd byte at the end is left unread, and the first byte of the text is
     * taken as zero before it is converted, whatever it was; both are deliberate.
     *
     * @param uEncoding 0: ISO 8859-1; 1 and 2: UTF-16; any other: taken as it is
     * @return the bytes consumed, the terminator included
     * @throws clXID3tag when nothing remains; std::runtime_error when memory is short
     */
    uint64_t ReadString(clString &strTarget, uint8_t uEncoding);

    uint64_t uRemaining = 0;
    const uint8_t *cpCursor = nullptr;

private:
    void Require(uint64_t uCount, const char *cpFailure) const;
    void Advance(uint64_t uCount) noexcept;
    uint32_t ReadInt(uint64_t uCount, const char *cpFailure);
    uint32_t ReadSS(uint64_t uCount, const char *cpFailure);
};
