#include "dsd/clDSDIFF.h"
#include "fuzz/Use.h"

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clDSDIFF reader;
    UseFile(reader, clInput(pData, sizeData), [](const clDSD &file) { return file.GetChannels(); });
}
