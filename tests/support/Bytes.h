#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

using bytes_t = std::vector<uint8_t>;
using samples_t = std::vector<double>;

inline void Append(bytes_t &bytes, const bytes_t &more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

template <class T>
std::vector<T> operator+(std::vector<T> all, const std::vector<T> &more)
{
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

/** Bytes that differ from their neighbours in every channel count up to six. */
inline bytes_t Pattern(size_t sizeBytes)
{
    bytes_t bytes(sizeBytes);
    uint32_t uState = 12345;
    for (uint8_t &uByte : bytes) {
        uState = uState * 1664525 + 1013904223;
        uByte = static_cast<uint8_t>(uState >> 24);
    }
    return bytes;
}

/** A byte with its eight bits in reverse order. */
inline uint8_t Reversed(uint8_t uByte)
{
    uint8_t uReversed = 0;
    for (int iBit = 0; iBit < 8; ++iBit) {
        uReversed = static_cast<uint8_t>(uReversed | (uByte >> iBit & 1) << (7 - iBit));
    }
    return uReversed;
}

/** A copy from an index on, of sizeMost elements or fewer. */
template <class T>
std::vector<T> Part(const std::vector<T> &all, size_t uFrom, size_t sizeMost = SIZE_MAX)
{
    const auto first = all.begin() + static_cast<ptrdiff_t>(uFrom);
    return {first, first + static_cast<ptrdiff_t>(std::min(sizeMost, all.size() - uFrom))};
}
