#include "kit/FileInfo.h"

#include "base/clAlignedAlloc.h"
#include "decode/Signal.h"
#include "dsd/TagRegion.h"
#include "kit/OpenInput.h"
#include "kit/TagFrames.h"
#include "kit/clCommandLine.h"
#include "kit/clDigest.h"
#include "kit/clFileProgress.h"
#include "kit/clInputFile.h"
#include "kit/clSoundReader.h"
#include "kit/clTagFields.h"
#include "kit/clXInput.h"

#include <algorithm>
#include <numeric>

namespace
{

using compression_t = clDSDIFFInspector::compression_t;

// Rates that are 64 times the rate of a compact disc, doubled any number of times.
std::string MultipleOf(uint32_t uSampleRate)
{
    constexpr uint32_t CD_RATE = 44100;

    const uint32_t uTimes = uSampleRate / CD_RATE;
    const bool bPowerOfTwo = uTimes >= 64 && (uTimes & (uTimes - 1)) == 0;
    return bPowerOfTwo && uSampleRate % CD_RATE == 0 ? "DSD" + std::to_string(uTimes) : "";
}

std::string VersionOf(uint32_t uVersion)
{
    std::string strVersion;
    for (int iShift = 24; iShift >= 0; iShift -= 8) {
        strVersion += (strVersion.empty() ? "" : ".") + std::to_string(uVersion >> iShift & 0xFF);
    }
    return strVersion;
}

const char *TypeOf(uint16_t uType)
{
    switch (uType) {
    case clDSDIFFMaster::TRACK_START:
        return "TrackStart";
    case clDSDIFFMaster::TRACK_STOP:
        return "TrackStop";
    case clDSDIFFMaster::PROGRAM_START:
        return "ProgramStart";
    case clDSDIFFMaster::INDEX:
        return "Index";
    default:
        return nullptr;
    }
}

// In the order of time. A track that stops where the next one starts does so before that.
std::vector<file_info_t::marker_t> MarkersOf(const clDSDIFFInspector &found)
{
    const std::vector<clDSDIFFMaster::marker_t> &aMarkers = found.master.aMarkers;
    const uint32_t uRate = found.uSampleRate != 0 ? found.uSampleRate : Signal::DEFAULT_RATE;
    const auto keyOf = [&](size_t sizeIdx) {
        const clDSDIFFMaster::marker_t &marker = aMarkers[sizeIdx];
        return std::make_pair(clDSDIFFMaster::GetPosition(marker, uRate, found.start),
                              marker.uType != clDSDIFFMaster::TRACK_STOP);
    };
    std::vector<size_t> aOrder(aMarkers.size());
    std::iota(aOrder.begin(), aOrder.end(), size_t{0});
    std::stable_sort(aOrder.begin(), aOrder.end(),
                     [&](size_t sizeA, size_t sizeB) { return keyOf(sizeA) < keyOf(sizeB); });

    std::vector<file_info_t::marker_t> aResult;
    aResult.reserve(aMarkers.size());
    uint64_t uTrack = 0;
    for (const size_t sizeIdx : aOrder) {
        const clDSDIFFMaster::marker_t &from = aMarkers[sizeIdx];
        uTrack += from.uType == clDSDIFFMaster::TRACK_START ? 1 : 0;
        file_info_t::marker_t marker;
        marker.cpType = TypeOf(from.uType);
        marker.uType = from.uType;
        marker.uTrack = uTrack;
        if (found.uSampleRate != 0) {
            marker.lSample = keyOf(sizeIdx).first;
        }
        marker.strText = clTagFields::ToUTF8(from.strText);
        aResult.push_back(std::move(marker));
    }
    return aResult;
}

void TakeDSDIFF(const clDSDIFFInspector &found, file_info_t &info)
{
    info.strFormat = "DSDIFF";
    info.strVersion = found.uVersion != 0 ? VersionOf(found.uVersion) : "";
    const bool bDST = found.eCompression == compression_t::DST;
    const bool bPlain = found.eCompression == compression_t::NONE;
    info.strCompression = bDST ? "DST" : bPlain ? "none" : "";
    if (found.sound.bFound && !found.auIds.empty() && (bDST || bPlain)) {
        info.uSamples = found.GetSamples();
    }
    info.strArtist = clTagFields::ToUTF8(found.master.strArtist);
    info.strTitle = clTagFields::ToUTF8(found.master.strTitle);
    info.aMarkers = MarkersOf(found);
    for (const clDSDIFFMaster::comment_t &comment : found.master.aComments) {
        info.aComments.push_back(clTagFields::ToUTF8(comment.strText));
    }
}

void TakeDSF(const clDSFInspector &found, file_info_t &info)
{
    info.strFormat = "DSF";
    info.strVersion = found.uVersion != 0 ? std::to_string(found.uVersion) : "";
    info.strCompression = "none";
    // A header of no samples before sound data is one that was never completed.
    if (found.uChannels != 0 && (found.uSamples != 0 || found.data.uSize == 0)) {
        info.uSamples = found.GetSamples();
    }
}

void TakeSound(const clInputFile &input, file_info_t &info)
{
    if (input.GetSampleRate() != 0) {
        info.uSampleRate = input.GetSampleRate();
        info.strMultiple = MultipleOf(input.GetSampleRate());
    }
    const uint32_t uChannels = input.GetChannels();
    if (uChannels == 0) {
        return;
    }
    info.uChannels = uChannels;
    if (uChannels <= ChannelPlaces::MAX_CHANNELS) {
        info.aLayout.emplace();
        for (const ChannelPlaces::role_t eRole : input.GetLayout().aRoles) {
            info.aLayout->emplace_back(ChannelPlaces::GetName(eRole));
        }
    }
    // What a header announces may leave 64 bits.
    uint64_t uBytes = 0;
    if (info.uSamples && !__builtin_mul_overflow(*info.uSamples / 8 + (*info.uSamples % 8 != 0),
                                                 uint64_t{uChannels}, &uBytes)) {
        info.uSoundBytes = uBytes;
    }
}

// The tag that a conversion carries over.
region_t TagOf(const clInputFile &input)
{
    if (input.GetKind() == clInputFile::kind_t::DSF) {
        return input.GetDSF().tag;
    }
    const clDSDIFFInspector &found = input.GetDSDIFF();
    return found.aTagChunks.empty() ? found.appendedTag : found.aTagChunks.back();
}

void TakeTag(const clInputFile &input, file_info_t &info)
{
    const region_t region = TagOf(input);
    if (region.uSize == 0) {
        return;
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(std::min(region.uSize, TagRegion::MAX_SIZE)));
    clInputStream &stream = input.GetStream();
    stream.Seek(static_cast<off_t>(region.uOffset));
    bytes.resize(stream.ReadFully(bytes.data(), bytes.size()));
    if (TagFrames::IsTag(bytes.data(), bytes.size())) {
        info.tag = {region.uSize, clTagFields::Read(bytes.data(), bytes.size())};
    }
}

std::string DigestOf(clInputFile &input, clFileProgress &progress)
{
    const std::string strFault = FindSoundFault(input, true);
    if (!strFault.empty()) {
        throw clXInput("no digest: " + strFault);
    }
    clSoundReader sound;
    sound.Open(input);
    const size_t sizeFrames = sound.GetReadFrames();
    clAlignedAlloc allocFrames;
    auto *const pFrames = static_cast<uint8_t *>(
        allocFrames.SetSize(static_cast<int64_t>(sizeFrames * sound.GetChannels())));
    clDigest digest(clDigest::MD5);
    uint64_t uDone = 0;
    while (const size_t sizeRead = sound.Read(pFrames, sizeFrames)) {
        const size_t sizeBytes = sizeRead * sound.GetChannels();
        digest.Add(pFrames, sizeBytes);
        uDone += sizeBytes;
        progress.Reach(uDone, sound.GetSize());
    }
    input.GetStream().ThrowIfChanged();
    return digest.Finish();
}

} // namespace

void ReadFileInfo(const input_t &file, const options_t &options, clFileProgress &progress,
                  file_info_t &info)
{
    clInputFile input;
    try {
        OpenInput(file, options, progress, input);
    } catch (const clException &caught) {
        info.aProblems = {caught.what()};
        throw;
    }
    if (input.GetKind() == clInputFile::kind_t::DSF) {
        TakeDSF(input.GetDSF(), info);
    } else {
        TakeDSDIFF(input.GetDSDIFF(), info);
    }
    TakeSound(input, info);
    info.aProblems = FindProblems(input);
    const findings_t &findings = input.GetFindings();
    info.bComplete = std::none_of(findings.begin(), findings.end(), [](const finding_t &finding) {
        return finding.eSeverity == severity_t::REFUSED || finding.eSeverity == severity_t::LENIENT;
    });
    if (!info.bComplete && !info.uSampleRate && !info.uChannels && !info.uSamples) {
        info.strFormat.clear();
        throw clXInput(FindSoundFault(input, false));
    }
    TakeTag(input, info);
    if (options.bDigest) {
        info.strDigest = DigestOf(input, progress);
    }
}
