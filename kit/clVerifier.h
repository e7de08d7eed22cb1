#pragma once

#include "base/clAlignedAlloc.h"
#include "kit/clInputFile.h"
#include "kit/clSoundReader.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/**
 * Proves that a finished DSF file contains what a conversion had to write: opens it anew, inspects
 * its headers, and compares every sample and every byte of the tag. Uses only the file, nothing of
 * the writer. One thread at a time; buffers stay for the next file.
 */
class clVerifier
{
public:
    struct expected_t {
        uint32_t uSampleRate;
        uint32_t uType;
        const std::vector<uint8_t> &tag;
        std::string strDigest; ///< CHECKSUM of the sound; empty: it is read again
    };

    /** Receives the bytes of sound compared since the last call. */
    using progress_t = std::function<void(uint64_t uBytes)>;

    /** Reads the sound of the input again from its start, if there is no digest of it.
     * @throws clXInput with the difference; what the streams throw; clXStopped */
    void Verify(const std::string &strOutput, clSoundReader &sound, const expected_t &expected,
                const progress_t &progress);

private:
    void CompareHeaders(const clSoundReader &sound, const expected_t &expected);
    void CompareSound(clSoundReader &sound, const progress_t &progress);
    void CompareDigest(const clSoundReader &sound, const std::string &strDigest,
                       const progress_t &progress);
    void CompareTag(const std::vector<uint8_t> &tag);

    clInputFile output;
    clSoundReader soundOutput;
    clAlignedAlloc allocWritten;
    clAlignedAlloc allocSource;
};
