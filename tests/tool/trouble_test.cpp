// The program where the system fails it: full disks, files of the wrong kind, signals.

#include "tests/support/DSFModel.h"
#include "tests/support/VantrelTest.h"

#include <csignal>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace
{

namespace fs = std::filesystem;

const char *const NO_SPACE = "exception: clFileIO::Write(): write(): No space left on device\n";

// A small file system of its own at a folder, gone with the object.
struct Mounted {
    Mounted(const std::string &strFolder, unsigned long uFlags)
        : strPath(strFolder),
          bDone(mount("tmpfs", strPath.c_str(), "tmpfs", uFlags, "size=128k") == 0)
    {
    }
    ~Mounted()
    {
        if (bDone) {
            umount2(strPath.c_str(), MNT_DETACH);
        }
    }

    const std::string strPath;
    const bool bDone;
};

} // namespace

TEST_F(vantrel, ReportsAFileThatCannotGrow)
{
    folder.Write("in.dff", DSDIFFBuilder().Sound(Pattern(1 << 20)).Build());
    run_t run = Run({folder.Path("in.dff"), "/dev/full"});
    EXPECT_EQ("exception: clDSF::Create(): clDSF::WriteHeaders(): clFileIO::Write(): write(): "
              "No space left on device\n",
              run.strErr);
    EXPECT_EQ(1, run.iStatus);

    // The signal of the limit must not kill the program before it can say so. The part of a write
    // that fits has no error number; the next run starts at the limit.
    rlimit limitOld;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limitOld));
    for (const auto &[uLimit, strError] :
         {std::pair(1000UL, std::string(NO_SPACE)),
          std::pair(92UL + 64 * 8192,
                    std::string("exception: clFileIO::Write(): write(): File too large\n"))}) {
        const rlimit limitSmall = {uLimit, limitOld.rlim_max};
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limitSmall));
        run = Run({folder.Path("in.dff"), folder.Path("out.dsf")});
        setrlimit(RLIMIT_FSIZE, &limitOld);
        // What counts coverage meets the limit as well, behind the program's own line.
        EXPECT_EQ(0U, run.strErr.find(strError)) << run.strErr;
        EXPECT_EQ(1, run.iStatus);
        ExpectProvisional();
    }
}

TEST_F(vantrel, ReportsAFullDisk)
{
    folder.Write("in.dff", DSDIFFBuilder().Sound(Pattern(1 << 20)).Build());
    fs::create_directory(folder.Path("disk"));
    fs::create_symlink("disk/out.dsf", folder.Path("out.dsf"));
    const Mounted disk(folder.Path("disk"), 0);
    if (!disk.bDone) {
        GTEST_SKIP() << "mounting is not allowed";
    }
    const run_t run = Run({folder.Path("in.dff"), folder.Path("out.dsf")});
    EXPECT_EQ(NO_SPACE, run.strErr);
    EXPECT_EQ(1, run.iStatus);
    ExpectProvisional();
}

TEST_F(vantrel, RefusesFilesOfTheWrongKind)
{
    const std::string strIn = folder.Write("in.dff", DSDIFFBuilder().Build());
    const std::string strOut = folder.Path("out.dsf");
    fs::create_directory(folder.Path("locked"));
    const Mounted locked(folder.Path("locked"), MS_RDONLY);
    const std::string strOpen = "exception: clDSF::Create(): clFileIO::Open(): open(): ";
    const std::string strRead = "exception: clDSDIFF::OpenMeta(): clDSDIFFFormChunk::Read(): ";
    const struct {
        std::string strIn;
        std::string strOut;
        std::string strError;
    } aRows[] = {
        {strIn, folder.Path("none/out.dsf"), strOpen + "No such file or directory\n"},
        {strIn, folder.Path("in.dff/out.dsf"), strOpen + "Not a directory\n"},
        {strIn, folder.Path(""), strOpen + "Is a directory\n"},
        {strIn, folder.Path("locked/out.dsf"), strOpen + "Read-only file system\n"},
        {folder.Path(""), strOut, strRead + "clFileIO::Read(): read(): Is a directory\n"},
        {"/dev/null", strOut, strRead + "id != 'FRM8'\n"},
        {"/dev/zero", strOut, strRead + "id != 'FRM8'\n"},
    };
    for (const auto &row : aRows) {
        if (row.strError.find("Read-only") != std::string::npos && !locked.bDone) {
            continue;
        }
        const run_t run = Run({row.strIn, row.strOut});
        EXPECT_EQ(row.strError, run.strErr) << row.strIn << ' ' << row.strOut;
        EXPECT_EQ(1, run.iStatus);
        EXPECT_FALSE(HasOutput());
    }
    // A pipe takes neither advice nor seeks, and the walk over the chunks needs the latter.
    const run_t run = RunProgram(
        {"/bin/sh", "-c", "cat \"$1\" | \"$0\" /dev/stdin \"$2\"", PROGRAM, strIn, strOut});
    EXPECT_NE(std::string::npos, run.strErr.find("clFileIO::Open(): posix_fadvise()\n"))
        << run.strErr;
    EXPECT_EQ(1, run.iStatus);
    EXPECT_FALSE(HasOutput());
}

TEST_F(vantrel, LeavesAProvisionalHeaderWhenItIsKilled)
{
    // More than any machine converts before the signal arrives.
    WriteSparse(DSDIFFBuilder(), uint64_t{1} << 42);
    const std::string strOut = folder.Path("out.dsf");
    for (const int iSignal : {SIGINT, SIGTERM}) {
        const run_t run = Run({folder.Path("in.dff"), strOut}, [&](pid_t pid) {
            WaitForOutput();
            kill(pid, iSignal);
        });
        EXPECT_EQ(128 + iSignal, run.iStatus);
        ExpectProvisional();
        fs::remove(strOut);
    }
}

TEST_F(vantrel, ShowsALongConversionOnATerminalOnly)
{
    // Stopped for a while, so that it is a long one on any machine.
    WriteSparse(DSDIFFBuilder(), uint64_t{1} << 28);
    const std::string strCall = "echo $$ >" + folder.Path("pid") + "; exec " + PROGRAM + " " +
                                folder.Path("in.dff") + " " + folder.Path("out.dsf");
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
    const size_t sizeLine = run.strOut.find(" %  ");
    ASSERT_NE(std::string::npos, sizeLine) << run.strOut;
    EXPECT_NE(std::string::npos, run.strOut.find(" MB/s  ", sizeLine));
    EXPECT_NE(std::string::npos, run.strOut.find(" left", sizeLine));
    EXPECT_EQ('\r' + std::string(60, ' ') + '\r', run.strOut.substr(run.strOut.size() - 62));
}
