#include "base/clString.h"

#include "base/clException.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <functional>
#include <memory>
#include <stdexcept>

namespace
{

constexpr long CAPACITY_MIN = 8;

// The smallest power of two above the length, at least CAPACITY_MIN. For a length of 2^62 or more,
// which has none in a long, it is negative: every allocation refuses that.
long CapacityFor(uint64_t sizeLen)
{
    if (sizeLen >> 62U != 0) {
        return -1;
    }
    long lCapacity = CAPACITY_MIN;
    while (static_cast<uint64_t>(lCapacity) <= sizeLen) {
        lCapacity *= 2;
    }
    return lCapacity;
}

// Relaxed: a new owner copies the reference from a string that holds one, so nothing needs
// ordering.
void AddReference(clWeakAlloc &buffer) noexcept
{
    std::atomic_ref<int64_t>(buffer.lRefCount).fetch_add(1, std::memory_order_relaxed);
}

// Drops one reference; the last one deletes the buffer. Release: the accesses of this owner happen
// before any other owner's later ones. Acquire: those of the other owners happen before the delete.
void DropReference(clWeakAlloc *pBuffer, const char *cpPrefix)
{
    try {
        if (std::atomic_ref<int64_t>(pBuffer->lRefCount).fetch_sub(1, std::memory_order_acq_rel) ==
            1) {
            delete pBuffer;
        }
    } catch (const std::exception &caught) {
        WrapException<clXString>(cpPrefix, caught);
    }
}

struct buffer_deleter {
    void operator()(clWeakAlloc *pBuffer) const
    {
        pBuffer->lRefCount = 0;
        delete pBuffer;
    }
};

using buffer_ptr = std::unique_ptr<clWeakAlloc, buffer_deleter>;

// Returns a buffer of lSize bytes that the caller owns; one of 0 bytes has no memory.
clWeakAlloc *NewBuffer(long lSize, const char *cpPrefix)
{
    try {
        buffer_ptr pBuffer(new clWeakAlloc);
        pBuffer->SetSize(lSize);
        return pBuffer.release();
    } catch (const std::exception &caught) {
        WrapException<clXString>(cpPrefix, caught);
    }
}

bool IsSpace(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

} // namespace

clString::clString()
    : sizeAlloc(CAPACITY_MIN),
      pShared(NewBuffer(CAPACITY_MIN, "clString::clString(): "))
{
    cpStr = static_cast<char *>(pShared->GetPtr());
    Terminate(0);
}

clString::clString(const clString &source) noexcept
    : sizeAlloc(source.sizeAlloc),
      sizeStr(source.sizeStr),
      iEncoding(source.iEncoding),
      cpStr(source.cpStr),
      pShared(source.pShared)
{
    AddReference(*pShared);
}

clString::clString(const char *cpText) : clString()
{
    *this = cpText;
}

clString::clString(const char *cpText, size_t sizeBuf, int iTextEncoding)
    : iEncoding(iTextEncoding),
      pShared(NewBuffer(CapacityFor(sizeBuf), "clString::SetSizeI(): "))
{
    cpStr = static_cast<char *>(pShared->GetPtr());
    sizeAlloc = static_cast<uint64_t>(pShared->GetSize());
    size_t sizeLen = 0;
    if (cpText != nullptr && sizeBuf != 0) {
        sizeLen = strnlen(cpText, sizeBuf - 1);
        std::memcpy(cpStr, cpText, sizeLen);
    }
    Terminate(sizeLen);
}

clString::clString(const uint16_t *upText) : clString()
{
    *this = upText;
}

clString::clString(const wchar_t *wcpText) : clString()
{
    *this = wcpText;
}

clString::~clString() noexcept(false)
{
    TokEnd();
    DropReference(pShared, "clString::~clString(): ");
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): it takes a reference before it drops one.
clString &clString::operator=(const clString &source)
{
    AddReference(*source.pShared);
    clWeakAlloc *pOld = pShared;
    pShared = source.pShared;
    sizeAlloc = source.sizeAlloc;
    sizeStr = source.sizeStr;
    iEncoding = source.iEncoding;
    cpStr = source.cpStr;
    DropReference(pOld, "clString::operator=(const clString &): ");
    return *this;
}

clString &clString::operator=(const char *cpText)
{
    if (cpText == nullptr) {
        Clear();
        return *this;
    }
    const size_t sizeLen = std::strlen(cpText);
    Assign(cpText, sizeLen, sizeLen);
    return *this;
}

void clString::Clear()
{
    Assign("", 0, 0);
    SetSizeI(CAPACITY_MIN);
}

clString &clString::operator+=(const char *cpText)
{
    if (cpText != nullptr) {
        Append(cpText, std::strlen(cpText));
    }
    return *this;
}

clString &clString::operator+=(const clString &str)
{
    Append(str.Text(), str.sizeStr);
    return *this;
}

// Doubles the capacity and never shrinks it, unlike Reserve, so that appending single characters
// costs constant time on average.
clString &clString::operator+=(char c)
{
    COW();
    if (sizeStr + 2 >= sizeAlloc) {
        SetSizeI(static_cast<long>(2 * sizeAlloc));
    }
    cpStr[sizeStr] = c;
    Terminate(sizeStr + 1);
    return *this;
}

clString clString::operator+(const clString &str) const
{
    clString strSum(nullptr, sizeStr + str.sizeStr, 0);
    std::memcpy(strSum.cpStr, Text(), sizeStr);
    std::memcpy(strSum.cpStr + sizeStr, str.Text(), str.sizeStr);
    strSum.Terminate(sizeStr + str.sizeStr);
    return strSum;
}

clString clString::operator+(const char *cpText) const
{
    if (cpText == nullptr) {
        return *this;
    }
    const size_t sizeLen = std::strlen(cpText);
    clString strSum(nullptr, sizeStr + sizeLen, 0);
    std::memcpy(strSum.cpStr, Text(), sizeStr);
    std::memcpy(strSum.cpStr + sizeStr, cpText, sizeLen);
    strSum.Terminate(sizeStr + sizeLen);
    return strSum;
}

size_t clString::Length() const
{
    if (iEncoding == 1) {
        return sizeStr;
    }
    size_t sizeChars = 0;
    for (const char *cp = Text(); *cp != 0; ++cp) {
        sizeChars += (static_cast<unsigned char>(*cp) & 0xC0U) != 0x80U ? 1 : 0;
    }
    return sizeChars;
}

const char &clString::at(size_t sizeIdx) const
{
    if (sizeIdx >= sizeStr) {
        throw clXString("clString::at(): sizeIdx >= sizeStr");
    }
    return cpStr[sizeIdx];
}

char &clString::operator[](size_t sizeIdx)
{
    COW();
    if (sizeIdx >= sizeStr) {
        throw clXString("clString::operator[](): sizeIdx >= sizeStr");
    }
    return cpStr[sizeIdx];
}

clString clString::SubString(unsigned uIdx, unsigned uCount) const
{
    if (uIdx >= sizeStr) {
        throw clXString("clString::SubString(): uIdx >= sizeStr");
    }
    // Compatibility: a sum that wraps passes the check; the part then ends with the text.
    if (uIdx + uCount > sizeStr) {
        throw clXString("clString::SubString(): (uIdx + uCount) > sizeStr");
    }
    const uint64_t sizeCount = std::min<uint64_t>(uCount, sizeStr - uIdx);
    clString strPart;
    strPart.Assign(cpStr + uIdx, sizeCount, sizeCount);
    strPart.iEncoding = iEncoding;
    return strPart;
}

clString clString::SubString(unsigned uIdx) const
{
    if (uIdx >= sizeStr) {
        throw clXString("clString::SubString(): uIdx >= sizeStr");
    }
    return SubString(uIdx, static_cast<unsigned>(sizeStr - uIdx));
}

void clString::Insert(const clString &str, unsigned uIdx)
{
    // Holds the source's text, because str may be this string.
    const clString strSource(str);
    COW();
    if (uIdx > sizeStr) {
        throw clXString("clString::Insert(): uIdx > sizeStr");
    }
    const uint64_t sizeTail = sizeStr - uIdx;
    Reserve(sizeStr + strSource.sizeStr);
    std::memmove(cpStr + uIdx + strSource.sizeStr, cpStr + uIdx, sizeTail);
    std::memcpy(cpStr + uIdx, strSource.Text(), strSource.sizeStr);
    Terminate(sizeStr + strSource.sizeStr);
}

void clString::Delete(unsigned uIdx, unsigned uCount)
{
    COW();
    if (uIdx >= sizeStr) {
        throw clXString("clString::Delete(): uIdx >= sizeStr");
    }
    // Wraps as in SubString.
    if (uIdx + uCount > sizeStr) {
        throw clXString("clString::Delete(): (uIdx + uCount) > sizeStr");
    }
    const uint64_t sizeCount = std::min<uint64_t>(uCount, sizeStr - uIdx);
    std::memmove(cpStr + uIdx, cpStr + uIdx + sizeCount, sizeStr - uIdx - sizeCount);
    Terminate(sizeStr - sizeCount);
    Reserve(sizeStr);
}

void clString::Clean()
{
    COW();
    const char *cpStart = Text();
    while (IsSpace(*cpStart)) {
        ++cpStart;
    }
    const uint64_t uStart = static_cast<uint64_t>(cpStart - Text());
    uint64_t uStop = std::max(sizeStr, uStart);
    while (uStop > uStart && IsSpace(cpStr[uStop - 1])) {
        --uStop;
    }
    // Callers can write sizeStr.
    if (sizeStr < uStop) {
        throw std::runtime_error("clString::Clean(): sizeRes > sizeStr");
    }
    const uint64_t sizeRes = uStop - uStart;
    Assign(cpStart, sizeRes, sizeRes);
}

void clString::ToLower()
{
    MapCase(false);
}

void clString::ToUpper()
{
    MapCase(true);
}

void clString::COW()
{
    if (IsOnlyOwner()) {
        return;
    }
    const char *cpPrefix = "clString::COW(): ";
    clWeakAlloc *pNew = nullptr;
    try {
        pNew = new clWeakAlloc(*pShared);
    } catch (const std::exception &caught) {
        WrapException<clXString>(cpPrefix, caught);
    }
    ReplaceBuffer(pNew, cpPrefix);
}

void clString::FOW()
{
    if (!IsOnlyOwner()) {
        ReplaceText(NewBuffer(0, "clString::FOW(): "), 0);
    }
}

void clString::SetSizeI(long lSize)
{
    if (lSize == 0) {
        lSize = CAPACITY_MIN;
    }
    // Checked here, because clAlloc::Resize() frees its block before it refuses the size.
    if (lSize < 0 && cpStr != nullptr) {
        throw clXString("clString::SetSizeI(): clAlloc::Resize(): lAllocSize < 0");
    }
    const char *cpPrefix = "clString::SetSizeI(): ";
    buffer_ptr pNew;
    try {
        clWeakAlloc *pTarget = pShared;
        if (!IsOnlyOwner()) {
            pNew.reset(new clWeakAlloc);
            pTarget = pNew.get();
        }
        if (cpStr != nullptr) {
            pTarget->Resize(lSize);
        } else {
            pTarget->SetSize(lSize);
        }
    } catch (const std::exception &caught) {
        WrapException<clXString>(cpPrefix, caught);
    }
    if (pNew != nullptr) {
        std::memcpy(pNew->GetPtr(), Text(), std::min(sizeStr, static_cast<uint64_t>(lSize)));
        ReplaceBuffer(pNew.release(), cpPrefix);
    }
    cpStr = static_cast<char *>(pShared->GetPtr());
    sizeAlloc = static_cast<uint64_t>(lSize);
    Terminate(std::min(sizeStr, sizeAlloc - 1));
}

void clString::Reserve(uint64_t sizeLen)
{
    if (sizeLen >= sizeAlloc || sizeLen < sizeAlloc / 2) {
        SetSizeI(CapacityFor(sizeLen));
    }
}

bool clString::Owns(const char *cpText) const noexcept
{
    return !std::less<>()(cpText, static_cast<const char *>(cpStr)) &&
           std::less<>()(cpText, static_cast<const char *>(cpStr) + sizeAlloc);
}

// Acquire pairs with the release of DropReference(): after reading 1, the accesses of all earlier
// owners have happened, so this owner may write.
bool clString::IsOnlyOwner() const noexcept
{
    return std::atomic_ref<int64_t>(pShared->lRefCount).load(std::memory_order_acquire) == 1;
}

void clString::ReplaceBuffer(clWeakAlloc *pNew, const char *cpPrefix)
{
    clWeakAlloc *pOld = pShared;
    pShared = pNew;
    cpStr = static_cast<char *>(pNew->GetPtr());
    DropReference(pOld, cpPrefix);
}

void clString::ReplaceText(clWeakAlloc *pNew, uint64_t sizeLen)
{
    TokEnd();
    sizeWcStr = 0;
    iEncoding = 0;
    sizeAlloc = static_cast<uint64_t>(pNew->GetSize());
    sizeStr = sizeLen;
    ReplaceBuffer(pNew, "clString::FOW(): ");
}

void clString::Terminate(uint64_t sizeLen) noexcept
{
    sizeStr = sizeLen;
    cpStr[sizeLen] = 0;
}

void clString::Assign(const char *cpText, uint64_t sizeLen, uint64_t sizeRoom)
{
    if (!IsOnlyOwner()) {
        // Filled before the shared buffer is dropped, because cpText may point into that one.
        clWeakAlloc *pNew = NewBuffer(CapacityFor(sizeRoom), "clString::SetSizeI(): ");
        std::memcpy(pNew->GetPtr(), cpText, sizeLen);
        ReplaceText(pNew, sizeLen);
        Terminate(sizeLen);
        return;
    }
    if (Owns(cpText)) {
        // A part of this text: moved to the front before the buffer may shrink.
        std::memmove(cpStr, cpText, sizeLen);
        Terminate(sizeLen);
        Reserve(sizeRoom);
        return;
    }
    Reserve(sizeRoom);
    std::memcpy(cpStr, cpText, sizeLen);
    Terminate(sizeLen);
}

void clString::Append(const char *cpText, uint64_t sizeLen)
{
    const bool bOwnText = Owns(cpText);
    const uint64_t uOffset = bOwnText ? static_cast<uint64_t>(cpText - cpStr) : 0;
    COW();
    Reserve(sizeStr + sizeLen);
    std::memmove(cpStr + sizeStr, bOwnText ? cpStr + uOffset : cpText, sizeLen);
    Terminate(sizeStr + sizeLen);
}

void clString::MapCase(bool bUpper)
{
    COW();
    if (iEncoding == 1) {
        for (char *cp = cpStr; cp != nullptr && *cp != 0; ++cp) {
            const int iByte = static_cast<unsigned char>(*cp);
            *cp = static_cast<char>(bUpper ? std::toupper(iByte) : std::tolower(iByte));
        }
        return;
    }
    wc_str();
    clAllocT<wchar_t> allocMapped(allocWcStr);
    for (wchar_t *wcp = allocMapped.GetData(); *wcp != 0; ++wcp) {
        // NOLINTNEXTLINE(bugprone-signed-char-misuse): a wchar_t is not a char.
        const wint_t uChar = static_cast<wint_t>(*wcp);
        *wcp = static_cast<wchar_t>(bUpper ? std::towupper(uChar) : std::towlower(uChar));
    }
    *this = allocMapped.GetData();
}
