#pragma once

#include "tests/support/FirstDifference.h"

#include <gtest/gtest.h>

/** For EXPECT_TRUE: a failure shows the first difference. */
template <class T>
testing::AssertionResult EqualBytes(const std::vector<T> &expected, const std::vector<T> &actual)
{
    const std::string strDifference = FirstDifference(expected, actual);
    return strDifference.empty() ? testing::AssertionSuccess()
                                 : testing::AssertionFailure() << strDifference;
}
