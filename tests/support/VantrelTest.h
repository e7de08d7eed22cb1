#pragma once

#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <filesystem>
#include <utility>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

/** The exit status of the program and its standard error after the banner. */
using said_t = std::pair<int, std::string>;

/** Runs vantrel in a new folder. */
class vantrel : public testing::Test
{
protected:
    static said_t Run(
        std::vector<std::string> args, const meanwhile_t &fnMeanwhile = [](pid_t) {})
    {
        static const std::string BANNER =
            "Vantrel v" VANTREL_VERSION "\nConverts DSDIFF files into DSF files, bit for bit.\n";
        args.insert(args.begin(), PROGRAM);
        const run_t run = RunProgram(args, fnMeanwhile);
        EXPECT_EQ("", run.strOut);
        EXPECT_TRUE(run.strErr.starts_with(BANNER)) << run.strErr;
        return {run.iStatus, run.strErr.substr(std::min(BANNER.size(), run.strErr.size()))};
    }

    said_t Convert(const DSDIFFBuilder &builder)
    {
        folder.Write("in.dff", builder.Build());
        return Run({strIn, strOut});
    }

    bytes_t Output() const { return folder.Read("out.dsf"); }
    bool HasOutput() const { return fs::exists(strOut); }

    /** Writes a file that announces uSound bytes of sound and has a hole instead.
     * @return where the sound begins */
    uint64_t WriteSparse(DSDIFFBuilder builder, uint64_t uSound) const
    {
        bytes_t file = builder.Sound({}, static_cast<int64_t>(uSound)).Build();
        const uint64_t uStart = file.size();
        const bytes_t size = DSDIFFBuilder::Number(uStart - 12 + uSound, 8);
        std::copy(size.begin(), size.end(), file.begin() + 4);
        fs::resize_file(folder.Write("in.dff", file), uStart + uSound);
        return uStart;
    }

    /** Waits until a run has written some sound. */
    void WaitForOutput() const
    {
        std::error_code none;
        // Half a minute at most, so that a program that does not start is a failure, not a hang.
        for (int i = 0; i < 30000 && (!HasOutput() || fs::file_size(strOut, none) <= 92); ++i) {
            usleep(1000);
        }
    }

    /** Cuts the output to its header and expects a provisional one. */
    void ExpectProvisional() const
    {
        fs::resize_file(strOut, 92);
        const bytes_t header = Output();
        EXPECT_EQ(DSDIFFBuilder::Text("DSD "), Part(header, 0, 4));
        EXPECT_EQ(bytes_t(16), Part(header, 12, 16)) << "size, tag pointer";
        EXPECT_EQ(bytes_t(8), Part(header, 64, 8)) << "sample count";
    }

    static inline const std::string PROGRAM = VANTREL_PROGRAM;

    const TempFolder folder;
    const std::string strIn = folder.Path("in.dff");
    const std::string strOut = folder.Path("out.dsf");
};
