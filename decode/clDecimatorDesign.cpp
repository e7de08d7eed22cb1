#include "decode/clDecimatorDesign.h"

#include "decode/Signal.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace
{

// Attenuation, by either stage, of frequencies that fold into the lowest 40 kHz (at 64 times
// 44.1 kHz), in dB.
constexpr double ATTENUATION = 160.0;

// -6 dB points as a fraction of each stage's input rate. The first can be chosen freely:
// 144 kHz costs 0.01 dB at 50 kHz and leaves less than -100 dB of the noise above 140 kHz. In the
// second, a quarter makes every other tap zero.
constexpr double FIRST_CUTOFF = 0.051;
constexpr double SECOND_CUTOFF = 0.25;

constexpr size_t FIRST_TAPS = clDecimatorDesign::FIRST_BYTES * Signal::SAMPLES_PER_BYTE - 1;
constexpr size_t SECOND_TAPS = 4 * clDecimatorDesign::SECOND_PAIRS - 1;

// The delay of both stages in one-bit samples, to the last of the 16 of a decoded sample.
static_assert((FIRST_TAPS - 1) / 2 + 8 * ((SECOND_TAPS - 1) / 2) ==
              Signal::DECIMATION * clDecimatorDesign::DELAY + Signal::DECIMATION - 1);

// The modified Bessel function of the first kind and order 0, from its power series.
double Bessel(double dX)
{
    double dSum = 1.0;
    double dTerm = 1.0;
    for (int k = 1; dTerm > dSum * 1e-18; ++k) {
        dTerm *= (dX / (2.0 * k)) * (dX / (2.0 * k));
        dSum += dTerm;
    }
    return dSum;
}

// A low-pass with an odd number of taps and sum 1: the ideal one under a Kaiser window.
std::vector<double> LowPass(size_t uTaps, double dCutoff)
{
    const double dBeta = 0.1102 * (ATTENUATION - 8.7);
    const ptrdiff_t iMiddle = static_cast<ptrdiff_t>(uTaps / 2);
    std::vector<double> aTaps(uTaps);
    double dSum = 0.0;
    for (ptrdiff_t i = -iMiddle; i <= iMiddle; ++i) {
        const double dTime = static_cast<double>(i);
        const double dIdeal = i == 0 ? 2.0 * dCutoff
                                     : std::sin(2.0 * std::numbers::pi * dCutoff * dTime) /
                                           (std::numbers::pi * dTime);
        const double dEdge = dTime / static_cast<double>(iMiddle + 1);
        const double dTap = dIdeal * Bessel(dBeta * std::sqrt(1.0 - dEdge * dEdge));
        aTaps[static_cast<size_t>(iMiddle + i)] = dTap;
        dSum += dTap;
    }
    for (double &dTap : aTaps) {
        dTap /= dSum;
    }
    return aTaps;
}

} // namespace

const clDecimatorDesign &clDecimatorDesign::Get()
{
    static const clDecimatorDesign design;
    return design;
}

clDecimatorDesign::clDecimatorDesign()
{
    std::vector<double> aFirst = LowPass(FIRST_TAPS, FIRST_CUTOFF);
    aFirst.push_back(0.0); // completes the fourteenth byte
    aRows.fill(0.0);
    for (size_t uByte = 0; uByte < 256; ++uByte) {
        for (size_t uAge = 0; uAge < FIRST_BYTES; ++uAge) {
            // Bit 0 is the latest sample, for the first of the byte's eight taps.
            double dSum = 0.0;
            for (size_t uBit = 0; uBit < 8; ++uBit) {
                const double dTap = aFirst[uAge * 8 + uBit];
                dSum += (uByte >> uBit & 1) != 0 ? dTap : -dTap;
            }
            aRows[uByte * ROW_SIZE + ROW_MARGIN + uAge] = dSum;
        }
    }

    // The taps in between are zero; computed, they are about 1e-17.
    const std::vector<double> aSecond = LowPass(SECOND_TAPS, SECOND_CUTOFF);
    double dSides = 0.0;
    for (size_t i = 0; i < SECOND_PAIRS; ++i) {
        aPairs[i] = aSecond[SECOND_TAPS / 2 + 1 + 2 * i];
        dSides += 2.0 * aPairs[i];
    }
    // Half of the sum in the centre, half at the sides: the gains at a frequency and at its mirror
    // image then add up to exactly 1.
    dCentre = FULL_SCALE / 2.0;
    for (double &dTap : aPairs) {
        dTap *= FULL_SCALE / 2.0 / dSides;
    }
}
