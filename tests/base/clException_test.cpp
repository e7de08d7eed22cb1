#include "base/clException.h"

#include "tests/support/ExpectThrow.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>

static_assert(std::is_base_of_v<clXDSD, clXDSDIFF> && std::is_base_of_v<clXDSD, clXDSF>);
static_assert(!std::is_base_of_v<clXDSDIFF, clXDSF> && !std::is_base_of_v<clXThread, clXThreads>);
static_assert(std::is_nothrow_copy_constructible_v<clXSocketError>);
static_assert(sizeof(clXSocketError) == sizeof(clException), "a class adds only its type");

TEST(clException, NumberAddsTheSystemsText)
{
    EXPECT_EQ(0, clXFileIO("clFileIO::Read(): read()").iErrno);
    for (const int iErrorNumber : {0, ENOENT, -1}) {
        SCOPED_TRACE(iErrorNumber);
        const clXFileIO numbered("clFileIO::Read(): read()", iErrorNumber);
        EXPECT_EQ(std::string("clFileIO::Read(): read(): ") + std::strerror(iErrorNumber),
                  numbered.what());
        EXPECT_EQ(iErrorNumber, numbered.iErrno);
    }
}

TEST(clException, PrefixesNestOutwards)
{
    const auto Outer = [](const std::exception &innermost) {
        try {
            WrapException<clXDSD>("clDSDIFFVersChunk::Read(): ", innermost);
        } catch (const clException &caught) {
            WrapException<clXDSDIFF>("clDSDIFFFormChunk::Read(): ", caught);
        }
    };
    const std::string strPrefixes = "clDSDIFFFormChunk::Read(): clDSDIFFVersChunk::Read(): ";
    EXPECT_THROW_MSG(Outer(std::runtime_error("malloc()")), clXDSDIFF, strPrefixes + "malloc()");
    // The message already contains the system's text, which must not be repeated.
    EXPECT_THROW_MSG(Outer(clXFileIO("read()", EIO)), clXDSDIFF,
                     strPrefixes + "read(): " + std::strerror(EIO));
}
