#include "io/clStreamReaderFile.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TempFolder.h"

#include <utility>

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

TEST(clStreamReader, UnsupportedOperationsThrow)
{
    struct Pipe : clStreamReader {
        Pipe() : clStreamReader(clString("pipe")) {}
        void Close() override {}
        ssize_t Read(void *, size_t) override { return 0; }
        bool IsRemote() override { return false; }
        bool IsSeekable() override { return false; }
    } stream;
    const std::pair<const char *, void (*)(clStreamReader &)> aRows[] = {
        {"Seek(): stream not seekable", [](clStreamReader &reader) { reader.Seek(0); }},
        {"Skip(): not supported", [](clStreamReader &reader) { reader.Skip(0); }},
        {"Tell(): invalid call", [](clStreamReader &reader) { reader.Tell(); }},
        {"IsEOF(): invalid call", [](clStreamReader &reader) { reader.IsEOF(); }},
    };
    for (const auto &[cpText, fnCall] : aRows) {
        SCOPED_TRACE(cpText);
        EXPECT_THROW_MSG(fnCall(stream), clXStreamReader, std::string("clStreamReader::") + cpText);
    }
    EXPECT_EQ(0, stream.GetSize());
    EXPECT_STREQ("application/octet-stream", stream.GetMimeType());
}
