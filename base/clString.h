#pragma once

#include "base/clAlloc.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * A NUL-terminated byte string whose buffer is shared between copies and copied before an edit.
 *
 * Copying and assigning cost one atomic increment and no memory. The capacity is the smallest power
 * of two above the length, at least 8, and follows it in both directions; operator+=(char) alone
 * doubles and never shrinks. Invariants after every operation: c_str()[sizeStr] is 0 and sizeStr <
 * sizeAlloc.
 *
 * Different objects may be used on different threads even while they share a buffer; one object
 * belongs to one thread at a time.
 *
 * Misuse throws clXString and leaves the text as it was, and so does an edit that finds no memory
 * to grow. Positions and lengths are bytes. Arguments may point into the string they are applied
 * to, and must not be null where nothing is said about it. A string that was moved from is copied
 * and stays usable.
 *
 * The destructor may throw because that of the shared clWeakAlloc does. What holds a clString by
 * value is then not nothrow-destructible either: a lambda with such a capture does not compile as
 * the function of a std::thread or std::async. Capture a std::shared_ptr<clString> there.
 */
class clString
{
public:
    /** What a search returns that finds nothing. */
    static constexpr size_t NOT_FOUND = static_cast<size_t>(-1);

    /** An empty text of capacity 8. @throws clXString when memory is short */
    clString();

    /** Shares the source's buffer. */
    clString(const clString &source) noexcept;

    /** A copy of the text; null makes it empty. */
    explicit clString(const char *cpText);

    /**
     * A text of at most sizeBuf - 1 bytes of cpText, or, with null, an empty one whose buffer has
     * room for sizeBuf bytes. Unlike every other length of this class, sizeBuf counts the
     * terminator.
     */
    clString(const char *cpText, size_t sizeBuf, int iTextEncoding);

    /** As the assignments of the same type. */
    explicit clString(const uint16_t *upText);
    explicit clString(const wchar_t *wcpText);

    /** @throws clXString when the shared buffer cannot be released */
    virtual ~clString() noexcept(false);

    // ---- assignment ----

    clString &operator=(const clString &source);

    /** Null makes the text empty. The encoding stays, unless the buffer was shared: then it becomes
     * 0. */
    clString &operator=(const char *cpText);

    /**
     * The decimal form, cut to two characters more than the low 32 bits of the value need, so that
     * 4294967296 becomes "42"; this oddity is deliberate. Larger values go through unsigned long.
     */
    clString &operator=(long lValue);

    /** The decimal form. @throws clXString for the largest value, 2^64 - 1 */
    clString &operator=(unsigned long uValue);

    /** The form "%g" in the current locale. */
    clString &operator=(double dValue);

    /**
     * UTF-16 up to a zero unit, in the byte order that iconv's "UTF-16" chooses: that of a leading
     * mark, else its own default. What follows an invalid sequence is dropped.
     *
     * @throws clXString without a converter; std::runtime_error when memory is short
     */
    clString &operator=(const uint16_t *upText);

    /** Wide text in the current locale. @throws clXString for what the locale cannot express */
    clString &operator=(const wchar_t *wcpText);

    /** Makes the text empty and the capacity 8. */
    void Clear();

    // ---- appending ----

    clString &operator+=(const char *cpText);
    clString &operator+=(const clString &str);
    clString &operator+=(char c);
    clString operator+(const clString &str) const;
    clString operator+(const char *cpText) const;

    // ---- comparison: the results of strcmp() and its kin, unchanged ----

    int Compare(const char *cpText) const;
    int CaseCompare(const char *cpText) const;
    /** In the collating order of the current locale. */
    int Collate(const char *cpText) const;

    /**
     * Compares up to uiLen bytes from uiIdx on.
     * @throws clXString when uiIdx + uiLen, summed in 32 bits, is above the length
     */
    int CompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const;
    int CaseCompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const;

    /** The order of Compare. */
    bool operator<(const clString &str) const;

    bool BeginsWith(const clString &str) const;
    bool BeginsWith(const char *cpText) const;
    bool CaseBeginsWith(const clString &str) const;
    bool CaseBeginsWith(const char *cpText) const;

    /**
     * Places the compared range by the other string's count of characters, not of bytes, so a
     * suffix of multibyte characters is never recognised; this oddity is deliberate.
     */
    bool EndsWith(const clString &str) const;
    bool EndsWith(const char *cpText) const;
    bool CaseEndsWith(const clString &str) const;
    bool CaseEndsWith(const char *cpText) const;

    // ---- searching: byte offsets, NOT_FOUND when there is none ----

    size_t Find(char c) const;
    size_t FindLast(char c) const;
    /** A pointer to the first occurrence in this text, null when there is none; valid until an
     * edit. */
    const char *Find(const char *cpText) const;
    bool Contains(const char *cpText) const;
    size_t FindAny(const char *cpSet) const;
    /** Length of the leading run of bytes in the set. */
    size_t Span(const char *cpSet) const;
    /** Length of the leading run of bytes not in the set. */
    size_t CSpan(const char *cpSet) const;
    /** The text from the first occurrence on, empty when there is none. */
    clString TailFrom(const char *cpText) const;

    // ---- access ----

    /** Characters: bytes with encoding 1, otherwise bytes that do not continue a UTF-8 sequence. */
    size_t Length() const;

    /** The text; valid until an edit. */
    const char *c_str() const noexcept { return cpStr; }

    /** @throws clXString for an index at or above the length */
    const char &at(size_t sizeIdx) const;

    /** As at(), for writing: unshares the buffer first, also when the index is then refused. */
    char &operator[](size_t sizeIdx);

    // ---- substrings and editing ----

    /** @throws clXString when uIdx is not below the length or uIdx + uCount, in 32 bits, above it
     */
    clString SubString(unsigned uIdx, unsigned uCount) const;
    clString SubString(unsigned uIdx) const;

    /** Inserts before uIdx; at the length it appends. @throws clXString for an index above the
     * length */
    void Insert(const clString &str, unsigned uIdx);

    /** @throws clXString as SubString */
    void Delete(unsigned uIdx, unsigned uCount);

    /** Trims white space at both ends. @throws std::runtime_error if the length belies the text */
    void Clean();

    /** Case mapping by byte with encoding 1, otherwise by wide character in the current locale. */
    void ToLower();
    void ToUpper();

    // ---- text to number: the text must be a number as a whole ----

    /** Base by prefix as strtol(..., 0); the low 32 bits of the value. @throws clXString */
    int32_t ToInt() const;
    /** Base by prefix as strtoul(..., 0), which also takes a minus sign. @throws clXString */
    uint64_t ToUInt() const;
    /** In the current locale; failing that, the leading number in the "C" locale. @throws clXString
     */
    float ToFloat() const;
    double ToDouble() const;
    long double ToLongDouble() const;

    // ---- conversions ----

    /** The number with up to 16 significant digits in the "C" locale. @throws clXString */
    void FloatC(double dValue);
    static clString FromFloat(double dValue);

    /** ISO 8859-1 bytes, which must not be null, as UTF-8. @throws clXString without a converter */
    static clString FromLatin1(const char *cpText);

    /**
     * The text as wide characters in the current locale; owned by this string, valid until the next
     * call.
     * @throws clXString for bytes the locale cannot read; std::runtime_error when memory is short
     */
    const wchar_t *wc_str();

    // ---- tokens ----

    /**
     * The next token between delimiters, empty ones left out. The first call of a run works on a
     * private copy, so edits do not disturb it.
     *
     * @param bFirst starts a new run
     * @return whether there was a token; strToken is emptied when not
     * @throws clXString when memory is short
     */
    bool Tok(clString &strToken, const char *cpDelims, bool bFirst);
    clString Tok(const char *cpDelims, bool bFirst);

    /** Ends a run of tokens and releases its copy. */
    void TokEnd() noexcept;

    std::vector<clString> Split(const char *cpDelims);

    /**
     * The trimmed lines of a text buffer that are not empty; a UTF-8 mark at its start is skipped.
     * Modifies the buffer. Text behind the last line end is not returned; this is deliberate.
     */
    static std::vector<clString> SplitLines(clAlloc &buffer);

    /** Replaces the text by that of a system error number. */
    void StrError(int iErrorNumber);

    // ---- sharing: what every edit is built of ----

    /** Makes this object the only owner of its bytes. @throws clXString when memory is short */
    void COW();

    /**
     * Makes this object the only owner of a buffer, without its bytes, encoding and token run if it
     * was shared. The buffer then has no memory (c_str() is null and the text reads as empty) until
     * SetSizeI gives it some, which should be the next call.
     *
     * @throws clXString when memory is short
     */
    void FOW();

    /**
     * Sets the capacity in bytes, 0 meaning 8; a text that no longer fits is cut.
     * @throws clXString when the size is negative or memory is short; nothing has changed then
     */
    void SetSizeI(long lSize);

private:
    // The number of wide characters, terminator included, that the last wc_str() made.
    uint64_t sizeWcStr = 0;
    clAllocT<wchar_t> allocWcStr;

public:
    // Readable directly; only the operations above write them.

    /** Capacity in bytes. */
    uint64_t sizeAlloc = 0;
    /** Length of the text in bytes, without its terminator. */
    uint64_t sizeStr = 0;
    /** 1: a byte is a character. Otherwise, and usually 0: multibyte text, counted as UTF-8. */
    int32_t iEncoding = 0;

private:
    // The text for reading, also while FOW() has left no bytes.
    const char *Text() const noexcept { return cpStr != nullptr ? cpStr : ""; }
    bool Owns(const char *cpText) const noexcept;
    // Whether this object is the only owner, and then sees all that earlier owners wrote.
    bool IsSole() const noexcept;
    // Replaces the buffer by one of this object alone and gives up the reference to the old one.
    void Adopt(clWeakAlloc *pNew, const char *cpPrefix);
    // As Adopt, for a buffer with a text of sizeLen bytes, and forgets all the rest, as FOW() does.
    void StartOver(clWeakAlloc *pNew, uint64_t sizeLen);
    // Applies the capacity rule for a text of sizeLen bytes.
    void Reserve(uint64_t sizeLen);
    void Terminate(uint64_t sizeLen) noexcept;
    // Replaces the text as FOW() and a copy do; the capacity is that for sizeRoom bytes.
    void Assign(const char *cpText, uint64_t sizeLen, uint64_t sizeRoom);
    void Append(const char *cpText, uint64_t sizeLen);
    void MapCase(bool bUpper);

    char *cpStr = nullptr;
    char *cpTokCopy = nullptr;
    char *cpTokSave = nullptr;
    clWeakAlloc *pShared = nullptr;
};
