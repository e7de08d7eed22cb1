#include "dsd/clDSDIFFWalk.h"

#include "dsd/Bytes.h"
#include "dsd/TagRegion.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace
{

// Header and type of the form.
constexpr uint64_t FIRST_CHUNK = clDSDIFFWalk::HEADER_SIZE + 4;
// Findings of one severity; a file can repeat a fault in every chunk.
constexpr size_t MAX_FINDINGS = 16;

} // namespace

clDSDIFFWalk::clDSDIFFWalk(clDSDIFFInspector &inspector, clStreamReader &streamFile)
    : file(streamFile),
      to(inspector),
      stream(streamFile)
{
}

bool clDSDIFFWalk::Run()
{
    to.uFileSize = file.GetSize();
    uint64_t uFormSize = 0;
    if (!IsDSDIFF(uFormSize)) {
        return false;
    }
    ReadForm(uFormSize);
    return true;
}

void clDSDIFFWalk::Add(severity_t eSeverity, const std::string &strText, bool bTag)
{
    if (++aCounts[static_cast<size_t>(eSeverity)] <= MAX_FINDINGS) {
        findings.push_back({eSeverity, strText, bTag});
    }
}

findings_t clDSDIFFWalk::TakeFindings()
{
    for (size_t i = 0; i < std::size(aCounts); ++i) {
        if (aCounts[i] > MAX_FINDINGS) {
            findings.push_back(
                {static_cast<severity_t>(i),
                 CountText(aCounts[i] - MAX_FINDINGS, "more fault") + " of this kind"});
        }
    }
    return std::move(findings);
}

clDSDIFFWalk::chunk_t clDSDIFFWalk::ReadHeader(uint64_t uOffset)
{
    uint8_t aHeader[HEADER_SIZE];
    file.Read(uOffset, aHeader, sizeof(aHeader));
    return {GetBE<uint32_t>(aHeader), uOffset, GetBE<uint64_t>(aHeader + 4)};
}

bool clDSDIFFWalk::IsDSDIFF(uint64_t &uFormSize)
{
    const chunk_t form = ReadHeader(0);
    uint8_t aType[4];
    file.Read(HEADER_SIZE, aType, sizeof(aType));
    if (to.uFileSize < FIRST_CHUNK) {
        Add(severity_t::REFUSED,
            "not DSDIFF: the file has only " + CountText(to.uFileSize, "byte"));
    } else if (form.uId != Id("FRM8")) {
        Add(severity_t::REFUSED,
            "not DSDIFF: the file begins with '" + IdText(form.uId) + "', not with 'FRM8'");
    } else if (GetBE<uint32_t>(aType) != Id("DSD ")) {
        Add(severity_t::REFUSED, "not DSDIFF: the type of the form is '" +
                                     IdText(GetBE<uint32_t>(aType)) + "', not 'DSD '");
    } else {
        uFormSize = form.uSize;
        return true;
    }
    return false;
}

// Walks on to the end of the file when the form does not end there.
void clDSDIFFWalk::ReadForm(uint64_t uFormSize)
{
    const uint64_t uFileSize = to.uFileSize;
    // 2^64 cannot be reached: a form of that size is larger than any file.
    const uint64_t uFormEnd = HEADER_SIZE + std::min(uFormSize, UINT64_MAX - HEADER_SIZE);
    const uint64_t uInside = std::min(uFormEnd, uFileSize);
    uint64_t uNext = FIRST_CHUNK;
    // Where the last chunk ends, without its pad byte.
    uint64_t uEnd = FIRST_CHUNK;
    bool bFits = true;
    while (uNext < uFileSize && !file.IsShort()) {
        if (uNext >= uFormEnd) {
            // The pad byte of a last chunk may be missing, or not counted by the form.
            if (FindAppendedTag(uEnd) || FindAppendedTag(uNext)) {
                break;
            }
            bFits = false;
        }
        const uint64_t uLeft = (uNext < uInside ? uInside : uFileSize) - uNext;
        // A form that ends inside the header of a chunk announces too little.
        if (uLeft < HEADER_SIZE && (uNext >= uInside || !IsWholeChunk(uNext))) {
            if (uNext >= uFormEnd) {
                break;
            }
            Add(severity_t::LENIENT,
                CountText(uLeft, "byte") + " at byte " + std::to_string(uNext) + " make no chunk");
            uNext = uEnd = uInside;
            continue;
        }
        const chunk_t chunk = ReadHeader(uNext);
        if (uNext >= uFormEnd && !IsId(chunk.uId)) {
            break;
        }
        if (chunk.uSize > uFileSize - chunk.GetData()) {
            if (chunk.uId == Id("DSD ") || chunk.uId == Id("DST ")) {
                AddSound(chunk);
            } else {
                Add(severity_t::LENIENT, chunk.GetText() + " extends beyond the file");
            }
            uNext = uEnd = uFileSize;
            break;
        }
        ReadChunk(chunk);
        uEnd = chunk.GetEnd();
        uNext = chunk.GetNext();
    }
    const bool bPadMissing = uNext == uFileSize + 1 && uFormEnd == uNext;
    bFits = bFits && uEnd <= uFormEnd && (uFormEnd <= uFileSize || bPadMissing);
    if (!bFits) {
        Add(severity_t::LENIENT, "the form announces " + CountText(uFormSize, "byte") +
                                     ", the file has " + std::to_string(uFileSize - HEADER_SIZE) +
                                     " after the form's header");
    }
}

bool clDSDIFFWalk::IsWholeChunk(uint64_t uOffset)
{
    if (to.uFileSize - uOffset < HEADER_SIZE) {
        return false;
    }
    const chunk_t chunk = ReadHeader(uOffset);
    return IsId(chunk.uId) && chunk.uSize <= to.uFileSize - chunk.GetData();
}

// What follows the tag belongs to nothing.
bool clDSDIFFWalk::FindAppendedTag(uint64_t uOffset)
{
    region_t region = {uOffset, to.uFileSize - uOffset};
    uint8_t aId[4];
    file.Read(uOffset, aId, sizeof(aId));
    // A chunk "ID3 " has its blank where a tag has its version.
    if (!TagRegion::IsTag(file, region) || IsId(GetBE<uint32_t>(aId))) {
        return false;
    }
    const uint64_t uAnnounced = TagRegion::GetAnnouncedSize(file, uOffset);
    if (uAnnounced != 0 && uAnnounced < region.uSize) {
        Add(severity_t::LENIENT, CountText(region.uSize - uAnnounced, "byte") +
                                     " follow the tag at the end of the file");
        region.uSize = uAnnounced;
    }
    to.appendedTag = region;
    return true;
}

void clDSDIFFWalk::ReadChunk(const chunk_t &chunk)
{
    switch (chunk.uId) {
    case Id("FVER"):
        if (chunk.uSize == 4) {
            uint8_t aVersion[4];
            file.Read(chunk.GetData(), aVersion, sizeof(aVersion));
            to.uVersion = GetBE<uint32_t>(aVersion);
        } else {
            Add(severity_t::REFUSED, chunk.GetText() + " has a wrong size");
        }
        break;
    case Id("PROP"):
        ReadProperties(chunk);
        break;
    case Id("DSD "):
    case Id("DST "):
        AddSound(chunk);
        break;
    case Id("ID3 "):
        if (to.aTagChunks.size() == clDSDIFFInspector::MAX_TAGS) {
            to.aTagChunks.erase(to.aTagChunks.begin());
        }
        to.aTagChunks.push_back({chunk.GetData(), chunk.uSize});
        break;
    case Id("DIIN"):
        ReadMaster(chunk, uInformationBudget);
        break;
    case Id("COMT"):
        ReadMaster(chunk, uCommentBudget);
        break;
    default:
        break;
    }
}

// The last property chunk counts, and of its sub-chunks of one kind the last.
void clDSDIFFWalk::ReadProperties(const chunk_t &property)
{
    if (bProperty) {
        Add(severity_t::LENIENT, property.GetText() + " is not the first");
    }
    bProperty = true;
    bRate = bChannels = bCompression = false;
    to.uSampleRate = 0;
    to.auIds.clear();
    to.start = {};

    uint8_t aType[4];
    file.Read(property.GetData(), aType, sizeof(aType));
    if (property.uSize < sizeof(aType) || GetBE<uint32_t>(aType) != Id("SND ")) {
        Add(severity_t::REFUSED, property.GetText() + " does not begin with 'SND '");
        return;
    }
    uint64_t uNext = property.GetData() + sizeof(aType);
    while (uNext < property.GetEnd() && !file.IsShort()) {
        const uint64_t uLeft = property.GetEnd() - uNext;
        if (uLeft < HEADER_SIZE) {
            Add(severity_t::LENIENT, CountText(uLeft, "byte") + " at the end of " +
                                         property.GetText() + " make no chunk");
            return;
        }
        const chunk_t chunk = ReadHeader(uNext);
        if (chunk.uSize > uLeft - HEADER_SIZE) {
            Add(severity_t::LENIENT, chunk.GetText() + " extends beyond its " + property.GetText());
            return;
        }
        ReadProperty(chunk);
        uNext = chunk.GetNext();
    }
}

void clDSDIFFWalk::ReadProperty(const chunk_t &chunk)
{
    bool bSize = true;
    bool bFirst = true;
    uint8_t aData[8];
    file.Read(chunk.GetData(), aData, sizeof(aData));
    switch (chunk.uId) {
    case Id("FS  "):
        bFirst = !bRate;
        bRate = true;
        bSize = chunk.uSize == 4;
        to.uSampleRate = bSize ? GetBE<uint32_t>(aData) : 0;
        break;
    case Id("CHNL"):
        bFirst = !bChannels;
        bChannels = true;
        bSize = chunk.uSize >= 2 && chunk.uSize - 2 == uint64_t{GetBE<uint16_t>(aData)} * 4;
        if (bSize) {
            ReadChannels(chunk);
        }
        break;
    case Id("CMPR"): {
        bFirst = !bCompression;
        bCompression = true;
        uCompression = GetBE<uint32_t>(aData);
        // The name may have a pad byte of its own that the size counts.
        const uint64_t uPlain = uint64_t{5} + aData[4];
        bSize = chunk.uSize >= 5 && (chunk.uSize == uPlain || chunk.uSize == uPlain + uPlain % 2);
        break;
    }
    case Id("ABSS"):
        bSize = chunk.uSize == 8;
        to.start = {GetBE<uint16_t>(aData), aData[2], aData[3], GetBE<uint32_t>(aData + 4)};
        break;
    case Id("LSCO"):
        bSize = chunk.uSize == 2;
        break;
    default:
        break;
    }
    if (!bSize) {
        Add(severity_t::REFUSED, chunk.GetText() + " has a wrong size");
    }
    if (!bFirst) {
        Add(severity_t::LENIENT, chunk.GetText() + " is not the first");
    }
}

// The chunk has been found to have as many ids as it announces.
void clDSDIFFWalk::ReadChannels(const chunk_t &chunk)
{
    to.auIds.resize(static_cast<size_t>((chunk.uSize - 2) / 4));
    uint64_t uOffset = chunk.GetData() + 2;
    for (uint32_t &uId : to.auIds) {
        uint8_t aId[4];
        file.Read(uOffset, aId, sizeof(aId));
        uId = GetBE<uint32_t>(aId);
        uOffset += sizeof(aId);
    }
}

void clDSDIFFWalk::ReadMaster(const chunk_t &chunk, uint64_t &uBudget)
{
    if (chunk.uSize > uBudget) {
        Add(severity_t::CHECK, chunk.GetText() + " is not read: its size of " +
                                   CountText(chunk.uSize, "byte") + " is too large");
        return;
    }
    uBudget -= chunk.uSize;
    std::vector<uint8_t> aData(static_cast<size_t>(chunk.uSize));
    file.Read(chunk.GetData(), aData.data(), aData.size());
    if (chunk.uId == Id("DIIN")) {
        to.master.AddInformation(aData.data(), aData.size(), chunk.GetData());
    } else {
        to.master.AddComments(aData.data(), aData.size(), chunk.GetData());
    }
}

// The last sound data counts.
void clDSDIFFWalk::AddSound(const chunk_t &chunk)
{
    if (raw.bFound || dst.bFound) {
        Add(severity_t::LENIENT, "more sound data: " + chunk.GetText());
    }
    clDSDIFFInspector::sound_t &sound = chunk.uId == Id("DSD ") ? raw : dst;
    sound = {true, chunk.GetData(), chunk.uSize,
             std::min(chunk.uSize, to.uFileSize - chunk.GetData())};
}
