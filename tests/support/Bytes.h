#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

using bytes_t = std::vector<uint8_t>;

inline void Append(bytes_t &bytes, const bytes_t &more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

inline bytes_t operator+(bytes_t bytes, const bytes_t &more)
{
    Append(bytes, more);
    return bytes;
}

/** What stands from a place on, or so much of it. */
template <class T>
std::vector<T> Part(const std::vector<T> &all, size_t sizeFrom, size_t sizeMost = SIZE_MAX)
{
    const auto first = all.begin() + static_cast<ptrdiff_t>(sizeFrom);
    return {first, first + static_cast<ptrdiff_t>(std::min(sizeMost, all.size() - sizeFrom))};
}
