#include "dsd/clDSDIFF.h"
#include "fuzz/Target.h"
#include "fuzz/Use.h"

int LLVMFuzzerTestOneInput(const uint8_t *pData, size_t sizeData)
{
    clDSDIFF reader;
    UseFile(reader, pData, sizeData, 4096);
    return 0;
}
