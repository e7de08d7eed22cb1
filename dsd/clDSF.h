#pragma once

#include "base/Export.h"
#include "base/clAlloc.h"
#include "decode/clSignalSource.h"
#include "dsd/clDSD.h"
#include "id3/clID3tag.h"
#include "io/clFileIO.h"

/**
 * Reads DSF files from a stream, or creates one.
 *
 * The file is a sequence of block groups (docs/formats.md): GetBlockSize() bytes of the first
 * channel, then of the second, and so on. Raw reads and writes move whole groups; the last group is
 * padded, and the sample count says how much of it is sound.
 *
 * A file is written by Create, any number of WriteRaw, WriteMeta if there is a tag, SetLength and
 * Close, in this order. Closed without SetLength it keeps the provisional header of Create (no
 * samples, file size 0), which no reader takes for a finished file. An object is closed, open for
 * reading or open for writing; operations of the other states throw clXDSF.
 */
class VANTREL_API clDSF : public clDSD, private clSignalSource
{
public:
    clDSF();
    ~clDSF() noexcept(false) override;

    /** As clDSD::Open. @throws clXDSF also for a tag that does not parse; OpenMeta refuses it too
     */
    void Open(clStreamReader *pStreamReader, uint64_t uLargestRead = 0, uint32_t uWorkers = 0,
              bool bDoubleAmplitude = false, bool bWithoutDelay = false,
              bool bScalarKernels = false) override;
    void OpenMeta(clStreamReader *pStreamReader) override;
    /** As clDSD::Close. @throws clXDSF when the system reports a failed write; the file is closed
     * all the same */
    void Close() override;

    /** Reads decoded samples. If the stream ends inside a group, the whole samples before the end.
     * @param uSize a multiple of GetBlockSamples() * GetChannels()
     * @throws clXDSF for any other uSize, for more than six channels and after OpenMeta;
     * std::runtime_error when the position is already past the sample count; what the stream
     * throws, and the next read starts from silence */
    uint64_t Read(double *pBuffer, uint64_t uSize) override;
    /** As Read; places without a channel keep the content of pBuffer. */
    uint64_t Read_5_1(double *pBuffer, uint64_t uSize) override;

    /** Reads raw bytes, interleaved, the earliest sample in the highest bit.
     * @param uSize bytes, a multiple of GetBlockSize() * GetChannels(); pBuffer receives whole
     * groups
     * @return bytes of them that are sound
     * @throws clXDSF for any other uSize, and where the stream ends inside a group;
     * std::runtime_error when the position is already past the sample count */
    uint64_t ReadRaw(void *pBuffer, uint64_t uSize) override;

    /** As ReadRaw. uSize is bytes of six-byte frames, all written. @throws clXDSF also for an
     * unknown channel type, and for more channels than it has; fewer take its first places */
    uint64_t ReadRaw_5_1(void *pBuffer, uint64_t uSize) override;

    uint32_t GetBlockSamples() const override;
    uint32_t GetBlockSize() const override;
    uint32_t GetSampleRate() const override;
    uint32_t GetOutputRate() const override;
    uint32_t GetChannels() const override;
    uint64_t GetOutputSize() const override;
    uint64_t GetOutputLength() const override;

    /** As clDSD::SeekSample.
     * @param uSamples a multiple of GetBlockSamples() * GetChannels(): the start of a block group
     * @return the new position in one-bit samples per channel */
    uint64_t SeekSample(uint64_t uSamples) override;
    /** As clDSD::SeekFrame.
     * @param uFrame a multiple of GetBlockSamples(). Multiples of a sixteenth of that are
     * accepted, but are inside a group: later reads then confuse the channels
     * @return the new position in bytes per channel */
    uint64_t SeekFrame(uint64_t uFrame) override;

    /** Position in the sound data and its padding, in bytes over all channels. */
    uint64_t GetPosition() const override;
    /** Bytes of sound, without the padding of the last group. */
    uint64_t GetDataSize() const override;
    uint64_t GetLength() const override;
    /** Valid until the next file is opened, also after Close. */
    const clID3tag *GetTag() const override;

    /** Creates or truncates the file and writes a provisional header. */
    virtual void Create(const char *cpPath, uint32_t uSampleRate, uint32_t uChannels);

    /** Completes the headers; uSamples is per channel. To be called last and only once: later sound
     * data would overwrite the first, and a second call would announce a file without sound
     * data. */
    virtual void SetLength(uint64_t uSamples);

    /** Appends whole block groups.
     * @param pSrc one block per channel, channel 0 first; earliest sample in the highest bit
     * @param uSize bytes, a multiple of GetBlockSize() * GetChannels()
     * @return uSize
     * @throws clXDSF when uSize is no such multiple; clXFileIO when the file refuses the bytes */
    virtual uint64_t WriteRaw(const void *pSrc, uint64_t uSize);

    /** Appends uFrames interleaved bytes per channel, the earliest sample in the highest bit. The
     * last group is padded with zeros, so only the last call may end in an incomplete group.
     * @param upPlaces one channel of this file per channel of pSrc, all different
     * @return bytes written
     * @throws clXDSF for more than six channels; otherwise as WriteRaw */
    uint64_t WriteFrames(const void *pSrc, uint64_t uFrames, const uint32_t *upPlaces);

    /** Appends an ID3v2 tag unchanged and notes its position; between the last WriteRaw and
     * SetLength. @return uSize */
    virtual uint64_t WriteMeta(const void *pBytes, uint64_t uSize);

    // Fields of the headers, for the next WriteHeaders; Create sets the first two.
    virtual void SetSampleRate(uint32_t uSampleRate); ///< in Hz; 0 counts as 2822400
    virtual void SetChannels(uint32_t uChannels);     ///< 0 counts as 2
    /** The channel type of the DSF format; 0 chooses it by the channel count. */
    virtual void SetChannelType(uint32_t uChannelType);

    /** Reads and checks the headers of the open stream, and the tag after the data. */
    void ReadHeaders();

    /** Writes the headers at the start of the file, and stays at their end. */
    void WriteHeaders();

    /** Turns block groups into interleaved bytes. uSize is a multiple of GetBlockSize() *
     * GetChannels(). */
    void RearrangeData(void *pDest, const void *pSrc, uint64_t uSize) const;

    /** Turns uSize bytes of blocks, one of each channel in turn, in the bit order of the file, into
     * samples of +1 and -1, doubled with the amplitude switch. uSize is a multiple of
     * GetBlockSize(); ppDest has one destination per channel, with room for eight samples a
     * byte. */
    void ConvertData(double *const *ppDest, const void *pSrc, uint64_t uSize) const;

private:
    void ClearSampleCount() noexcept;
    void Reset() noexcept;
    void OpenStream(clStreamReader *pStreamReader);
    void ReadTag(uint64_t uFileSize);
    uint64_t DecodeFrames(double *pBuffer, uint64_t uFrames, const frame_layout_t &layout,
                          const char *cpNotOpened);
    next_t GetNext() const override;
    uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) override;
    void CheckReading(const char *cpMessage) const;
    void CheckWriting(const char *cpMessage) const;
    uint8_t *GetWriteBuffer(uint64_t uSize);
    uint64_t WriteGroups(const uint8_t *pGroups, uint64_t uSize);
    void Rearrange(void *pDest, const void *pSrc, uint64_t uSize, bool bReverse) const;
    uint64_t GetGroupSize() const noexcept;
    uint64_t GetDataCapacity() const noexcept;
    uint64_t SeekBytes(uint64_t uBytes, const char *cpMessage);
    uint32_t GetChannelType() const noexcept;

    uint64_t uSamplePos = 0; ///< one-bit samples per channel
    bool bMsbFirst = true;
    uint64_t uDataStart = 0;
    uint64_t uDataPos = 0;

    // The chunks in the layout of the file.
    static constexpr size_t DSD_CHUNK_SIZE = 28;
    static constexpr size_t FMT_CHUNK_SIZE = 52;
    static constexpr size_t DATA_HEADER_SIZE = 12;
    uint8_t aDsdChunk[DSD_CHUNK_SIZE] = {};
    uint8_t aFmtChunk[FMT_CHUNK_SIZE] = {};
    uint8_t aDataHeader[DATA_HEADER_SIZE] = {};

    clAlloc allocMeta;
    clAlignedAlloc allocRaw;
    clAlignedAlloc allocRaw51;
    clFileIO fileOutput;
    clID3tag tag;
};
