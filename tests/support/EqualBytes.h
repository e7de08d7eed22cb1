#pragma once

#include "tests/support/FirstDifference.h"

#include <gtest/gtest.h>

/** EXPECT_TRUE(EqualBytes(expected, actual)): a failure says where the two differ first, and how.
 */
template <class T>
testing::AssertionResult EqualBytes(const std::vector<T> &expected, const std::vector<T> &actual)
{
    const std::string strDifference = FirstDifference(expected, actual);
    return strDifference.empty() ? testing::AssertionSuccess()
                                 : testing::AssertionFailure() << strDifference;
}
