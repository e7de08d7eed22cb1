#pragma once

#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <filesystem>
#include <set>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

/** Runs vantrel-kit in a new folder. */
class kit_test : public testing::Test
{
protected:
    kit_test() = default;
    explicit kit_test(const fs::path &parent) : folder(parent) {}

    static run_t Run(
        const std::string &strCommand, std::vector<std::string> args,
        const meanwhile_t &fnMeanwhile = [](pid_t) {})
    {
        args.insert(args.begin(), {VANTREL_KIT_PROGRAM, strCommand});
        return RunProgram(args, fnMeanwhile);
    }

    /** The names of all files in the folder and below it. */
    std::set<std::string> Files() const
    {
        std::set<std::string> names;
        for (const auto &entry : fs::recursive_directory_iterator(folder.Path(""))) {
            if (!entry.is_directory()) {
                names.insert(entry.path().lexically_relative(folder.Path("")).string());
            }
        }
        return names;
    }

    /** The last line of standard error. */
    static std::string Summary(const run_t &run)
    {
        const size_t uEnd = run.strErr.size() - (run.strErr.ends_with('\n') ? 1 : 0);
        const size_t uStart = run.strErr.rfind('\n', uEnd - 1) + 1;
        return run.strErr.substr(uStart, uEnd - uStart);
    }

    /** Waits up to half a minute for a file whose name ends in strEnd and contains strPart. */
    void WaitFor(const std::string &strEnd, const std::string &strPart = "") const
    {
        for (int i = 0; i < 30000; ++i) {
            for (const auto &entry : fs::directory_iterator(folder.Path(""))) {
                const std::string strName = entry.path().filename().string();
                if (strName.ends_with(strEnd) && strName.find(strPart) != std::string::npos) {
                    return;
                }
            }
            usleep(1000);
        }
    }

    /** A sparse file with uSound bytes of silence. */
    std::string WriteSparse(const std::string &strName, uint64_t uSound) const
    {
        bytes_t file = DSDIFFBuilder().Sound({}, static_cast<int64_t>(uSound)).Build();
        const bytes_t size = DSDIFFBuilder::Number(file.size() - 12 + uSound, 8);
        std::copy(size.begin(), size.end(), file.begin() + 4);
        const std::string strPath = folder.Write(strName, file);
        fs::resize_file(strPath, file.size() + uSound);
        return strPath;
    }

    const TempFolder folder;
    const std::string strIn = folder.Path("in.dff");
    const std::string strOut = folder.Path("in.dsf");
};
