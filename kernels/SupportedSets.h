#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

/** The choice among sets of functions for one kind of processor: structs with a member
 * fnIsSupported, in a list that begins with the scalar one and ends with the fastest. */

/** For sets that every processor of their kind can run. */
inline bool IsAlwaysSupported() noexcept
{
    return true;
}

template <class Set, size_t N>
std::vector<const Set *> SupportedSets(const Set *const (&apList)[N])
{
    std::vector<const Set *> sets;
    std::copy_if(std::begin(apList), std::end(apList), std::back_inserter(sets),
                 [](const Set *pSet) { return pSet->fnIsSupported(); });
    return sets;
}

/** The last set of the list that this processor can run. */
template <class Set, size_t N>
const Set &FastestSet(const Set *const (&apList)[N]) noexcept
{
    size_t i = N - 1;
    while (i != 0 && !apList[i]->fnIsSupported()) {
        --i;
    }
    return *apList[i];
}
