#pragma once

#include "examples/DSTFrame.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/** Predicts one channel of a frame, sample by sample, the way a decoder does. */
class clDSTModel
{
public:
    struct prediction {
        bool bOne;
        unsigned uProbability; // of the other value, in 1/256
        uint32_t uIndex;       // |sum| / 8; a shorter table counts its last entry
    };

    /** Keeps a reference to the frame, whose numbers must be valid. */
    clDSTModel(const dst_frame &frame, unsigned uChannel);

    /** Predicts the sample that the next Push appends. */
    prediction Predict();

    void Push(bool bOne) noexcept;

private:
    // Sums of a filter's products for every value of each of the sixteen bytes of history.
    using sums_t = std::array<std::array<int, 256>, 16>;

    // Which filter or table the channel uses from sample to sample.
    struct track {
        const std::vector<uint32_t> &aSegments;
        const std::vector<uint32_t> &aNumbers;
        size_t sizeSegment = 0;
        uint64_t uEnd = 0; // samples

        track(const dst_frame &frame, dst_kind_t eKind, unsigned uChannel);
        void SetEnd();
        uint32_t NumberAt(uint64_t uNow);
    };

    static sums_t MakeSums(const std::vector<int> &aCoefficients);

    const std::vector<dst_list> &aTables;
    std::vector<sums_t> aSums; // of each filter
    track filters;
    track tables;
    uint64_t uHalfEnd; // samples
    uint64_t uSample = 0;
    uint64_t uRecent = IDLE; // the newest sample in the lowest bit
    uint64_t uOlder = IDLE;

    static constexpr uint64_t IDLE = 0xAAAAAAAAAAAAAAAA;
};
