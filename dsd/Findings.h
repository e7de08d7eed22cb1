#pragma once

#include "base/Export.h"

#include <cstdint>
#include <string>
#include <vector>

/** What a fault means for a conversion. */
enum class VANTREL_API severity_t {
    REFUSED, ///< cannot be converted
    LENIENT, ///< a conversion would lose or guess something: an error, or a warning when lenient
    WARNING, ///< converted with a warning
    CHECK,   ///< harmless for a conversion; reported by a check of the file
    HINT     ///< advice; nothing is wrong
};

/** One fault of a file. */
struct VANTREL_API finding_t {
    severity_t eSeverity; ///< what it means for a conversion
    /** The fault and its position in bytes from 0, in printable ASCII, without a full stop. */
    std::string strText;
    bool bTag = false; ///< concerns only the file's own tag
};

/** Faults in the order in which they were found. */
using findings_t = std::vector<finding_t>;

/** Bytes of a file. */
struct VANTREL_API region_t {
    uint64_t uOffset = 0; ///< position in the file
    uint64_t uSize = 0;   ///< 0: missing
};
