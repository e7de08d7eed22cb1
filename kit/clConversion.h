#pragma once

#include "base/clAlignedAlloc.h"
#include "dsd/clDSF.h"
#include "kit/clDigest.h"
#include "kit/clFileProgress.h"
#include "kit/clInputFile.h"
#include "kit/clSoundReader.h"
#include "kit/clTagChoice.h"
#include "kit/clVerifier.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class clReporter;
struct input_t;
struct options_t;

/**
 * Converts one input after the other and keeps its buffers for the next one. One thread at a time.
 */
class clConversion
{
public:
    enum class status_t { FAILED, SKIPPED, WOULD_CONVERT, CONVERTED };

    /** The result for an input, as far as it is known. */
    struct result_t {
        status_t status = status_t::FAILED;
        std::string strError; ///< the reason of a failure
        std::vector<std::string> aWarnings;
        std::optional<uint32_t> uChannels;
        std::optional<uint32_t> uSampleRate;
        std::optional<uint64_t> uSamples; ///< per channel
        const char *cpTag = nullptr;      ///< null until it was chosen
        uint64_t uTagBytes = 0;
        bool bVerified = false;
    };

    /** Both are borrowed and must outlive this object. */
    clConversion(const options_t &runOptions, clReporter &runReporter)
        : options(runOptions),
          reporter(runReporter)
    {
    }

    /** Converts an input, or only judges it in a dry run. Reports warnings and hints; a failure is
     * left to the caller. @throws clXStopped */
    result_t Convert(const input_t &file, const std::string &strOutput);

private:
    void Run(const input_t &file, const std::string &strOutput, result_t &result);
    void Judge(const input_t &file, result_t &result);
    void Warn(const input_t &file, const std::string &strText, result_t &result);
    void CheckOutput(const std::string &strOutput) const;
    void WriteOutput(const std::string &strTemporary, const std::string &strOutput,
                     const result_t &result);
    void RemoveInput(const input_t &file) const;
    void ReadAll();
    size_t ReadFrames(uint8_t *pFrames, size_t sizeFrames);
    uint8_t *GetFrameBuffer(size_t sizeFrames);
    void WarnOfFrames(const input_t &file, result_t &result);
    void AddProgress(uint64_t uBytes);

    const options_t &options;
    clReporter &reporter;
    clInputFile input;
    clSoundReader sound;
    clTagChoice tag;
    clDSF writer;
    clVerifier verifier;
    clAlignedAlloc allocFrames;

    // Of the current input.
    std::optional<clFileProgress> progress;
    uint64_t uSoundDone = 0;        ///< bytes read, twice if they are verified
    std::optional<clDigest> digest; ///< of sound that is read only once
};
