#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/**
 * The check value of a "DSTC" chunk: a CRC of 32 bits over the decoded sound of one frame, in the
 * order of plain sound data. Highest bit first, from 0 on, not inverted.
 */
namespace DSTCheck
{

constexpr uint32_t POLYNOMIAL = 0x80000011;

constexpr size_t BYTES_AT_ONCE = 8;

using tables_t = std::array<std::array<uint32_t, 256>, BYTES_AT_ONCE>;

// Table k: what a byte contributes when k bytes of zeros follow it.
constexpr tables_t MakeTables()
{
    tables_t tables{};
    for (uint32_t uByte = 0; uByte < 256; ++uByte) {
        uint32_t uValue = uByte << 24;
        for (size_t sizeFollowing = 0; sizeFollowing < BYTES_AT_ONCE; ++sizeFollowing) {
            for (int i = 0; i < 8; ++i) {
                uValue = uValue << 1 ^ (uValue >> 31 != 0 ? POLYNOMIAL : 0);
            }
            tables[sizeFollowing][uByte] = uValue;
        }
    }
    return tables;
}

inline uint32_t Compute(const uint8_t *cpSound, size_t sizeSound) noexcept
{
    static constexpr tables_t TABLES = MakeTables();
    uint32_t uValue = 0;
    for (; sizeSound >= BYTES_AT_ONCE; sizeSound -= BYTES_AT_ONCE, cpSound += BYTES_AT_ONCE) {
        uint32_t uNext = 0;
        for (size_t i = 0; i < BYTES_AT_ONCE; ++i) {
            const uint32_t uOld = i < 4 ? uValue >> (24 - 8 * i) & 0xFF : 0;
            uNext ^= TABLES[BYTES_AT_ONCE - 1 - i][uOld ^ cpSound[i]];
        }
        uValue = uNext;
    }
    for (; sizeSound != 0; --sizeSound, ++cpSound) {
        uValue = uValue << 8 ^ TABLES[0][uValue >> 24 ^ *cpSound];
    }
    return uValue;
}

} // namespace DSTCheck
