#pragma once

#include "kit/clJson.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

class clReporter;
struct options_t;

/** What a command found out about one item, which is an input or a pair of them. */
struct answer_t {
    /** Nothing failed, is bad or differs. */
    bool bGood = false;
    /** For standard output: whole lines, made printable. */
    std::string strText;
    /** For standard output in the place of the text. */
    clJson json;
};

/** The items of a run. Both functions run on any thread. */
struct items_t {
    size_t sizeCount = 0;
    /** Of all items, for the progress. */
    uint64_t uBytes = 0;
    std::function<answer_t(size_t sizeIdx)> answer;
    /** The answer for an item whose own function has thrown. */
    std::function<answer_t(size_t sizeIdx, const char *cpReason)> fail;
};

/**
 * Works the items off, several at the same time, and prints the answers: texts in the order of the
 * items, JSON as soon as it is there.
 *
 * @return how many answers are not good
 * @throws clXStopped
 */
size_t RunItems(const items_t &items, const options_t &options, clReporter &reporter);
