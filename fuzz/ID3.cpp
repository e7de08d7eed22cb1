#include "fuzz/Use.h"
#include "id3/clID3frame.h"

namespace
{

// A tag that shows its frames.
class clFrames : public clID3tag
{
public:
    void Use() const
    {
        for (const auto &[strId, pFrame] : mapFrames) {
            const auto *pShort = dynamic_cast<const clID3frame2 *>(pFrame.get());
            const clString strOwnId = pShort != nullptr ? pShort->GetShortId() : pFrame->GetId();
            Check(strId.Compare(strOwnId.c_str()) == 0, "a frame stands under another id");
            CheckText(pFrame->GetText());
            CheckText(pFrame->GetMimeType());
            const clAlloc &data = pFrame->GetData();
            Touch(data.GetPtr(), static_cast<uint64_t>(data.GetSize()));
            pFrame->GetPictureType();
        }
        UseTag(*this);
    }
};

} // namespace

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clFrames tag;
    Try([&] { tag.Parse(pData, sizeData); });
    tag.Use();
    // Once more on the same object, as a part of itself.
    Try([&] { tag.Parse(pData, sizeData / 2); });
    tag.Use();
    Try([&] { tag.Parse(tag.GetPicture(), tag.GetPictureSize()); });
    tag.Use();
    tag.Reset();
    tag.Use();
}
