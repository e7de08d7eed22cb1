#include "dsd/clDSDIFFInspector.h"

#include "dsd/Bytes.h"
#include "dsd/TagRegion.h"
#include "dsd/clDSDIFFWalk.h"
#include "dsd/clDSTFrames.h"
#include "dst/clDSTDecoder.h"

#include <algorithm>
#include <string>

void clDSDIFFInspector::Inspect(clStreamReader &stream)
{
    *this = clDSDIFFInspector();
    clDSDIFFWalk walk(*this, stream);
    if (walk.Run()) {
        Judge(walk);
        if (walk.file.IsShort()) {
            walk.Add(severity_t::REFUSED,
                     "the file ends before its size of " + CountText(uFileSize, "byte"));
        }
    }
    findings = walk.TakeFindings();
}

void clDSDIFFInspector::CheckTags(clStreamReader &stream)
{
    std::vector<region_t> aTags = aTagChunks;
    if (appendedTag.uSize != 0) {
        aTags.push_back(appendedTag);
    }
    for (const region_t &region : aTags) {
        clFileWindow window(stream);
        if (TagRegion::IsTag(window, region)) {
            const std::string strFault = TagRegion::FindFault(stream, region);
            if (!strFault.empty()) {
                findings.push_back({severity_t::CHECK, strFault, true});
            }
        } else if (!aTagChunks.empty() && region.uOffset != aTagChunks.back().uOffset) {
            // Inspect has reported the last one.
            findings.push_back({severity_t::CHECK,
                                ChunkText(Id("ID3 "), region.uOffset - clDSDIFFWalk::HEADER_SIZE) +
                                    " does not begin with 'ID3'",
                                true});
        }
    }
}

uint64_t clDSDIFFInspector::GetSamples() const noexcept
{
    if (eCompression == compression_t::DST) {
        return uFrames * (uSampleRate / clDSTFrames::RATE);
    }
    // Bytes times 8 leave 64 bits only for files that no stream can hold.
    return auIds.empty() ? 0 : sound.uPresent / auIds.size() * 8;
}

// What only the whole file shows.
void clDSDIFFInspector::Judge(clDSDIFFWalk &walk)
{
    if (!walk.bProperty) {
        walk.Add(severity_t::REFUSED, "no chunk 'PROP', which says what the sound is");
    } else if (!walk.bCompression) {
        walk.Add(severity_t::REFUSED, "no chunk 'CMPR', which names the compression");
    } else if (walk.uCompression == Id("DSD ")) {
        eCompression = compression_t::NONE;
    } else if (walk.uCompression == Id("DST ")) {
        eCompression = compression_t::DST;
    } else {
        eCompression = compression_t::UNKNOWN;
        walk.Add(severity_t::REFUSED, "unknown compression '" + IdText(walk.uCompression) + "'");
    }
    if (walk.bProperty && uSampleRate == 0) {
        walk.Add(severity_t::LENIENT, "no sample rate");
    }
    if (walk.bProperty) {
        JudgeChannels(walk);
    }
    JudgeSound(walk);
    JudgeTag(walk);
    for (const finding_t &finding : master.GetFindings()) {
        walk.Add(finding.eSeverity, finding.strText);
    }
}

void clDSDIFFInspector::JudgeChannels(clDSDIFFWalk &walk)
{
    if (auIds.empty()) {
        walk.Add(severity_t::REFUSED, "no channels");
        return;
    }
    if (auIds.size() > ChannelPlaces::MAX_CHANNELS) {
        walk.Add(severity_t::REFUSED, std::to_string(auIds.size()) +
                                          " channels, of which a DSF file has at most " +
                                          std::to_string(ChannelPlaces::MAX_CHANNELS));
        return;
    }
    layout = ChannelPlaces::GetLayout(auIds);
    const std::vector<ChannelPlaces::role_t> &aRoles = layout.aRoles;
    std::string strNames;
    for (size_t i = 0; i < aRoles.size(); ++i) {
        const bool bUnknown = aRoles[i] == ChannelPlaces::role_t::UNKNOWN;
        strNames += bUnknown ? " '" + IdText(auIds[i]) + "'"
                             : std::string(" ") + ChannelPlaces::GetName(aRoles[i]);
        if (!bUnknown && std::count(aRoles.begin(), aRoles.end(), aRoles[i]) > 1 &&
            std::find(aRoles.begin(), aRoles.end(), aRoles[i]) ==
                aRoles.begin() + static_cast<ptrdiff_t>(i)) {
            walk.Add(severity_t::LENIENT, std::string("two channels claim the place ") +
                                              ChannelPlaces::GetName(aRoles[i]));
        }
    }
    if (layout.uType == 0 && !layout.bConflict) {
        walk.Add(severity_t::LENIENT, "no DSF channel type names the channels" + strNames);
    }
}

void clDSDIFFInspector::JudgeSound(clDSDIFFWalk &walk)
{
    const bool bDST = eCompression == compression_t::DST;
    const bool bKnown = bDST || eCompression == compression_t::NONE;
    const sound_t &other = bDST ? walk.raw : walk.dst;
    sound = bDST || (!bKnown && !walk.raw.bFound) ? walk.dst : walk.raw;
    if (!sound.bFound) {
        walk.Add(severity_t::REFUSED,
                 std::string("no sound data chunk") +
                     (other.bFound ? bDST ? ": the compression is 'DST ', the only one is 'DSD '"
                                          : ": the compression is 'DSD ', the only one is 'DST '"
                                   : ""));
        return;
    }
    if (sound.uPresent < sound.uAnnounced) {
        walk.Add(severity_t::LENIENT, "sound data ends early: " + std::to_string(sound.uPresent) +
                                          " of " + std::to_string(sound.uAnnounced) +
                                          " announced bytes are there");
    }
    if (bDST) {
        JudgeDST(walk);
    } else if (!auIds.empty() && sound.uPresent % auIds.size() != 0) {
        walk.Add(severity_t::LENIENT,
                 "sound data ends within a frame: " + CountText(sound.uPresent, "byte") + " for " +
                     CountText(auIds.size(), "channel"));
    }
}

// Counts the frames. Whether they can be decoded is seen when they are.
void clDSDIFFInspector::JudgeDST(clDSDIFFWalk &walk)
{
    if (!clDSTDecoder::IsRate(uSampleRate)) {
        walk.Add(severity_t::REFUSED,
                 "DST sound cannot have a sample rate of " + std::to_string(uSampleRate) + " Hz");
    }
    clDSTFrames frames(walk.GetStream(), {sound.uOffset, sound.uPresent});
    clDSTFrames::info_t info;
    if (!frames.ReadInfo(info)) {
        walk.Add(severity_t::REFUSED, "DST sound does not begin with the chunk 'FRTE'");
        return;
    }
    if (info.uRate != clDSTFrames::RATE) {
        walk.Add(severity_t::LENIENT, "DST sound of " + CountText(info.uRate, "frame") +
                                          " a second, not of " + std::to_string(clDSTFrames::RATE));
    }
    clDSTFrames::frame_t frame;
    while (frames.Next(frame)) {
        ++uFrames;
    }
    // Of a chunk that the file cuts off, JudgeSound has told it.
    if (!frames.GetFault().empty() && sound.uPresent == sound.uAnnounced) {
        walk.Add(severity_t::LENIENT, frames.GetFault());
    }
    if (uFrames != info.uFrames) {
        walk.Add(severity_t::LENIENT, CountText(info.uFrames, "DST frame") + " announced, " +
                                          std::to_string(uFrames) + " there");
    }
}

// Of several tags in chunks the last one is that of the file.
void clDSDIFFInspector::JudgeTag(clDSDIFFWalk &walk)
{
    if (!aTagChunks.empty() && !TagRegion::IsTag(walk.file, aTagChunks.back())) {
        walk.Add(severity_t::WARNING,
                 ChunkText(Id("ID3 "), aTagChunks.back().uOffset - clDSDIFFWalk::HEADER_SIZE) +
                     " does not begin with 'ID3'",
                 true);
    }
}
