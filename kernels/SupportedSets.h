#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

/**
 * The choice among the sets of functions that are built for one kind of processor. A set is a
 * struct with a member fnIsSupported; a list of sets begins with the scalar one, which every
 * processor can run, and ends with the fastest.
 */

/** For sets that every processor of their kind can run. */
inline bool IsAlwaysSupported() noexcept
{
    return true;
}

/** The sets of the list that this processor can run, in the order of the list. */
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
