#include "kit/clInputFile.h"

#include "dsd/Bytes.h"

#include <utility>

namespace
{

// Several faults in one line.
void AddFault(std::string &strFault, const std::string &strText)
{
    strFault += (strFault.empty() ? "" : "; ") + strText;
}

} // namespace

void clInputFile::Open(std::unique_ptr<clInputStream> pNewStream)
{
    kind = kind_t::UNKNOWN;
    // A new object, so that nothing of the last file stays.
    inspectorDSDIFF = clDSDIFFInspector();
    inspectorDSF = clDSFInspector();
    pStream = std::move(pNewStream);
    uint8_t aId[4] = {};
    pStream->ReadFully(aId, sizeof(aId));
    pStream->Seek(0);
    switch (GetBE<uint32_t>(aId)) {
    case Id("FRM8"):
        kind = kind_t::DSDIFF;
        inspectorDSDIFF.Inspect(*pStream);
        break;
    case Id("DSD "):
        kind = kind_t::DSF;
        inspectorDSF.Inspect(*pStream);
        break;
    default:
        break;
    }
}

clInputFile::verdict_t clInputFile::Judge(bool bLenient, bool bTag) const
{
    verdict_t verdict;
    if (kind == kind_t::UNKNOWN) {
        verdict.strFault = "neither a DSDIFF nor a DSF file";
        return verdict;
    }
    bool bRefused = false;
    for (const finding_t &finding : GetFindings()) {
        if (finding.bTag && !bTag) {
            continue;
        }
        switch (finding.eSeverity) {
        case severity_t::REFUSED:
            bRefused = true;
            AddFault(verdict.strFault, finding.strText);
            break;
        case severity_t::LENIENT:
            if (bLenient) {
                verdict.aWarnings.push_back(finding.strText);
            } else {
                AddFault(verdict.strFault, finding.strText);
            }
            break;
        case severity_t::WARNING:
            verdict.aWarnings.push_back(finding.strText);
            break;
        case severity_t::HINT:
            verdict.aHints.push_back(finding.strText);
            break;
        case severity_t::CHECK:
            break;
        }
    }
    if (!verdict.strFault.empty() && !bRefused && !IsDSF()) {
        verdict.strFault += LENIENT_HINT;
    }
    return verdict;
}

bool clInputFile::IsDST() const noexcept
{
    return kind == kind_t::DSDIFF &&
           inspectorDSDIFF.eCompression == clDSDIFFInspector::compression_t::DST;
}

void clInputFile::CheckTags()
{
    if (kind == kind_t::DSDIFF) {
        inspectorDSDIFF.CheckTags(*pStream);
    } else if (kind == kind_t::DSF) {
        inspectorDSF.CheckTags(*pStream);
    }
}

const findings_t &clInputFile::GetFindings() const noexcept
{
    return IsDSF() ? inspectorDSF.GetFindings() : inspectorDSDIFF.GetFindings();
}

uint32_t clInputFile::GetSampleRate() const noexcept
{
    return IsDSF() ? inspectorDSF.uSampleRate : inspectorDSDIFF.uSampleRate;
}

uint32_t clInputFile::GetChannels() const noexcept
{
    return IsDSF() ? inspectorDSF.uChannels : static_cast<uint32_t>(inspectorDSDIFF.auIds.size());
}

uint64_t clInputFile::GetSamples() const noexcept
{
    return IsDSF() ? inspectorDSF.GetSamples() : inspectorDSDIFF.GetSamples();
}

const ChannelPlaces::layout_t &clInputFile::GetLayout() const noexcept
{
    return IsDSF() ? inspectorDSF.layout : inspectorDSDIFF.layout;
}
