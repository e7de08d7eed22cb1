#pragma once

#include "base/Export.h"
#include "base/clString.h"
#include "id3/clID3base.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>

class clID3frame;

/**
 * An ID3v2 tag of version 2.2, 2.3 or 2.4. Owns its frames, which are copies of the parsed bytes.
 * One thread at a time.
 */
class VANTREL_API clID3tag : public clID3base
{
public:
    clID3tag();
    clID3tag(const clID3tag &) = delete;
    clID3tag &operator=(const clID3tag &) = delete;

    /** Empties the tag and invalidates the pointers of the getters. */
    void Reset() override;
    ~clID3tag() noexcept(false) override;

    /** Replaces the content by a complete tag. A version above 2.4.0 or an unsynchronised tag is no
     * error, but gives no frames. Compatibility: callers rely on it.
     * @param pTag borrowed for the call; null counts as no bytes
     * @param uLength bytes; frames are read from all of them, independent of the header's size
     * @throws clXID3tag for malformed bytes; earlier frames stay; std::runtime_error when memory is
     * short */
    void Parse(const void *pTag, uint64_t uLength);

    /** The title. As the other texts: of the first frame with the field; empty without one. */
    clString GetTitle() const;
    clString GetComposer() const; ///< the composer, else the lead performer
    /** The lead performer, unless GetComposer returns it; else band or conductor. */
    clString GetPerformer() const;
    clString GetAlbum() const; ///< the album

    int GetTrack() const; ///< the number before a "/", as clString::ToInt reads it; else 0

    /** The type of the picture; empty if it has none. The picture is the first that is a front
     * cover or unspecified; without one, this and the next two are null or 0. Pointers are valid
     * until the next Parse or Reset. */
    const char *GetPictureMimeType() const;
    uint64_t GetPictureSize() const; ///< in bytes
    const void *GetPicture() const;  ///< its bytes; null also for a picture of 0 bytes

protected:
    uint8_t aId[3] = {};   ///< "ID3"
    uint16_t uVersion = 0; ///< major version in the high byte, revision in the low byte
    uint8_t uFlags = 0;    ///< of the header
    uint32_t uSize = 0;    ///< of everything between header and footer, as in the header

    // Of the extended header and the footer. Kept for callers; only Parse reads some of them.
    uint32_t uExtSize = 0;       ///< of the extended header
    uint8_t uExtFlagBytes = 0;   ///< bytes of its flags
    uint8_t uExtFlags = 0;       ///< its flags
    uint32_t uCRC = 0;           ///< its check value; not checked
    uint8_t uRestrictions = 0;   ///< its restrictions; not applied
    uint8_t aFooterId[3] = {};   ///< "3DI"
    uint16_t uFooterVersion = 0; ///< as uVersion
    uint8_t uFooterFlags = 0;    ///< as uFlags
    uint32_t uFooterSize = 0;    ///< as uSize

    /** By id; frames with the same id are in reading order. */
    std::multimap<clString, std::unique_ptr<clID3frame>> mapFrames;

private:
    void ParseExtendedHeader();
    void ParseFrames();
    template <class FRAME>
    void ParseFramesOf(uint64_t sizeHeader, uint64_t sizeId, clString (FRAME::*pGetId)() const);
    void ParseFooter();
    // Whether padding or the footer follows; at least sizeId bytes must remain.
    bool AtEnd(uint64_t sizeId) const;
    // The first frame of the first id that has one; null without one.
    const clID3frame *FindFirst(std::initializer_list<const char *> ids) const;
    clString GetTextOf(std::initializer_list<const char *> ids) const;
    const clID3frame *FindPicture() const;
};
