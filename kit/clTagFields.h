#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/**
 * The fields of an ID3v2 tag for people. Texts are UTF-8; empty texts and zeros for missing fields.
 * One thread at a time; different objects on different threads.
 */
class clTagFields
{
public:
    using bytes_t = std::vector<uint8_t>;

    std::string strTitle;
    std::string strArtist;
    std::string strAlbum;
    /** As in the tag, "3" or "3/12"; Make takes uTrack and uTracks instead. */
    std::string strTrack;
    uint32_t uTrack = 0;
    uint32_t uTracks = 0;

    // Only read, never made.

    std::string strVersion; ///< "2.3.0"
    std::string strYear;
    uint32_t uYear = 0;
    std::string strGenre;
    size_t sizePictures = 0;

    /** Reads a tag from memory. Hostile bytes give fewer fields, never a failure; compressed frames
     * count as missing. @throws std::bad_alloc */
    static clTagFields Read(const uint8_t *cpTag, size_t sizeTag);

    /** Makes an ID3v2.3 tag of title, artist, album, track and the pictures of another tag, which
     * may be null. @return no bytes when there is nothing to put into a tag
     * @throws std::runtime_error when the tag would be larger than its format allows */
    bytes_t Make(const uint8_t *cpPictures = nullptr, size_t sizePicturesTag = 0) const;

    /** A text of unknown encoding as UTF-8: itself when valid, else taken as Latin-1. Zero bytes at
     * its end are cut off. */
    static std::string ToUTF8(const std::string &strText);
};
