#include "dsd/DSTCheck.h"
#include "tests/support/EqualBytes.h"
#include "tests/support/KitTest.h"

#include <functional>

// Sound that is compressed, in frames that are stored plain.

namespace
{

using B = DSDIFFBuilder;

constexpr uint32_t RATE = 38400;
constexpr size_t FRAME_SIZE = 128;
constexpr size_t FRAMES = 100;

class kit_dst : public kit_test
{
protected:
    /** A file whose frames fnChange may change: the frame and its check value. */
    static bytes_t Build(const std::function<void(size_t i, bytes_t &, uint32_t &)> &fnChange,
                         size_t uAnnounced = FRAMES)
    {
        const bytes_t sound = Pattern(FRAMES * FRAME_SIZE);
        bytes_t chunks = B::Chunk("FRTE", B::Number(uAnnounced, 4) + B::Number(75, 2));
        for (size_t i = 0; i < FRAMES; ++i) {
            bytes_t frame = bytes_t{0} + Part(sound, i * FRAME_SIZE, FRAME_SIZE);
            uint32_t uCheck = DSTCheck::Compute(frame.data() + 1, FRAME_SIZE);
            fnChange(i, frame, uCheck);
            Append(chunks, B::Chunk("DSTF", frame) + B::Chunk("DSTC", B::Number(uCheck, 4)));
        }
        return B().Rate(RATE).CompressedSound(chunks).Build();
    }

    static bytes_t Good()
    {
        return Build([](size_t, bytes_t &, uint32_t &) {});
    }

    static bytes_t Plain(const bytes_t &sound = Pattern(FRAMES * FRAME_SIZE))
    {
        return B().Rate(RATE).Sound(sound).Build();
    }

    static bool Has(const std::string &strText, const std::string &strPart)
    {
        return strText.find(strPart) != std::string::npos;
    }
};

} // namespace

TEST_F(kit_dst, IsTheSameSoundAsItsPlainTwin)
{
    for (const char *cpFolder : {"dst", "plain"}) {
        fs::create_directory(folder.Path(cpFolder));
    }
    const std::string strDST = folder.Write("dst/a.dff", Good());
    const std::string strPlain = folder.Write("plain/a.dff", Plain());
    for (const std::string &strFile : {strDST, strPlain}) {
        const run_t run = Run("convert", {"--json", strFile});
        EXPECT_EQ(0, run.iStatus) << run.strErr;
        EXPECT_TRUE(
            Has(run.strOut, R"("samples":51200,"tag":"none","tag_bytes":0,"verified":true)"))
            << run.strOut;
    }
    EXPECT_TRUE(EqualBytes(folder.Read("plain/a.dsf"), folder.Read("dst/a.dsf")));
    EXPECT_EQ(0, Run("check", {strDST}).iStatus);
    EXPECT_EQ("identical: 2 channels, 51200 samples per channel, 38400 Hz\n",
              Run("compare", {strDST, folder.Path("plain/a.dsf")}).strOut);
    std::set<std::string> digests;
    for (const std::string &strFile : {strDST, strPlain, folder.Path("dst/a.dsf")}) {
        const std::string strInfo = Run("info", {"--json", "--digest", strFile}).strOut;
        digests.insert(strInfo.substr(strInfo.find("\"digest\"")));
    }
    EXPECT_EQ(1U, digests.size());
}

TEST_F(kit_dst, ABadFrameIsRefusedOrBecomesSilence)
{
    folder.Write("in.dff", Build([](size_t i, bytes_t &frame, uint32_t &) {
                     if (i == 20 || i == 70) {
                         frame = {0x80};
                     }
                 }));
    const std::string strFault = "DST frame 20 at byte ";
    for (const char *cpDry : {"-n", "--no-verify", "--json"}) {
        const run_t run = Run("convert", {cpDry, strIn});
        EXPECT_EQ(1, run.iStatus);
        EXPECT_TRUE(Has(run.strErr, strFault) && Has(run.strErr, "--lenient")) << run.strErr;
    }
    EXPECT_EQ(std::set<std::string>{"in.dff"}, Files());
    for (const std::vector<std::string> &args :
         {std::vector<std::string>{"compare", strIn, strIn}, {"info", "--digest", strIn}}) {
        const run_t run = Run(args[0], {args.begin() + 1, args.end()});
        EXPECT_EQ(1, run.iStatus);
        EXPECT_TRUE(Has(run.strErr, strFault)) << run.strErr;
    }
    const run_t check = Run("check", {strIn});
    EXPECT_TRUE(Has(check.strOut, strFault) && Has(check.strOut, "DST frame 70 ")) << check.strOut;

    const run_t lenient = Run("convert", {"--lenient", strIn});
    EXPECT_EQ(0, lenient.iStatus) << lenient.strErr;
    EXPECT_TRUE(Has(lenient.strErr, "warning: " + strFault) &&
                Has(lenient.strErr, "DST frame 70 ") && Has(lenient.strErr, "silence"))
        << lenient.strErr;
    bytes_t sound = Pattern(FRAMES * FRAME_SIZE);
    for (const size_t i : {size_t{20}, size_t{70}}) {
        std::fill_n(sound.begin() + static_cast<ptrdiff_t>(i * FRAME_SIZE), FRAME_SIZE, 0x96);
    }
    const std::string strPlain = folder.Write("plain.dff", Plain(sound));
    EXPECT_EQ(0, Run("compare", {strPlain, strOut}).iStatus);
}

TEST_F(kit_dst, CheckValuesCountIfOneAgrees)
{
    folder.Write("one.dff", Build([](size_t i, bytes_t &, uint32_t &uCheck) {
                     uCheck += i % 50 == 3 ? 1 : 0;
                 }));
    folder.Write("all.dff", Build([](size_t, bytes_t &, uint32_t &uCheck) { ++uCheck; }));
    const run_t one = Run("convert", {folder.Path("one.dff")});
    EXPECT_EQ(0, one.iStatus);
    EXPECT_TRUE(Has(one.strErr, "warning: DST frame 3 ") && Has(one.strErr, "DST frame 53 "))
        << one.strErr;
    EXPECT_EQ(1, Run("check", {folder.Path("one.dff")}).iStatus);
    // A warning belongs to one file of a job.
    folder.Write("plain.dff", Plain());
    const run_t next = Run("convert", {"-nfj1", folder.Path("one.dff"), folder.Path("plain.dff")});
    EXPECT_TRUE(Has(next.strErr, "one.dff: warning: ")) << next.strErr;
    EXPECT_FALSE(Has(next.strErr, "plain.dff: warning: ")) << next.strErr;
    const run_t all = Run("convert", {folder.Path("all.dff")});
    EXPECT_EQ(0, all.iStatus);
    EXPECT_FALSE(Has(all.strErr, "warning")) << all.strErr;
    EXPECT_EQ(0, Run("check", {folder.Path("all.dff")}).iStatus);
}

TEST_F(kit_dst, AWrongNumberOfFramesIsRefusedOrTakenAsItIs)
{
    for (const size_t uAnnounced : {FRAMES - 1, FRAMES + 1}) {
        SCOPED_TRACE(uAnnounced);
        folder.Write("in.dff", Build([](size_t, bytes_t &, uint32_t &) {}, uAnnounced));
        const run_t strict = Run("convert", {strIn});
        EXPECT_EQ(1, strict.iStatus);
        EXPECT_TRUE(
            Has(strict.strErr, std::to_string(uAnnounced) + " DST frames announced, 100 there"))
            << strict.strErr;
        EXPECT_EQ(0, Run("convert", {"-f", "--lenient", strIn}).iStatus);
        const std::string strPlain = folder.Write("plain.dff", Plain());
        EXPECT_EQ(0, Run("compare", {strPlain, strOut}).iStatus);
    }
}

TEST_F(kit_dst, ManyBadFramesAreCounted)
{
    folder.Write("in.dff", Build([](size_t, bytes_t &frame, uint32_t &) { frame = {0x3F, 0x00}; }));
    const run_t run = Run("check", {strIn});
    EXPECT_TRUE(Has(run.strOut, "DST frame 15 ") && !Has(run.strOut, "DST frame 16 ") &&
                Has(run.strOut, "84 more DST frames"))
        << run.strOut;
}
