#include "decode/DecimatorKernels.h"

#include "tests/support/EqualBytes.h"

#include <random>

#include <gtest/gtest.h>

using namespace DecimatorKernels;

namespace
{

constexpr double GUARD = 7.0;

std::vector<double> RunFirst(const set_t &set, const std::vector<uint8_t> &bytes, size_t sizeBytes)
{
    std::vector<double> out(sizeBytes + 2, GUARD);
    set.fnFirst(&out[0], &out[sizeBytes / 2 + 1], bytes.data() + FIRST_HISTORY, sizeBytes);
    return out;
}

std::vector<double> RunSecond(const set_t &set, const std::vector<double> &samples, size_t uCount)
{
    const double *pEven = samples.data() + SECOND_HISTORY;
    std::vector<double> out(uCount + 1, GUARD);
    set.fnSecond(out.data(), pEven, pEven + samples.size() / 2, uCount, 1.0 / 3.0);
    return out;
}

} // namespace

// Every length around the vectors of a set; what follows the result stays as it was.
TEST(DecimatorKernels, EverySetGivesTheSameDoubles)
{
    std::mt19937 random(20240611);
    constexpr size_t LONGEST = 72;
    std::vector<uint8_t> bytes(FIRST_HISTORY + LONGEST);
    std::vector<double> samples(2 * (SECOND_HISTORY + LONGEST));
    for (uint8_t &uByte : bytes) {
        uByte = static_cast<uint8_t>(random());
    }
    for (double &dSample : samples) {
        dSample = std::uniform_real_distribution(-40.0, 40.0)(random);
    }
    for (const set_t *pSet : GetSets()) {
        for (size_t uCount = 0; uCount <= LONGEST; uCount += 2) {
            SCOPED_TRACE(testing::Message() << pSet->cpName << ", " << uCount);
            const std::vector<double> first = RunFirst(*pSet, bytes, uCount);
            ASSERT_TRUE(EqualBytes(RunFirst(SCALAR, bytes, uCount), first));
            EXPECT_EQ(GUARD, first[uCount / 2]);
            EXPECT_EQ(GUARD, first.back());
            for (const size_t size : {uCount, uCount + 1}) {
                ASSERT_TRUE(EqualBytes(RunSecond(SCALAR, samples, size % LONGEST),
                                       RunSecond(*pSet, samples, size % LONGEST)));
            }
        }
    }
}

TEST(DecimatorKernels, TheFastestSetOfTheProcessorIsInUse)
{
    std::string strExpected = "scalar";
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2") != 0) {
        strExpected = "avx2";
    }
#endif
    EXPECT_EQ(strExpected, GetFastest().cpName);
    EXPECT_EQ(GetSets().back(), &GetFastest());
    EXPECT_EQ(GetSets().front(), &SCALAR);
}
