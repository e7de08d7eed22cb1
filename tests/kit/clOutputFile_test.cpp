#include "kit/clOutputFile.h"

#include "tests/support/ExpectThrow.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <cstring>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace
{

class clOutputFileTest : public testing::Test
{
protected:
    static void Fill(const clOutputFile &file, char c)
    {
        std::ofstream(file.GetTemporaryPath()) << c;
    }

    std::string TextOf(const std::string &strName) const
    {
        const auto bytes = folder.Read(strName);
        return {bytes.begin(), bytes.end()};
    }

    const TempFolder folder;
};

} // namespace

TEST_F(clOutputFileTest, AppearsWholeOrNotAtAll)
{
    const std::string strPath = folder.Path("new/a/b/out.dsf");
    {
        clOutputFile given(strPath);
        Fill(given, 'x');
    }
    EXPECT_TRUE(fs::is_empty(folder.Path("new/a/b"))) << "given up, removed";

    const mode_t modeBefore = umask(027);
    clOutputFile file(strPath);
    umask(modeBefore);
    const fs::path temporary = file.GetTemporaryPath();
    EXPECT_EQ(folder.Path("new/a/b"), temporary.parent_path());
    EXPECT_TRUE(temporary.filename().string().starts_with(".out.dsf."));
    EXPECT_TRUE(temporary.filename().string().ends_with(".part"));
    Fill(file, 'x');
    file.Sync();
    EXPECT_FALSE(fs::exists(strPath));
    file.Commit(false);
    EXPECT_EQ("x", TextOf("new/a/b/out.dsf"));
    EXPECT_FALSE(fs::exists(temporary));
    struct stat statFile = {};
    ASSERT_EQ(0, stat(strPath.c_str(), &statFile));
    EXPECT_EQ(0640U, statFile.st_mode & 07777);
}

TEST_F(clOutputFileTest, LongestNamesAreNoTrouble)
{
    std::string strName = "a";
    for (int i = 0; i < 84; ++i) {
        strName += "\xE9\x9F\xB3";
    }
    strName += "ab"; // 255 bytes
    clOutputFile file(folder.Path(strName));
    Fill(file, 'x');
    const std::string strTemporary = fs::path(file.GetTemporaryPath()).filename().string();
    EXPECT_LE(strTemporary.size(), 255U);
    const size_t uCut = strTemporary.rfind('.', strTemporary.size() - 6);
    EXPECT_EQ('\xB3', strTemporary[uCut - 1]) << "cut between two characters";
    file.Commit(false);
    EXPECT_EQ("x", TextOf(strName));
}

TEST_F(clOutputFileTest, RefusesWhatCannotBecomeAFile)
{
    folder.Write("file", {1});
    fs::create_directory(folder.Path("folder"));
    const std::string strLong = folder.Path(std::string(256, 'x'));
    const struct {
        std::string strPath, strText;
    } aRows[] = {
        {folder.Path("folder/"), "the output has no name"},
        {folder.Path("folder"), "the output " + folder.Path("folder") + " is a folder"},
        {folder.Path("file/out"),
         "the folder " + folder.Path("file") + " cannot be created: Not a directory"},
        {strLong, "the output " + strLong + " cannot be written: File name too long"},
        {"/proc/none/out", "the folder /proc/none cannot be created: No such file or directory"},
        {"/proc/out", "no file can be created in the folder of the output: "},
    };
    for (const auto &row : aRows) {
        try {
            const clOutputFile file(row.strPath);
            ADD_FAILURE() << row.strPath << " was accepted";
        } catch (const clXOutput &caught) {
            EXPECT_EQ(0U, std::string(caught.what()).find(row.strText)) << caught.what();
        }
    }
    fs::create_symlink("nowhere", folder.Path("link"));
    EXPECT_TRUE(clOutputFile::IsTaken(folder.Path("link")));
    EXPECT_TRUE(clOutputFile::IsTaken(folder.Path("folder")));
    EXPECT_FALSE(clOutputFile::IsTaken(folder.Path("none/below")));
}

TEST_F(clOutputFileTest, ReplacesLinksNotWhatTheyLeadTo)
{
    folder.Write("kept", {'k'});
    fs::create_symlink("kept", folder.Path("out"));
    clOutputFile file(folder.Path("out"));
    Fill(file, 'x');
    file.Commit(true);
    EXPECT_EQ("k", TextOf("kept"));
    EXPECT_FALSE(fs::is_symlink(folder.Path("out")));
}

TEST_F(clOutputFileTest, ThreadsShareNewFolders)
{
    for (int iRound = 0; iRound < 20; ++iRound) {
        const std::string strFolder = folder.Path(std::to_string(iRound) + "/a/b/c/");
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&strFolder, i]() {
                EXPECT_NO_THROW(clOutputFile(strFolder + std::to_string(i)).Commit(false));
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        for (int i = 0; i < 4; ++i) {
            EXPECT_TRUE(fs::exists(strFolder + std::to_string(i)));
        }
    }
}
