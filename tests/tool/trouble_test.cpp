// The program where the system fails it: full disks, files of the wrong kind, signals.

#include "tests/support/VantrelTest.h"

#include <csignal>
#include <tuple>

#include <sys/mount.h>
#include <sys/resource.h>

TEST_F(vantrel, ReportsAFileThatCannotGrow)
{
    folder.Write("in.dff", DSDIFFBuilder().Sound(Pattern(1 << 20)).Build());
    const std::string strWrite = "clFileIO::Write(): write(): ";
    EXPECT_EQ(said_t(1, "exception: clDSF::Create(): clDSF::WriteHeaders(): " + strWrite +
                            "No space left on device\n"),
              Run({strIn, "/dev/full"}));
    // The signal of the limit must not kill the program before it can say so.
    rlimit limitOld;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limitOld));
    const rlimit limitSmall = {92 + 64 * 8192, limitOld.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limitSmall));
    const auto [iStatus, strSaid] = Run({strIn, strOut});
    setrlimit(RLIMIT_FSIZE, &limitOld);
    // The writer of coverage counts meets the limit as well, after the program's line.
    EXPECT_TRUE(strSaid.starts_with("exception: " + strWrite + "File too large\n")) << strSaid;
    EXPECT_EQ(1, iStatus);
    ExpectProvisional();
}

TEST_F(vantrel, ReportsAFullDiskAndOneThatCannotBeWritten)
{
    folder.Write("in.dff", DSDIFFBuilder().Sound(Pattern(1 << 20)).Build());
    const std::string strDisk = folder.Path("disk");
    fs::create_directory(strDisk);
    fs::create_symlink("disk/out.dsf", strOut);
    if (mount("tmpfs", strDisk.c_str(), "tmpfs", 0, "size=128k") != 0) {
        GTEST_SKIP() << "mounting is not allowed";
    }
    EXPECT_EQ(said_t(1, "exception: clFileIO::Write(): write(): No space left on device\n"),
              Run({strIn, strOut}));
    ExpectProvisional();
    EXPECT_EQ(0, mount(nullptr, strDisk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr));
    EXPECT_EQ(said_t(1, "exception: clDSF::Create(): clFileIO::Open(): open(): Read-only file "
                        "system\n"),
              Run({strIn, strOut}));
    umount2(strDisk.c_str(), MNT_DETACH);
}

TEST_F(vantrel, RefusesFilesOfTheWrongKind)
{
    folder.Write("in.dff", DSDIFFBuilder().Build());
    const std::string strOpen = "exception: clDSF::Create(): clFileIO::Open(): open(): ";
    const std::string strRead = "exception: clDSDIFF::OpenMeta(): clDSDIFFFormChunk::Read(): ";
    const std::tuple<std::string, std::string, std::string> aRows[] = {
        {strIn, folder.Path("none/out.dsf"), strOpen + "No such file or directory\n"},
        {strIn, folder.Path("in.dff/out.dsf"), strOpen + "Not a directory\n"},
        {strIn, folder.Path(""), strOpen + "Is a directory\n"},
        {folder.Path(""), strOut, strRead + "clFileIO::Read(): read(): Is a directory\n"},
        {"/dev/null", strOut, strRead + "id != 'FRM8'\n"},
        {"/dev/zero", strOut, strRead + "id != 'FRM8'\n"},
    };
    for (const auto &[strFrom, strTo, strError] : aRows) {
        EXPECT_EQ(said_t(1, strError), Run({strFrom, strTo}));
        EXPECT_FALSE(HasOutput());
    }
    // A pipe takes neither advice nor seeks, and the walk over the chunks needs the latter.
    const run_t run = RunProgram(
        {"/bin/sh", "-c", "cat \"$1\" | \"$0\" /dev/stdin \"$2\"", PROGRAM, strIn, strOut});
    EXPECT_TRUE(run.strErr.ends_with("clFileIO::Open(): posix_fadvise()\n")) << run.strErr;
    EXPECT_EQ(1, run.iStatus);
    EXPECT_FALSE(HasOutput());
}

TEST_F(vantrel, LeavesAProvisionalHeaderWhenItIsKilled)
{
    // More than any machine converts before the signal arrives.
    WriteSparse(DSDIFFBuilder(), uint64_t{1} << 42);
    for (const int iSignal : {SIGINT, SIGTERM}) {
        EXPECT_EQ(said_t(128 + iSignal, ""), Run({strIn, strOut}, [&](pid_t pid) {
                      WaitForOutput();
                      kill(pid, iSignal);
                  }));
        ExpectProvisional();
        fs::remove(strOut);
    }
}

TEST_F(vantrel, ShowsALongConversionOnATerminalOnly)
{
    // Stopped for a while, so that it is a long one on any machine.
    WriteSparse(DSDIFFBuilder(), uint64_t{1} << 28);
    const std::string strCall =
        "echo $$ >" + folder.Path("pid") + "; exec " + PROGRAM + " " + strIn + " " + strOut;
    const run_t run = RunProgram({"script", "-qec", strCall, "/dev/null"}, [&](pid_t pidTerminal) {
        WaitForOutput();
        pid_t pid = 0;
        std::ifstream(folder.Path("pid")) >> pid;
        ASSERT_GT(pid, 0);
        kill(pid, SIGSTOP);
        usleep(700000);
        // The terminal has stopped with its program, and goes on with it.
        kill(pid, SIGCONT);
        kill(pidTerminal, SIGCONT);
    });
    const size_t uLine = run.strOut.find(" %  ");
    ASSERT_NE(std::string::npos, uLine) << run.strOut;
    EXPECT_NE(std::string::npos, run.strOut.find(" MB/s  ", uLine));
    EXPECT_NE(std::string::npos, run.strOut.find(" left", uLine));
    EXPECT_TRUE(run.strOut.ends_with('\r' + std::string(60, ' ') + '\r'));
}
