#include "base/clException.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "io/CreateStreamReader.h"

#include <cstdio>

int main()
{
    std::printf("%u channels\n", clDSDIFF().GetChannels() + clDSF().GetChannels());
    try {
        CreateStreamReader("/missing/file");
    } catch (const clXStreamReader &) {
        std::puts("caught");
    }
}
