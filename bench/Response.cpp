// Prints the frequency response of decoding, measured from outside by flipping single bits of a
// file: kHz at 64 times 44.1, then dB for DSDIFF and for DSF. With "-s" it prints the key figures
// only.

#include "tests/support/Response.h"

#include "tests/support/DecodeHelpers.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iomanip>
#include <iostream>

namespace
{

constexpr double RATE = 2822.4; // kHz

std::vector<double> Measure(format_t format)
{
    return MeasureResponse([format](const bytes_t &sound) {
        const auto spFile = MakeFile(format);
        spFile->Open(MakeStream(format, sound, 1));
        return ReadAll(*spFile, 2048);
    });
}

// The largest magnitude between two frequencies, or for sign -1 the smallest.
double Extreme(const std::vector<double> &aResponse, double dFrom, double dTo, double dSign)
{
    double dMost = -1000.0;
    for (double d = dFrom; d <= dTo; d += 0.1) {
        dMost = std::max(dMost, dSign * Magnitude(aResponse, d / RATE));
    }
    return dSign * dMost;
}

double LargestFold(const std::vector<double> &aResponse, double dBand)
{
    double dMost = -1000.0;
    for (int i = 1; i <= 8; ++i) {
        const double dEnd = std::min(176.4 * i + dBand, RATE / 2);
        dMost = std::max(dMost, Extreme(aResponse, 176.4 * i - dBand, dEnd, 1.0));
    }
    return dMost;
}

void PrintFigures(const std::vector<double> &aResponse)
{
    double dSum = 0.0;
    size_t sizeFirst = aResponse.size();
    size_t sizeLast = 0;
    for (size_t i = 0; i < aResponse.size(); ++i) {
        dSum += aResponse[i];
        if (std::abs(aResponse[i]) > 1e-15) {
            sizeFirst = std::min(sizeFirst, i);
            sizeLast = i;
        }
    }
    const double dCentre = static_cast<double>(sizeFirst + sizeLast) / 2.0;
    std::cout << "gain at 0 Hz minus 1      " << dSum - 1.0 << "\n"
              << "delay                     " << (dCentre - 15.0) / 16.0 << " samples\n"
              << "0 to 20 kHz               " << Extreme(aResponse, 0.0, 20.0, -1.0) << " to "
              << Extreme(aResponse, 0.0, 20.0, 1.0) << " dB\n"
              << "at 50 kHz                 " << Magnitude(aResponse, 50.0 / RATE) << " dB\n"
              << "at 80 kHz                 " << Magnitude(aResponse, 80.0 / RATE) << " dB\n"
              << "folds into 0 to 20 kHz    " << LargestFold(aResponse, 20.0) << " dB\n"
              << "folds into 0 to 40 kHz    " << LargestFold(aResponse, 40.0) << " dB\n"
              << "above 140 kHz             " << Extreme(aResponse, 140.0, RATE / 2, 1.0)
              << " dB\n";
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<double> aDSDIFF = Measure(FORMAT_DSDIFF);
    const std::vector<double> aDSF = Measure(FORMAT_DSF);
    if (argc > 1 && std::strcmp(argv[1], "-s") == 0) {
        std::cout << std::setprecision(4) << "DSDIFF\n";
        PrintFigures(aDSDIFF);
        std::cout << "\nDSF\n";
        PrintFigures(aDSF);
        return 0;
    }
    std::cout << std::fixed << std::setprecision(6);
    for (double d = 0.0; d <= RATE / 2; d += d < 100.0 ? 0.5 : 2.0) {
        std::cout << d << ' ' << Magnitude(aDSDIFF, d / RATE) << ' ' << Magnitude(aDSF, d / RATE)
                  << "\n";
    }
}
