#include "dst/clDSTDecoder.h"

#include "base/clException.h"
#include "dst/clDSTFrameDecoder.h"
#include "tests/support/DSTFrames.h"
#include "tests/support/ExpectThrow.h"

#include <memory>
#include <numeric>
#include <sstream>

namespace
{

constexpr uint32_t RATE = 2822400;
constexpr uint32_t BYTES = 4704;
constexpr uint32_t BYTES_RATE = 600;

const std::string PREFIX = "clDSTDecoder::Decode(): ";

bytes_t FromHex(const std::string &strHex)
{
    bytes_t bytes;
    for (size_t i = 0; i < strHex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(strHex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/** Fields with blanks between them: a bit, or <number of bits>:<value>. The rest of the last byte
 * is zeros. */
bytes_t Fields(const std::string &strFields)
{
    std::string strBits;
    std::istringstream stream(strFields);
    for (std::string strField; stream >> strField;) {
        const size_t uColon = strField.find(':');
        const bool bOne = uColon == std::string::npos;
        const auto uValue =
            static_cast<uint64_t>(std::stol(bOne ? strField : strField.substr(uColon + 1)));
        for (int i = bOne ? 1 : std::stoi(strField); i-- > 0;) {
            strBits += (uValue >> i & 1) != 0 ? '1' : '0';
        }
    }
    bytes_t bytes((strBits.size() + 7) / 8);
    for (size_t i = 0; i < strBits.size(); ++i) {
        bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] | (strBits[i] - '0') << (7 - i % 8));
    }
    return bytes;
}

std::string Repeat(const std::string &strFields, size_t sizeTimes)
{
    std::string strAll;
    for (size_t i = 0; i < sizeTimes; ++i) {
        strAll += strFields;
    }
    return strAll;
}

// One channel, one segment, no half probability, a filter of two coefficients.
const std::string ONE = "1 1 1 1 1 1 0 ";
const std::string FILTER = ONE + "7:1 0 9:255 9:-256 ";

bytes_t Decoded(clDSTDecoder &decoder, const bytes_t &frame)
{
    bytes_t sound(decoder.GetSoundSize());
    decoder.Decode(frame.data(), frame.size(), sound.data());
    return sound;
}

TEST(clDSTDecoder, WorkedFrames)
{
    // One segment and two of a channel, separate for filters and tables; both ways to store lists.
    const bytes_t one = FromHex("fc1cfdfbbffeefdfbbfc000bf807f9fffffd40") + bytes_t(27);
    const bytes_t two =
        FromHex("90201280047d124025921943d0050b9f817b1fc17b3f065c467ec05fb8f34482d0f7810027ff"
                "e00100001cff60807f7fbb4bf87c3c4000000000000000000000000000000000000000000000"
                "000001ee") +
        bytes_t(28);
    EXPECT_EQ(46U, one.size());
    EXPECT_EQ(108U, two.size());
    for (const DSTKernels::set_t *pSet : DSTKernels::GetSets()) {
        SCOPED_TRACE(pSet->cpName);
        bytes_t sound(BYTES);
        clDSTFrameDecoder(1, BYTES, *pSet).Decode(one.data(), one.size(), sound.data());
        EXPECT_EQ(bytes_t(BYTES, 0x69), sound);
        sound.resize(2 * BYTES);
        clDSTFrameDecoder(2, BYTES, *pSet).Decode(two.data(), two.size(), sound.data());
        for (size_t i = 0; i < BYTES; ++i) {
            ASSERT_EQ(0x69, sound[2 * i]) << i;
            ASSERT_EQ(i < 2304 ? 0x33 : 0x96, sound[2 * i + 1]) << i;
        }
    }
}

TEST(clDSTDecoder, AllKernelsDecodeTheSameSound)
{
    for (uint32_t uSeed = 0; uSeed < 120; ++uSeed) {
        SCOPED_TRACE(testing::Message() << "seed " << uSeed);
        const uint32_t uChannels = uSeed % 6 + 1;
        const uint32_t uBytes = uSeed % 5 == 0 ? uSeed / 5 + 20 : 330 + 2 * uSeed;
        DSTFrames frames(uSeed, uChannels, uBytes * BYTES_RATE);
        const bytes_t frame = frames.NextWithRandomCode(uChannels * uBytes * (uSeed % 4) / 8);
        bytes_t expected;
        uint64_t uMissing = 0;
        bool bCut = false;
        for (const DSTKernels::set_t *pSet : DSTKernels::GetSets()) {
            SCOPED_TRACE(pSet->cpName);
            clDSTFrameDecoder decoder(uChannels, uBytes, *pSet);
            bytes_t sound(size_t{uChannels} * uBytes);
            decoder.Decode(frame.data(), frame.size(), sound.data());
            if (expected.empty()) {
                expected = sound;
                uMissing = decoder.GetMissingBits();
                bCut = decoder.LooksCut();
            }
            EXPECT_EQ(expected, sound);
            EXPECT_EQ(uMissing, decoder.GetMissingBits());
            EXPECT_EQ(bCut, decoder.LooksCut());
        }
        clDSTDecoder decoder(uChannels, uBytes * BYTES_RATE);
        EXPECT_EQ(expected, Decoded(decoder, frame));
        EXPECT_EQ(uMissing, decoder.GetMissingBits());
        EXPECT_EQ(bCut, decoder.LooksCut());
    }
}

// Their sum is 32768 where all bits are 0, and all that matters is its sign and its entry.
TEST(clDSTDecoder, LargestCoefficients)
{
    DST::list_t<DST::MAX_ORDER> coefficients = {DST::MAX_ORDER, {}};
    coefficients.aiEntries.fill(-256);
    DST::list_t<DST::MAX_TABLE> probabilities = {DST::MAX_TABLE, {}};
    std::iota(probabilities.aiEntries.begin(), probabilities.aiEntries.end(), int16_t{1});
    const auto pFilter = std::make_unique<DSTKernels::filter_t>();
    DSTKernels::SetFilter(*pFilter, coefficients);
    ASSERT_LT(pFilter->iMost, 32768);
    const auto pChannel = std::make_unique<DSTKernels::channel_t>();
    DSTKernels::SetChannelTable(*pChannel, probabilities, pFilter->iMost);
    for (int iZeros = 0; iZeros <= 128; ++iZeros) {
        const int iExpected = 256 * (2 * iZeros - 128);
        int iSum = 0;
        for (int i = 0; i < 128; ++i) {
            iSum += (i < iZeros ? -1 : 1) * pFilter->aiCoefficients[static_cast<size_t>(i)];
        }
        const int iProbability = std::min(std::abs(iExpected) / 8, 63) + 1;
        EXPECT_EQ(
            iProbability | (iExpected >= 0) << DSTKernels::PREDICTION_SHIFT,
            pChannel->auPredictions[DSTKernels::channel_t::CENTRE + static_cast<size_t>(iSum)]);
    }
}

// What one encoder stores of a table of one entry another leaves out. The code is the same.
TEST(clDSTDecoder, SingleProbability)
{
    const auto Frame = [](const std::string &strTable) {
        std::string strFields = FILTER;
        strFields += strTable;
        strFields += " 0 12:1234" + Repeat(" 16:40503", 180);
        return Fields(strFields);
    };
    const struct {
        std::string strTable;
        std::string strSame;
    } aRows[] = {
        {"6:0", "6:1 0 7:127 7:127"},
        {"6:0 1 2:0 7:41 3:5", "6:1 0 7:41 7:41"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.strTable);
        clDSTDecoder decoder(1, BYTES_RATE * 400);
        EXPECT_EQ(Decoded(decoder, Frame(row.strSame)), Decoded(decoder, Frame(row.strTable)));
        // The code of the first way is what is wrong with a frame that fails both ways.
        EXPECT_THROW_MSG(Decoded(decoder, Frame("6:0 1 2:3")), clXDST,
                         PREFIX + "bit 39: the code begins with a 1");
    }
}

TEST(clDSTDecoder, CutFrame)
{
    const bytes_t header = Fields(FILTER + "6:1 0 7:41 7:41 2:0");
    const bytes_t frame = header + Pattern(300);
    clDSTDecoder decoder(1, 400 * BYTES_RATE);
    Decoded(decoder, frame);
    EXPECT_EQ(0U, decoder.GetMissingBits());
    EXPECT_FALSE(decoder.LooksCut());
    size_t sizeUnnoticed = 0;
    for (size_t sizeLeft = frame.size(); sizeLeft-- > 2;) {
        SCOPED_TRACE(sizeLeft);
        // In memory of its own, for the address sanitizer to watch its end.
        const bytes_t cut = Part(frame, 0, sizeLeft);
        if (sizeLeft < header.size()) {
            EXPECT_THROW(Decoded(decoder, cut), clXDST);
            continue;
        }
        const bytes_t sound = Decoded(decoder, cut);
        const uint64_t uMissing = decoder.GetMissingBits();
        EXPECT_TRUE(uMissing > 64 || !decoder.LooksCut()) << uMissing << " bits";
        sizeUnnoticed += uMissing > 64 && !decoder.LooksCut() ? 1 : 0;
        EXPECT_EQ(sound, Decoded(decoder, cut + bytes_t(frame.size() - sizeLeft)));
        EXPECT_EQ(uMissing - std::min<uint64_t>(uMissing, 8 * (frame.size() - sizeLeft)),
                  decoder.GetMissingBits());
    }
    // What was cut can have been zeros to the decoder, by chance.
    EXPECT_LT(sizeUnnoticed, 10U);

    // Zeros that an encoder leaves out.
    clDSTDecoder idle(1, RATE);
    EXPECT_EQ(bytes_t(BYTES, 0x69),
              Decoded(idle, FromHex("fc1cfdfbbffeefdfbbfc000bf807f9fffffd40")));
    EXPECT_LT(200U, idle.GetMissingBits());
    EXPECT_FALSE(idle.LooksCut());
}

TEST(clDSTDecoder, UncompressedFrame)
{
    clDSTDecoder decoder(6, RATE);
    const bytes_t sound = Pattern(6 * BYTES);
    EXPECT_EQ(sound, Decoded(decoder, bytes_t{0x40} + sound))
        << "one bit of the first byte is free";
    EXPECT_EQ(0U, decoder.GetMissingBits());
    EXPECT_THROW_MSG(Decoded(decoder, bytes_t{0x20} + sound), clXDST,
                     PREFIX + "bit 2: reserved bits are set in an uncompressed frame");
    EXPECT_THROW_MSG(Decoded(decoder, bytes_t(6 * BYTES)), clXDST,
                     PREFIX + "an uncompressed frame of 28224 bytes");
    EXPECT_THROW_MSG(Decoded(decoder, bytes_t(6 * BYTES + 2, 0x80)), clXDST,
                     PREFIX + "a frame of 28226 bytes");
}

TEST(clDSTDecoder, ConstructorRefuses)
{
    const std::string strPrefix = "clDSTDecoder::clDSTDecoder(): unsupported ";
    for (const uint32_t uChannels : {0U, 7U, UINT32_MAX}) {
        EXPECT_THROW_MSG(clDSTDecoder(uChannels, RATE), clXDST,
                         strPrefix + "channel count " + std::to_string(uChannels));
    }
    for (const uint32_t uRate : {0U, RATE + 1, RATE + 300, 512 * 48000 + 600U, 4294967000U}) {
        EXPECT_THROW_MSG(clDSTDecoder(1, uRate), clXDST,
                         strPrefix + "sample rate " + std::to_string(uRate));
    }
    EXPECT_EQ(6U * 512 * 80, clDSTDecoder(6, 512 * 48000).GetSoundSize());
}

TEST(clDSTDecoder, RefusesHeaders)
{
    const std::string strSegments = "1 1 1 0 ";
    const struct {
        uint32_t uChannels;
        std::string strFields;
        const char *cpText;
    } aRows[] = {
        {1, "7:127", "a frame of 1 bytes"},
        {1, ONE + "7:1 0 9:0", "bit 24: the frame ends within its header"},
        {1, strSegments + "13:0", "bit 4: a resolution of segments of 0 bytes"},
        {1, strSegments + "13:4577", "bit 4: a resolution of segments of 4577 bytes"},
        {1, strSegments + "13:127 6:1 1", "bit 17: a segment of 127 bytes"},
        {1, strSegments + "13:128 6:36 1", "bit 17: a segment of 4608 bytes"},
        // The second length has a bit less, as 2276 bytes are left.
        {1, strSegments + "13:100 6:23 0 5:23 1", "bit 24: a segment of 2300 bytes"},
        {1, strSegments + "13:128 6:2 0 6:2 0 5:2 0 5:2 0 5:2 0", "bit 37: more than 4 segments"},
        {1, "1 0 1 1 1 0 13:4 11:1 0 11:1 0 11:1 0 11:1 0 11:1 0 11:1 0 11:1 0 11:1 0",
         "bit 103: more than 8 segments"},
        {1, "1 0 1 1 1 0 13:3 11:1 0", "bit 19: a segment of 3 bytes"},
        {3, "1 1 1 1 1 0 1 2:3 6:0", "bit 7: number 3 after 2 filters or tables"},
        {1, strSegments + "13:128 6:2 0 6:2 1 1 0 1:1 2:2",
         "bit 34: more than 2 filters or tables"},
        {2, "1 1 0 1 0 13:128 6:18 1 1 1",
         "bit 26: shared numbers for different counts of segments"},
        {1, "1 0 1 1 1 0 13:4 11:9 1 1 1 9:0",
         "bit 31: shared numbers for different counts of segments"},
        {1, ONE + "7:3 1 2:3 9:0", "bit 15: unknown method 3"},
        {1, ONE + "7:1 1 2:2 9:0", "bit 15: method 2 for a list of 2"},
        {1, ONE + "7:1 1 2:0 9:0 3:7 3:1 7:0 0", "bit 29: coefficient of 256"},
        {1, ONE + "7:1 1 2:0 9:0 3:7 3:1 7:1 1", "bit 29: coefficient of -257"},
        {1, ONE + "7:1 1 2:0 9:255 3:7 1 7:1 0", "bit 29: coefficient of 256"},
        {1, ONE + "7:1 1 2:0 9:0 3:0" + Repeat(" 64:0", 80), "bit 29: coefficient of 4097"},
        {1, ONE + "7:1 1 2:0 9:0 3:0 64:0 19:0", "bit 112: the frame ends within its header"},
        {1, FILTER + "6:1 1 2:0 7:0 3:0 2:1 1", "bit 52: probability of 0"},
        {1, FILTER + "6:1 1 2:0 7:127 3:1 2:1 1:0 0", "bit 52: probability of 130"},
        {1, FILTER + "6:1 0 14:0 1", "bit 54: the code begins with a 1"},
        {1, FILTER + "6:1 0 14:0 0 12:4095", "bit 55: the code begins outside its interval"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(row.strFields);
        clDSTDecoder decoder(row.uChannels, RATE);
        EXPECT_THROW_MSG(Decoded(decoder, Fields(row.strFields)), clXDST, PREFIX + row.cpText);
    }
}
} // namespace
