#pragma once

#include "base/clAlloc.h"
#include "decode/clSignalSource.h"
#include "dsd/clDSD.h"
#include "id3/clID3tag.h"
#include "io/clFileIO.h"

#include <memory>

/**
 * Reads DSF files from a stream, or creates one.
 *
 * The file is a sequence of block groups: GetBlockSize() bytes of the first channel, then of the
 * second, and so on. Raw reads and writes move whole groups, GetBlockSize() * GetChannels() bytes;
 * the last group of a file is filled up, and the sample count says how much of it is sound.
 * docs/formats.md draws it.
 *
 * A file is written by Create, any number of WriteRaw, WriteMeta if there is a tag, SetLength and
 * Close, in this order. Closed without SetLength it keeps the provisional header of Create: no
 * samples, file size 0, so that nothing takes it for a finished file.
 *
 * An object is closed, open for reading or open for writing; an operation of another state throws
 * clXDSF.
 */
class clDSF : public clDSD, private clSignalSource
{
public:
    clDSF();
    ~clDSF() noexcept(false) override;

    /** @throws clXDSF also for a tag that does not parse: a DSF file with such a tag cannot be
     * opened, and OpenMeta refuses it too */
    void Open(clStreamReader *pStreamReader, uint64_t uLargestRead = 0, uint32_t uWorkers = 0,
              bool bDoubleAmplitude = false, bool bWithoutDelay = false,
              bool bScalarKernels = false) override;
    void OpenMeta(clStreamReader *pStreamReader) override;
    /** @throws clXDSF also when a written file could not be closed properly; it is closed all the
     * same */
    void Close() override;

    /**
     * Decoded samples, late by GetDelay() unless bWithoutDelay of Open takes that out. Where the
     * stream ends inside a group, the whole samples that are there.
     *
     * @param uSize a multiple of GetBlockSamples() * GetChannels()
     * @throws clXDSF for any other uSize, for more than six channels and after OpenMeta;
     * std::runtime_error behind the sample count; what the stream throws, and reading goes on
     * behind that as after a seek
     */
    uint64_t Read(double *pBuffer, uint64_t uSize) override;
    /** As Read; places of the frame that no channel fills keep what pBuffer held. */
    uint64_t Read_5_1(double *pBuffer, uint64_t uSize) override;

    /**
     * Raw bytes, interleaved, the earliest sample in the highest bit.
     *
     * @param uSize bytes, a multiple of GetBlockSize() * GetChannels(); pBuffer receives whole
     * groups
     * @return bytes of them that are sound
     * @throws clXDSF for any other uSize, and where the stream ends inside a group;
     * std::runtime_error behind the sample count
     */
    uint64_t ReadRaw(void *pBuffer, uint64_t uSize) override;

    /**
     * @param uSize bytes of six-byte frames; all of them are written
     * @throws clXDSF as ReadRaw, for an unknown channel type, and for more channels than the type
     * has places; fewer fill the first of them
     */
    uint64_t ReadRaw_5_1(void *pBuffer, uint64_t uSize) override;

    uint32_t GetBlockSamples() const override;
    uint32_t GetBlockSize() const override;
    uint32_t GetSampleRate() const override;
    uint32_t GetOutputRate() const override;
    uint32_t GetChannels() const override;
    uint64_t GetOutputSize() const override;
    uint64_t GetOutputLength() const override;

    /**
     * @param uSamples a multiple of GetBlockSamples() * GetChannels(): the start of a group of
     * blocks, the only place from which reads deliver sound
     * @return the new position in one-bit samples per channel
     */
    uint64_t SeekSample(uint64_t uSamples) override;
    /**
     * @param uFrame a multiple of GetBlockSamples(). Multiples of a sixteenth of that are accepted
     * too, but are positions inside a group: reads from there mix the channels
     * @return the new position in bytes per channel
     */
    uint64_t SeekFrame(uint64_t uFrame) override;

    /** Bytes of sound data read or written so far, all channels. */
    uint64_t GetPosition() const override;
    /** Bytes that hold sound, without the filling of the last group. */
    uint64_t GetDataSize() const override;
    uint64_t GetLength() const override;
    /** Stays after Close, until the next file is opened. */
    const clID3tag *GetTag() const override;

    /** Creates the file, or truncates it, and writes a provisional header. */
    virtual void Create(const char *cpPath, uint32_t uSampleRate, uint32_t uChannels);

    /**
     * Completes the headers. To be called last, and once: sound data written afterwards would
     * overwrite the first, and a second call would announce a file without sound data.
     * @param uSamples one-bit samples per channel
     */
    virtual void SetLength(uint64_t uSamples);

    /**
     * Appends whole block groups.
     *
     * @param pSrc  one block per channel, channel 0 first; earliest sample in the highest bit
     * @param uSize bytes, a multiple of GetBlockSize() * GetChannels()
     * @return uSize
     * @throws clXDSF when uSize is no such multiple; clXFileIO when the file refuses the bytes
     */
    virtual uint64_t WriteRaw(const void *pSrc, uint64_t uSize);

    /**
     * Appends frames as a DSDIFF file holds them, in one pass. The last group is filled up with
     * zeros, so only the last call may bring no whole groups.
     *
     * @param pSrc        uFrames * GetChannels() bytes, one of each channel in turn; earliest
     *                    sample in the highest bit
     * @param upPositions one channel of this file per channel of pSrc, all different
     * @return bytes written
     * @throws as WriteRaw, and clXDSF for more than six channels
     */
    uint64_t WriteFrames(const void *pSrc, uint64_t uFrames, const uint32_t *upPositions);

    /**
     * Appends an ID3v2 tag as it is and notes its place. Between the last WriteRaw and SetLength.
     * @return uSize
     */
    virtual uint64_t WriteMeta(const void *pBytes, uint64_t uSize);

    // Fields of the header that the next WriteHeaders writes; Create sets the first two.
    virtual void SetSampleRate(uint32_t uSampleRate);
    virtual void SetChannels(uint32_t uChannels);
    /** The channel type of the DSF format; 0 chooses it by the channel count. */
    virtual void SetChannelType(uint32_t uChannelType);

    /** Reads and checks the headers of the open stream, then the tag behind the data. */
    void ReadHeaders();

    /** Writes the headers at the start of the file; the file then stands behind them. */
    void WriteHeaders();

    /**
     * Turns block groups into interleaved bytes.
     * @param uSize bytes, a multiple of GetBlockSize() * GetChannels()
     */
    void RearrangeData(void *pDest, const void *pSrc, uint64_t uSize) const;

    /**
     * Turns blocks into samples of +1 and -1 (doubled with the amplitude switch), eight a byte.
     *
     * @param ppDest one destination per channel, each with room for eight samples a byte of its
     * blocks
     * @param pSrc   blocks, one of each channel in turn, in the bit order of the file
     * @param uSize  bytes, a multiple of GetBlockSize()
     */
    void ConvertData(double *const *ppDest, const void *pSrc, uint64_t uSize) const;

private:
    void TakeBackLength() noexcept;
    void Reset() noexcept;
    void OpenStream(clStreamReader *pStreamReader);
    void ReadTag(uint64_t uFileSize);
    uint64_t DecodeFrames(double *pBuffer, uint64_t uFrames, const frame_layout_t &layout,
                          const char *cpNotOpened);
    next_t GetNext() const override;
    uint64_t Fetch(uint8_t *pDest, uint64_t uBytes) override;
    void CheckReading(const char *cpMessage) const;
    void CheckWriting(const char *cpMessage) const;
    uint8_t *WorkBuffer(uint64_t uSize);
    uint64_t WriteGroups(const uint8_t *pGroups, uint64_t uSize);
    void Rearrange(void *pDest, const void *pSrc, uint64_t uSize, bool bReverse) const;
    uint64_t GetGroupSize() const noexcept;
    uint64_t GetDataCapacity() const noexcept;
    uint64_t SeekBytes(uint64_t uBytes, const char *cpMessage);
    uint32_t GetChannelType() const noexcept;

    /** One-bit samples per channel. */
    uint64_t uSamplePos = 0;
    bool bMsbFirst = true;
    uint64_t uDataStart = 0;
    uint64_t uDataPos = 0;

    // The chunks as they stand in the file.
    static constexpr size_t DSD_CHUNK_SIZE = 28;
    static constexpr size_t FMT_CHUNK_SIZE = 52;
    static constexpr size_t DATA_HEADER_SIZE = 12;
    uint8_t aDsdChunk[DSD_CHUNK_SIZE] = {};
    uint8_t aFmtChunk[FMT_CHUNK_SIZE] = {};
    uint8_t aDataHeader[DATA_HEADER_SIZE] = {};

    std::unique_ptr<clStreamReader> pStream;
    clAlloc allocMeta;
    clAlignedAlloc allocRaw;
    clAlignedAlloc allocRaw51;
    clFileIO fileOutput;
    clID3tag tag;
};
