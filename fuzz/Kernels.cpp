#include "fuzz/Target.h"
#include "tests/support/KernelsCheck.h"

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clInput input(pData, sizeData);
    kernels_run_t run = {};
    run.uChannels = input.Byte() % 9U;
    run.uPlaces = input.Byte() % 18U;
    run.uSrcOffset = input.Byte() % 64U;
    run.uDestOffset = input.Byte() % 64U;
    run.bReverse = input.Byte() % 2 != 0;
    for (uint32_t uChIdx = 0; uChIdx < run.uChannels; ++uChIdx) {
        run.auTable.push_back(input.Byte() % 20U);
    }
    const std::vector<uint8_t> sound = input.Bytes();
    run.uFrames = run.uChannels == 0 ? sound.size() : sound.size() / run.uChannels;
    const std::string strWrong = FindWrongKernel(run, sound);
    Check(strWrong.empty(), strWrong.c_str());
}
