#include "io/clFileIO.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TempFolder.h"

#include <csignal>
#include <tuple>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr auto READ = clFileIO::ACCESS_READ;
constexpr auto READWRITE = clFileIO::ACCESS_READWRITE;

/** Makes protected members public. */
struct clProbeFile : clFileIO {
    using clFileIO::clFileIO;
    using clFileIO::iFileH;
    using clFileIO::iUnlinkMark;
    using clFileIO::strFileName;
};

// The text of an exception of clFileIO, with the system's text for an error number.
std::string FileText(const std::string &strText, int iErrorNumber = 0)
{
    const std::string strWhole = "clFileIO::" + strText;
    return iErrorNumber == 0 ? strWhole : clXFileIO(strWhole.c_str(), iErrorNumber).what();
}

bool IsMapped(void *pMapping)
{
    return msync(pMapping, clFileIO::GetPageSize(), MS_ASYNC) == 0;
}

} // namespace

TEST(clFileIO, OpenTranslatesAccessAndOptions)
{
    // Access, options, flags of the descriptor, remaining bytes of three.
    const std::tuple<int, int, int, size_t> aRows[] = {
        {0, 16 | 32, O_RDONLY, 3}, {1, 4 | 8, O_WRONLY, 0}, {2, 2, O_RDWR | O_SYNC, 3}};
    const TempFolder folder;
    for (const auto &[iAccess, iOptions, iFlags, sizeRest] : aRows) {
        SCOPED_TRACE(iOptions);
        const std::string strPath = folder.Write("file", {1, 2, 3});
        const clProbeFile file(strPath.c_str(), static_cast<clFileIO::access_t>(iAccess), iOptions);
        EXPECT_EQ(iFlags, fcntl(file.iFileH, F_GETFL) & (O_ACCMODE | O_SYNC | O_APPEND));
        EXPECT_EQ(sizeRest, folder.Read("file").size());
    }
}

TEST(clFileIO, OpenClosesTheOldFileFirst)
{
    const TempFolder folder;
    clProbeFile file(folder.Write("old", {1}).c_str(), READ, 0);
    void *const pMapping = file.Map(0, 1, READ, 0);
    file.Open(file.strFileName.c_str(), READWRITE, 0);
    EXPECT_FALSE(IsMapped(pMapping));
    EXPECT_EQ(folder.Path("old"), file.strFileName.c_str());
    EXPECT_THROW_MSG(file.Open(folder.Path("old").c_str(), READ, 1 | 4), clXFileIO,
                     FileText("Open(): open()", EEXIST));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_THROW_MSG(file.Open("", static_cast<clFileIO::access_t>(3), 4), clXFileIO,
                     FileText("Open(): BUG: unknown access_t"));
}

TEST(clFileIO, FailedCloseKeepsTheDescriptorUntilItIsDetached)
{
    const TempFolder folder;
    const std::string strPath = folder.Write("file", {1});
    const std::string strText = FileText("Close(): close()", EBADF);
    clProbeFile file(strPath.c_str(), READ, 0);
    close(file.iFileH);
    EXPECT_THROW_MSG(file.Close(), clXFileIO, strText);
    EXPECT_TRUE(file.IsOpen());
    file.Detach();

    // The destructor throws as well, except during unwinding.
    const auto Destroy = [&](bool bThrowing) {
        const clProbeFile left(strPath.c_str(), READ, 0);
        close(left.iFileH);
        if (bThrowing) {
            throw clXFileIO("first");
        }
    };
    EXPECT_THROW_MSG(Destroy(false), clXFileIO, strText);
    EXPECT_THROW_MSG(Destroy(true), clXFileIO, "first");
}

TEST(clFileIO, CloseDeletesAMarkedFile)
{
    const TempFolder folder;
    clProbeFile file(folder.Write("file", {}).c_str(), READ, 0);
    file.iUnlinkMark = static_cast<int32_t>(0xDEADBEEF);
    file.Close();
    EXPECT_FALSE(clFileIO::Exists(folder.Path("file").c_str()));
}

TEST(clFileIO, SizesAndSeeks)
{
    const TempFolder folder;
    const std::string strPath = folder.Write("file", {1, 2, 3});
    clFileIO file(strPath.c_str(), READWRITE, 0);
    file.SetSize(10);
    EXPECT_EQ(10, file.Size());
    EXPECT_EQ(10, clFileIO::GetSize(strPath.c_str()));
    EXPECT_EQ(8, file.Seek(clFileIO::SEEK_POINT_END, -2));
    EXPECT_EQ(9, file.Seek(clFileIO::SEEK_POINT_CURRENT, 1));
    EXPECT_THROW_MSG(file.Seek(clFileIO::SEEK_POINT_START, -1), clXFileIO,
                     FileText("Seek(): lseek()", EINVAL));
    EXPECT_THROW_MSG(file.Seek(static_cast<clFileIO::seekpoint_t>(3), 0), clXFileIO,
                     FileText("Seek(): BUG: unknown seekpoint_t"));
    file.Close();
    EXPECT_THROW_MSG(file.Size(), clXFileIO, FileText("Size(): fstat()"));
    EXPECT_THROW_MSG(file.Write("x", 1), clXFileIO, FileText("Write(): write()", EBADF));
    EXPECT_THROW_MSG(clFileIO::GetSize(folder.Path("none").c_str()), clXFileIO,
                     FileText("GetSize(): stat()", ENOENT));
}

TEST(clFileIO, MappingsAreSharedAndEndWithCloseOrUnmap)
{
    const size_t sizePage = clFileIO::GetPageSize();
    const TempFolder folder;
    clFileIO file(folder.Write("file", std::vector<uint8_t>(2 * sizePage)).c_str(), READWRITE, 0);
    auto *const pFirst = static_cast<uint8_t *>(file.Map(0, sizePage, READWRITE, 0));
    void *const pSecond = file.Map(static_cast<off_t>(sizePage), sizePage, READ, 1 | 4);
    EXPECT_THROW_MSG(file.Unmap(pFirst, sizePage - 1), clXFileIO,
                     FileText("Unmap(): mapping size mismatch"));
    pFirst[1] = 7;
    EXPECT_EQ(7, folder.Read("file").at(1));
    file.Unmap(pFirst, sizePage);
    EXPECT_FALSE(IsMapped(pFirst));
    EXPECT_THROW_MSG(file.Unmap(pFirst, sizePage), clXFileIO,
                     FileText("Unmap(): mapping not found"));
    file.Close();
    EXPECT_FALSE(IsMapped(pSecond));
    EXPECT_THROW_MSG(file.Map(0, 1, READ, 0), clXFileIO, FileText("Map(): mmap()", EBADF));
}

TEST(clFileIO, DetachKeepsMappingsForCloseAndTheDestructor)
{
    const TempFolder folder;
    const std::string strPath = folder.Write("file", {7});
    void *pMapping = nullptr;
    {
        clProbeFile file;
        for (const bool bClose : {true, false}) {
            SCOPED_TRACE(bClose);
            file.Open(strPath.c_str(), READ, 0);
            pMapping = file.Map(0, 1, READ, 0);
            close(file.iFileH);
            file.Detach();
            EXPECT_TRUE(IsMapped(pMapping));
            if (bClose) {
                file.Close();
                EXPECT_FALSE(IsMapped(pMapping));
            }
        }
    }
    EXPECT_FALSE(IsMapped(pMapping));
}

TEST(clFileIO, ShortWriteReportsTheCause)
{
    constexpr off_t LIMIT = 1 << 20;
    const TempFolder folder;
    clFileIO file(folder.Write("file", {}).c_str(), READWRITE, 0);
    file.Seek(clFileIO::SEEK_POINT_START, LIMIT - 1);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit limitOld = limit;
    limit.rlim_cur = LIMIT;
    setrlimit(RLIMIT_FSIZE, &limit);
    // With the default action, the signal would end the process.
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_THROW_MSG(file.Write("ab", 2), clXFileIO, FileText("Write(): write()", EFBIG));
    setrlimit(RLIMIT_FSIZE, &limitOld);
    EXPECT_EQ(LIMIT, file.Size());
}
