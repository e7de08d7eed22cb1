#pragma once

#include "base/Export.h"
#include "dsd/Findings.h"
#include "id3/clID3tag.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class clDSTSound;
class clStreamReader;

// The chunks of a DSDIFF file that the reader needs; docs/formats.md draws them. They are read
// strictly forward. Where the stream ends inside a chunk, missing bytes count as 0.

/** A chunk's header. The destructor may throw because that of the tag does. */
class VANTREL_API clDSDIFFChunk
{
public:
    static constexpr size_t HEADER_SIZE = 12; ///< id, then size

    clDSDIFFChunk() noexcept = default;
    clDSDIFFChunk(const clDSDIFFChunk &) = delete;
    clDSDIFFChunk &operator=(const clDSDIFFChunk &) = delete;
    virtual ~clDSDIFFChunk() noexcept(false);

    void SetHeader(const uint8_t *cpHeader) noexcept; ///< takes HEADER_SIZE bytes of a file

    char aId[4] = {};   ///< padded with blanks
    uint64_t uSize = 0; ///< bytes of data, without header and pad byte
    uint32_t uId = 0;   ///< aId as a number, the first character in the highest byte
};

/** "FVER": the version of the format. */
class VANTREL_API clDSDIFFVersChunk : public clDSDIFFChunk
{
public:
    /** Reads the data after the header.
     * @return bytes consumed, without the pad byte
     * @throws clXDSDIFF */
    uint64_t Read(clStreamReader *pStream);

    uint32_t uVersion = 0; ///< one byte for each of its four numbers
};

/** "PROP": properties of the sound data, in sub-chunks of any order. */
class VANTREL_API clDSDIFFPropChunk : public clDSDIFFChunk
{
public:
    /** "CHNL": the channels in the order of the sound data. */
    struct channels_t {
        uint16_t channels = 0;       ///< the number of channels
        std::vector<uint32_t> auIds; ///< one per channel
    };

    /** "ABSS": where the sound starts. */
    struct start_t {
        uint16_t uHours = 0;   ///< 0 to 23
        uint8_t uMinutes = 0;  ///< 0 to 59
        uint8_t uSeconds = 0;  ///< 0 to 59
        uint32_t uSamples = 0; ///< one-bit samples of one channel
    };

    /** "LSCO": an unknown set-up; also without the sub-chunk. */
    static constexpr uint16_t SPEAKERS_UNDEFINED = 65535;

    // What GetCompression returns.
    static constexpr uint32_t UNCOMPRESSED = 0; ///< plain sound
    static constexpr uint32_t DST = 1;          ///< compressed sound

    /** As clDSDIFFVersChunk::Read; first forgets what was read before. */
    uint64_t Read(clStreamReader *pStream);

    void Clear(); ///< forgets all fields but the header

    /** UNCOMPRESSED or DST. @throws clXDSDIFF for anything else, and without "CMPR" */
    uint32_t GetCompression() const;

    /** Whether the sound can be read without decompression. @throws clXDSDIFF as GetCompression */
    bool IsReadable() const;

    /** The loudspeaker set-up of "LSCO". @throws clXDSDIFF for a value without a name */
    const char *GetSpeakerConfig() const;

    /** The place of a channel in the delivered data. All places are different: if two ids claim
     * one, every channel keeps its index.
     * @throws clXDSDIFF for an index at or above the channel count */
    uint32_t GetChannelId(uint32_t uChIdx) const;

    /** Whether the place of every channel is its index. */
    bool IsInOrder() const noexcept { return bInOrder; }

    /** Whether two ids claim one place. */
    bool HasChannelConflict() const noexcept { return bConflict; }

    /** One place per channel, as GetChannelId; valid until the next Read or Clear. */
    const uint32_t *GetChannelPlaces() const noexcept { return auPlaces.data(); }

    /** One place in the 5.1 frame per channel; 6 or more: none. Valid until the next Read or
     * Clear. */
    const uint32_t *GetSpeakerCodes() const noexcept { return auSpeakerCodes.data(); }

    char aType[4] = {};                      ///< "SND "
    uint32_t uSampleRate = 0;                ///< in Hz; 0 without "FS  "
    channels_t sChannels;                    ///< "CHNL"
    char aCompression[4] = {};               ///< "DSD " or "DST "; zeros without "CMPR"
    uint8_t uNameLength = 0;                 ///< characters of strCompressionName in the file
    std::string strCompressionName;          ///< "CMPR": a text for people, up to a zero byte
    start_t sStart;                          ///< "ABSS"
    uint16_t uSpeakers = SPEAKERS_UNDEFINED; ///< "LSCO"

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

/** "DSD ": the sound data, read from the stream. Or the sound of a "DST " chunk, decompressed. */
class VANTREL_API clDSDIFFDataChunk : public clDSDIFFChunk
{
public:
    clDSDIFFDataChunk();
    ~clDSDIFFDataChunk() noexcept(false) override;

    /** Takes the stream's position as the start of the data and skips the data, except on a remote
     * stream: its size may be wrong, and reads end with the stream.
     * @param pStreamReader borrowed: must outlive this object or Detach
     * @return bytes skipped
     * @throws clXDSDIFF when the data ends past the range of file positions */
    uint64_t Attach(clStreamReader *pStreamReader);

    /** Takes decompressed sound instead; reads then throw clXDSDIFF at a bad frame, too.
     * @param pStreamReader from which the sound reads; borrowed as above */
    void Attach(clStreamReader *pStreamReader, std::unique_ptr<clDSTSound> pDecompressed);

    void Detach() noexcept; ///< forgets the stream and the sound

    /** One read from the stream, never past the end of the data. @return bytes read, which may be
     * short; 0 at the end @throws clXDSDIFF without a stream */
    uint64_t ReadRaw(void *pBuffer, uint64_t uBytes);

    /** Reads until the buffer is full or the data ends. @return bytes read
     * @throws clXDSDIFF as ReadRaw */
    uint64_t ReadFully(void *pBuffer, uint64_t uBytes);

    /** Checks for ReadRaw. @throws clXDSDIFF without a stream */
    void CheckReadRaw() const;

    /** Whether the stream had uBytes more bytes of data when attached; false when unknown. */
    bool Holds(uint64_t uBytes) const noexcept
    {
        return uReadPos <= uPresent && uBytes <= uPresent - uReadPos;
    }

    /** Checks for a decoded read. @throws clXDSDIFF when uBits one-bit samples over all channels
     * cannot be decoded */
    void CheckRead(uint64_t uBits, uint32_t uChannels) const;

    /** Seeks to a position in one-bit samples over all channels; does nothing without a stream.
     * @throws clXDSDIFF for a position inside a byte or past the end of the data */
    void Seek(uint64_t uBits);

    /** In bytes, from the start of the data. */
    uint64_t GetReadPos() const noexcept { return uReadPos; }

private:
    clStreamReader *pStream = nullptr;
    uint64_t uReadPos = 0;
    uint64_t uDataStart = 0;
    uint64_t uPresent = 0;
    std::unique_ptr<clDSTSound> pSound; ///< null for plain sound
};

/** "FRM8": the whole file. */
class VANTREL_API clDSDIFFFormChunk : public clDSDIFFChunk
{
public:
    /** Forgets what was read before and walks through the file to its end, or to the sound data on
     * a remote stream. A tag that does not parse is left out. pStream is borrowed by chunkData.
     * @param bStopAtDST takes compressed sound on a remote stream for the sound data, too
     * @throws clXDSDIFF also for what the stream throws */
    void Read(clStreamReader *pStream, bool bStopAtDST = false);

    char aType[4] = {};              ///< "DSD "
    clDSDIFFVersChunk chunkVersion;  ///< the last "FVER"
    clDSDIFFPropChunk chunkProperty; ///< the last "PROP"
    clDSDIFFDataChunk chunkData;     ///< the last "DSD ", or decompressed sound
    clID3tag tag;                    ///< the last tag, in a chunk or after the form
    region_t dataDST;                ///< data of the last "DST " chunk, as far as the file has them
    region_t dataIndex;              ///< data of the last "DSTI" chunk, likewise

private:
    void Walk(clStreamReader *pStream, bool bStopAtDST);
    uint64_t ReadTagChunk(clStreamReader &stream, const clDSDIFFChunk &header);
    void ReadTrailingTag(clStreamReader &stream);
    void ParseTag(const void *pBytes, uint64_t uBytes);
};
