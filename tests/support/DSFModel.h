#pragma once

#include "tests/support/DSFBuilder.h"

#include <algorithm>

/** The DSF file that a conversion must write, built byte by byte: interleaved bytes in, whole
 * frames only, blocks of 4096 bytes padded with zeros. */
inline bytes_t ExpectedDSF(const bytes_t &sound, uint32_t uChannels, uint32_t uRate,
                           const bytes_t *pTag = nullptr)
{
    constexpr size_t BLOCK = 4096;
    constexpr uint32_t auTypes[] = {0, 1, 2, 3, 4, 6, 7};

    const size_t sizeFrames = sound.size() / uChannels;
    const size_t sizeGroups = (sizeFrames + BLOCK - 1) / BLOCK;
    bytes_t data(sizeGroups * BLOCK * uChannels, 0);
    for (size_t i = 0; i < sizeFrames * uChannels; ++i) {
        const size_t sizeFrame = i / uChannels;
        const size_t sizeBlock = sizeFrame / BLOCK * uChannels + i % uChannels;
        data[sizeBlock * BLOCK + sizeFrame % BLOCK] = Reversed(sound[i]);
    }
    DSFBuilder builder;
    builder.Channels(uChannels, auTypes[uChannels])
        .Data(data, sizeFrames * 8)
        .Patch(56, DSFBuilder::Number(uRate, 4));
    if (pTag != nullptr) {
        builder.Trailing(*pTag).Patch(20, DSFBuilder::Number(92 + data.size(), 8));
    }
    return builder.Build();
}
