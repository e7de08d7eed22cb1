#include "id3/clID3tag.h"

#include "base/clException.h"
#include "id3/clID3frame.h"

#include <cstring>
#include <string>
#include <utility>

namespace
{

constexpr uint16_t VERSION_NEWEST = 0x0400;

// Header flags.
constexpr uint8_t FLAG_UNSYNCHRONISED = 0x80;
constexpr uint8_t FLAG_EXTENDED = 0x40;
constexpr uint8_t FLAG_FOOTER = 0x10;

// Extended header flags.
constexpr uint8_t EXT_FLAG_UPDATE = 0x40;
constexpr uint8_t EXT_FLAG_CRC = 0x20;
constexpr uint8_t EXT_FLAG_RESTRICTIONS = 0x10;

constexpr uint64_t HEADER_SIZE = 10;
constexpr uint64_t FOOTER_SIZE = 10;

constexpr char HEADER_ID[] = "ID3";
constexpr char FOOTER_ID[] = "3DI";

constexpr uint8_t PICTURE_OTHER = 0;
constexpr uint8_t PICTURE_FRONT_COVER = 3;

} // namespace

clID3tag::clID3tag() = default;

clID3tag::~clID3tag() noexcept(false) = default;

void clID3tag::Reset()
{
    clID3base::Reset();
    std::memset(aId, 0, sizeof(aId));
    uVersion = 0;
    uFlags = 0;
    uSize = 0;
    uExtSize = 0;
    uExtFlagBytes = 0;
    uExtFlags = 0;
    uCRC = 0;
    uRestrictions = 0;
    std::memset(aFooterId, 0, sizeof(aFooterId));
    uFooterVersion = 0;
    uFooterFlags = 0;
    uFooterSize = 0;
    mapFrames.clear();
}

void clID3tag::Parse(const void *pTag, uint64_t uLength)
{
    // pTag may point into a frame of the last parse, so these frames are deleted at the end.
    decltype(mapFrames) mapOld;
    mapOld.swap(mapFrames);
    Reset();

    // Ends the borrowing of the bytes on every return.
    const struct cursor_guard {
        clID3tag &tag;
        ~cursor_guard() { tag.clID3base::Reset(); }
    } guard{*this};
    cpCursor = static_cast<const uint8_t *>(pTag);
    uRemaining = pTag == nullptr ? 0 : uLength;

    ReadBytes(aId, sizeof(aId));
    if (std::memcmp(aId, HEADER_ID, sizeof(aId)) != 0) {
        throw clXID3tag("clID3tag::Parse(): not an ID3v2 tag");
    }
    uVersion = ReadWord();
    if (uVersion > VERSION_NEWEST) {
        return;
    }
    uFlags = ReadByte();
    uSize = ReadSS4();
    if ((uFlags & FLAG_UNSYNCHRONISED) != 0) {
        return;
    }

    // Compatibility: for an input shorter than header and footer the difference wraps, and the
    // check passes.
    const bool bFooter = (uFlags & FLAG_FOOTER) != 0;
    if (uSize > uLength - (bFooter ? HEADER_SIZE + FOOTER_SIZE : HEADER_SIZE)) {
        throw clXID3tag("clID3tag::Parse(): incomplete data");
    }
    if ((uFlags & FLAG_EXTENDED) != 0) {
        ParseExtendedHeader();
    }
    ParseFrames();
    if (bFooter) {
        ParseFooter();
    }
}

void clID3tag::ParseExtendedHeader()
{
    uExtSize = ReadSS4();
    uExtFlagBytes = ReadByte();
    uExtFlags = ReadByte();
    // Compatibility: every version is read in the layout of 2.4, so most extended headers of 2.3
    // are refused.
    if (uVersion >> 8 == 3) {
        ReadDWord();
    }
    if (uExtSize < 6 || uExtFlagBytes != 1) {
        throw clXID3tag("clID3tag::Parse(): invalid extended header");
    }
    if ((uExtFlags & EXT_FLAG_UPDATE) != 0 && ReadByte() != 0) {
        throw clXID3tag("clID3tag::Parse(): update size != 0");
    }
    if ((uExtFlags & EXT_FLAG_CRC) != 0) {
        if (ReadByte() != 5) {
            throw clXID3tag("clID3tag::Parse(): CRC32 size != 5");
        }
        uCRC = ReadSS5();
    }
    if ((uExtFlags & EXT_FLAG_RESTRICTIONS) != 0) {
        if (ReadByte() != 1) {
            throw clXID3tag("clID3tag::Parse(): restrictions size != 1");
        }
        uRestrictions = ReadByte();
    }
}

void clID3tag::ParseFrames()
{
    switch (uVersion >> 8) {
    case 4:
        ParseFramesOf<clID3frame>(10, 4, &clID3frame::GetId);
        break;
    case 3:
        ParseFramesOf<clID3frame3>(10, 4, &clID3frame3::GetId);
        break;
    case 2:
        ParseFramesOf<clID3frame2>(6, 3, &clID3frame2::GetShortId);
        break;
    default:
        break;
    }
}

template <class FRAME>
void clID3tag::ParseFramesOf(uint64_t sizeHeader, uint64_t sizeId,
                             clString (FRAME::*pGetId)() const)
{
    while (uRemaining >= sizeHeader && !AtEnd(sizeId)) {
        auto pFrame = std::make_unique<FRAME>(cpCursor, uRemaining);
        const clString strId((*pFrame.*pGetId)());
        mapFrames.emplace(strId, std::move(pFrame));
    }
}

void clID3tag::ParseFooter()
{
    if (uRemaining < FOOTER_SIZE) {
        throw clXID3tag("clID3tag::Parse(): no footer, incomplete data");
    }
    cpCursor += uRemaining - FOOTER_SIZE;
    uRemaining = FOOTER_SIZE;
    ReadBytes(aFooterId, sizeof(aFooterId));
    if (std::memcmp(aFooterId, FOOTER_ID, sizeof(aFooterId)) != 0) {
        throw clXID3tag("clID3tag::Parse(): invalid footer");
    }
    uFooterVersion = ReadWord();
    uFooterFlags = ReadByte();
    uFooterSize = ReadSS4();
}

bool clID3tag::AtEnd(uint64_t sizeId) const
{
    static constexpr uint8_t aPadding[4] = {};
    return std::memcmp(cpCursor, FOOTER_ID, sizeof(aFooterId)) == 0 ||
           std::memcmp(cpCursor, aPadding, sizeId) == 0;
}

clString clID3tag::GetTitle() const
{
    return GetTextOf({"TIT2", "TT2"});
}

clString clID3tag::GetComposer() const
{
    return GetTextOf({"TCOM", "TPE1", "TP1"});
}

clString clID3tag::GetPerformer() const
{
    // Without a composer, GetComposer returns the lead performer.
    if (FindFirst({"TCOM"}) != nullptr) {
        return GetTextOf({"TPE1", "TPE2", "TPE3", "TP2", "TP3"});
    }
    return GetTextOf({"TPE2", "TPE3", "TP2", "TP3"});
}

clString clID3tag::GetAlbum() const
{
    return GetTextOf({"TALB", "TAL"});
}

int clID3tag::GetTrack() const
{
    try {
        const clString strTrack(GetTextOf({"TRCK", "TRK"}));
        // Not SubString, whose 32-bit count would wrap for a text above 4 GiB.
        const std::string strNumber(strTrack.c_str(), strTrack.CSpan("/"));
        return clString(strNumber.c_str()).ToInt();
    } catch (const clException &) {
        return 0;
    }
}

const char *clID3tag::GetPictureMimeType() const
{
    const clID3frame *pPicture = FindPicture();
    return pPicture == nullptr ? nullptr : pPicture->GetMimeType().c_str();
}

uint64_t clID3tag::GetPictureSize() const
{
    const clID3frame *pPicture = FindPicture();
    return pPicture == nullptr ? 0 : static_cast<uint64_t>(pPicture->GetData().GetSize());
}

const void *clID3tag::GetPicture() const
{
    const clID3frame *pPicture = FindPicture();
    return pPicture == nullptr ? nullptr : pPicture->GetData().GetPtr();
}

const clID3frame *clID3tag::FindFirst(std::initializer_list<const char *> ids) const
{
    for (const char *cpId : ids) {
        // Unlike find(), equal_range() gives the first of several frames.
        const auto range = mapFrames.equal_range(clString(cpId));
        if (range.first != range.second) {
            return range.first->second.get();
        }
    }
    return nullptr;
}

clString clID3tag::GetTextOf(std::initializer_list<const char *> ids) const
{
    const clID3frame *pFrame = FindFirst(ids);
    return pFrame == nullptr ? clString() : pFrame->GetText();
}

const clID3frame *clID3tag::FindPicture() const
{
    for (const char *cpId : {"APIC", "PIC"}) {
        const auto range = mapFrames.equal_range(clString(cpId));
        for (auto it = range.first; it != range.second; ++it) {
            const uint8_t uType = it->second->GetPictureType();
            if (uType == PICTURE_FRONT_COVER || uType == PICTURE_OTHER) {
                return it->second.get();
            }
        }
    }
    return nullptr;
}
