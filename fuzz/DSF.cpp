#include "dsd/clDSF.h"
#include "fuzz/Target.h"
#include "fuzz/Use.h"

int LLVMFuzzerTestOneInput(const uint8_t *pData, size_t sizeData)
{
    clDSF reader;
    UseFile(reader, pData, sizeData, 0);
    return 0;
}
