#pragma once

#include "tests/support/DSFBuilder.h"

#include <algorithm>

/** A byte with its eight bits in reverse order. */
inline uint8_t Reversed(uint8_t uByte)
{
    uint8_t uReversed = 0;
    for (int iBit = 0; iBit < 8; ++iBit) {
        uReversed = static_cast<uint8_t>(uReversed | (uByte >> iBit & 1) << (7 - iBit));
    }
    return uReversed;
}

/**
 * The DSF file that a conversion must write, built straight from the sound, as plainly as the two
 * layouts can be put: interleaved bytes in, whole frames only, blocks of 4096 bytes filled up with
 * zeros.
 */
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
