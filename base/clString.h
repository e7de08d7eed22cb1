#pragma once

#include "base/Export.h"
#include "base/clAlloc.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * A NUL-terminated byte string; copies share a buffer, and an edit copies it first.
 *
 * The capacity is the smallest power of two above the length, at least 8, and also shrinks; only
 * operator+=(char) doubles it and never shrinks it. After every operation c_str()[sizeStr] is 0 and
 * sizeStr < sizeAlloc. Different objects may be used on different threads, also while they share a
 * buffer; one object is for one thread at a time. Moving a string copies it.
 *
 * Misuse, and an edit without memory to grow, throw clXString and leave the text unchanged.
 * Positions and lengths are in bytes. Arguments may point into the same string; they must not be
 * null unless stated.
 *
 * The destructor may throw because clWeakAlloc's does. A lambda that captures a clString by value
 * therefore does not compile as the function of a std::thread; capture a std::shared_ptr instead.
 */
class VANTREL_API clString
{
public:
    /** The result of a search without a match. */
    static constexpr size_t NOT_FOUND = static_cast<size_t>(-1);

    /** The empty text. @throws clXString when memory is short */
    clString();

    clString(const clString &source) noexcept; ///< shares the buffer

    /** Null makes the text empty. */
    explicit clString(const char *cpText);

    /** Copies at most sizeBuf - 1 bytes; null makes an empty text with room for sizeBuf bytes. Only
     * here does a length include the terminator. */
    clString(const char *cpText, size_t sizeBuf, int iTextEncoding);

    explicit clString(const uint16_t *upText); ///< as the assignment of UTF-16
    explicit clString(const wchar_t *wcpText); ///< as the assignment of wide characters

    /** @throws clXString when the shared buffer cannot be released */
    virtual ~clString() noexcept(false);

    // ---- assignment ----

    clString &operator=(const clString &source); ///< shares the buffer; keeps the tokens of Tok

    /** Null makes the text empty. A shared buffer resets the encoding to 0, else it stays. */
    clString &operator=(const char *cpText);

    /** The decimal form, cut to two characters more than the low 32 bits of the value need:
     * 4294967296 becomes "42". Compatibility: callers rely on it; use unsigned long instead. */
    clString &operator=(long lValue);

    /** The decimal form. @throws clXString for the largest value, 2^64 - 1 */
    clString &operator=(unsigned long uValue);

    /** The form "%g" in the current locale. */
    clString &operator=(double dValue);

    /** UTF-16 up to a zero unit or an invalid sequence, in the byte order of a mark, else iconv's.
     * @throws clXString without a converter; std::runtime_error when memory is short */
    clString &operator=(const uint16_t *upText);

    /** Multibyte text in the current locale; null makes the text empty. @throws clXString for
     * characters that the locale cannot represent; std::runtime_error when memory is short */
    clString &operator=(const wchar_t *wcpText);

    void Clear(); ///< makes the text empty

    // ---- appending ----

    clString &operator+=(const char *cpText);      ///< appends a text; null appends nothing
    clString &operator+=(const clString &str);     ///< appends a text
    clString &operator+=(char c);                  ///< appends one byte
    clString operator+(const clString &str) const; ///< both texts, with encoding 0
    /** Both texts, with encoding 0; a copy of this one for null. */
    clString operator+(const char *cpText) const;

    // ---- comparison ----

    int Compare(const char *cpText) const;     ///< strcmp(3)
    int CaseCompare(const char *cpText) const; ///< strcasecmp(3): ignores case
    int Collate(const char *cpText) const;     ///< strcoll(3): by the current locale

    /** Compares at most uiLen bytes from uiIdx on with a text, as strncmp(3).
     * @throws clXString when the 32-bit sum uiIdx + uiLen is above the length */
    int CompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const;
    /** CompareRange that ignores case. */
    int CaseCompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const;

    bool operator<(const clString &str) const; ///< the order of Compare

    bool BeginsWith(const clString &str) const;     ///< true for an empty prefix
    bool BeginsWith(const char *cpText) const;      ///< true for an empty prefix
    bool CaseBeginsWith(const clString &str) const; ///< ignores case
    bool CaseBeginsWith(const char *cpText) const;  ///< ignores case

    /** Whether the text ends with another. The clString overloads place the compared range by the
     * suffix's characters, not its bytes, so they never find a suffix with multibyte characters.
     * Compatibility: callers rely on it. */
    bool EndsWith(const clString &str) const;
    bool EndsWith(const char *cpText) const;      ///< true for an empty suffix
    bool CaseEndsWith(const clString &str) const; ///< EndsWith that ignores case
    bool CaseEndsWith(const char *cpText) const;  ///< EndsWith that ignores case

    // ---- searching: byte offsets or NOT_FOUND ----

    size_t Find(char c) const;                  ///< offset of the first one, or NOT_FOUND
    size_t FindLast(char c) const;              ///< as Find, but the last one
    const char *Find(const char *cpText) const; ///< null when not found; valid until an edit
    bool Contains(const char *cpText) const;    ///< true for an empty text
    size_t FindAny(const char *cpSet) const;    ///< as Find, the first byte that is in the set
    size_t Span(const char *cpSet) const;       ///< the number of leading bytes that are in the set
    size_t CSpan(const char *cpSet) const;      ///< the number of leading bytes not in the set
    clString TailFrom(const char *cpText) const; ///< from the first match; empty without one

    // ---- access ----

    /** Characters: bytes with encoding 1, else bytes that are no UTF-8 continuation bytes. */
    size_t Length() const;

    /** Valid until an edit. */
    const char *c_str() const noexcept { return cpStr; }

    /** A byte of the text. @throws clXString for an index at or above the length */
    const char &at(size_t sizeIdx) const;

    /** As at(), but copies a shared buffer first, even if the index is then refused. */
    char &operator[](size_t sizeIdx);

    // ---- substrings and editing ----

    /** A part of the text, with its encoding.
     * @throws clXString unless uIdx is below the length and the 32-bit uIdx + uCount not above */
    clString SubString(unsigned uIdx, unsigned uCount) const;
    clString SubString(unsigned uIdx) const; ///< to the end of the text

    /** Inserts before uIdx. @throws clXString for an index above the length */
    void Insert(const clString &str, unsigned uIdx);

    /** Removes a part of the text. @throws clXString as SubString does */
    void Delete(unsigned uIdx, unsigned uCount);

    /** Removes white space at both ends.
     * @throws std::runtime_error if sizeStr does not match the text */
    void Clean();

    /** Maps byte by byte with encoding 1, else by wide characters of the current locale.
     * @throws clXString and std::runtime_error as wc_str */
    void ToLower();
    void ToUpper(); ///< as ToLower

    // ---- text to number ----

    /** The low 32 bits of strtol(text, end, 0). @throws clXString for any other text */
    int32_t ToInt() const;
    /** As ToInt, but the value of strtoul(text, end, 0), which also accepts a minus sign. */
    uint64_t ToUInt() const;
    /** A number in the current locale, else the leading number in the "C" locale.
     * @throws clXString without one */
    float ToFloat() const;
    double ToDouble() const;          ///< as ToFloat
    long double ToLongDouble() const; ///< as ToFloat

    // ---- conversions ----

    void FloatC(double dValue); ///< becomes the value in the "C" locale, with up to 16 digits
    static clString FromFloat(double dValue); ///< the text of FloatC

    /** Converts ISO 8859-1 to UTF-8.
     * @throws clXString without a converter; std::runtime_error when memory is short */
    static clString FromLatin1(const char *cpText);

    /** The text in wide characters; owned by this string, valid until the next call.
     * @throws clXString for bytes invalid in the current locale; std::runtime_error when memory is
     * short */
    const wchar_t *wc_str();

    // ---- tokens ----

    /** Gets the next non-empty token from a copy of the text, which the first call makes; bFirst
     * starts again at the first token.
     * @return false without a further token; strToken is then empty
     * @throws clXString when memory is short */
    bool Tok(clString &strToken, const char *cpDelims, bool bFirst);
    clString Tok(const char *cpDelims, bool bFirst); ///< as above; empty without a further token

    void TokEnd() noexcept; ///< releases the copy of Tok

    std::vector<clString> Split(const char *cpDelims); ///< all non-empty tokens; calls TokEnd

    /** Returns the trimmed, non-empty lines of a text, without a UTF-8 mark at its start. Modifies
     * the buffer. Omits text after the last line end. Compatibility: callers rely on it. */
    static std::vector<clString> SplitLines(clAlloc &buffer);

    void StrError(int iErrorNumber); ///< the system's text for an error number

    // ---- sharing ----

    /** Copies a shared buffer. @throws clXString when memory is short */
    void COW();

    /** Replaces a shared buffer by one without memory (c_str() is null) and resets encoding and
     * tokens; SetSizeI should follow. @throws clXString when memory is short */
    void FOW();

    /** Sets the capacity in bytes, 0 meaning 8, and cuts a text that no longer fits.
     * @throws clXString when the size is negative or memory is short; nothing changes then */
    void SetSizeI(long lSize);

private:
    // Wide characters of the last wc_str(), with the terminator; only kept for the layout.
    uint64_t sizeWcStr = 0;
    clAllocT<wchar_t> allocWcStr;

public:
    // For reading; only the operations above write them.

    uint64_t sizeAlloc = 0; ///< capacity in bytes
    uint64_t sizeStr = 0;   ///< length in bytes, without the terminator
    /** 1: each byte is a character. Any other, usually 0: multibyte text, counted as UTF-8. */
    int32_t iEncoding = 0;

private:
    // The text, or "" when FOW() has left no memory.
    const char *Text() const noexcept { return cpStr != nullptr ? cpStr : ""; }
    bool Owns(const char *cpText) const noexcept;
    bool IsOnlyOwner() const noexcept;
    // Drops the reference to the old buffer and takes ownership of the new one.
    void ReplaceBuffer(clWeakAlloc *pNew, const char *cpPrefix);
    // As ReplaceBuffer, for a buffer that holds sizeLen bytes; resets encoding and tokens.
    void ReplaceText(clWeakAlloc *pNew, uint64_t sizeLen);
    // Adjusts the capacity to a text of sizeLen bytes.
    void Reserve(uint64_t sizeLen);
    void Terminate(uint64_t sizeLen) noexcept;
    // Replaces the text; the capacity is that for sizeRoom bytes.
    void Assign(const char *cpText, uint64_t sizeLen, uint64_t sizeRoom);
    void Append(const char *cpText, uint64_t sizeLen);
    void MapCase(bool bUpper);

    char *cpStr = nullptr;
    char *cpTokCopy = nullptr;
    char *cpTokSave = nullptr;
    clWeakAlloc *pShared = nullptr;
};
