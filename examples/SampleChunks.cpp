#include "examples/SampleChunks.h"

#include <array>
#include <string_view>

// docs/formats.md draws the chunks.
namespace
{

using namespace std::string_literals;

// By the number of channels: their ids, four characters each.
constexpr std::array<std::string_view, MAX_SAMPLE_CHANNELS> aChannelIds = {
    "C   ",
    "SLFTSRGT",
    "MLFTMRGTC   ",
    "MLFTMRGTLS  RS  ",
    "MLFTMRGTC   LS  RS  ",
    "MLFTMRGTC   LFE LS  RS  "};

constexpr uint64_t FORMAT_VERSION = 0x01050000; // 1.5.0.0

// Loudspeaker configurations of two, five and six channels, and the one of all other numbers.
constexpr uint64_t SPEAKERS_STEREO = 0;
constexpr uint64_t SPEAKERS_5_0 = 3;
constexpr uint64_t SPEAKERS_5_1 = 4;
constexpr uint64_t SPEAKERS_UNDEFINED = 65535;

uint64_t SpeakerConfiguration(unsigned uChannels)
{
    switch (uChannels) {
    case 2:
        return SPEAKERS_STEREO;
    case 5:
        return SPEAKERS_5_0;
    case 6:
        return SPEAKERS_5_1;
    default:
        return SPEAKERS_UNDEFINED;
    }
}

} // namespace

std::string BigEndian(uint64_t uValue, unsigned uBytes)
{
    std::string strBytes;
    for (unsigned uShift = 8 * uBytes; uShift > 0; uShift -= 8) {
        strBytes += static_cast<char>(uValue >> (uShift - 8) & 0xFF);
    }
    return strBytes;
}

std::string ChunkHeader(const std::string &strId, uint64_t uSize)
{
    return strId + BigEndian(uSize, 8);
}

std::string Chunk(const std::string &strId, const std::string &strData)
{
    return ChunkHeader(strId, strData.size()) + strData + std::string(strData.size() % 2, '\0');
}

std::string SampleStart(const sample_format &format)
{
    // The length of the name and the name; the zero at the end of one makes the size even and,
    // unlike a pad byte, is included in it.
    const std::string strCompression =
        format.bCompressed ? "DST \013DST Encoded"s : "DSD \016not compressed\0"s;

    std::string strData = "SND ";
    strData += Chunk("FS  ", BigEndian(format.uSampleRate, 4));
    strData += Chunk("CHNL", BigEndian(format.uChannels, 2) +
                                 std::string(aChannelIds.at(format.uChannels - 1)));
    strData += Chunk("CMPR", strCompression);
    if (format.bExtras) {
        strData += Chunk("ABSS", BigEndian(0, 8));
        strData += Chunk("LSCO", BigEndian(SpeakerConfiguration(format.uChannels), 2));
    }
    return "DSD " + Chunk("FVER", BigEndian(FORMAT_VERSION, 4)) + Chunk("PROP", strData);
}
