#include "io/clStreamReaderFile.h"

#include "tests/support/TempFolder.h"

#include <utility>

#include <gtest/gtest.h>

TEST(clStreamReaderFile, PathOfRemovesOnePrefix)
{
    const std::pair<const char *, const char *> aRows[] = {
        {"file:///tmp/a.dff", "/tmp/a.dff"},
        {"file:a%20b?c", "a%20b?c"},
        {"file:file:a", "file:a"},
        {"file:", ""},
        {"FILE:a", "FILE:a"},
    };
    for (const auto &[cpName, cpPath] : aRows) {
        EXPECT_STREQ(cpPath, clStreamReaderFile::PathOf(clString(cpName)).c_str()) << cpName;
    }
}

TEST(clStreamReaderFile, IsEOFAtTheEnd)
{
    const TempFolder folder;
    clStreamReaderFile reader(clString(folder.Write("file", {0, 1, 2, 3, 4, 5}).c_str()));
    EXPECT_EQ(6, reader.Seek(6));
    EXPECT_TRUE(reader.IsEOF());
    EXPECT_EQ(5, reader.Skip(-1));
    EXPECT_FALSE(reader.IsEOF());
}
