// Runs a sequence of edits on a few strings, on clString and on a plain model of it. Text,
// encoding, capacity and all results must agree after every step.

#include "base/clString.h"
#include "fuzz/Use.h"

#include <array>
#include <bit>
#include <cctype>
#include <memory>
#include <stdexcept>

namespace
{

std::string Lower(std::string str)
{
    std::transform(str.begin(), str.end(), str.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return str;
}

// A std::string with the capacity rule and the sharing of clString.
class clModel
{
public:
    clModel() = default;
    clModel(const std::string &strText, uint64_t uRoom, int32_t iTextEncoding)
        : str(strText),
          sizeAlloc(CapacityFor(uRoom)),
          iEncoding(iTextEncoding)
    {
    }
    clModel(const char *cpText, size_t sizeBuf, int32_t iTextEncoding)
        : clModel(std::string(cpText).substr(0, sizeBuf - (sizeBuf != 0 ? 1 : 0)), sizeBuf,
                  iTextEncoding)
    {
    }

    clModel &operator=(const char *cpText)
    {
        const std::string strText(cpText);
        if (spBuffer.use_count() > 1) {
            *this = clModel(strText, strText.size(), 0);
        } else {
            Edit(strText);
        }
        return *this;
    }
    void Clear() { *this = "", sizeAlloc = 8; }
    void operator+=(const char *cpText) { Edit(str + cpText); }
    void operator+=(const clModel &other) { Edit(str + other.str); }
    void operator+=(char c)
    {
        COW();
        sizeAlloc *= str.size() + 2 >= sizeAlloc ? 2 : 1;
        str += c;
    }
    clModel operator+(const clModel &other) const { return *this + other.c_str(); }
    clModel operator+(const char *cpText) const
    {
        return clModel(str + cpText, str.size() + std::strlen(cpText), 0);
    }
    void Insert(const clModel &other, unsigned uIdx)
    {
        COW();
        Edit(std::string(str).insert(uIdx, std::string(other.str)));
    }
    void Delete(unsigned uIdx, unsigned uCount)
    {
        COW();
        CheckRange(uIdx, uCount);
        Edit(std::string(str).erase(uIdx, uCount));
    }
    clModel SubString(unsigned uIdx, unsigned uCount) const
    {
        CheckRange(uIdx, uCount);
        const std::string strPart = str.substr(uIdx, uCount);
        return clModel(strPart, strPart.size(), iEncoding);
    }
    clModel TailFrom(const char *cpText) const
    {
        const std::string strTail = str.substr(std::min(str.find(cpText), str.size()));
        return clModel(strTail, strTail.size(), iEncoding);
    }
    void Clean()
    {
        constexpr char SPACES[] = " \t\n\v\f\r";
        const std::string strHead = str.substr(0, str.find_last_not_of(SPACES) + 1);
        Edit(strHead.substr(std::min(strHead.find_first_not_of(SPACES), strHead.size())));
    }
    void ToLower()
    {
        COW();
        if (iEncoding == 1) {
            str = Lower(str);
        } else if (std::any_of(str.begin(), str.end(), [](unsigned char u) { return u >= 0x80; })) {
            throw std::runtime_error("no character of the locale");
        } else {
            Edit(Lower(str));
            iEncoding = 0;
        }
    }
    char &operator[](size_t uIdx) { return COW(), str.at(uIdx); }

    const char *c_str() const { return str.c_str(); }

    std::string str;
    uint64_t sizeAlloc = 8;
    int32_t iEncoding = 0;

private:
    static uint64_t CapacityFor(uint64_t uLength)
    {
        return uLength < 8 ? 8 : std::bit_floor(uLength) * 2;
    }
    void COW()
    {
        if (spBuffer.use_count() > 1) {
            spBuffer = std::make_shared<int>();
        }
    }
    void Edit(const std::string &strNew)
    {
        COW();
        str = strNew;
        if (str.size() >= sizeAlloc || str.size() < sizeAlloc / 2) {
            sizeAlloc = CapacityFor(str.size());
        }
    }
    // Sums wrap in 32 bits.
    void CheckRange(unsigned uIdx, unsigned uCount) const
    {
        if (uIdx >= str.size() || uIdx + uCount > str.size()) {
            throw std::out_of_range("range");
        }
    }

    std::shared_ptr<int> spBuffer = std::make_shared<int>();
};

int Sign(int iValue)
{
    return (iValue > 0) - (iValue < 0);
}

// Compares the results of all queries with those of a std::string.
void Ask(const clString &str, const std::string &strModel, const char *cp, const clString &other)
{
    const std::string strLower = Lower(strModel);
    const std::string strArg = Lower(cp);
    const auto ends = [](const std::string &strText, const std::string &strEnd) {
        return strText.size() >= strEnd.size() &&
               strText.substr(strText.size() - strEnd.size()) == strEnd;
    };
    Check(Sign(str.Compare(cp)) == Sign(strModel.compare(cp)), "Compare");
    Check(Sign(str.Collate(cp)) == Sign(strModel.compare(cp)), "Collate");
    Check(Sign(str.CaseCompare(cp)) == Sign(strLower.compare(strArg)), "CaseCompare");
    Check((str < other) == (strModel < other.c_str()), "operator<");
    Check(str.BeginsWith(cp) == (strModel.rfind(cp, 0) == 0), "BeginsWith");
    Check(str.CaseBeginsWith(cp) == (strLower.rfind(strArg, 0) == 0), "CaseBeginsWith");
    Check(str.EndsWith(cp) == ends(strModel, cp), "EndsWith");
    Check(str.CaseEndsWith(cp) == ends(strLower, strArg), "CaseEndsWith");
    // Characters place the range, so that a suffix with longer ones is never found.
    const bool bSingle = other.Length() == other.sizeStr;
    Check(str.EndsWith(other) == (bSingle && str.EndsWith(other.c_str())), "EndsWith a string");
    Check(str.BeginsWith(other) == str.BeginsWith(other.c_str()), "BeginsWith a string");
    Check(str.Find(*cp) == (*cp != 0 ? strModel.find(*cp) : strModel.size()), "Find");
    Check(str.FindLast(*cp) == (*cp != 0 ? strModel.rfind(*cp) : strModel.size()), "FindLast");
    const size_t sizeFound = strModel.find(cp);
    const bool bFound = sizeFound != std::string::npos;
    Check(str.Find(cp) == (bFound ? str.c_str() + sizeFound : nullptr), "Find a text");
    Check(str.Contains(cp) == bFound, "Contains");
    Check(str.FindAny(cp) == strModel.find_first_of(cp), "FindAny");
    Check(str.Span(cp) == std::min(strModel.find_first_not_of(cp), strModel.size()), "Span");
    Check(str.CSpan(cp) == std::min(strModel.find_first_of(cp), strModel.size()), "CSpan");
    const auto lMore = std::count_if(strModel.begin(), strModel.end(), [](char c) {
        return (static_cast<uint8_t>(c) & 0xC0U) == 0x80;
    });
    const size_t sizeMore = str.iEncoding == 1 ? 0 : static_cast<size_t>(lMore);
    Check(str.Length() == strModel.size() - sizeMore, "Length");
}

class clProgram
{
public:
    explicit clProgram(const clInput &source) : input(source) {}

    void Run()
    {
        for (int iStep = 0; !input.IsEmpty() && iStep < 256; ++iStep) {
            Step();
            for (size_t i = 0; i < strings.size(); ++i) {
                CheckText(strings[i]);
                Check(models[i].str == strings[i].c_str(), "another text");
                Check(models[i].sizeAlloc == strings[i].sizeAlloc, "another capacity");
                Check(models[i].iEncoding == strings[i].iEncoding, "another encoding");
            }
        }
    }

private:
    // Runs one operation on both, with another string, perhaps the same, as its argument.
    template <class F>
    void Both(const F &operate)
    {
        Check(Try([&] { operate(strings[uTarget], strings[uOther]); }) ==
                  Try([&] { operate(models[uTarget], models[uOther]); }),
              "one fails, the other does not");
    }

    void Step()
    {
        const uint8_t uOperation = input.Byte();
        const uint8_t uStrings = input.Byte();
        uTarget = uStrings % 4;
        uOther = uStrings / 4 % 4;
        if (strings[uTarget].sizeStr > 2000) {
            // Limits texts that double with every step.
            Both([](auto &a, const auto & /*b*/) { a.Clear(); });
        }
        // Mostly inside the text, also at its edges, and sometimes so far away that sums wrap.
        const auto uEdge = static_cast<unsigned>(strings[uTarget].sizeStr + 2);
        const unsigned uIdx = input.Byte() % uEdge * (uStrings >= 240 ? 0x1000001U : 1U);
        const unsigned uCount = input.Byte() % uEdge - (uStrings / 16 == 14 ? 3U : 0U);
        const char c = static_cast<char>(uOperation / 18 * 16 + uCount % 16 + 1);
        // Text of the input, or a part of one of the strings.
        const std::string strText = (uStrings & 16) != 0 ? input.CText(uCount % 40) : "";
        const auto textOf = [&](const auto &str) {
            return strText.empty() ? str.c_str() + std::min<size_t>(uIdx, std::strlen(str.c_str()))
                                   : strText.c_str();
        };
        switch (uOperation % 18) {
        case 0:
            return Both([&](auto &a, const auto &b) { a = textOf(b); });
        case 1:
            return Both([&](auto &a, const auto &b) { a += textOf(b); });
        case 2:
            return Both([&](auto &a, const auto &b) { a = b; });
        case 3:
            return Both([&](auto &a, const auto &b) { a += b; });
        case 4:
            return Both([&](auto &a, const auto & /*b*/) { a += c; });
        case 5:
            return Both([&](auto &a, const auto &b) { a = a + b; });
        case 6:
            return Both([&](auto &a, const auto &b) { a = a + textOf(b); });
        case 7:
            return Both([&](auto &a, const auto &b) {
                a = std::decay_t<decltype(a)>(textOf(b), size_t{uCount} % 256, uOperation / 18);
            });
        case 8:
            return Both([&](auto &a, const auto &b) { a.Insert(b, uIdx); });
        case 9:
            return Both([&](auto &a, const auto & /*b*/) { a.Delete(uIdx, uCount); });
        case 10:
            return Both([&](auto &a, const auto &b) { a = b.SubString(uIdx, uCount); });
        case 11:
            return Both([&](auto &a, const auto &b) { a = a.TailFrom(textOf(b)); });
        case 12:
            return Both([&](auto &a, const auto & /*b*/) { a.Clean(); });
        case 13:
            return Both([&](auto &a, const auto & /*b*/) { a[uIdx] = c; });
        case 14:
            return Both([&](auto &a, const auto & /*b*/) { a.ToLower(); });
        case 15:
            return Both([&](auto &a, const auto & /*b*/) { a.Clear(); });
        default: {
            const char *const cpText = textOf(strings[uOther]);
            Ask(strings[uTarget], models[uTarget].str, cpText, strings[uOther]);
            int iResult = 0;
            const bool bInside = uIdx + uCount <= models[uTarget].str.size();
            Check(Try([&] { iResult = strings[uTarget].CompareRange(cpText, uIdx, uCount); }) ==
                      bInside,
                  "CompareRange fails");
            const std::string strRange =
                models[uTarget].str.substr(std::min<size_t>(uIdx, uEdge - 2), uCount);
            Check(!bInside || Sign(iResult) ==
                                  Sign(strRange.compare(std::string(cpText).substr(0, uCount))),
                  "CompareRange");
        }
        }
    }

    clInput input;
    std::array<clString, 4> strings;
    std::array<clModel, 4> models;
    size_t uTarget = 0;
    size_t uOther = 0;
};

} // namespace

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clProgram(clInput(pData, sizeData)).Run();
}
