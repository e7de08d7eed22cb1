#include "io/clStreamReaderFile.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TempFolder.h"

#include <cerrno>
#include <utility>

TEST(clStreamReaderFile, NamesStandForPaths)
{
    const std::pair<const char *, const char *> aRows[] = {
        {"file:///tmp/a.dff", "/tmp/a.dff"},
        {"file:a%20b?c", "a%20b?c"},
        {"file:file:a", "file:a"},
        {"FILE:a", "FILE:a"},
    };
    for (const auto &[cpName, cpPath] : aRows) {
        EXPECT_STREQ(cpPath, clStreamReaderFile::PathOf(clString(cpName)).c_str()) << cpName;
    }
    EXPECT_THROW_MSG(
        clStreamReaderFile(clString("file:")), clXStreamReader,
        clXFileIO("clStreamReaderFile::clStreamReaderFile(): clFileIO::Open(): open()", ENOENT)
            .what());
}

TEST(clStreamReaderFile, MovesAndReadsAsAFile)
{
    const TempFolder folder;
    const std::string strName = "file://" + folder.Write("file", {0, 1, 2, 3, 4, 5});
    clStreamReaderFile reader(clString(strName.c_str()));
    EXPECT_EQ(strName, reader.strName.c_str());
    EXPECT_EQ(6, reader.GetSize());
    uint8_t aBuffer[4] = {};
    EXPECT_EQ(1, reader.Read(aBuffer, 1));
    EXPECT_EQ(3, reader.Skip(2));
    EXPECT_EQ(3, reader.Read(aBuffer, 4));
    EXPECT_EQ(3, aBuffer[0]);
    EXPECT_TRUE(reader.IsEOF());
    EXPECT_EQ(5, reader.Seek(5));
    EXPECT_FALSE(reader.IsEOF());
}
