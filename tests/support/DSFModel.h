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

    const size_t uFrames = sound.size() / uChannels;
    const size_t uGroups = (uFrames + BLOCK - 1) / BLOCK;
    bytes_t data(uGroups * BLOCK * uChannels, 0);
    for (size_t i = 0; i < uFrames * uChannels; ++i) {
        const size_t uFrame = i / uChannels;
        const size_t uBlock = uFrame / BLOCK * uChannels + i % uChannels;
        data[uBlock * BLOCK + uFrame % BLOCK] = Reversed(sound[i]);
    }
    DSFBuilder builder;
    builder.Channels(uChannels, auTypes[uChannels])
        .Data(data, uFrames * 8)
        .Patch(56, DSFBuilder::Number(uRate, 4));
    if (pTag != nullptr) {
        builder.Trailing(*pTag).Patch(20, DSFBuilder::Number(92 + data.size(), 8));
    }
    return builder.Build();
}
