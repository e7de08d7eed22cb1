#include "dsd/clDSF.h"
#include "fuzz/Use.h"

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clDSF reader;
    UseFile(reader, clInput(pData, sizeData),
            [](const clDSD &file) { return uint64_t{file.GetBlockSize()} * file.GetChannels(); });
}
