#include "base/clException.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSDIFFInspector.h"
#include "dsd/clDSF.h"
#include "dsd/clDSFInspector.h"
#include "fuzz/Target.h"
#include "tests/support/MemoryStream.h"

#include <algorithm>

namespace
{

// Findings are printed on terminals, and their number is limited for every file.
void CheckFindings(const findings_t &findings)
{
    Check(findings.size() < 128, "many findings");
    for (const finding_t &finding : findings) {
        Check(!finding.strText.empty() && finding.strText.size() < 1024,
              "a text of a strange size");
        Check(std::all_of(finding.strText.begin(), finding.strText.end(),
                          [](char c) { return c >= ' ' && c <= '~'; }),
              "a text that is not printable");
    }
}

bool IsConvertible(const findings_t &findings)
{
    return std::all_of(findings.begin(), findings.end(), [](const finding_t &finding) {
        return finding.eSeverity != severity_t::REFUSED && finding.eSeverity != severity_t::LENIENT;
    });
}

void CheckRegion(const region_t &region, uint64_t uFileSize)
{
    Check(region.uOffset <= uFileSize && region.uSize <= uFileSize - region.uOffset,
          "a region beyond the file");
}

void CheckLayout(const ChannelPlaces::layout_t &layout)
{
    std::vector<bool> aTaken(layout.auPlaces.size());
    for (const uint32_t uPlace : layout.auPlaces) {
        Check(uPlace < aTaken.size() && !aTaken[uPlace], "places that are no permutation");
        aTaken[uPlace] = true;
    }
    Check(layout.aRoles.size() == layout.auPlaces.size(), "a channel without a role");
}

// An inspection of the stream; false when the stream failed.
template <class T>
bool Inspect(T &inspector, MemoryStream &stream)
{
    if (!Try([&] {
            inspector.Inspect(stream);
            inspector.CheckTags(stream);
        })) {
        return false;
    }
    CheckFindings(inspector.GetFindings());
    CheckLayout(inspector.layout);
    return true;
}

void InspectDSDIFF(const std::vector<uint8_t> &bytes)
{
    MemoryStream stream(bytes);
    clDSDIFFInspector inspector;
    Check(Inspect(inspector, stream), "the bytes made the inspector throw");
    CheckRegion(inspector.appendedTag, bytes.size());
    for (const region_t &region : inspector.aTagChunks) {
        CheckRegion(region, bytes.size());
    }
    CheckRegion({inspector.sound.uOffset, inspector.sound.uPresent}, bytes.size());
    for (const clDSDIFFMaster::marker_t &marker : inspector.master.aMarkers) {
        clDSDIFFMaster::GetPosition(marker, inspector.uSampleRate, inspector.start);
    }
    Check(inspector.master.aMarkers.size() + inspector.master.aComments.size() <= bytes.size(),
          "more markers and comments than bytes");
    CheckLayout(ChannelPlaces::GetLenientLayout(inspector.auIds));

    clDSDIFF reader;
    auto *const pStream = new MemoryStream(bytes);
    const bool bRead = Try([&] { reader.OpenMeta(pStream); });
    if (!IsConvertible(inspector.GetFindings())) {
        return;
    }
    Check(bRead, "the reader refuses what the inspector accepts");
    Check(reader.GetSampleRate() == inspector.uSampleRate, "another rate");
    Check(reader.GetChannels() == inspector.auIds.size(), "other channels");
    if (inspector.eCompression == clDSDIFFInspector::compression_t::NONE) {
        Check(reader.GetLength() == inspector.GetSamples(), "another length");
        Check(static_cast<uint64_t>(pStream->Tell()) == inspector.sound.uOffset, "other sound");
    }
}

void InspectDSF(const std::vector<uint8_t> &bytes)
{
    MemoryStream stream(bytes);
    clDSFInspector inspector;
    Check(Inspect(inspector, stream), "the bytes made the inspector throw");
    CheckRegion(inspector.data, bytes.size());
    CheckRegion(inspector.tag, bytes.size());
    Check(inspector.GetSamples() <= bytes.size() * 8, "more samples than bits");

    clDSF reader;
    const bool bRead = Try([&] { reader.OpenMeta(new MemoryStream(bytes)); });
    Check(bRead || !inspector.GetFindings().empty() || inspector.data.uSize == 0,
          "the reader refuses what the inspector accepts");
}

} // namespace

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clInput input(pData, sizeData);
    const uint8_t uVariant = input.LastByte();
    const std::vector<uint8_t> bytes = input.Bytes();
    InspectDSDIFF(bytes);
    InspectDSF(bytes);

    // A stream with a false size, and one that fails.
    MemoryStream stream(bytes);
    stream.ClaimSize(uVariant % 2 == 0 ? INT64_MAX : static_cast<int64_t>(bytes.size() / 2));
    if (uVariant % 3 != 0) {
        stream.FailAt<clXFileIO>(MemoryStream::CALL_READ, 1 + uVariant / 8, "failed");
    }
    clDSDIFFInspector dsdiff;
    Inspect(dsdiff, stream);
    clDSFInspector dsf;
    Inspect(dsf, stream);
}
