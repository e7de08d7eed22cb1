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

/** Bytes after the code that must be readable, and 0. */
constexpr size_t CODE_PADDING = 8;

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

/** The probability of a wrong prediction for each sum, uint8_t at [sum + TABLE_CENTRE]. */
constexpr size_t TABLE_CENTRE = 32768;
constexpr size_t TABLE_SIZE = 2 * TABLE_CENTRE;

/** Fills a table of TABLE_SIZE for sums of up to iMost with either sign. */
void SetTable(uint8_t *pTable, const DST::list_t<DST::MAX_TABLE> &probabilities,
              int32_t iMost) noexcept;

/** The arithmetic decoder. Interval and value have 12 bits, which are the highest here. */
struct coder_t {
    static constexpr uint32_t SHIFT = 52;

    /** The frame, CODE_PADDING bytes of 0 after it, and where they begin. */
    const uint8_t *cpCode;
    uint64_t uEnd;
    /** The byte that comes next into the value, counted on beyond the end. */
    uint64_t uNext;
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
void StartCode(coder_t &coder, const uint8_t *cpCode, uint64_t uSize, uint64_t uBit) noexcept;

/** The first bit after those that the decoder has used. */
uint64_t GetCodeBit(const coder_t &coder) noexcept;

/** One decision. @return whether a prediction that is wrong with uProbability / 256 is right */
bool Decide(coder_t &coder, uint32_t uProbability) noexcept;

/** A stretch of a frame in which each channel has one filter and one table. */
struct run_t {
    struct channel_t {
        const filter_t *pFilter;
        /** At the sum of 0. */
        const uint8_t *pTable;
        /** Where to put the bytes, after HISTORY bytes of the past, the oldest first. */
        uint8_t *pBits;
        /** The samples at the start of the run that use ONE_HALF instead of the table; 0 for all
         * sets but PLAIN. */
        size_t sizeHalf;
    };
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
