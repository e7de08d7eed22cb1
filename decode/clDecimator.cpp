#include "decode/clDecimator.h"

#include <algorithm>
#include <cstring>

using namespace DecimatorKernels;

clDecimator::clDecimator(void *pWork, const set_t &set) noexcept
    : pKernels(&set),
      pDoubles(static_cast<double *>(pWork)),
      pBytes(static_cast<uint8_t *>(pWork) + BYTES * sizeof(double))
{
    static_assert(MOST_SAMPLES >= SECOND_HISTORY && CHUNK >= MEMORY);
    std::fill_n(pDoubles, BYTES, 0.0);
    std::memset(pBytes, 0, FIRST_HISTORY);
}

const double *clDecimator::Decode(size_t sizeBytes, double dScale) noexcept
{
    const size_t uCount = sizeBytes / Signal::BYTES_PER_DECODED;
    double *pEven = pDoubles + EVEN + SECOND_HISTORY;
    double *pOdd = pDoubles + ODD + SECOND_HISTORY;
    double *pOutput = pDoubles + OUTPUT;
    pKernels->fnFirst(pEven, pOdd, GetInput(), sizeBytes);
    pKernels->fnSecond(pOutput, pEven, pOdd, uCount, dScale);

    // Keeps the input of the next samples; source and destination overlap after a short call.
    std::memmove(pBytes, pBytes + sizeBytes, FIRST_HISTORY);
    for (double *pSamples : {pEven, pOdd}) {
        std::memmove(pSamples - SECOND_HISTORY, pSamples + uCount - SECOND_HISTORY,
                     SECOND_HISTORY * sizeof(double));
    }
    return pOutput;
}
