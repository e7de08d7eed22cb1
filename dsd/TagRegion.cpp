#include "dsd/TagRegion.h"

#include "base/clAlloc.h"
#include "base/clException.h"
#include "dsd/clFileWindow.h"
#include "id3/clID3tag.h"
#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>

namespace
{

} // namespace

bool TagRegion::IsTag(clFileWindow &window, const region_t &region)
{
    char aId[3];
    window.Read(region.uOffset, aId, sizeof(aId));
    return region.uSize >= sizeof(aId) && std::memcmp(aId, "ID3", sizeof(aId)) == 0;
}

uint64_t TagRegion::GetAnnouncedSize(clFileWindow &window, uint64_t uOffset)
{
    constexpr uint8_t FOOTER = 0x10;

    uint8_t aHeader[HEADER_SIZE];
    window.Read(uOffset, aHeader, sizeof(aHeader));
    uint64_t uSize = 0;
    try {
        uSize = clID3base::SS2Int32(aHeader + 6, 4);
    } catch (const clXID3tag &) {
        return 0;
    }
    // Only version 2.4 has a footer.
    const bool bFooter = aHeader[3] == 4 && (aHeader[5] & FOOTER) != 0;
    return uSize + (bFooter ? 2 : 1) * HEADER_SIZE;
}

std::string TagRegion::FindFault(clStreamReader &stream, const region_t &region)
{
    const std::string strWhere = "the tag at byte " + std::to_string(region.uOffset);
    clFileWindow window(stream);
    const uint64_t uAnnounced = GetAnnouncedSize(window, region.uOffset);
    if (uAnnounced > region.uSize) {
        return strWhere + " announces " + std::to_string(uAnnounced) + " bytes, " +
               std::to_string(region.uSize) + " are there";
    }
    try {
        clAlloc bytes;
        stream.Seek(static_cast<off_t>(region.uOffset));
        // A chunk may be larger than any tag; what follows the tag needs no memory.
        const size_t sizeRead = stream.ReadFully(bytes, std::min(region.uSize, MAX_SIZE));
        clID3tag tag;
        tag.Parse(bytes.GetPtr(), sizeRead);
    } catch (const clXID3tag &caught) {
        return strWhere + " does not parse: " + caught.what();
    }
    return {};
}
