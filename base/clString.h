#pragma once

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
class clString
{
public:
    static constexpr size_t NOT_FOUND = static_cast<size_t>(-1);

    /** @throws clXString when memory is short */
    clString();

    clString(const clString &source) noexcept;

    /** Null makes the text empty. */
    explicit clString(const char *cpText);

    /** Copies at most sizeBuf - 1 bytes; null makes an empty text with room for sizeBuf bytes. Only
     * here does a length include the terminator. */
    clString(const char *cpText, size_t sizeBuf, int iTextEncoding);

    explicit clString(const uint16_t *upText);
    explicit clString(const wchar_t *wcpText);

    /** @throws clXString when the shared buffer cannot be released */
    virtual ~clString() noexcept(false);

    // ---- assignment ----

    clString &operator=(const clString &source);

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

    /** @throws clXString for characters that the current locale cannot represent */
    clString &operator=(const wchar_t *wcpText);

    void Clear();

    // ---- appending ----

    clString &operator+=(const char *cpText);
    clString &operator+=(const clString &str);
    clString &operator+=(char c);
    clString operator+(const clString &str) const;
    clString operator+(const char *cpText) const;

    // ---- comparison: results as of strcmp(), strcasecmp(), strcoll() ----

    int Compare(const char *cpText) const;
    int CaseCompare(const char *cpText) const;
    int Collate(const char *cpText) const;

    /** @throws clXString when the 32-bit sum uiIdx + uiLen is above the length */
    int CompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const;
    int CaseCompareRange(const char *cpText, unsigned uiIdx, unsigned uiLen) const;

    bool operator<(const clString &str) const;

    bool BeginsWith(const clString &str) const;
    bool BeginsWith(const char *cpText) const;
    bool CaseBeginsWith(const clString &str) const;
    bool CaseBeginsWith(const char *cpText) const;

    /** The clString overloads place the compared range by the suffix's characters, not its bytes,
     * so they never find a suffix with multibyte characters. Compatibility: callers rely on it. */
    bool EndsWith(const clString &str) const;
    bool EndsWith(const char *cpText) const;
    bool CaseEndsWith(const clString &str) const;
    bool CaseEndsWith(const char *cpText) const;

    // ---- searching: byte offsets or NOT_FOUND ----

    size_t Find(char c) const;
    size_t FindLast(char c) const;
    const char *Find(const char *cpText) const; ///< valid until an edit; null when not found
    bool Contains(const char *cpText) const;
    size_t FindAny(const char *cpSet) const;
    size_t Span(const char *cpSet) const;  ///< counts the leading bytes that are in the set
    size_t CSpan(const char *cpSet) const; ///< counts the leading bytes that are not in the set
    clString TailFrom(const char *cpText) const; ///< empty when not found

    // ---- access ----

    /** Characters: bytes with encoding 1, else bytes that are no UTF-8 continuation bytes. */
    size_t Length() const;

    /** Valid until an edit. */
    const char *c_str() const noexcept { return cpStr; }

    /** @throws clXString for an index at or above the length */
    const char &at(size_t sizeIdx) const;

    /** As at(), but copies a shared buffer first, even if the index is then refused. */
    char &operator[](size_t sizeIdx);

    // ---- substrings and editing ----

    /** @throws clXString unless uIdx is below the length and the 32-bit uIdx + uCount not above */
    clString SubString(unsigned uIdx, unsigned uCount) const;
    clString SubString(unsigned uIdx) const;

    /** Inserts before uIdx. @throws clXString for an index above the length */
    void Insert(const clString &str, unsigned uIdx);

    /** @throws clXString as SubString does */
    void Delete(unsigned uIdx, unsigned uCount);

    /** Trims white space at both ends. @throws std::runtime_error if sizeStr does not match it */
    void Clean();

    /** Byte by byte with encoding 1, else by wide characters of the current locale. */
    void ToLower();
    void ToUpper();

    // ---- text to number: clXString unless the whole text is a number ----

    int32_t ToInt() const; ///< the low 32 bits of strtol(text, end, 0)
    /** The value of strtoul(text, end, 0), which also accepts a minus sign. */
    uint64_t ToUInt() const;
    /** In the current locale, else the leading number in the "C" locale. */
    float ToFloat() const;
    double ToDouble() const;
    long double ToLongDouble() const;

    // ---- conversions ----

    void FloatC(double dValue);
    static clString FromFloat(double dValue);

    /** Converts ISO 8859-1 to UTF-8. @throws clXString without a converter */
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
    clString Tok(const char *cpDelims, bool bFirst);

    void TokEnd() noexcept;

    std::vector<clString> Split(const char *cpDelims);

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
