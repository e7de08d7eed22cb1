#pragma once

#include "id3/clID3tag.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class clStreamReader;

// The chunks of a DSDIFF file that the reader needs; docs/formats.md draws them. The chunk classes
// read strictly forward. In a chunk that the end of the stream cuts off, missing bytes count as 0;
// a missing chunk header ends a walk.

/**
 * A chunk's header: id and size.
 *
 * The destructor may throw because that of the tag does.
 */
class clDSDIFFChunk
{
public:
    /** Bytes of a chunk header: id, then size. */
    static constexpr size_t HEADER_SIZE = 12;

    clDSDIFFChunk() noexcept = default;
    clDSDIFFChunk(const clDSDIFFChunk &) = delete;
    clDSDIFFChunk &operator=(const clDSDIFFChunk &) = delete;
    virtual ~clDSDIFFChunk() noexcept(false);

    /** Sets id and size from a header of HEADER_SIZE bytes. */
    void SetHeader(const uint8_t *cpHeader) noexcept;

    /** Four characters, padded with blanks. */
    char aId[4] = {};
    /** Bytes of data, without header and pad byte. */
    uint64_t uSize = 0;
    /** The id as a number, its first character in the highest byte. */
    uint32_t uId = 0;
};

/** "FVER": the version of the format. */
class clDSDIFFVersChunk : public clDSDIFFChunk
{
public:
    /**
     * Reads the data that follows the header.
     * @return bytes consumed, pad byte not included
     * @throws clXDSDIFF
     */
    uint64_t Read(clStreamReader *pStream);

    uint32_t uVersion = 0;
};

/** "PROP": what the sound data is, in sub-chunks of any order. */
class clDSDIFFPropChunk : public clDSDIFFChunk
{
public:
    /** "CHNL": the channels in the order of the sound data. */
    struct channels_t {
        uint16_t channels = 0;
        /** The ids as numbers, one per channel. */
        std::vector<uint32_t> auIds;
    };

    /** "ABSS": where the sound starts. */
    struct start_t {
        uint16_t uHours = 0;
        uint8_t uMinutes = 0;
        uint8_t uSeconds = 0;
        uint32_t uSamples = 0;
    };

    /** "LSCO": an unknown set-up; also without the sub-chunk. */
    static constexpr uint16_t SPEAKERS_UNDEFINED = 65535;

    /** The number of plain sound data. */
    static constexpr uint32_t UNCOMPRESSED = 0;

    /**
     * Forgets what was read before and reads the data that follows the header.
     * @return bytes consumed, pad byte not included
     * @throws clXDSDIFF
     */
    uint64_t Read(clStreamReader *pStream);

    /** Forgets all fields but the header. */
    void Clear();

    /** UNCOMPRESSED, or 1 for DST. @throws clXDSDIFF for anything else, and without "CMPR" */
    uint32_t GetCompression() const;

    /** Whether the sound can be read. @throws as GetCompression */
    bool IsReadable() const;

    /** The name of the loudspeaker set-up of "LSCO". @throws clXDSDIFF for a value without a name
     */
    const char *GetSpeakerConfig() const;

    /**
     * The place of a channel in the delivered data. The places of all channels are a permutation:
     * if two ids claim one place, every channel keeps its index.
     * @throws clXDSDIFF for an index at or above the channel count
     */
    uint32_t GetChannelId(uint32_t uChIdx) const;

    /** Whether the place of every channel is its index. */
    bool IsInOrder() const noexcept { return bInOrder; }

    /** Whether two ids claim one place. */
    bool HasChannelConflict() const noexcept { return bConflict; }

    /** One place per channel, as GetChannelId; valid until the next Read or Clear. */
    const uint32_t *GetChannelPlaces() const noexcept { return auPlaces.data(); }

    /** One place in the 5.1 frame per channel; 6 or more: none. Valid until the next Read or Clear.
     */
    const uint32_t *GetSpeakerCodes() const noexcept { return auSpeakerCodes.data(); }

    /** Property type, "SND ". */
    char aType[4] = {};
    /** In Hz; 0 without "FS  ". */
    uint32_t uSampleRate = 0;
    channels_t sChannels;
    /** "DSD " or "DST ", zeros without "CMPR". */
    char aCompression[4] = {};
    uint8_t uNameLength = 0;
    std::string strCompressionName;
    start_t sStart;
    uint16_t uSpeakers = SPEAKERS_UNDEFINED;

private:
    uint64_t ReadSubChunk(clStreamReader &stream, const clDSDIFFChunk &header);
    uint64_t ReadChannels(clStreamReader &stream, const clDSDIFFChunk &header);
    uint64_t ReadCompression(clStreamReader &stream, const clDSDIFFChunk &header);
    void MapChannelIds();

    std::vector<uint32_t> auPlaces;
    std::vector<uint32_t> auSpeakerCodes;
    bool bConflict = false;
    bool bInOrder = true;
};

/** "DSD ": the sound data, read from the stream. */
class clDSDIFFDataChunk : public clDSDIFFChunk
{
public:
    /**
     * Takes the position of the stream as the start of the data, and skips the data unless the
     * stream is remote. A remote stream may announce any size, since one without an end announces
     * the largest; reads then end with the stream.
     *
     * @param pStreamReader borrowed: must outlive this object or Detach
     * @return bytes skipped
     * @throws clXDSDIFF when the data ends past the range of file positions
     */
    uint64_t Attach(clStreamReader *pStreamReader);

    /** Forgets the stream. */
    void Detach() noexcept;

    /**
     * Reads once from the stream, never past the end of the data.
     * @return bytes read, which may be short; 0 at the end
     * @throws clXDSDIFF without a stream
     */
    uint64_t ReadRaw(void *pBuffer, uint64_t uBytes);

    /** Reads until the buffer is full or the data ends. @return bytes read @throws as ReadRaw */
    uint64_t ReadFully(void *pBuffer, uint64_t uBytes);

    /** @throws clXDSDIFF without a stream */
    void CheckReadRaw() const;

    /** Whether the stream had uBytes more bytes of the data when it was attached; false when
     * unknown. */
    bool Holds(uint64_t uBytes) const noexcept
    {
        return uReadPos <= uPresent && uBytes <= uPresent - uReadPos;
    }

    /** @throws clXDSDIFF when uBits one-bit samples over all channels cannot be decoded */
    void CheckRead(uint64_t uBits, uint32_t uChannels) const;

    /** Seeks to a position in one-bit samples over all channels; nothing happens without a stream.
     * @throws clXDSDIFF for a position inside a byte or past the end of the data */
    void Seek(uint64_t uBits);

    /** Bytes of the data before the next read. */
    uint64_t GetReadPos() const noexcept { return uReadPos; }

private:
    clStreamReader *pStream = nullptr;
    uint64_t uReadPos = 0;
    uint64_t uDataStart = 0;
    uint64_t uPresent = 0;
};

/** "FRM8": the whole file. */
class clDSDIFFFormChunk : public clDSDIFFChunk
{
public:
    /**
     * Forgets what was read before and walks through the file to its end, or to the sound data on a
     * remote stream. A tag that cannot be parsed is left out.
     * @param pStream borrowed by chunkData
     * @throws clXDSDIFF, also for what the stream throws
     */
    void Read(clStreamReader *pStream);

    /** Form type, "DSD ". */
    char aType[4] = {};
    clDSDIFFVersChunk chunkVersion;
    clDSDIFFPropChunk chunkProperty;
    clDSDIFFDataChunk chunkData;
    clID3tag tag;

private:
    void Walk(clStreamReader *pStream);
    uint64_t ReadTagChunk(clStreamReader &stream, const clDSDIFFChunk &header);
    void ReadTrailingTag(clStreamReader &stream);
    void ParseTag(const void *pBytes, uint64_t uBytes);
};
