#pragma once

#include "base/clString.h"
#include "id3/clID3base.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>

class clID3frame;

/**
 * An ID3v2 tag of version 2.2, 2.3 or 2.4.
 *
 * Owns its frames, which are copies: the parsed bytes may go once Parse has returned. One thread at
 * a time.
 */
class clID3tag : public clID3base
{
public:
    clID3tag();
    clID3tag(const clID3tag &) = delete;
    clID3tag &operator=(const clID3tag &) = delete;

    /** Empties the tag; pointers it gave out become invalid. */
    void Reset() override;
    ~clID3tag() noexcept(false) override;

    /**
     * Replaces the content by that of a complete tag. A version above 2.4.0 and an unsynchronised
     * tag are no errors but leave the tag without frames; this is deliberate.
     *
     * @param pTag    borrowed for the duration of the call; null counts as no bytes
     * @param uLength bytes; frames are looked for in all of them, whatever size the header
     * announces
     * @throws clXID3tag for malformed bytes; the frames read until then stay
     * @throws std::runtime_error when memory is short
     */
    void Parse(const void *pTag, uint64_t uLength);

    // The first frame read that carries the field; the text is empty when there is none.

    clString GetTitle() const;
    /** The composer, failing that the lead performer. */
    clString GetComposer() const;
    /** The lead performer only when GetComposer is a composer; else band, conductor. */
    clString GetPerformer() const;
    clString GetAlbum() const;

    /** The number in front of a "/"; 0 without a track or when its text is not a number. */
    int GetTrack() const;

    // The first picture that is a front cover or of no stated kind; no other is ever chosen. The
    // pointers are valid until the next Parse or Reset.

    /** Null without a picture; empty when the picture names no type. */
    const char *GetPictureMimeType() const;
    /** Bytes; 0 without a picture. */
    uint64_t GetPictureSize() const;
    /** Null without a picture, and for one of no bytes. */
    const void *GetPicture() const;

protected:
    uint8_t aId[3] = {};
    // Major version in the high byte, revision in the low one.
    uint16_t uVersion = 0;
    uint8_t uFlags = 0;
    // Of all between header and footer, as the header has it.
    uint32_t uSize = 0;
    uint32_t uExtSize = 0;
    uint8_t uExtFlagBytes = 0;
    uint8_t uExtFlags = 0;
    // Kept, not compared with anything.
    uint32_t uCRC = 0;
    uint8_t uRestrictions = 0;
    uint8_t aFooterId[3] = {};
    uint16_t uFooterVersion = 0;
    uint8_t uFooterFlags = 0;
    uint32_t uFooterSize = 0;
    // By frame id; frames of one id stay in the order they were read.
    std::multimap<clString, std::unique_ptr<clID3frame>> mapFrames;

private:
    void ParseExtendedHeader();
    void ParseFrames();
    template <class FRAME>
    void ParseFramesOf(uint64_t sizeHeader, uint64_t sizeId, clString (FRAME::*pGetId)() const);
    void ParseFooter();
    // Whether padding or the footer is next; as many bytes must remain.
    bool AtEnd(uint64_t sizeId) const;
    // The first frame read of the first id that has one, null when none has.
    const clID3frame *FindFirst(std::initializer_list<const char *> ids) const;
    clString GetTextOf(std::initializer_list<const char *> ids) const;
    const clID3frame *FindPicture() const;
};
