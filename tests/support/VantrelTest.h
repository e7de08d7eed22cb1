#pragma once

#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include <gtest/gtest.h>

/** The program as its users see it, in a folder of its own. */
class vantrel : public testing::Test
{
protected:
    /** Runs the program and takes the banner off its standard error. */
    static run_t Run(std::vector<std::string> args,
                     const std::function<void(pid_t)> &fnStarted = nullptr)
    {
        args.insert(args.begin(), PROGRAM);
        run_t run = RunProgram(args, fnStarted);
        EXPECT_EQ(0U, run.strErr.find("Vantrel v1.2.2\n")) << run.strErr;
        EXPECT_EQ("", run.strOut);
        const size_t sizeFirst = run.strErr.find('\n');
        run.strErr.erase(0, run.strErr.find('\n', sizeFirst + 1) + 1);
        return run;
    }

    run_t Convert(const DSDIFFBuilder &builder, const std::string &strTag = "")
    {
        folder.Write("in.dff", builder.Build());
        std::vector<std::string> args = {folder.Path("in.dff"), folder.Path("out.dsf")};
        if (!strTag.empty()) {
            args.push_back(strTag);
        }
        return Run(args);
    }

    bool HasOutput() const { return std::filesystem::exists(folder.Path("out.dsf")); }

    /**
     * Writes a file that announces uSound bytes of sound and has a hole in their place.
     * @return where the sound begins
     */
    uint64_t WriteSparse(DSDIFFBuilder builder, uint64_t uSound) const
    {
        bytes_t file = builder.Sound({}, static_cast<int64_t>(uSound)).Build();
        const uint64_t uStart = file.size();
        const bytes_t size = DSDIFFBuilder::Number(uStart - 12 + uSound, 8);
        std::copy(size.begin(), size.end(), file.begin() + 4);
        std::filesystem::resize_file(folder.Write("in.dff", file), uStart + uSound);
        return uStart;
    }

    /** Returns once a run that is under way has written some sound. */
    void WaitForOutput() const
    {
        std::error_code none;
        while (!HasOutput() || std::filesystem::file_size(folder.Path("out.dsf"), none) <= 92) {
            usleep(1000);
        }
    }

    /** Expects a header that says: not finished. */
    void ExpectProvisional() const
    {
        char aHeader[92] = {};
        std::ifstream(folder.Path("out.dsf")).read(aHeader, sizeof(aHeader));
        EXPECT_EQ("DSD ", std::string(aHeader, 4));
        EXPECT_EQ(std::string(16, '\0'), std::string(aHeader + 12, 16)) << "size, tag pointer";
        EXPECT_EQ(std::string(8, '\0'), std::string(aHeader + 64, 8)) << "sample count";
    }

    static inline const std::string PROGRAM = VANTREL_PROGRAM;

    const TempFolder folder;
};
