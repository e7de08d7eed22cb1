#include "fuzz/Target.h"
#include "fuzz/Use.h"

int LLVMFuzzerTestOneInput(const uint8_t *pData, size_t sizeData)
{
    clID3tag tag;
    Try([&] { tag.Parse(pData, sizeData); });
    UseTag(tag);
    return 0;
}
