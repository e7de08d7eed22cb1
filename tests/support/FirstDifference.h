#pragma once

#include <cstddef>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

/** Compares two sequences of numbers bit for bit, since == takes 0.0 for -0.0.
 * @return the first difference: its index and both values, or both sizes; empty when equal */
template <class T>
std::string FirstDifference(const std::vector<T> &expected, const std::vector<T> &actual)
{
    if (expected.size() == actual.size() &&
        (expected.empty() ||
         std::memcmp(expected.data(), actual.data(), expected.size() * sizeof(T)) == 0)) {
        return "";
    }
    std::ostringstream text;
    text.precision(std::numeric_limits<T>::max_digits10);
    for (size_t i = 0; i < expected.size() && i < actual.size(); ++i) {
        if (std::memcmp(&expected[i], &actual[i], sizeof(T)) != 0) {
            // The unary plus makes a number of a byte.
            text << "index " << i << ": expected " << +expected[i] << ", got " << +actual[i];
            return text.str();
        }
    }
    text << "expected " << expected.size() << " elements, got " << actual.size();
    return text.str();
}
