#pragma once

#include "dsd/Findings.h"
#include "tests/support/Bytes.h"
#include "tests/support/MemoryStream.h"

#include <string>

/** The findings of an inspector, each after the letter of its severity. */
template <class T>
std::string Texts(const T &inspector)
{
    std::string strAll;
    for (const finding_t &finding : inspector.GetFindings()) {
        strAll += std::string(strAll.empty() ? "" : "|") +
                  "RLWCH"[static_cast<size_t>(finding.eSeverity)] + ": " + finding.strText;
    }
    return strAll;
}

/** The inspection of a file in memory. */
template <class T>
T Inspected(const bytes_t &file, bool bTags)
{
    T inspector;
    MemoryStream stream(file);
    inspector.Inspect(stream);
    if (bTags) {
        inspector.CheckTags(stream);
    }
    return inspector;
}
