#pragma once

#include "dst/DSTHeader.h"

#include <vector>

/**
 * The loop over the bits of a compressed frame: a plain version, the reference, one from tables,
 * and one per vector instruction set. All give the same bits.
 */
namespace DSTKernels
{

/** Bytes of history before the first bit of a frame that the sums of filters reach back to. */
constexpr size_t HISTORY = DST::MAX_ORDER / 8;

/** The most bits of code that a decision takes. */
constexpr size_t DECISION_BITS = 8;

/** Bytes after the code that must be readable, and 0: what a byte of all channels takes, and what
 * the decoder reads ahead. */
constexpr size_t CODE_PADDING = DST::MAX_CHANNELS * DECISION_BITS + 3 * sizeof(uint64_t);

/** Samples whose sums of a filter depend on a byte of history. */
constexpr size_t SUMS = DST::MAX_ORDER;

/**
 * A filter and the tables made from it. A sum is that of all coefficients, each of them negative
 * if the bit of history is 0. It fits 16 bits, see SetFilter.
 */
struct filter_t {
    /** Samples that follow the eight bits of a byte, and the shift between its two halves. */
    static constexpr size_t ROW = SUMS + 8;
    static constexpr size_t HALF_BYTE = 4;

    std::array<int16_t, SUMS + 8> aiCoefficients;
    /** The most that a sum can be, with either sign. */
    int32_t iMost;
    /** What four bits add to the sums of the samples after them; with an offset of four samples,
     * what they add if four other bits follow them. */
    alignas(64) int16_t aaiRows[16][ROW];
    /** What the newest bits add, up to eight: the index has a 1 before them. */
    int16_t aiNewest[512];
};

/** Makes a filter from its coefficients. */
void SetFilter(filter_t &filter, const DST::list_t<DST::MAX_ORDER> &coefficients) noexcept;

/**
 * What follows from a sum: the probability of a wrong prediction, and whether the prediction is 1.
 * The former is in the low bits so that a shift to the top of a register removes the latter.
 */
constexpr uint32_t PREDICTION_SHIFT = 15;

/** The arithmetic decoder. Interval and value have 12 bits, which are the highest here. */
struct coder_t {
    static constexpr uint32_t SHIFT = 52;

    /** The frame, and where its code ends; CODE_PADDING bytes of 0 follow. */
    const uint8_t *cpFrame;
    const uint8_t *cpEnd;
    /** The byte that comes next into the value. After cpEnd it goes back to it, see SkipZeros. */
    const uint8_t *cpNext;
    /** The bytes by which it went back. */
    uint64_t uSkipped;
    uint64_t uInterval;
    /** The value in the interval, and bits of the code that follow it. */
    uint64_t uValue;
    /** Bits of uValue that are of the code; less than 8 bits below these may be set as well, to
     * what they will become. */
    uint64_t uFilled;
    /** Whether the code has gone on far beyond its end without becoming 0. */
    bool bCut;
};

/** Bits of code that may be missing at the end of a frame before it is suspicious. */
constexpr uint64_t MISSING_BITS = 64;

/** Sets the decoder to the first bit of the value. */
void StartCode(coder_t &coder, const uint8_t *cpFrame, uint64_t uSize, uint64_t uBit) noexcept;

/** The first bit after those that the decoder has used. */
uint64_t GetCodeBit(const coder_t &coder) noexcept;

/** One decision. @return whether a prediction that is wrong with uProbability / 256 is right */
bool Decide(coder_t &coder, uint32_t uProbability) noexcept;

/** A channel's part in a run, with copies of its tables: the fast loop is short of registers, and
 * finds all of them from one address. */
struct channel_t {
    /** Where its sums of 0 are among the predictions. */
    static constexpr size_t CENTRE = 32768;

    /** What whole bytes add to the next sums; those after SUMS are 0. */
    alignas(64) int16_t aiSums[SUMS + 8];
    /** What SetChannelFilter and SetChannelTable were given last. */
    const filter_t *pFilter;
    const DST::list_t<DST::MAX_TABLE> *pTable;
    /** Where to put the bytes, after HISTORY bytes of the past, the oldest first. */
    uint8_t *pBits;
    /** The samples at the start of the run that use ONE_HALF instead of the table; 0 for all
     * sets but PLAIN. */
    size_t sizeHalf;
    /** As in the filter. */
    int16_t aiNewest[512];
    /** For each sum, at [CENTRE + sum]. */
    uint16_t auPredictions[2 * CENTRE];
};

void SetChannelFilter(channel_t &channel, const filter_t &filter) noexcept;

/** Sets the predictions for sums of up to iMost with either sign. */
void SetChannelTable(channel_t &channel, const DST::list_t<DST::MAX_TABLE> &probabilities,
                     int32_t iMost) noexcept;

/** A stretch of a frame in which each channel has one filter and one table. */
struct run_t {
    coder_t coder;
    uint32_t uChannels;
    /** In bytes of each channel. */
    size_t sizeBytes;
    std::array<channel_t, DST::MAX_CHANNELS> aChannels;
};

struct set_t {
    const char *cpName;
    bool (*fnIsSupported)() noexcept;
    void (*fnDecode)(run_t &run) noexcept;
};

/** The reference implementation that every other set must match. It alone decodes any run. */
extern const set_t PLAIN;

/** The sets built for this kind of processor: the reference first, the fastest last. */
extern const set_t TABLES;
#if defined(__x86_64__)
extern const set_t AVX2;
inline constexpr const set_t *SETS[] = {&PLAIN, &TABLES, &AVX2};
#else
inline constexpr const set_t *SETS[] = {&PLAIN, &TABLES};
#endif

/** Those of SETS that this processor can run. */
std::vector<const set_t *> GetSets();

/** The last of GetSets(). */
const set_t &GetFastest() noexcept;

} // namespace DSTKernels
