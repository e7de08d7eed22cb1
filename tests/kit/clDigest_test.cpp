#include "kit/clDigest.h"

#include <gtest/gtest.h>

namespace
{

TEST(clDigest, TakesBytesInPieces)
{
    const std::pair<clDigest::algorithm_t, const char *> aRows[] = {
        {clDigest::MD5, "900150983cd24fb0d6963f7d28e17f72"},
        {clDigest::SHA256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}};
    for (const auto &[algorithm, cpExpected] : aRows) {
        clDigest digest(algorithm);
        digest.Add("a", 1);
        digest.Add(nullptr, 0);
        digest.Add("bc", 2);
        EXPECT_EQ(cpExpected, digest.Finish());
    }
}

} // namespace
