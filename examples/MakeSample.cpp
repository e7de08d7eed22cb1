// Writes a DSDIFF file of steady tones, for trying out the converter and for tests. It uses nothing
// of the library, so that a fault there cannot be hidden by the same fault here.

#include "examples/clDSTFile.h"
#include "examples/clModulator.h"
#include "examples/clSampleFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <exception>
#include <iostream>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr const char *USAGE =
    "usage: make_sample <outfile.dff> [options]\n"
    "\n"
    "Writes a DSDIFF file with a steady tone in every channel.\n"
    "\n"
    "  --rate HZ           samples per second, also as a product: 64x44100 (the default),\n"
    "                      128x44100, 256x48000\n"
    "  --channels N        1 to 6 (default 2)\n"
    "  --seconds S         length, rounded up to eight samples (default 3)\n"
    "  --frequency HZ,...  one per channel, the last one for all that follow; 0 is silence\n"
    "                      (default 1000 Hz in the first channel, then 500 Hz more in each)\n"
    "  --level DB          crest of the tones; at 0 dB all bits would be alike, above -4 dB the\n"
    "                      tones are distorted (default -6)\n"
    "  --dst               compresses the sound without loss (DST); its last 1/75 s is filled up\n"
    "                      with the idle pattern, the rate must be a multiple of 600 Hz\n"
    "  --extras            writes the start time and loudspeaker chunks too\n"
    "  --help              prints this text\n";

constexpr double DISTORTING_LEVEL = -4.0; // dB; clModulator distorts louder tones
constexpr double MAX_BYTES_PER_CHANNEL = 1e15;
constexpr size_t BLOCK_FRAMES = 4096;

// A wrong command line.
class clXUsage : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct sample_options {
    bool bHelp = false;
    std::string strFileName;
    sample_format format;
    double dSeconds = 3.0;
    double dLevel = -6.0;
    std::vector<double> aFrequencies;
};

// Parses the whole text as a number within the limits, independent of the locale.
double ParseNumber(std::string_view text, double dMin, double dMax)
{
    double dValue = 0.0;
    const char *cpEnd = text.data() + text.size();
    const auto [cpStop, error] = std::from_chars(text.data(), cpEnd, dValue);
    if (error != std::errc() || cpStop != cpEnd || !(dValue >= dMin && dValue <= dMax)) {
        throw clXUsage("bad value '" + std::string(text) + "'");
    }
    return dValue;
}

uint32_t ParseWhole(std::string_view text, uint32_t uMin, uint32_t uMax)
{
    const double dValue = ParseNumber(text, uMin, uMax);
    if (dValue != std::floor(dValue)) {
        throw clXUsage("not a whole number: '" + std::string(text) + "'");
    }
    return static_cast<uint32_t>(dValue);
}

uint32_t ParseRate(std::string_view text)
{
    constexpr uint32_t MAX = std::numeric_limits<uint32_t>::max();
    const size_t uCross = text.find('x');
    if (uCross == std::string_view::npos) {
        return ParseWhole(text, 1, MAX);
    }
    const uint32_t uMultiple = ParseWhole(text.substr(0, uCross), 1, MAX);
    return uMultiple * ParseWhole(text.substr(uCross + 1), 1, MAX / uMultiple);
}

std::vector<double> ParseFrequencies(std::string_view text)
{
    std::vector<double> aFrequencies;
    for (;;) {
        const size_t uComma = text.find(',');
        aFrequencies.push_back(ParseNumber(text.substr(0, uComma), 0.0, 1e9));
        if (uComma == std::string_view::npos) {
            return aFrequencies;
        }
        text.remove_prefix(uComma + 1);
    }
}

// Returns one frequency per channel, from the options or the defaults.
std::vector<double> Complete(std::vector<double> aFrequencies, unsigned uChannels)
{
    if (aFrequencies.size() > uChannels) {
        throw clXUsage("more frequencies than channels");
    }
    if (aFrequencies.empty()) {
        for (unsigned uChIdx = 0; uChIdx < uChannels; uChIdx++) {
            aFrequencies.push_back(1000.0 + 500.0 * uChIdx);
        }
    }
    aFrequencies.resize(uChannels, aFrequencies.back());
    return aFrequencies;
}

sample_options ParseOptions(const std::vector<std::string> &aArgs)
{
    sample_options options;
    // The first argument is the program's name.
    for (size_t u = 1; u < aArgs.size(); u++) {
        const std::string &strName = aArgs[u];
        const auto value = [&]() -> const std::string & {
            if (u + 1 == aArgs.size()) {
                throw clXUsage(strName + " needs a value");
            }
            return aArgs[++u];
        };
        if (strName == "--help") {
            options.bHelp = true;
        } else if (strName == "--rate") {
            options.format.uSampleRate = ParseRate(value());
        } else if (strName == "--channels") {
            options.format.uChannels = ParseWhole(value(), 1, MAX_SAMPLE_CHANNELS);
        } else if (strName == "--seconds") {
            options.dSeconds = ParseNumber(value(), 0.0, MAX_BYTES_PER_CHANNEL);
        } else if (strName == "--frequency") {
            options.aFrequencies = ParseFrequencies(value());
        } else if (strName == "--level") {
            options.dLevel = ParseNumber(value(), -200.0, 0.0);
        } else if (strName == "--dst") {
            options.format.bCompressed = true;
        } else if (strName == "--extras") {
            options.format.bExtras = true;
        } else if (strName.starts_with("--")) {
            throw clXUsage("unknown option " + strName);
        } else if (options.strFileName.empty()) {
            options.strFileName = strName;
        } else {
            throw clXUsage("more than one output file");
        }
    }
    if (options.bHelp) {
        return options;
    }
    if (options.strFileName.empty()) {
        throw clXUsage("no output file");
    }

    const double dFrames = std::ceil(options.dSeconds * options.format.uSampleRate / 8.0);
    if (dFrames > MAX_BYTES_PER_CHANNEL) {
        throw clXUsage("too long");
    }
    if (options.format.bCompressed && !clDSTFile::CanHold(options.format.uSampleRate)) {
        throw clXUsage("DST needs a rate that is a multiple of 600 Hz");
    }
    options.format.uFrames = static_cast<uint64_t>(dFrames);
    options.aFrequencies = Complete(options.aFrequencies, options.format.uChannels);
    const double dHighest = *std::ranges::max_element(options.aFrequencies);
    if (dHighest > options.format.uSampleRate / 2.0) {
        throw clXUsage("frequency above half the rate");
    }
    return options;
}

/** A tone of one channel as one-bit samples. */
class clTone
{
public:
    /** @param dTurns turns per sample, that is frequency / sampling rate */
    clTone(double dTurns, double dCrest) : dStep(dTurns), dAmplitude(dCrest) {}

    /** The next eight samples, the earliest in the highest bit. */
    uint8_t NextByte()
    {
        unsigned uByte = 0;
        for (unsigned uBit = 0; uBit < 8; uBit++) {
            const double dSample = dAmplitude * std::sin(2.0 * std::numbers::pi * dPhase);
            uByte = uByte << 1 | (modulator.Next(dSample) ? 1U : 0U);
            // Below one turn, since a growing phase would lose precision in a long file.
            dPhase += dStep;
            dPhase -= std::floor(dPhase);
        }
        return static_cast<uint8_t>(uByte);
    }

private:
    double dStep;
    double dAmplitude;
    double dPhase = 0.0;
    clModulator modulator;
};

// File is clSampleFile or clDSTFile.
template <class File>
void MakeSample(const sample_options &options)
{
    std::vector<clTone> aTones;
    for (const double dFrequency : options.aFrequencies) {
        aTones.emplace_back(dFrequency / options.format.uSampleRate,
                            std::pow(10.0, options.dLevel / 20.0));
    }

    File file(options.strFileName, options.format);
    std::vector<uint8_t> aBlock;
    for (uint64_t uLeft = options.format.uFrames; uLeft > 0;) {
        const uint64_t uFrames = std::min<uint64_t>(uLeft, BLOCK_FRAMES);
        aBlock.clear();
        for (uint64_t u = 0; u < uFrames; u++) {
            for (clTone &tone : aTones) {
                aBlock.push_back(tone.NextByte());
            }
        }
        file.Write(aBlock);
        uLeft -= uFrames;
    }
    file.Close();
}

} // namespace

int main(int argc, char **argv)
{
    try {
        const sample_options options = ParseOptions({argv, argv + argc});
        if (options.bHelp) {
            std::cout << USAGE;
            return 0;
        }
        if (options.dLevel > DISTORTING_LEVEL) {
            std::cerr << "make_sample: tones above " << DISTORTING_LEVEL << " dB are distorted\n";
        }
        if (options.format.bCompressed) {
            MakeSample<clDSTFile>(options);
        } else {
            MakeSample<clSampleFile>(options);
        }
        return 0;
    } catch (const clXUsage &caught) {
        std::cerr << "make_sample: " << caught.what() << "\n\n" << USAGE;
    } catch (const std::exception &caught) {
        std::cerr << "make_sample: " << caught.what() << "\n";
    }
    return 1;
}
