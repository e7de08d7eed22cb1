#pragma once

#include "id3/clID3tag.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class clStreamReader;

// The chunks of a DSDIFF file, as far as the reader looks at them; drawn in docs/formats.md.
// Numbers are kept with the highest byte first. The chunk classes read strictly forward; a chunk
// that the stream ends in keeps zeros where bytes are missing, and a chunk header that is not there
// ends a walk.

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

    /** Takes over a header of HEADER_SIZE bytes. */
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
    /** "CHNL": the channels as they stand in the sound data. */
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

    /** "LSCO": the value that stands for an unknown set-up; also without the sub-chunk. */
    static constexpr uint16_t SPEAKERS_UNDEFINED = 65535;

    /**
     * Forgets what was read before and reads the data that follows the header.
     * @return bytes consumed, pad byte not included
     * @throws clXDSDIFF
     */
    uint64_t Read(clStreamReader *pStream);

    /** Forgets all fields but the header. */
    void Clear();

    /** 0 for plain sound data, 1 for DST. @throws clXDSDIFF for anything else, "CMPR" missing
     * included */
    uint32_t GetCompression() const;

    /** The name of the loudspeaker set-up of "LSCO". @throws clXDSDIFF for a value without a name
     */
    const char *GetSpeakerConfig() const;

    /**
     * The place that a channel takes in the delivered data. The places of all channels are always a
     * permutation: where the ids would send two channels to one place, every channel keeps its
     * index.
     * @throws clXDSDIFF for an index at or above the channel count
     */
    uint32_t GetChannelId(uint32_t uChIdx) const;

    /** Whether every channel keeps its index, so that nothing needs to be moved. */
    bool IsInOrder() const noexcept { return bInOrder; }

    /** Whether the ids sent two channels to one place. */
    bool HasChannelConflict() const noexcept { return bConflict; }

    /** One place per channel, as GetChannelId. */
    const uint32_t *GetPositions() const noexcept { return auPositions.data(); }

    /** One place in the 5.1 frame per channel; 6 and more for channels without one there. */
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

    std::vector<uint32_t> auPositions;
    std::vector<uint32_t> auSpeakerCodes;
    bool bConflict = false;
    bool bInOrder = true;
};

/** "DSD ": the sound data, read from the stream it stands in. */
class clDSDIFFDataChunk : public clDSDIFFChunk
{
public:
    /**
     * Takes the stream's position as the start of the data. The stream is borrowed: Detach must
     * come before it goes. On a remote stream any size is taken, since one that has no end yet
     * announces the largest; reads then go on to the end of the stream.
     * @return bytes consumed: all of the data, which is skipped, or none on a remote stream
     */
    uint64_t Attach(clStreamReader *pStreamReader);

    /** Lets go of the stream. */
    void Detach() noexcept;

    /**
     * One read from the stream, never past the end of the data.
     * @return bytes read, which may be short; 0 at the end
     * @throws clXDSDIFF without a stream
     */
    uint64_t ReadRaw(void *pBuffer, uint64_t uBytes);

    /** @throws clXDSDIFF without a stream */
    void CheckReadRaw() const;

    /** Whether so many bytes more were in the stream when it was attached; false when that is not
     * known. */
    bool Holds(uint64_t uBytes) const noexcept
    {
        return uReadPos <= uPresent && uBytes <= uPresent - uReadPos;
    }

    /** @throws clXDSDIFF when decoding uBits one-bit samples over all channels is not possible here
     */
    void CheckRead(uint64_t uBits, uint32_t uChannels) const;

    /** Moves to a position counted in one-bit samples over all channels; nothing happens without a
     * stream. */
    void Seek(uint64_t uBits);

    /** Bytes of the data in front of the next read. */
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
     * Forgets what was read before and walks the file up to its end, or to the sound data on a
     * remote stream. A tag that cannot be parsed is left out.
     * @throws clXDSDIFF
     */
    void Read(clStreamReader *pStream);

    /** Form type, "DSD ". */
    char aType[4] = {};
    clDSDIFFVersChunk chunkVersion;
    clDSDIFFPropChunk chunkProperty;
    clDSDIFFDataChunk chunkData;
    clID3tag tag;
    /** As clDSDIFF::SetWalkToEnd; Read leaves it as it is. */
    bool bWalkToEnd = false;

private:
    void Walk(clStreamReader *pStream);
    uint64_t ReadTagChunk(clStreamReader &stream, const clDSDIFFChunk &header);
    void ReadTrailingTag(clStreamReader &stream);
    void ParseTag(const void *pBytes, uint64_t uBytes);
};
