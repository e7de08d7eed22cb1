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

// Errors in place of the calls, as file systems without them report; 0: the call is made.
int iRenameError = 0;
int iLinkError = 0;

} // namespace

extern "C" {
int __real_renameat2(int, const char *, int, const char *, unsigned);
int __real_link(const char *, const char *);
int __wrap_renameat2(int, const char *, int, const char *, unsigned);
int __wrap_link(const char *, const char *);

int __wrap_renameat2(int iOld, const char *cpOld, int iNew, const char *cpNew, unsigned uFlags)
{
    errno = iRenameError;
    return iRenameError != 0 ? -1 : __real_renameat2(iOld, cpOld, iNew, cpNew, uFlags);
}

int __wrap_link(const char *cpOld, const char *cpNew)
{
    errno = iLinkError;
    return iLinkError != 0 ? -1 : __real_link(cpOld, cpNew);
}
}

namespace
{

class clOutputFileTest : public testing::Test
{
protected:
    ~clOutputFileTest() override { iRenameError = iLinkError = 0; }

    size_t CountFiles() const
    {
        const fs::directory_iterator all(folder.Path(""));
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

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
    file.SetTime({1000000000, 123456789});
    file.Sync();
    EXPECT_FALSE(fs::exists(strPath));
    file.Commit(false);
    EXPECT_EQ("x", TextOf("new/a/b/out.dsf"));
    EXPECT_FALSE(fs::exists(temporary));
    struct stat statFile = {};
    ASSERT_EQ(0, stat(strPath.c_str(), &statFile));
    EXPECT_EQ(0640U, statFile.st_mode & 07777);
    EXPECT_EQ(1000000000, statFile.st_mtim.tv_sec);
    EXPECT_EQ(123456789, statFile.st_mtim.tv_nsec);
}

// Whatever the file system can do: a name that is free is taken, one that is taken is left alone.
TEST_F(clOutputFileTest, NothingIsReplacedUnasked)
{
    const struct {
        int iRename, iLink;
    } aRows[] = {{0, 0}, {EINVAL, 0}, {ENOSYS, EPERM}, {EINVAL, EOPNOTSUPP}};
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::Message() << row.iRename << " and " << row.iLink);
        const std::string strName = "out" + std::to_string(row.iRename + row.iLink);
        const std::string strPath = folder.Path(strName);
        iRenameError = row.iRename;
        iLinkError = row.iLink;
        {
            clOutputFile file(strPath);
            Fill(file, 'n');
            file.Commit(false);
        }
        EXPECT_EQ("n", TextOf(strName));
        {
            fs::remove(strPath);
            clOutputFile file(strPath);
            Fill(file, 'n');
            folder.Write(strName, {'o'}); // appears in the meantime
            EXPECT_THROW_MSG(file.Commit(false), clXOutputExists,
                             "the output " + strPath +
                                 " exists; --force replaces it, --skip-existing leaves it and "
                                 "skips the input");
        }
        EXPECT_EQ("o", TextOf(strName));
        EXPECT_THROW_MSG(clOutputFile(strPath, false), clXOutputExists,
                         clOutputFile::GetTakenReason(strPath));
        {
            clOutputFile file(strPath);
            Fill(file, 'r');
            EXPECT_EQ("o", TextOf(strName)) << "untouched until it is committed";
            file.Commit(true);
        }
        EXPECT_EQ("r", TextOf(strName));
        fs::remove(strPath);
        EXPECT_EQ(0U, CountFiles());
    }
    iRenameError = EIO;
    clOutputFile file(folder.Path("out"));
    EXPECT_THROW_MSG(file.Commit(false), clXOutput,
                     "the output cannot be moved into place: Input/output error");
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
    const size_t sizeCut = strTemporary.rfind('.', strTemporary.size() - 6);
    EXPECT_EQ('\xB3', strTemporary[sizeCut - 1]) << "cut between two characters";
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
