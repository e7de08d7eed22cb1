#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What an inspector reports about a file.

enum class severity_t {
    /** The file cannot be converted. */
    REFUSED,
    /** Something would be lost or guessed: refused, or a warning when asked to be lenient. */
    LENIENT,
    /** Converted, but to be told. */
    WARNING,
    /** A fault that takes nothing from a conversion: to be told when the file is checked. */
    CHECK,
    /** Advice; nothing is wrong. */
    HINT
};

/** One thing that is wrong with a file. */
struct finding_t {
    severity_t eSeverity;
    /** What is wrong and where, in printable ASCII, without a full stop. Byte positions count from
     * 0. */
    std::string strText;
    /** Concerns only the file's own tag: of no interest when that is not asked for. */
    bool bTag = false;
};

using findings_t = std::vector<finding_t>;

/** Bytes of a file. */
struct region_t {
    uint64_t uOffset = 0;
    /** 0: not there. */
    uint64_t uSize = 0;
};
