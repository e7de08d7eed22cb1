#include "decode/DecimatorKernels.h"

#include "decode/clDecimatorDesign.h"
#include "kernels/SupportedSets.h"

namespace
{

using design_t = clDecimatorDesign;

// Sums up what every other byte contributes to a sample of the first stage, the oldest first.
double HalfSample(const double *pRows, const uint8_t *cpNewest, size_t sizeYoungest) noexcept
{
    double dSum = 0.0;
    for (size_t i = design_t::FIRST_BYTES / 2; i-- > 0;) {
        const size_t sizeAge = 2 * i + sizeYoungest;
        dSum += pRows[*(cpNewest - sizeAge) * design_t::ROW_SIZE + sizeAge];
    }
    return dSum;
}

void First(double *pEven, double *pOdd, const uint8_t *cpBytes, size_t sizeBytes) noexcept
{
    static_assert(design_t::FIRST_BYTES % 2 == 0);
    const double *pRows = design_t::Get().aRows.data() + design_t::ROW_MARGIN;
    for (size_t i = 0; i < sizeBytes; i += 2) {
        pEven[i / 2] = HalfSample(pRows, cpBytes + i, 0) + HalfSample(pRows, cpBytes + i, 1);
        pOdd[i / 2] = HalfSample(pRows, cpBytes + i + 1, 1) + HalfSample(pRows, cpBytes + i + 1, 0);
    }
}

void Second(double *pDest, const double *pEven, const double *pOdd, size_t uCount,
            double dScale) noexcept
{
    const design_t &design = design_t::Get();
    for (size_t i = 0; i < uCount; ++i) {
        // The middle tap falls on an even sample, all other non-zero taps fall on odd ones.
        const double *pLater = pOdd + i - (design_t::SECOND_PAIRS - 1);
        const double *pEarlier = pLater - 1;
        double dSum = design.dCentre * *(pEven + i - (design_t::SECOND_PAIRS - 1));
        for (size_t sizePair = 0; sizePair < design_t::SECOND_PAIRS; ++sizePair) {
            dSum += design.aPairs[sizePair] * (pLater[sizePair] + *(pEarlier - sizePair));
        }
        pDest[i] = dSum * dScale;
    }
}

} // namespace

const DecimatorKernels::set_t DecimatorKernels::SCALAR = {"scalar", IsAlwaysSupported, First,
                                                          Second};

std::vector<const DecimatorKernels::set_t *> DecimatorKernels::GetSets()
{
    return SupportedSets(SETS);
}

const DecimatorKernels::set_t &DecimatorKernels::GetFastest() noexcept
{
    static const set_t &fastest = FastestSet(SETS);
    return fastest;
}
