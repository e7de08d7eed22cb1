#pragma once

#include "base/clAlloc.h"
#include "base/clString.h"
#include "id3/clID3base.h"

#include <cstdint>

/**
 * One frame of an ID3v2.4 tag; the subclasses are those of the older versions.
 *
 * The constructor reads header and body and copies what it keeps, so the frame outlives the bytes
 * of the tag. Text, URL and picture frames are decoded; every other body, those of user-defined
 * text and URLs included, stays as it is. UTF-16 without a mark is read in the order of this
 * machine, in a text frame of encoding 2 with the highest byte first. The flags are kept and never
 * acted on: what is compressed, encrypted, unsynchronised or grouped is read as if it were plain.
 * All this is deliberate. One thread at a time.
 *
 * The virtual functions stand in the order of their slots.
 */
class clID3frame : public clID3base
{
public:
    /**
     * Reads the frame at a cursor, which moves behind it; after a failure it is where it was.
     *
     * @param uTagRemaining bytes from the cursor to the end of the tag
     * @throws clXID3tag for malformed bytes; std::runtime_error when memory is short
     */
    clID3frame(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining);
    clID3frame(const clID3frame &) = delete;
    clID3frame &operator=(const clID3frame &) = delete;

    /** Clears the header and the cursor; the decoded body stays. */
    void Reset() override;
    ~clID3frame() noexcept(false) override;

protected:
    virtual void ReadHeader();

public:
    virtual clString GetId() const;

    /**
     * The body: the bytes of the picture of a picture frame, else the body as read, without the
     * encoding byte of a text. Text is followed by two zero bytes and a URL by one.
     */
    virtual const clAlloc &GetData() const;

    /** The text or URL, or the description of a picture. */
    virtual const clString &GetText() const;

    /** Of a picture; empty when it names none. */
    virtual const clString &GetMimeType() const;

    /** Of a picture, 3 being the front cover and 0 no stated kind; 0 for every other frame. */
    virtual uint8_t GetPictureType() const;

protected:
    // For the subclasses: a frame that has read nothing yet.
    clID3frame();

    // The steps of a constructor, which calls them around its own ReadHeader.
    void Begin(const uint8_t *cpTagCursor, uint64_t uTagRemaining) noexcept;
    void RequireBody(const char *cpFailure) const;
    void End(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining) const noexcept;

    // What an encoding above 2 means to a text frame.
    enum highencoding_t : int { HIGH_IS_UTF8 = 0, HIGH_IS_UTF16 = 1 };

    void DecodeBody(highencoding_t high, const char *cpMismatch);
    void DecodeText(highencoding_t high);
    void DecodeRaw();
    // What is left of a picture frame's body behind its header.
    void DecodePictureData(uint64_t sizeHeader, const char *cpMismatch);

    bool IsId(const char *cpId) const noexcept;

    // The shorter id of ID3v2.2 is followed by a zero byte.
    uint8_t aId[4] = {};
    // Of the body, in bytes.
    uint32_t uSize = 0;
    uint16_t uFlags = 0;
    uint8_t uTextEncoding = 0;
    uint8_t uPictureType = 0;
    clAlloc allocData;
    clString strText;
    clString strMimeType;

private:
    void DecodeUrl();
    void DecodePicture(const char *cpMismatch);
};

/** A frame of an ID3v2.3 tag: a plain size, and no UTF-8 in text frames. */
class clID3frame3 : public clID3frame
{
public:
    /** As clID3frame. */
    clID3frame3(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining);

protected:
    void ReadHeader() override;
};

/**
 * A frame of an ID3v2.2 tag: ids of three characters, no flags, text as in ID3v2.3.
 *
 * A URL loses its last character, since its end is marked within the body; this is deliberate. A
 * picture names a format of three characters, of which PNG and JPG become a MIME type.
 */
class clID3frame2 : public clID3frame
{
public:
    /** As clID3frame. */
    clID3frame2(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining);

protected:
    void ReadHeader() override;

public:
    /** The id of three characters. */
    virtual clString GetShortId() const;

private:
    void DecodeShortBody();
    void DecodeShortUrl();
    void DecodeShortPicture();
};
