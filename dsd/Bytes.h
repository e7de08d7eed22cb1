#pragma once

#include <cstddef>
#include <cstdint>

// Multi-byte fields at any address: DSDIFF keeps the highest byte first, DSF the lowest.

template <class T>
inline T GetBE(const uint8_t *cpBytes) noexcept
{
    T uValue = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        uValue = static_cast<T>(static_cast<uint64_t>(uValue) << 8 | cpBytes[i]);
    }
    return uValue;
}

template <class T>
inline T GetLE(const uint8_t *cpBytes) noexcept
{
    T uValue = 0;
    for (size_t i = sizeof(T); i-- > 0;) {
        uValue = static_cast<T>(static_cast<uint64_t>(uValue) << 8 | cpBytes[i]);
    }
    return uValue;
}

template <class T>
inline void PutLE(uint8_t *pBytes, T uValue) noexcept
{
    for (size_t i = 0; i < sizeof(T); ++i) {
        pBytes[i] = static_cast<uint8_t>(static_cast<uint64_t>(uValue) >> (8 * i));
    }
}

/** The four characters of an id as GetBE<uint32_t> reads them. */
constexpr uint32_t Id(const char (&aText)[5])
{
    uint32_t uId = 0;
    for (int i = 0; i < 4; ++i) {
        uId = uId << 8 | static_cast<uint8_t>(aText[i]);
    }
    return uId;
}
