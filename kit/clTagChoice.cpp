#include "kit/clTagChoice.h"

#include "dsd/TagRegion.h"
#include "kit/TagFrames.h"
#include "kit/clCommandLine.h"
#include "kit/clFileStream.h"
#include "kit/clInputFile.h"
#include "kit/clStopSignal.h"
#include "kit/clTagFields.h"
#include "kit/clXInput.h"

#include <algorithm>

namespace
{

constexpr uint64_t PIECE = 1 << 20;

} // namespace

void clTagChoice::Choose(const clInputFile &input, const options_t &options, bool bBytes)
{
    source = source_t::NONE;
    uSize = 0;
    // Not only cleared: a large picture must not stay in memory for all inputs to come.
    bytes = std::vector<uint8_t>();
    strWarning.clear();
    if (options.bNoTag) {
        return;
    }
    const clDSDIFFInspector &found = input.GetDSDIFF();
    if (options.strTag) {
        const std::string strName = "tag file " + *options.strTag;
        try {
            clFileStream stream(*options.strTag);
            Take(source_t::GIVEN, stream, 0, static_cast<uint64_t>(stream.GetSize()), bBytes,
                 strName);
        } catch (const clXStopped &) {
            throw;
        } catch (const clException &caught) {
            WrapException<clXInput>((strName + ": ").c_str(), caught);
        }
    } else if (!found.aTagChunks.empty()) {
        const region_t &chunk = found.aTagChunks.back();
        Take(source_t::CARRIED, input.GetStream(), chunk.uOffset, chunk.uSize, bBytes,
             "tag chunk 'ID3 ' at byte " + std::to_string(chunk.uOffset));
    } else if (found.appendedTag.uSize != 0) {
        const region_t &tag = found.appendedTag;
        Take(source_t::CARRIED, input.GetStream(), tag.uOffset, tag.uSize, bBytes,
             "tag after the form at byte " + std::to_string(tag.uOffset));
    } else {
        Make(found.master.strArtist, found.master.strTitle);
    }
}

const char *clTagChoice::GetName() const noexcept
{
    switch (source) {
    case source_t::GIVEN:
        return "given";
    case source_t::CARRIED:
        return "carried";
    case source_t::MADE:
        return "made";
    default:
        return "none";
    }
}

void clTagChoice::Take(source_t from, clInputStream &stream, uint64_t uOffset, uint64_t uBytes,
                       bool bBytes, const std::string &strName)
{
    uint8_t aStart[3] = {};
    stream.Seek(static_cast<off_t>(uOffset));
    const size_t sizeStart = stream.ReadFully(aStart, std::min<uint64_t>(uBytes, sizeof(aStart)));
    if (!TagFrames::IsTag(aStart, sizeStart)) {
        // The inspection has reported the own tags.
        if (from == source_t::GIVEN) {
            strWarning = strName + " does not begin with 'ID3' and is left out";
        }
        return;
    }
    // A larger source is no tag, and its size must not size a buffer.
    if (uBytes > TagRegion::MAX_SIZE) {
        throw clXInput(strName + " has " + std::to_string(uBytes) +
                       " bytes, more than an ID3v2 tag can have");
    }
    source = from;
    uSize = uBytes;
    if (!bBytes) {
        return;
    }
    bytes.resize(static_cast<size_t>(uBytes));
    stream.Seek(static_cast<off_t>(uOffset));
    for (uint64_t uDone = 0; uDone < uBytes;) {
        clStopSignal::ThrowIfStopped();
        const uint64_t uNow = std::min(PIECE, uBytes - uDone);
        if (stream.ReadFully(&bytes[uDone], uNow) != uNow) {
            throw clXInput(strName + " ends early");
        }
        uDone += uNow;
    }
    stream.ThrowIfChanged();
}

void clTagChoice::Make(const std::string &strArtist, const std::string &strTitle)
{
    clTagFields fields;
    fields.strArtist = clTagFields::ToUTF8(strArtist);
    fields.strTitle = clTagFields::ToUTF8(strTitle);
    bytes = fields.Make();
    uSize = bytes.size();
    source = bytes.empty() ? source_t::NONE : source_t::MADE;
}
