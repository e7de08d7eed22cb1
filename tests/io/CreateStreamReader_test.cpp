#include "io/CreateStreamReader.h"

#include "base/clException.h"
#include "tests/support/ExpectThrow.h"

#include <cerrno>

TEST(CreateStreamReader, OpensAllButHttpNamesAsFiles)
{
    const clXFileIO missing("clStreamReaderFile::clStreamReaderFile(): clFileIO::Open(): open()",
                            ENOENT);
    for (const char *cpName : {"HTTP://x", "./http:x", "file:http:x"}) {
        SCOPED_TRACE(cpName);
        EXPECT_THROW_MSG(CreateStreamReader(cpName), clXStreamReader, missing.what());
    }
    EXPECT_THROW_MSG(CreateStreamReader("http:x"), clXStreamReader,
                     "clStreamReaderHTTP::clStreamReaderHTTP(): invalid URL");
}
