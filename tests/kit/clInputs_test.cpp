#include "kit/clInputs.h"

#include "kit/clCommandLine.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TempFolder.h"

#include <cstring>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace fs = std::filesystem;

namespace
{

using names_t = std::vector<std::string>;

const command_t MANY = {"check", "", command_t::INPUTS, nullptr};
const command_t TWO = {"compare", "", command_t::INPUTS | command_t::TWO, nullptr};

class clInputsTest : public testing::Test
{
protected:
    void Write(const std::string &strName) const
    {
        fs::create_directories(fs::path(folder.Path(strName)).parent_path());
        folder.Write(strName, {1, 2, 3});
    }

    /** The paths without the temporary folder; with a fault, followed by " - " and that. */
    names_t Expand(const names_t &names, clInputs::extensions_t eExtensions) const
    {
        names_t found;
        const clInputs inputs(names, eExtensions);
        for (const input_t &input : inputs.GetFiles()) {
            std::string strPath = input.strPath;
            if (strPath.starts_with(folder.Path(""))) {
                strPath.erase(0, folder.Path("").size());
            }
            found.push_back(strPath + (input.strFault.empty() ? "" : " - " + input.strFault));
            EXPECT_EQ(input.strFault.empty(), input.uSize == 3) << strPath;
        }
        return found;
    }

    names_t ReadList(const std::string &strContent, bool bNul, const names_t &before = {}) const
    {
        options_t options;
        options.pCommand = &MANY;
        options.aInputs = before;
        options.strFilesFrom =
            folder.Write("list", std::vector<uint8_t>(strContent.begin(), strContent.end()));
        options.bNulSeparated = bNul;
        return clInputs::ReadNames(options);
    }

    const TempFolder folder;
};

} // namespace

TEST_F(clInputsTest, FoldersAreExpanded)
{
    for (const char *cpName : {"m/b.dff", "m/a.DFF", "m/a/z.dFf", "m/a-/y.dff", "m/c.dsf",
                               "m/x.dff/in.dff", "m/.dff", "m/a.dff.txt", "m/dff", "other/o.dff"}) {
        Write(cpName);
    }
    fs::create_symlink("../other/o.dff", folder.Path("m/link.dff"));
    fs::create_symlink("../other", folder.Path("m/folder.dff"));
    fs::create_symlink("..", folder.Path("m/a/up"));
    fs::create_symlink("nowhere", folder.Path("m/lost.dff"));
    fs::create_symlink("loop.dff", folder.Path("m/loop.dff"));
    ASSERT_EQ(0, mkfifo(folder.Path("m/pipe.dff").c_str(), 0600));
    // Byte order of the whole paths: '-' is before '/', capitals are before small letters.
    const names_t expected = {"m/.dff",
                              "m/a-/y.dff",
                              "m/a.DFF",
                              "m/a/z.dFf",
                              "m/b.dff",
                              "m/c.dsf",
                              "m/link.dff",
                              "m/loop.dff - Too many levels of symbolic links",
                              "m/lost.dff - No such file or directory",
                              "m/pipe.dff - is a pipe, not a file",
                              "m/x.dff/in.dff"};
    EXPECT_EQ(expected, Expand({folder.Path("m")}, clInputs::DSDIFF_AND_DSF_FILES));
    names_t withoutDSF = expected;
    withoutDSF.erase(withoutDSF.begin() + 5);
    EXPECT_EQ(withoutDSF, Expand({folder.Path("m/")}, clInputs::DSDIFF_FILES));

    fs::create_directory_symlink("other", folder.Path("named"));
    EXPECT_EQ(names_t{"named/o.dff"}, Expand({folder.Path("named")}, clInputs::DSDIFF_FILES));
    const clInputs inputs({folder.Path("m")}, clInputs::DSDIFF_FILES);
    EXPECT_TRUE(inputs.HasFolder());
    EXPECT_EQ(1U, inputs.GetNames());
    EXPECT_EQ("a/z.dFf", inputs.GetFiles()[3].strBelow);
    EXPECT_EQ(7U * 3, inputs.GetTotalSize());
}

TEST_F(clInputsTest, WhatCannotBeProcessedKeepsItsPlace)
{
    Write("a.dff");
    fs::create_directories(folder.Path("empty/below"));
    Write("only/c.dsf");
    const int iSocket = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, folder.Path("s").c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(0, bind(iSocket, reinterpret_cast<sockaddr *>(&address), sizeof(address)));
    close(iSocket);
    const std::string strLong(300, 'x');
    EXPECT_EQ((names_t{"missing - No such file or directory", "a.dff",
                       "empty - the folder has no .dff file", "only - the folder has no .dff file",
                       "/dev/null - is a device, not a file", "s - is a socket, not a file",
                       "a.dff/ - Not a directory", strLong + " - File name too long", "a.dff"}),
              Expand({folder.Path("missing"), folder.Path("a.dff"), folder.Path("empty"),
                      folder.Path("only"), "/dev/null", folder.Path("s"), folder.Path("a.dff/"),
                      folder.Path(strLong), folder.Path("a.dff")},
                     clInputs::DSDIFF_FILES));

    const clInputs urls({"HTTP://a/b.dff", "https://u:p@a", "http:/a", "ftp://a"},
                        clInputs::DSDIFF_FILES);
    const std::vector<input_t> &aFiles = urls.GetFiles();
    EXPECT_EQ("HTTP://a/b.dff", aFiles[0].strURL);
    EXPECT_EQ("https://u:p@a", aFiles[1].strURL);
    EXPECT_EQ("https://a", aFiles[1].strPath);
    EXPECT_EQ("", aFiles[0].strFault);
    EXPECT_EQ("", aFiles[2].strURL + aFiles[3].strURL);
}

TEST_F(clInputsTest, OneUnreadableFolderDoesNotHideTheOthers)
{
    Write("m/a/1.dff");
    Write("m/b/2.dff");
    Write("m/c/3.dff");
    fs::permissions(folder.Path("m/b"), fs::perms::none);
    fs::permissions(folder.Path(""), fs::perms(0755));
    const run_t run = RunForked(
        [&]() {
            // Root may read everything.
            if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
                return 1;
            }
            const clInputs inputs({folder.Path("m")}, clInputs::DSDIFF_FILES);
            for (const input_t &input : inputs.GetFiles()) {
                std::printf("%s %s\n", input.strBelow.c_str(), input.strFault.c_str());
            }
            std::fflush(stdout);
            return 0;
        },
        [](pid_t) {});
    fs::permissions(folder.Path("m/b"), fs::perms::owner_all);
    EXPECT_EQ(0, run.iStatus);
    EXPECT_EQ("a/1.dff \nb the folder cannot be read: Permission denied\nc/3.dff \n", run.strOut);
}

TEST_F(clInputsTest, DepthHasNoLimitButThatOfPaths)
{
    // Deeper than a path can say, which only single steps can make.
    const int iBefore = open(".", O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(0, chdir(folder.Path("").c_str()));
    const std::string strName(100, 'd');
    for (int i = 0; i < 60; ++i) {
        ASSERT_EQ(0, mkdir(strName.c_str(), 0700));
        ASSERT_EQ(0, chdir(strName.c_str()));
    }
    ASSERT_EQ(0, fchdir(iBefore));
    close(iBefore);
    Write(strName + "/a.dff");
    const clInputs inputs({folder.Path(strName)}, clInputs::DSDIFF_FILES);
    ASSERT_EQ(2U, inputs.GetFiles().size());
    EXPECT_EQ("a.dff", inputs.GetFiles()[0].strBelow);
    EXPECT_EQ("the folder cannot be read: File name too long", inputs.GetFiles()[1].strFault);
}

TEST_F(clInputsTest, ListsNameFurtherInputs)
{
    EXPECT_EQ((names_t{"first", "a", "-b", " c\r", "d"}),
              ReadList("a\n\n-b\n c\r\n\nd", false, {"first"}));
    EXPECT_EQ((names_t{"a\nb", "c"}), ReadList(std::string("a\nb\0\0c", 6), true));
    const std::string strLong(70000, 'x');
    EXPECT_EQ((names_t{strLong, "y"}), ReadList(strLong + "\ny", false));

    const std::string strList = folder.Path("list");
    EXPECT_THROW_MSG(ReadList("\n\n", false), clXUsage, "no input");
    EXPECT_THROW_MSG(ReadList(std::string("a\0b", 3), false), clXUsage,
                     "the list " + strList +
                         " cannot be read: a line has a NUL in it; for names that end with it: -0");
    options_t options;
    options.pCommand = &MANY;
    EXPECT_THROW_MSG(clInputs::ReadNames(options), clXUsage, "no input");
    options.strFilesFrom = folder.Path("");
    EXPECT_THROW_MSG(clInputs::ReadNames(options), clXUsage,
                     "the list " + folder.Path("") + " cannot be read: Is a directory");
    options.strFilesFrom = folder.Path("none");
    EXPECT_THROW_MSG(clInputs::ReadNames(options), clXUsage,
                     "the list " + folder.Path("none") +
                         " cannot be read: No such file or directory");
    options.pCommand = &TWO;
    options.aInputs = {"a"};
    options.strFilesFrom = strList;
    folder.Write("list", {'b', '\n'});
    EXPECT_EQ((names_t{"a", "b"}), clInputs::ReadNames(options));
    folder.Write("list", {'b', '\n', 'c', '\n'});
    EXPECT_THROW_MSG(clInputs::ReadNames(options), clXUsage, "compare takes two inputs, not 3");
}
