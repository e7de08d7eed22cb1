#pragma once

#include "kit/clJson.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

class clReporter;
struct options_t;

/** What a command found out about one item, an input or a pair of them. */
struct answer_t {
    bool bGood = false;  ///< nothing failed, is bad or differs
    std::string strText; ///< for standard output: whole lines, made printable
    clJson json;         ///< for standard output instead of the text
};

/** The items of a run. Both functions run on any thread. */
struct items_t {
    size_t sizeCount = 0;
    // For the progress.
    uint64_t uBytes = 0;       ///< of all items
    uint64_t uSizesToCome = 0; ///< files that uBytes does not contain
    std::function<answer_t(size_t sizeIdx)> answer;
    /** The answer for an item whose own function has thrown. */
    std::function<answer_t(size_t sizeIdx, const char *cpReason)> fail;
};

/** Processes the items, several at the same time, and prints the answers: texts in the order of the
 * items, JSON as soon as it is there.
 * @return the number of answers that are not good
 * @throws clXStopped */
size_t RunItems(const items_t &items, const options_t &options, clReporter &reporter);
