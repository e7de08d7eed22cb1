#include "kit/clTagFields.h"

#include "kit/Printable.h"
#include "kit/TagFrames.h"

#include <charconv>
#include <initializer_list>
#include <memory>
#include <stdexcept>

#include <attachedpictureframe.h>
#include <id3v2framefactory.h>
#include <id3v2tag.h>
#include <mpegfile.h>
#include <tbytevectorstream.h>
#include <textidentificationframe.h>

namespace
{

namespace ID3v2 = TagLib::ID3v2;

// The synchsafe size of a tag.
constexpr size_t LARGEST_TAG = (size_t{1} << 28) - 1;

// A tag in memory. Only the requested frames reach TagLib: it would expand compressed
// frames without a bound, and descend into nested chapters until the stack ends.
class clParsedTag
{
public:
    clParsedTag(const uint8_t *cpTag, size_t sizeTag, std::initializer_list<const char *> ids)
    {
        const std::vector<uint8_t> selected = TagFrames::Select(cpTag, sizeTag, ids);
        if (selected.empty()) {
            return;
        }
        pStream = std::make_unique<TagLib::ByteVectorStream>(
            TagLib::ByteVector(reinterpret_cast<const char *>(selected.data()),
                               static_cast<unsigned>(selected.size())));
        pFile = std::make_unique<TagLib::MPEG::File>(pStream.get(), ID3v2::FrameFactory::instance(),
                                                     false);
    }

    /** Null when there is none. */
    const ID3v2::Tag *Get() const { return pFile ? pFile->ID3v2Tag(false) : nullptr; }

private:
    std::unique_ptr<TagLib::ByteVectorStream> pStream;
    std::unique_ptr<TagLib::MPEG::File> pFile;
};

std::string TextOf(const ID3v2::Tag &tag, const char *cpId)
{
    const ID3v2::FrameList &frames = tag.frameList(cpId);
    return frames.isEmpty() ? std::string() : frames.front()->toString().to8Bit(true);
}

// The number at the start of a text, 0 without one.
uint32_t LeadingNumber(const char *cpBegin, const char *cpEnd)
{
    uint32_t uNumber = 0;
    return std::from_chars(cpBegin, cpEnd, uNumber).ec == std::errc() ? uNumber : 0;
}

void AddText(ID3v2::Tag &tag, const char *cpId, const std::string &strText)
{
    if (strText.empty()) {
        return;
    }
    // Latin-1 is widened to UTF-16 where a text needs it.
    auto pFrame = std::make_unique<ID3v2::TextIdentificationFrame>(cpId, TagLib::String::Latin1);
    pFrame->setText(TagLib::String(strText, TagLib::String::UTF8));
    tag.addFrame(pFrame.release());
}

bool IsUTF8(const std::string &strText)
{
    for (size_t sizeAt = 0; sizeAt < strText.size();) {
        const character_t character = NextCharacter(strText, sizeAt);
        if (!character.bValid) {
            return false;
        }
        sizeAt += character.sizeBytes;
    }
    return true;
}

} // namespace

clTagFields clTagFields::Read(const uint8_t *cpTag, size_t sizeTag)
{
    clTagFields fields;
    if (TagFrames::IsTag(cpTag, sizeTag) && sizeTag >= 5) {
        fields.strVersion = "2." + std::to_string(cpTag[3]) + '.' + std::to_string(cpTag[4]);
    }
    const clParsedTag parsed(cpTag, sizeTag,
                             {"TIT2", "TPE1", "TALB", "TRCK", "TYER", "TDRC", "TCON", "APIC", "TT2",
                              "TP1", "TAL", "TRK", "TYE", "TCO", "PIC"});
    const ID3v2::Tag *const pTag = parsed.Get();
    if (pTag == nullptr) {
        return fields;
    }
    fields.strTitle = TextOf(*pTag, "TIT2");
    fields.strArtist = TextOf(*pTag, "TPE1");
    fields.strAlbum = TextOf(*pTag, "TALB");
    fields.strTrack = TextOf(*pTag, "TRCK");
    fields.strYear = TextOf(*pTag, "TDRC");
    fields.strGenre = pTag->genre().to8Bit(true);
    fields.sizePictures = pTag->frameList("APIC").size();

    const char *const cpTrackEnd = fields.strTrack.data() + fields.strTrack.size();
    fields.uTrack = LeadingNumber(fields.strTrack.data(), cpTrackEnd);
    const size_t sizeSlash = fields.strTrack.find('/');
    if (sizeSlash != std::string::npos) {
        fields.uTracks = LeadingNumber(fields.strTrack.data() + sizeSlash + 1, cpTrackEnd);
    }
    fields.uYear =
        LeadingNumber(fields.strYear.data(), fields.strYear.data() + fields.strYear.size());
    return fields;
}

clTagFields::bytes_t clTagFields::Make(const uint8_t *cpPictures, size_t sizePicturesTag) const
{
    if (strArtist.empty() && strTitle.empty() && strAlbum.empty() && uTrack == 0 &&
        cpPictures == nullptr) {
        return {};
    }
    ID3v2::Tag tag;
    AddText(tag, "TPE1", strArtist);
    AddText(tag, "TIT2", strTitle);
    AddText(tag, "TALB", strAlbum);
    if (uTrack != 0) {
        const std::string strTotal = uTracks == 0 ? "" : '/' + std::to_string(uTracks);
        AddText(tag, "TRCK", std::to_string(uTrack) + strTotal);
    }
    if (cpPictures != nullptr) {
        const clParsedTag parsed(cpPictures, sizePicturesTag, {"APIC", "PIC"});
        if (parsed.Get() != nullptr) {
            for (const ID3v2::Frame *pFrame : parsed.Get()->frameList("APIC")) {
                tag.addFrame(new ID3v2::AttachedPictureFrame(pFrame->render()));
            }
        }
    }
    if (tag.frameList().isEmpty()) {
        return {};
    }
    const TagLib::ByteVector bytes = tag.render(ID3v2::v3);
    if (bytes.size() > LARGEST_TAG) {
        throw std::runtime_error("the texts and pictures are too large for a tag");
    }
    return {bytes.begin(), bytes.end()};
}

std::string clTagFields::ToUTF8(const std::string &strText)
{
    std::string strCut = strText;
    while (!strCut.empty() && strCut.back() == '\0') {
        strCut.pop_back();
    }
    return IsUTF8(strCut) ? strCut : TagLib::String(strCut, TagLib::String::Latin1).to8Bit(true);
}
