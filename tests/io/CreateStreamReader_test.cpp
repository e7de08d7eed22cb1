#include "io/CreateStreamReader.h"

#include "base/clException.h"
#include "io/clStreamReaderFile.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TempFolder.h"

#include <filesystem>
#include <memory>

TEST(CreateStreamReader, OpensAllButHttpNamesAsFiles)
{
    const TempFolder folder;
    std::filesystem::create_directory(folder.Path("HTTP:"));
    folder.Write("HTTP:/x", {});
    folder.Write("http:x", {});
    const std::filesystem::path oldFolder = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path(""));
    for (const char *cpName : {"HTTP://x", "./http:x", "file:http:x"}) {
        const std::unique_ptr<clStreamReader> spReader(CreateStreamReader(cpName));
        EXPECT_NE(nullptr, dynamic_cast<clStreamReaderFile *>(spReader.get())) << cpName;
    }
    EXPECT_THROW_MSG(CreateStreamReader("http:x"), clXStreamReader,
                     "clStreamReaderHTTP::clStreamReaderHTTP(): invalid URL");
    std::filesystem::current_path(oldFolder);
}
