// Writes the first inputs of the targets, which also run as tests: fuzz_seeds <folder>
// After each file come the bytes that choose the operations. A seed "find-..." was once a fault.

#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFBuilder.h"
#include "tests/support/DSTFrames.h"
#include "tests/support/ID3Builder.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace
{

std::filesystem::path pathRoot;

void Save(const std::string &strDoor, const std::string &strName, const bytes_t &bytes)
{
    std::filesystem::create_directories(pathRoot / strDoor);
    std::ofstream stream(pathRoot / strDoor / strName, std::ios::binary);
    std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(stream));
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write the seed " + strName);
    }
}

// A frame of every kind.
ID3Builder Tag(uint8_t uMajor)
{
    const bool bShort = uMajor == 2;
    ID3Builder tag(uMajor);
    uint8_t uEncoding = 0;
    for (const char *cpId : {"TIT2", "TPE1", "TPE2", "TCOM", "TALB", "TRCK", "TXXX"}) {
        const char *const apShort[] = {"TT2", "TP1", "TP2", "TCM", "TAL", "TRK", "TXX"};
        tag.Text(bShort ? apShort[uEncoding] : cpId,
                 std::string("\xFF\xFE"
                             "7\0/\0",
                             6),
                 uEncoding);
        ++uEncoding;
    }
    tag.Frame(bShort ? "WAR" : "WOAR", "http://x").Frame(bShort ? "UFI" : "UFID", "x");
    for (const char uType : {'\4', '\3'}) {
        const std::string strRest = uType + std::string("d\0\0picture", 10);
        tag.Frame(bShort ? "PIC" : "APIC", std::string(1, uType == 4 ? 1 : 0) +
                                               (bShort ? "PNG" : std::string("image/png\0", 10)) +
                                               strRest);
    }
    return tag;
}

void SaveTags()
{
    for (uint8_t uMajor = 1; uMajor <= 5; ++uMajor) {
        const std::string strName = "v2." + std::to_string(uMajor);
        Save("ID3", strName, Tag(uMajor).Build());
        Save("ID3", strName + "-footer", Tag(uMajor).Flags(0x10).Build());
        Save("ID3", strName + "-padded", Tag(uMajor).Bytes(std::string(20, '\0')).Build());
        Save("ID3", strName + "-cut", Tag(uMajor).Truncate(60).Build());
        Save("ID3", strName + "-huge", Tag(uMajor).SetByte(14, 0x7F).Build());
        Save("ID3", strName + "-unsynchronised", Tag(uMajor).Flags(0x80).Build());
        const std::string strExtended("\0\0\0\x0E\1\x70\0\5\1\2\3\4\5\1\xC0", 15);
        Save("ID3", strName + "-extended",
             ID3Builder(uMajor).Flags(0x40).Bytes(strExtended).Build());
    }
}

// With trailing bytes that open the file in every way.
void SaveFile(const std::string &strDoor, const std::string &strName, const bytes_t &file)
{
    for (int iVariant = 0; iVariant < 8; ++iVariant) {
        const auto uVariant =
            static_cast<uint8_t>(iVariant < 6 ? 1 << iVariant : iVariant * 8 + 160);
        Save(strDoor, strName + "-" + std::to_string(iVariant), file + bytes_t{4, 7, uVariant});
    }
    Save("Inspect", strName + "-" + strDoor, file + bytes_t{0});
}

void SaveDSDIFF(const std::string &strName, const bytes_t &file)
{
    SaveFile("DSDIFF", strName, file);
    Save("Conversion", strName, file + bytes_t{0});
    Save("Conversion", strName + "-tag", file + bytes_t{'3', 'D', 'I', 128 + 3});
}

void SaveDSDIFFs()
{
    using B = DSDIFFBuilder;
    for (size_t i = 0; i <= 7; ++i) {
        const std::string strName = std::to_string(i) + "-channels";
        SaveDSDIFF(strName, B().ChannelCount(i).Sound(Pattern(59 * i)).Build());
        const bytes_t blocks = B().ChannelCount(i).Sound(Pattern(4097 * i + 1)).Build();
        Save("Conversion", strName + "-blocks", blocks + bytes_t{0});
    }
    SaveDSDIFF("swapped", B().Channels({"SRGT", "SLFT"}).Build());
    SaveDSDIFF("conflict", B().Channels({"SLFT", "SLFT"}).Build());
    SaveDSDIFF("no-sound", B().NoSound().Build());
    SaveDSDIFF("no-rate", B().Rate(0).Sound(Pattern(20), 1 << 20).Build());
    // Its block has no samples: decoding into an empty buffer once computed with a null pointer.
    Save("DSDIFF", "find-no-block", B().Rate(0).Sound(Pattern(200)).Build() + bytes_t{0, 1, 16});
    SaveDSDIFF("no-compression", B().Compression("").Build());
    SaveDSDIFF("compressed", B().Compression("DST ").Build());
    SaveDSDIFF("all-chunks", B().SubChunk(B::Chunk("ABSS", Pattern(8)), true)
                                 .SubChunk(B::Chunk("LSCO", {0, 4}))
                                 .SubChunk(B::Chunk("????", Pattern(3), 3))
                                 .Before(B::Chunk("COMT", Pattern(7)))
                                 .Before(B::Chunk("ID3 ", Tag(3).Build()))
                                 .After(B::Chunk("DIIN", Pattern(5)))
                                 .Trailing(Tag(4).Build())
                                 .Build());
    const bytes_t text = B::Number(3, 4) + B::Text("abc");
    const bytes_t marker = Pattern(18) + text;
    const bytes_t comment = B::Number(2, 2) + Pattern(10) + text + bytes_t(1) + Pattern(10) + text;
    SaveDSDIFF(
        "master",
        B().SubChunk(B::Chunk("ABSS", Pattern(8)))
            .After(B::Chunk("DIIN", B::Chunk("EMID", B::Text("master")) + B::Chunk("DIAR", text) +
                                        B::Chunk("DITI", text) + B::Chunk("MARK", marker)))
            .After(B::Chunk("COMT", comment))
            .Build());
    SaveDSDIFF("frames", B().Compression("DST ")
                             .NoSound()
                             .After(B::Chunk("DST ", B::Chunk("FRTE", {0, 0, 0, 2, 0, 75}) +
                                                         B::Chunk("DSTF", Pattern(9))))
                             .Build());
    SaveDSDIFF("form-too-small", B().FormSize(60).Trailing(Tag(3).Build()).Build());
    SaveDSDIFF("form-too-large", B().FormSize(UINT64_MAX).Build());
    // One of them once made the reader allocate all that the header of the tag announces.
    for (const std::string strId :
         {"ID3 ", "DSD ", "PROP", "FVER", "FS  ", "CHNL", "CMPR", "????"}) {
        const bytes_t huge = B::HugeChunk(strId, Pattern(4), (uint64_t{1} << 30) + 1);
        const std::string strName = strId.substr(0, 2);
        SaveDSDIFF("find-huge-" + strName, B().Before(huge).Build());
        SaveDSDIFF("huge-property-" + strName, B().SubChunk(huge).Build());
    }
    for (const uint64_t uSize : {uint64_t{INT64_MAX}, UINT64_MAX}) {
        SaveDSDIFF("unbounded-" + std::to_string(uSize), B().Unbounded(uSize).Build());
        SaveDSDIFF("huge-form-" + std::to_string(uSize),
                   B().Unbounded(uSize).NoSound().After(B::Chunk("DSD ", Pattern(40))).Build());
    }
    // The raw buffer of the 5.1 read once took its size from the count of channels.
    const bytes_t most = B::HugeChunk("CHNL", {0xFF, 0xFF}, 2 + 4 * 65535);
    SaveFile("DSDIFF", "find-most-channels",
             B().After(B::Chunk("PROP", B::Text("SND ") + most)).Build());
}

void SaveDSFs()
{
    using B = DSFBuilder;
    constexpr uint32_t aChannels[] = {1, 1, 2, 3, 4, 4, 5, 6, 2};
    for (uint32_t i = 0; i < std::size(aChannels); ++i) {
        SaveFile("DSF", "type-" + std::to_string(i),
                 B().Channels(aChannels[i], i)
                     .BlockSize(16)
                     .BitsPerSample(i % 2 * 7 + 1)
                     .Data(Pattern(size_t{3} * 16 * aChannels[i]), 3 * 16 * 8 - 77)
                     .Build());
    }
    SaveFile("DSF", "blocks", B().Trailing(Pattern(40)).Build());
    // Sizes of the file, of the data and of a block, and the numbers of channels and of samples.
    // The size of the file once made the reader allocate memory for a tag of missing bytes.
    for (const size_t sizeOffset : {size_t{12}, size_t{52}, size_t{64}, size_t{72}, size_t{84}}) {
        for (const uint64_t uValue : {uint64_t{0}, uint64_t{13}, uint64_t{1} << 30}) {
            B builder;
            builder.BlockSize(16).Data(Pattern(64), 250).Trailing(Tag(3).Build());
            builder.Patch(sizeOffset, B::Number(uValue, sizeOffset % 16 == 4 ? 8 : 4));
            SaveFile("DSF", "find-" + std::to_string(sizeOffset) + "-" + std::to_string(uValue),
                     builder.Build());
        }
    }
}

// Each answer is its behaviour, head and body; the operations follow, the last one first.
void SaveAnswers()
{
    const std::string strOk = "HTTP/1.1 200 OK\r\nContent-Type: a/b\r\nContent-Length: ";
    const std::string strWhole = strOk + "100\r\n\r\n" + std::string(100, 'b');
    const std::string strPart = "HTTP/1.1 206 Part\r\n\r\n" + std::string(90, 'b');
    // Answers to refuse: a line that is too long, one that stays empty, too many lines.
    const std::string strLong = strOk + "1\r\nA: " + std::string(66000, 'l');
    const std::string strEmpty = strOk + "1\r\n" + std::string(66000, '\r');
    std::string strMany = strOk + "1\r\n";
    for (int i = 0; i < 1001; ++i) {
        strMany += std::to_string(i) + ":\n";
    }
    const std::string aAnswers[] = {'\0' + strWhole + "\f" + '\0' + strPart + "\f" + '\0' +
                                        strWhole,
                                    '\x18' + strWhole + "\f" + '\x1A' + strPart,
                                    '\0' + std::string("HTTP/1.1 404 Not Found\r\n\r\n"),
                                    '\4' + strWhole,
                                    "\1",
                                    '\0' + std::string("HTTP/1.1 x\r\n\r\n"),
                                    '\0' + strOk + "18446744073709551615\r\n\r\n",
                                    '\0' + strOk + std::string(9000, '1') + "\r\n\r\n",
                                    '\0' + strOk + "-1\r\n:\r\n: x\r\nA:b:c\r\n\n\r\r\n\r\n",
                                    '\0' + strOk + std::string(50, '\0') + "\n\n",
                                    '\0' + strLong + "\r\n\r\n",
                                    '\0' + strEmpty + "\n\n",
                                    '\0' + strMany + "\n",
                                    '\0' + strWhole + "\f" + '\0' + strMany + "\n",
                                    '\0' + std::string("HTTP/1.1 200 \33[2J\x9B\r\n\r\n")};
    for (const std::string &strAnswer : aAnswers) {
        Save("HTTP", std::to_string(&strAnswer - &aAnswers[0]),
             DSDIFFBuilder::Text(strAnswer + "\5\5\12\33\5\3\5\13\5\11\12"));
    }
}

void SaveTexts()
{
    const std::string aTexts[] = {"0x1F",
                                  "-017",
                                  "2.5x",
                                  "1e400",
                                  ";,;a,;b,",
                                  ",;a\xC3\xA9 b\n \r\nc",
                                  "\xEF\xBB\xBFx\ny\n",
                                  std::string("\xFE\xFF\x20\xAC\xD8\x3D\xDE\0", 8)};
    for (uint8_t uKind = 0; uKind < 12; ++uKind) {
        for (const std::string &strText : aTexts) {
            Save("Convert", std::to_string(uKind) + "-" + std::to_string(&strText - &aTexts[0]),
                 bytes_t{static_cast<uint8_t>(uKind % 6 + uKind / 6 * 132),
                         static_cast<uint8_t>(1 + uKind % 2)} +
                     DSDIFFBuilder::Text(strText));
        }
    }
    const bytes_t steps = Pattern(1 << 16);
    for (auto it = steps.begin(); it != steps.end(); it += 512) {
        Save("String", std::to_string(it - steps.begin()), bytes_t(it, it + 512));
    }
}

void SaveRuns()
{
    for (uint8_t uChannels = 0; uChannels <= 8; ++uChannels) {
        for (size_t sizeSound = 0; sizeSound < 600; sizeSound += 7) {
            const auto uOffset = static_cast<uint8_t>(sizeSound / 7);
            Save("Kernels", std::to_string(uChannels) + "-" + std::to_string(sizeSound),
                 bytes_t{uChannels, static_cast<uint8_t>(uChannels + uOffset % 3), uOffset,
                         static_cast<uint8_t>(uOffset * 7), uOffset} +
                     Pattern(sizeSound));
        }
    }
}

// Small files of a few frames, most of them stored plain, with the chunks around them.
void SaveDSTFiles()
{
    using B = DSDIFFBuilder;

    constexpr uint32_t RATE = 38400;
    constexpr size_t SOUND_SIZE = 2 * RATE / 600;
    const bytes_t plain = B::Chunk("DSTF", bytes_t{0} + Pattern(SOUND_SIZE));
    const bytes_t info = B::Chunk("FRTE", {0, 0, 0, 4, 0, 75});
    const bytes_t check = B::Chunk("DSTC", Pattern(4));
    const bytes_t coded = B::Chunk("DSTF", DSTFrames(1, 2, RATE).NextWithRandomCode(1));
    bytes_t index;
    for (const uint64_t uOffset : {172U, 314U, 456U, 598U}) {
        Append(index, B::Number(uOffset, 8) + B::Number(SOUND_SIZE + 1, 4));
    }
    const bytes_t chunks[] = {
        info,
        info + plain + plain + plain + plain,
        info + plain + check + coded + check + B::Chunk("ABCD", Pattern(3)) + plain + coded,
        info + plain + info + B::Chunk("DSTF", Pattern(9)) + plain,
        plain + info,
        info + plain + B::HugeChunk("DSTF", Pattern(9), UINT64_MAX),
    };
    for (const bytes_t &data : chunks) {
        B builderFile;
        builderFile.Rate(RATE).CompressedSound(data).After(B::Chunk("DSTI", index));
        SaveFile("DSTFile", std::to_string(&data - chunks), builderFile.Build());
    }
}

// Numbers of channels and bytes as the target chooses them, then the frame.
void SaveFrames()
{
    constexpr uint32_t aBytes[] = {1, 4, 5, 128, 133, 140, 260, 600};
    for (uint8_t uSeed = 0; uSeed < 48; ++uSeed) {
        const uint32_t uChannels = uSeed % 6U + 1;
        const auto uRate = static_cast<uint8_t>(uSeed % 5 + 3);
        DSTFrames frames(uSeed, uChannels, aBytes[uRate] * 600);
        Save("DST", std::to_string(uSeed),
             bytes_t{uSeed, uRate} + frames.NextWithRandomCode(aBytes[uRate] * uChannels / 9));
        // An uncompressed frame.
        Save("DST", "plain-" + std::to_string(uSeed),
             bytes_t{uSeed, uRate, 0} + Pattern(size_t{uChannels} * aBytes[uRate]));
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <folder>\n", argv[0]);
        return 1;
    }
    try {
        pathRoot = argv[1];
        SaveTags();
        SaveDSDIFFs();
        SaveDSFs();
        SaveAnswers();
        SaveTexts();
        SaveRuns();
        SaveDSTFiles();
        SaveFrames();
    } catch (const std::exception &caught) {
        std::fprintf(stderr, "%s\n", caught.what());
        return 1;
    }
    return 0;
}
