#include "dsd/clDSFInspector.h"

#include "dsd/Bytes.h"
#include "dsd/ChunkText.h"
#include "dsd/DSFLayout.h"
#include "dsd/TagRegion.h"
#include "dsd/clFileWindow.h"

#include <algorithm>
#include <array>

using namespace DSFLayout;

namespace
{

constexpr uint64_t DSD_SIZE = 28;
constexpr uint64_t FMT_SIZE = 52;
constexpr uint64_t DATA_HEADER_SIZE = 12;
constexpr uint64_t SOUND_START = DSD_SIZE + FMT_SIZE + DATA_HEADER_SIZE;
constexpr uint32_t VERSION_1 = 1;
constexpr uint32_t BITS_LSB_FIRST = 1;
constexpr uint32_t BITS_MSB_FIRST = 8;
constexpr uint32_t STANDARD_BLOCK_SIZE = 4096;

} // namespace

/** One pass over a file. */
class clDSFInspector::clWalk
{
public:
    clWalk(clDSFInspector &inspector, clStreamReader &stream) : to(inspector), file(stream) {}

    void Run();

private:
    void Add(severity_t eSeverity, const std::string &strText)
    {
        to.findings.push_back({eSeverity, strText});
    }

    bool HasChunks();
    bool IsProvisional() const;
    void ReadFormat();
    void CheckSampleCount();
    void CheckPadding();
    void CheckMetadata();

    clDSFInspector &to;
    clFileWindow file;
    // The headers of the file.
    std::array<uint8_t, SOUND_START> aHeaders;
    const uint8_t *const cpFormat = aHeaders.data() + DSD_SIZE;
    // Bytes of sound data that the header of the data chunk announces.
    uint64_t uAnnounced = 0;
};

void clDSFInspector::Inspect(clStreamReader &stream)
{
    *this = clDSFInspector();
    clWalk(*this, stream).Run();
}

void clDSFInspector::CheckTags(clStreamReader &stream)
{
    if (tag.uSize == 0) {
        return;
    }
    const std::string strFault = TagRegion::FindFault(stream, tag);
    if (!strFault.empty()) {
        findings.push_back({severity_t::CHECK, strFault, true});
    }
}

uint64_t clDSFInspector::GetSamples() const noexcept
{
    const uint64_t uGroup = uint64_t{uBlockSize} * uChannels;
    if (uGroup == 0) {
        return 0;
    }
    // In a group that the file ends in, only the bytes that the last channel has count.
    const uint64_t uBefore = uGroup - uBlockSize;
    const uint64_t uRest = data.uSize % uGroup;
    const uint64_t uBytes =
        data.uSize / uGroup * uBlockSize + (uRest > uBefore ? uRest - uBefore : 0);
    return std::min(uSamples, uBytes * 8);
}

void clDSFInspector::clWalk::Run()
{
    to.uFileSize = file.GetSize();
    file.Read(0, aHeaders.data(), aHeaders.size());
    if (!HasChunks()) {
        return;
    }
    ReadFormat();
    to.data = {SOUND_START, std::min(uAnnounced, to.uFileSize - SOUND_START)};
    if (IsProvisional()) {
        Add(severity_t::REFUSED, "the conversion that wrote the file was interrupted: its header "
                                 "is provisional, without samples and without the file's size");
        return;
    }
    const uint64_t uClaimed = GetLE<uint64_t>(aHeaders.data() + OFFSET_FILE_SIZE);
    if (uClaimed != to.uFileSize) {
        Add(severity_t::LENIENT, "the header announces a file of " + CountText(uClaimed, "byte") +
                                     ", the file has " + std::to_string(to.uFileSize));
    }
    if (to.data.uSize < uAnnounced) {
        Add(severity_t::LENIENT, "sound data ends early: " + std::to_string(to.data.uSize) +
                                     " of " + std::to_string(uAnnounced) +
                                     " announced bytes are there");
    }
    CheckSampleCount();
    CheckPadding();
    CheckMetadata();
    if (file.IsShort()) {
        Add(severity_t::REFUSED,
            "the file ends before its size of " + CountText(to.uFileSize, "byte"));
    }
}

// The chunks have fixed sizes and a fixed order; without them nothing can be said of the rest.
bool clDSFInspector::clWalk::HasChunks()
{
    struct header_t {
        uint64_t uOffset;
        uint32_t uId;
        uint64_t uSize;
    };
    constexpr header_t aExpected[] = {{0, Id("DSD "), DSD_SIZE},
                                      {DSD_SIZE, Id("fmt "), FMT_SIZE},
                                      {DSD_SIZE + FMT_SIZE, Id("data"), DATA_HEADER_SIZE}};

    if (to.uFileSize < ID_SIZE || GetBE<uint32_t>(aHeaders.data()) != Id("DSD ")) {
        Add(severity_t::REFUSED, "not DSF: the file does not begin with 'DSD '");
        return false;
    }
    if (to.uFileSize < SOUND_START) {
        Add(severity_t::REFUSED,
            "the file ends in its headers: it has only " + CountText(to.uFileSize, "byte"));
        return false;
    }
    for (const header_t &expected : aExpected) {
        const uint8_t *const cpChunk = aHeaders.data() + expected.uOffset;
        const uint32_t uId = GetBE<uint32_t>(cpChunk);
        const uint64_t uSize = GetLE<uint64_t>(cpChunk + OFFSET_CHUNK_SIZE);
        if (uId != expected.uId) {
            Add(severity_t::REFUSED,
                ChunkText(uId, expected.uOffset) + " is not '" + IdText(expected.uId) + "'");
            return false;
        }
        // The sound data follows its header; the others have one size only.
        const bool bData = expected.uId == Id("data");
        if (bData ? uSize < expected.uSize : uSize != expected.uSize) {
            Add(severity_t::REFUSED,
                ChunkText(uId, expected.uOffset) + " announces " + CountText(uSize, "byte") +
                    " instead of " + (bData ? "at least " : "") + std::to_string(expected.uSize));
            return false;
        }
        uAnnounced = uSize - expected.uSize;
    }
    return true;
}

// As a writer leaves the headers until the end.
bool clDSFInspector::clWalk::IsProvisional() const
{
    return to.uSamples == 0 && GetLE<uint64_t>(aHeaders.data() + OFFSET_FILE_SIZE) == 0;
}

void clDSFInspector::clWalk::ReadFormat()
{
    to.uVersion = GetLE<uint32_t>(cpFormat + OFFSET_VERSION);
    to.uType = GetLE<uint32_t>(cpFormat + OFFSET_CHANNEL_TYPE);
    to.uChannels = GetLE<uint32_t>(cpFormat + OFFSET_CHANNEL_NUM);
    to.layout = ChannelPlaces::GetLayoutOfType(to.uType, to.uChannels);
    to.uSampleRate = GetLE<uint32_t>(cpFormat + OFFSET_SAMPLE_RATE);
    to.uBitsPerSample = GetLE<uint32_t>(cpFormat + OFFSET_BITS_PER_SAMPLE);
    to.uSamples = GetLE<uint64_t>(cpFormat + OFFSET_SAMPLE_COUNT);
    to.uBlockSize = GetLE<uint32_t>(cpFormat + OFFSET_BLOCK_SIZE);
    const uint32_t uFormat = GetLE<uint32_t>(cpFormat + OFFSET_FORMAT_ID);

    if (to.uVersion != VERSION_1) {
        Add(severity_t::CHECK, "unknown format version " + std::to_string(to.uVersion));
    }
    if (uFormat != 0) {
        Add(severity_t::REFUSED, "unknown data format " + std::to_string(uFormat));
    }
    if (to.uBitsPerSample != BITS_LSB_FIRST && to.uBitsPerSample != BITS_MSB_FIRST) {
        Add(severity_t::REFUSED,
            std::to_string(to.uBitsPerSample) + " bits per sample, which must be 1 or 8");
    }
    if (to.uChannels == 0) {
        Add(severity_t::REFUSED, "no channels");
    } else if (to.uChannels > ChannelPlaces::MAX_CHANNELS) {
        Add(severity_t::REFUSED, std::to_string(to.uChannels) + " channels, of which there are " +
                                     "at most " + std::to_string(ChannelPlaces::MAX_CHANNELS));
    } else if (to.layout.uType == 0) {
        Add(severity_t::LENIENT, "channel type " + std::to_string(to.uType) + " is not one of " +
                                     CountText(to.uChannels, "channel"));
    }
    if (to.uSampleRate == 0) {
        Add(severity_t::LENIENT, "no sample rate");
    }
    if (to.uBlockSize == 0) {
        Add(severity_t::REFUSED, "the block size is 0");
    } else if (to.uBlockSize != STANDARD_BLOCK_SIZE) {
        Add(severity_t::CHECK, "the block size is " + std::to_string(to.uBlockSize) +
                                   " instead of " + std::to_string(STANDARD_BLOCK_SIZE));
    }
}

void clDSFInspector::clWalk::CheckSampleCount()
{
    const uint64_t uGroup = uint64_t{to.uBlockSize} * to.uChannels;
    if (uGroup == 0) {
        return;
    }
    const uint64_t uBytes = to.uSamples / 8 + (to.uSamples % 8 != 0 ? 1 : 0);
    const uint64_t uGroups = uBytes / to.uBlockSize + (uBytes % to.uBlockSize != 0 ? 1 : 0);
    // Compared as groups: the bytes of a hostile count leave 64 bits.
    if (uAnnounced % uGroup == 0 && uAnnounced / uGroup == uGroups) {
        return;
    }
    const bool bTooMany = uGroups > uAnnounced / uGroup;
    Add(bTooMany ? severity_t::LENIENT : severity_t::CHECK,
        CountText(to.uSamples, "sample") + " per channel do not fit " +
            CountText(uAnnounced, "byte") + " of sound data: they take " +
            CountText(uGroups, "group") + " of " + CountText(uGroup, "byte"));
}

// The last group is filled up with zeros. Its bits after the last sample are the high ones of a
// byte, unless the earliest sample is in the highest.
void clDSFInspector::clWalk::CheckPadding()
{
    const uint64_t uGroup = uint64_t{to.uBlockSize} * to.uChannels;
    if (uGroup == 0 || to.uChannels > ChannelPlaces::MAX_CHANNELS) {
        return;
    }
    const uint64_t uBytes = to.uSamples / 8;
    const auto uBits = static_cast<unsigned>(to.uSamples % 8);
    const uint64_t uBlock = uBytes / to.uBlockSize;
    const uint64_t uInBlock = uBytes % to.uBlockSize;
    if ((uInBlock == 0 && uBits == 0) || uBlock >= to.data.uSize / uGroup) {
        return;
    }
    const bool bMsbFirst = to.uBitsPerSample == BITS_MSB_FIRST;
    const auto uFirstMask = static_cast<uint8_t>(bMsbFirst ? 0xFF >> uBits : 0xFF << uBits);
    for (uint32_t uChIdx = 0; uChIdx < to.uChannels; ++uChIdx) {
        const uint64_t uStart =
            to.data.uOffset + uBlock * uGroup + uint64_t{uChIdx} * to.uBlockSize;
        uint8_t uMask = uFirstMask;
        for (uint64_t u = uInBlock; u < to.uBlockSize && !file.IsShort();) {
            std::array<uint8_t, 512> aPart;
            const auto sizePart =
                static_cast<size_t>(std::min<uint64_t>(aPart.size(), to.uBlockSize - u));
            file.Read(uStart + u, aPart.data(), sizePart);
            aPart[0] &= uMask;
            uMask = 0xFF;
            if (std::any_of(aPart.begin(), aPart.begin() + sizePart,
                            [](uint8_t uByte) { return uByte != 0; })) {
                Add(severity_t::CHECK, "the padding after the last sample of channel " +
                                           std::to_string(uChIdx + 1) + " is not zero");
                break;
            }
            u += sizePart;
        }
    }
}

// A pointer of 0 is none. One to the end of the file is that of an empty tag.
void clDSFInspector::clWalk::CheckMetadata()
{
    const uint64_t uPointer = GetLE<uint64_t>(aHeaders.data() + OFFSET_META_POINTER);
    const uint64_t uSoundEnd = to.data.uOffset + to.data.uSize;
    const uint64_t uRest = to.uFileSize - uSoundEnd;
    if (uPointer == 0) {
        if (uRest != 0) {
            Add(severity_t::CHECK,
                CountText(uRest, "byte") +
                    " follow the sound data, to which no metadata pointer leads");
        }
        return;
    }
    const std::string strPointer = "the metadata pointer to byte " + std::to_string(uPointer);
    if (uPointer < uSoundEnd || uPointer > to.uFileSize) {
        Add(severity_t::CHECK,
            strPointer + " leads " +
                (uPointer < uSoundEnd ? "before the end of the sound data" : "beyond the file"));
        return;
    }
    if (uPointer != uSoundEnd) {
        Add(severity_t::CHECK, strPointer + " leaves out " +
                                   CountText(uPointer - uSoundEnd, "byte") +
                                   " after the sound data");
    }
    const region_t region = {uPointer, to.uFileSize - uPointer};
    if (TagRegion::IsTag(file, region)) {
        to.tag = region;
    } else if (region.uSize != 0) {
        Add(severity_t::CHECK, strPointer + " does not lead to a tag");
    }
}
