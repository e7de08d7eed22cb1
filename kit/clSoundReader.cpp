#include "kit/clSoundReader.h"

#include "kernels/Kernels.h"
#include "kit/clDigest.h"
#include "kit/clInputFile.h"
#include "kit/clJobs.h"
#include "kit/clStopSignal.h"
#include "kit/clXInput.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace
{

// Large enough that system calls cost little, and small enough that two buffers of this size leave
// room in a second-level cache.
constexpr size_t READ_BYTES = 256 << 10;

constexpr char ENDS_EARLY[] = "the file delivers less sound than it did when it was opened";

// The stream of an input for a reader that deletes its own. Not seekable: a tag, which may be
// malformed, is then left alone.
class clBorrowedStream : public clStreamReader
{
public:
    explicit clBorrowedStream(clStreamReader &borrowed)
        : clStreamReader(borrowed.strName),
          stream(borrowed)
    {
    }

    void Close() override {}
    // Whole: the reader takes a short read inside a group of blocks for damage.
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override
    {
        return static_cast<ssize_t>(stream.ReadFully(pBuffer, sizeBuffer));
    }
    off_t Seek(off_t lPosition) override { return stream.Seek(lPosition); }
    off_t Skip(off_t lCount) override { return stream.Skip(lCount); }
    off_t Tell() override { return stream.Tell(); }
    int64_t GetSize() override { return stream.GetSize(); }
    bool IsRemote() override { return false; }
    bool IsSeekable() override { return false; }

private:
    clStreamReader &stream;
};

} // namespace

void clSoundReader::Open(clInputFile &input, bool bLenient)
{
    Close();
    uChannels = input.GetChannels();
    uSamples = input.GetSamples();
    uFrames = uSamples / 8 + (uSamples % 8 != 0 ? 1 : 0);
    pInput = &input;
    ChoosePlaces();
    frameReport = clFrameReport();
    if (input.IsDST()) {
        OpenDST(bLenient);
    }
    Rewind();
    bRewound = false;
}

void clSoundReader::Close()
{
    dsf.Close();
    pDST.reset();
    pInput = nullptr;
    pDigest = nullptr;
}

void clSoundReader::Rewind()
{
    uDone = 0;
    bRewound = true;
    if (pDST) {
        pDST->Seek(0);
    }
    // A DSF file without samples is one that clDSF does not read.
    if (pInput->GetKind() == clInputFile::kind_t::DSF && uSamples != 0) {
        pInput->GetStream().Seek(0);
        dsf.OpenMeta(new clBorrowedStream(pInput->GetStream()));
        if (dsf.GetChannels() != uChannels || dsf.GetLength() != uSamples ||
            dsf.GetBlockSize() != UNIT_FRAMES) {
            throw clXInput("the headers are not those of a file that can be read");
        }
    }
}

size_t clSoundReader::Read(uint8_t *pBuffer, size_t sizeFrames)
{
    if (bInOrder) {
        return ReadStored(pBuffer, sizeFrames);
    }
    auto *const pStored =
        static_cast<uint8_t *>(allocStored.SetSize(static_cast<int64_t>(sizeFrames * uChannels)));
    const size_t sizeRead = ReadStored(pStored, sizeFrames);
    Kernels::PlaceChannels(pBuffer, pStored, sizeRead, auPlaces.data(), uChannels, uChannels, 0);
    return sizeRead;
}

size_t clSoundReader::ReadStored(uint8_t *pBuffer, size_t sizeFrames)
{
    if (sizeFrames % UNIT_FRAMES != 0) {
        throw std::runtime_error("clSoundReader::Read(): BUG: size must be multiple of the unit");
    }
    clStopSignal::ThrowIfStopped();
    const auto sizeNow = static_cast<size_t>(std::min<uint64_t>(sizeFrames, uFrames - uDone));
    if (sizeNow == 0) {
        return 0;
    }
    const size_t sizeRead = pInput->GetKind() == clInputFile::kind_t::DSF
                                ? ReadDSF(pBuffer, sizeNow)
                                : ReadDSDIFF(pBuffer, sizeNow);
    if (pDigest != nullptr) {
        AddToDigest(pBuffer, sizeRead);
    }
    return sizeRead;
}

size_t clSoundReader::GetReadFrames() const noexcept
{
    return std::max<size_t>(READ_BYTES / uChannels / UNIT_FRAMES, 1) * UNIT_FRAMES;
}

// The type and the places that the set of channels has. Without a type that names it, those that
// the converter gives to the number of channels.
void clSoundReader::ChoosePlaces()
{
    ChannelPlaces::layout_t layout = pInput->GetLayout();
    if (layout.uType == 0 && pInput->GetKind() == clInputFile::kind_t::DSDIFF) {
        layout = ChannelPlaces::GetLenientLayout(pInput->GetDSDIFF().auIds);
    }
    uType = layout.uType;
    auPlaces = std::move(layout.auPlaces);
    bInOrder = std::is_sorted(auPlaces.begin(), auPlaces.end());
}

void clSoundReader::OpenDST(bool bLenient)
{
    const clDSDIFFInspector &found = pInput->GetDSDIFF();
    clDSTSound::source_t source;
    source.data = {found.sound.uOffset, found.sound.uPresent};
    source.uChannels = uChannels;
    source.uSampleRate = found.uSampleRate;
    source.uWorkers = clJobs::GetProcessorsPerJob();
    source.uFrames = found.uFrames;
    pDST = std::make_unique<clDSTSound>(pInput->GetStream(), source);
    pDST->SetReport([this, bLenient](const clDSTSound::frame_t &frame) {
        if (!bRewound) {
            frameReport.Add(frame);
        }
        if (!frame.strFault.empty() && !bLenient) {
            throw clXFrame(frame.strFault);
        }
        return bLenient;
    });
}

size_t clSoundReader::ReadDSDIFF(uint8_t *pBuffer, size_t sizeFrames)
{
    const size_t sizeBytes = sizeFrames * uChannels;
    uint64_t uRead = 0;
    if (pDST) {
        uRead = pDST->Read(pBuffer, sizeBytes);
    } else {
        clInputStream &stream = pInput->GetStream();
        stream.Seek(static_cast<off_t>(pInput->GetDSDIFF().sound.uOffset + uDone * uChannels));
        uRead = stream.ReadFully(pBuffer, sizeBytes);
    }
    if (uRead != sizeBytes) {
        throw clXInput(ENDS_EARLY);
    }
    uDone += sizeFrames;
    return sizeFrames;
}

size_t clSoundReader::ReadDSF(uint8_t *pBuffer, size_t sizeFrames)
{
    const size_t sizeUnits = (sizeFrames + UNIT_FRAMES - 1) / UNIT_FRAMES;
    const uint64_t uBytes = sizeUnits * UNIT_FRAMES * uChannels;
    const uint64_t uBefore = dsf.GetPosition();
    dsf.ReadRaw(pBuffer, uBytes);
    // What it returns leaves out a last byte that is not full.
    if (dsf.GetPosition() - uBefore != uBytes) {
        throw clXInput(ENDS_EARLY);
    }
    uDone += sizeFrames;
    if (uDone == uFrames && uSamples % 8 != 0) {
        const auto uUsed = static_cast<uint8_t>(0xFF << (8 - uSamples % 8));
        uint8_t *const pLast = pBuffer + (sizeFrames - 1) * uChannels;
        std::for_each(pLast, pLast + uChannels,
                      [=](uint8_t &uByte) { uByte = static_cast<uint8_t>(uByte & uUsed); });
    }
    return sizeFrames;
}

void clSoundReader::AddToDigest(const uint8_t *pStored, size_t sizeFrames)
{
    const size_t sizeBytes = sizeFrames * uChannels;
    if (!bInOrder) {
        auto *const pPlaced =
            static_cast<uint8_t *>(allocPlaced.SetSize(static_cast<int64_t>(sizeBytes)));
        Kernels::PlaceChannels(pPlaced, pStored, sizeFrames, auPlaces.data(), uChannels, uChannels,
                               0);
        pStored = pPlaced;
    }
    pDigest->Add(pStored, sizeBytes);
}
