#pragma once

#include "base/Export.h"
#include "base/clAlloc.h"
#include "base/clString.h"
#include "id3/clID3base.h"

#include <cstdint>

/**
 * One frame of an ID3v2.4 tag; subclasses read the older versions. One thread at a time.
 *
 * The constructor reads and copies header and body, so the frame may outlive the tag's bytes. Text,
 * URL and picture frames are decoded; other bodies, also user-defined text and URLs, are not.
 * UTF-16 without a mark is in the machine's byte order, but big-endian in a text frame of encoding
 * 2. The flags are ignored: compressed, encrypted, unsynchronised or grouped bodies are read as
 * plain ones. Compatibility: callers rely on all this. The order of the virtual functions is fixed;
 * append only.
 */
class VANTREL_API clID3frame : public clID3base
{
public:
    /** Reads the frame at a cursor and moves that after it; a failure leaves the cursor unchanged.
     * uTagRemaining counts the bytes to the end of the tag.
     * @throws clXID3tag for malformed bytes; std::runtime_error when memory is short */
    clID3frame(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining);
    clID3frame(const clID3frame &) = delete;
    clID3frame &operator=(const clID3frame &) = delete;

    /** Clears the header and the cursor, but keeps the decoded body. */
    void Reset() override;
    ~clID3frame() noexcept(false) override;

protected:
    virtual void ReadHeader(); ///< reads id, size and flags in the layout of the version

public:
    virtual clString GetId() const; ///< four characters; of ID3v2.2 three

    /** The picture of a picture frame, else the body; of a text without the encoding byte, but with
     * two added zero bytes, of a URL with one. */
    virtual const clAlloc &GetData() const;

    virtual const clString &GetText() const; ///< a text or URL, or the description of a picture

    virtual const clString &GetMimeType() const; ///< of a picture; empty if it has none

    /** Of a picture: 3 is the front cover, 0 unspecified. 0 for any other frame. */
    virtual uint8_t GetPictureType() const;

protected:
    // For subclasses, whose constructors call these steps around their own ReadHeader.
    clID3frame();                                                                ///< an empty frame
    void SetCursor(const uint8_t *cpTagCursor, uint64_t uTagRemaining) noexcept; ///< starts reading
    void RequireBody(const char *cpFailure) const; ///< throws clXID3tag unless uSize bytes are left
    /** Ends reading: passes the position on to the tag. */
    void ReturnCursor(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining) const noexcept;

    /** The meaning of an encoding above 2 in a text frame. */
    enum highencoding_t : int {
        HIGH_IS_UTF8 = 0, ///< ID3v2.4
        HIGH_IS_UTF16 = 1 ///< older versions
    };

    /** Reads and decodes the body by its id. @throws clXID3tag with cpMismatch for a picture frame
     * whose texts are longer than the frame; std::runtime_error when memory is short */
    void DecodeBody(highencoding_t high, const char *cpMismatch);
    void DecodeText(highencoding_t high); ///< reads the body of a text frame
    void DecodeRaw();                     ///< reads the body into allocData
    /** Reads the rest of a picture frame's body after sizeHeader bytes. Throws as DecodeBody. */
    void DecodePictureData(uint64_t sizeHeader, const char *cpMismatch);

    bool IsId(const char *cpId) const noexcept; ///< whether aId is cpId

    uint8_t aId[4] = {};       ///< of ID3v2.2: three characters and a zero byte
    uint32_t uSize = 0;        ///< of the body
    uint16_t uFlags = 0;       ///< as in the header; not used
    uint8_t uTextEncoding = 0; ///< 0: ISO 8859-1, 1 and 2: UTF-16, 3: UTF-8
    uint8_t uPictureType = 0;  ///< as GetPictureType
    clAlloc allocData;         ///< as GetData
    clString strText;          ///< as GetText
    clString strMimeType;      ///< as GetMimeType

private:
    void DecodeUrl();
    void DecodePicture(const char *cpMismatch);
};

/** A frame of an ID3v2.3 tag: sizes are not synchsafe, text frames have no UTF-8. */
class VANTREL_API clID3frame3 : public clID3frame
{
public:
    /** As the constructor of clID3frame. */
    clID3frame3(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining);

protected:
    void ReadHeader() override;
};

/**
 * A frame of an ID3v2.2 tag: ids of three characters, no flags, text as in ID3v2.3. The terminator
 * replaces the last character of a URL. Compatibility: callers rely on it. Only the picture formats
 * PNG and JPG give a MIME type.
 */
class VANTREL_API clID3frame2 : public clID3frame
{
public:
    /** As the constructor of clID3frame. */
    clID3frame2(const uint8_t *&cpTagCursor, uint64_t &uTagRemaining);

protected:
    void ReadHeader() override;

public:
    virtual clString GetShortId() const; ///< three characters

private:
    void DecodeShortBody();
    void DecodeShortUrl();
    void DecodeShortPicture();
};
