#include "dsd/clDSF.h"

#include "base/clException.h"
#include "decode/Signal.h"
#include "dsd/Bytes.h"
#include "dsd/ChannelPlaces.h"
#include "dsd/DSFLayout.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>

using namespace DSFLayout;

namespace
{

constexpr uint32_t FORMAT_VERSION = 1;
constexpr uint32_t FORMAT_RAW = 0;
constexpr uint32_t DEFAULT_BLOCK_SIZE = 4096;
constexpr uint32_t BITS_LSB_FIRST = 1;
constexpr uint32_t BITS_MSB_FIRST = 8;

void PutId(uint8_t *pChunk, const char *cpId, uint64_t uChunkSize)
{
    std::memcpy(pChunk, cpId, ID_SIZE);
    PutLE(pChunk + OFFSET_CHUNK_SIZE, uChunkSize);
}

void PutDefault(uint8_t *pField, uint32_t uDefault)
{
    if (GetLE<uint32_t>(pField) == 0) {
        PutLE(pField, uDefault);
    }
}

// The size is checked before the id, so a file of another format is reported by its size.
void CheckChunk(const uint8_t *cpChunk, bool bSize, const char *cpSizeText, const char *cpId,
                const char *cpIdText)
{
    if (!bSize) {
        throw clXDSF(cpSizeText);
    }
    if (std::memcmp(cpChunk, cpId, ID_SIZE) != 0) {
        throw clXDSF(cpIdText);
    }
}

} // namespace

clDSF::clDSF()
{
    Reset();
}

clDSF::~clDSF() noexcept(false)
{
    try {
        clDSF::Close();
    } catch (...) {
        // A caller that needs to know whether the file is complete calls Close.
    }
}

void clDSF::Open(clStreamReader *pStreamReader, uint64_t uLargestRead, uint32_t uWorkers,
                 bool bDoubleAmplitude, bool bWithoutDelay, bool bScalarKernels)
{
    try {
        OpenStream(pStreamReader);
        ConfigureHook(uLargestRead, uWorkers, bDoubleAmplitude, bWithoutDelay, bScalarKernels);
    } catch (const clException &caught) {
        WrapException<clXDSF>("clDSF::Open(): ", caught);
    }
}

void clDSF::OpenMeta(clStreamReader *pStreamReader)
{
    try {
        OpenStream(pStreamReader);
    } catch (const clException &caught) {
        WrapException<clXDSF>("clDSF::OpenMeta(): ", caught);
    }
}

void clDSF::Close()
{
    try {
        CloseHook();
        Reset();
        try {
            fileOutput.Close();
        } catch (...) {
            fileOutput.Detach();
            throw;
        }
        CloseStream();
    } catch (const clException &caught) {
        WrapException<clXDSF>("clDSF::Close(): ", caught);
    }
}

uint32_t clDSF::GetBlockSamples() const
{
    return static_cast<uint32_t>(uint64_t{GetBlockSize()} * 8 / GetDivisor());
}

uint32_t clDSF::GetBlockSize() const
{
    return GetLE<uint32_t>(aFmtChunk + OFFSET_BLOCK_SIZE);
}

uint32_t clDSF::GetSampleRate() const
{
    return GetLE<uint32_t>(aFmtChunk + OFFSET_SAMPLE_RATE);
}

uint32_t clDSF::GetOutputRate() const
{
    return GetSampleRate() / GetDivisor();
}

uint32_t clDSF::GetChannels() const
{
    return GetLE<uint32_t>(aFmtChunk + OFFSET_CHANNEL_NUM);
}

uint64_t clDSF::GetOutputSize() const
{
    return GetOutputLength() * GetChannels();
}

uint64_t clDSF::GetOutputLength() const
{
    return GetLength() / GetDivisor();
}

uint64_t clDSF::GetPosition() const
{
    return uDataPos;
}

uint64_t clDSF::GetDataSize() const
{
    return GetLength() / 8 * GetChannels();
}

uint64_t clDSF::GetLength() const
{
    return GetLE<uint64_t>(aFmtChunk + OFFSET_SAMPLE_COUNT);
}

const clID3tag *clDSF::GetTag() const
{
    return &tag;
}

void clDSF::Create(const char *cpPath, uint32_t uSampleRate, uint32_t uChannels)
{
    try {
        Close();
        fileOutput.Open(cpPath, clFileIO::ACCESS_WRITE,
                        clFileIO::OPEN_CREATE | clFileIO::OPEN_TRUNCATE);
        SetSampleRate(uSampleRate);
        SetChannels(uChannels);
        WriteHeaders();
        uSamplePos = 0;
    } catch (const clException &caught) {
        WrapException<clXDSF>("clDSF::Create(): ", caught);
    }
}

void clDSF::SetLength(uint64_t uSamples)
{
    CheckWriting("clDSF::SetLength(): not open for writing");
    PutLE(aFmtChunk + OFFSET_SAMPLE_COUNT, uSamples);
    try {
        WriteHeaders();
    } catch (...) {
        ClearSampleCount();
        throw;
    }
}

uint64_t clDSF::WriteMeta(const void *pBytes, uint64_t uSize)
{
    CheckWriting("clDSF::WriteMeta(): not open for writing");
    const off_t lOffset = fileOutput.Seek(clFileIO::SEEK_POINT_CURRENT, 0);
    PutLE(aDsdChunk + OFFSET_META_POINTER, static_cast<uint64_t>(lOffset));
    fileOutput.Write(pBytes, static_cast<size_t>(uSize));
    return uSize;
}

void clDSF::SetSampleRate(uint32_t uSampleRate)
{
    PutLE(aFmtChunk + OFFSET_SAMPLE_RATE, uSampleRate);
}

void clDSF::SetChannels(uint32_t uChannels)
{
    PutLE(aFmtChunk + OFFSET_CHANNEL_NUM, uChannels);
}

void clDSF::SetChannelType(uint32_t uChannelType)
{
    PutLE(aFmtChunk + OFFSET_CHANNEL_TYPE, uChannelType);
}

void clDSF::ReadHeaders()
{
    try {
        CheckReading("not open for reading");
        tag.Reset();
        const uint64_t uStreamSize =
            static_cast<uint64_t>(std::max<int64_t>(pStream->GetSize(), 0));

        pStream->ReadFully(aDsdChunk, sizeof(aDsdChunk));
        CheckChunk(aDsdChunk, GetLE<uint64_t>(aDsdChunk + OFFSET_CHUNK_SIZE) == DSD_CHUNK_SIZE,
                   "header chunk size mismatch", "DSD ", "id != 'DSD '");
        const uint64_t uFileSize = GetLE<uint64_t>(aDsdChunk + OFFSET_FILE_SIZE);
        if (uStreamSize != 0 && uStreamSize != uFileSize) {
            throw clXDSF("file size mismatch, incomplete file?");
        }

        pStream->ReadFully(aFmtChunk, sizeof(aFmtChunk));
        CheckChunk(aFmtChunk, GetLE<uint64_t>(aFmtChunk + OFFSET_CHUNK_SIZE) == FMT_CHUNK_SIZE,
                   "format chunk size mismatch", "fmt ", "id != 'fmt '");
        if (GetLE<uint32_t>(aFmtChunk + OFFSET_FORMAT_ID) != FORMAT_RAW) {
            throw clXDSF("unsupported data format");
        }
        bMsbFirst = GetLE<uint32_t>(aFmtChunk + OFFSET_BITS_PER_SAMPLE) == BITS_MSB_FIRST;

        pStream->ReadFully(aDataHeader, sizeof(aDataHeader));
        CheckChunk(aDataHeader, GetLE<uint64_t>(aDataHeader + OFFSET_CHUNK_SIZE) > DATA_HEADER_SIZE,
                   "data chunk size mismatch", "data", "id != 'data'");
        uDataStart = static_cast<uint64_t>(pStream->Tell());
        uDataPos = 0;

        if (pStream->IsSeekable()) {
            ReadTag(uFileSize);
        }
    } catch (const clException &caught) {
        WrapException<clXDSF>("clDSF::ReadHeaders(): ", caught);
    }
}

void clDSF::WriteHeaders()
{
    try {
        CheckWriting("not open for writing");
        fileOutput.Seek(clFileIO::SEEK_POINT_START, 0);

        PutId(aDsdChunk, "DSD ", DSD_CHUNK_SIZE);
        PutLE(aDsdChunk + OFFSET_FILE_SIZE, static_cast<uint64_t>(fileOutput.Size()));
        fileOutput.Write(aDsdChunk, sizeof(aDsdChunk));

        PutId(aFmtChunk, "fmt ", FMT_CHUNK_SIZE);
        PutLE(aFmtChunk + OFFSET_VERSION, FORMAT_VERSION);
        PutLE(aFmtChunk + OFFSET_FORMAT_ID, FORMAT_RAW);
        PutDefault(aFmtChunk + OFFSET_CHANNEL_TYPE, ChannelPlaces::GetTypeOfCount(GetChannels()));
        PutDefault(aFmtChunk + OFFSET_CHANNEL_NUM, 2);
        PutDefault(aFmtChunk + OFFSET_SAMPLE_RATE, Signal::DEFAULT_RATE);
        PutLE(aFmtChunk + OFFSET_BITS_PER_SAMPLE, BITS_LSB_FIRST);
        PutDefault(aFmtChunk + OFFSET_BLOCK_SIZE, DEFAULT_BLOCK_SIZE);
        fileOutput.Write(aFmtChunk, sizeof(aFmtChunk));

        const uint64_t uBlockSize = GetBlockSize();
        PutId(aDataHeader, "data",
              (uBlockSize - 1 + uDataPos) / uBlockSize * uBlockSize + DATA_HEADER_SIZE);
        fileOutput.Write(aDataHeader, sizeof(aDataHeader));

        uDataStart = static_cast<uint64_t>(fileOutput.Seek(clFileIO::SEEK_POINT_CURRENT, 0));
        uDataPos = 0;
    } catch (const clException &caught) {
        WrapException<clXDSF>("clDSF::WriteHeaders(): ", caught);
    }
}

// Partly written headers could pass for those of a finished file; without a sample count they
// cannot.
void clDSF::ClearSampleCount() noexcept
{
    PutLE(aFmtChunk + OFFSET_SAMPLE_COUNT, uint64_t{0});
    try {
        fileOutput.Seek(clFileIO::SEEK_POINT_START, DSD_CHUNK_SIZE);
        fileOutput.Write(aFmtChunk, sizeof(aFmtChunk));
    } catch (...) {
        // The exception in flight says more.
    }
}

// Forgets the file; tag, buffers and sample position stay.
void clDSF::Reset() noexcept
{
    bMsbFirst = true;
    uDataStart = 0;
    uDataPos = 0;
    std::fill(std::begin(aDsdChunk), std::end(aDsdChunk), uint8_t{0});
    std::fill(std::begin(aFmtChunk), std::end(aFmtChunk), uint8_t{0});
    std::fill(std::begin(aDataHeader), std::end(aDataHeader), uint8_t{0});
}

void clDSF::OpenStream(clStreamReader *pStreamReader)
{
    ReplaceStream(pStreamReader);
    ReadHeaders();
    uSamplePos = 0;
}

// The tag is between the end of the data chunk and the end of the file; the pointer of the header
// is not used, because many files have a wrong one.
void clDSF::ReadTag(uint64_t uFileSize)
{
    const uint64_t uCapacity = GetDataCapacity();
    if (uCapacity >= uFileSize || uDataStart >= uFileSize - uCapacity) {
        return;
    }
    const uint64_t uOffset = uDataStart + uCapacity;
    const uint64_t uLength = uFileSize - uOffset;
    if (uOffset > INT64_MAX) {
        throw clXDSF("file size out of range");
    }
    pStream->Seek(static_cast<off_t>(uOffset));
    const size_t sizeRead = pStream->ReadFully(allocMeta, uLength);
    if (sizeRead >= 3 && std::memcmp(allocMeta.GetPtr(), "ID3", 3) == 0) {
        tag.Parse(allocMeta.GetPtr(), sizeRead);
    }
    pStream->Seek(static_cast<off_t>(uDataStart));
}

void clDSF::CheckReading(const char *cpMessage) const
{
    if (!pStream) {
        throw clXDSF(cpMessage);
    }
}

void clDSF::CheckWriting(const char *cpMessage) const
{
    if (!fileOutput.IsOpen()) {
        throw clXDSF(cpMessage);
    }
}

uint64_t clDSF::GetGroupSize() const noexcept
{
    return uint64_t{GetLE<uint32_t>(aFmtChunk + OFFSET_BLOCK_SIZE)} *
           GetLE<uint32_t>(aFmtChunk + OFFSET_CHANNEL_NUM);
}

// Bytes of sound data that the data chunk announces.
uint64_t clDSF::GetDataCapacity() const noexcept
{
    const uint64_t uChunkSize = GetLE<uint64_t>(aDataHeader + OFFSET_CHUNK_SIZE);
    return uChunkSize > DATA_HEADER_SIZE ? uChunkSize - DATA_HEADER_SIZE : 0;
}

uint32_t clDSF::GetChannelType() const noexcept
{
    return GetLE<uint32_t>(aFmtChunk + OFFSET_CHANNEL_TYPE);
}
