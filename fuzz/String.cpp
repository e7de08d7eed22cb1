// A program of edits on a few strings, run on clString and on a plain model of it: text, encoding
// and capacity have to agree after every step, and so have all answers.

#include "base/clString.h"
#include "fuzz/Use.h"

#include <array>
#include <bit>
#include <cctype>
#include <memory>
#include <stdexcept>

namespace
{

// A std::string that knows the capacity rule and what is shared with whom.
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
        } else if (std::any_of(str.begin(), str.end(), [](char c) { return c < 0; })) {
            throw std::runtime_error("no character of the locale");
        } else {
            Edit(Lower(str));
            iEncoding = 0;
        }
    }
    char &operator[](size_t sizeIdx) { return COW(), str.at(sizeIdx); }

    const char *c_str() const { return str.c_str(); }
    char at(size_t sizeIdx) const { return str.at(sizeIdx); }
    bool operator<(const clModel &other) const { return str < other.str; }
    int Compare(const char *cpText) const { return str.compare(cpText); }
    int CaseCompare(const char *cpText) const { return Lower(str).compare(Lower(cpText)); }
    int CompareRange(const char *cpText, unsigned uIdx, unsigned uCount) const
    {
        if (uIdx + uCount > str.size()) {
            throw std::out_of_range("CompareRange");
        }
        return str.substr(std::min<size_t>(uIdx, str.size()), uCount)
            .compare(std::string(cpText).substr(0, uCount));
    }
    bool BeginsWith(const char *cpText) const { return str.rfind(cpText, 0) == 0; }
    bool EndsWith(const char *cpText) const
    {
        const size_t sizeEnd = std::strlen(cpText);
        return sizeEnd <= str.size() && str.substr(str.size() - sizeEnd) == cpText;
    }
    bool EndsWith(const clModel &other) const
    {
        // Characters place the range, so that a suffix with longer ones is never found.
        return other.Length() == other.str.size() && EndsWith(other.c_str());
    }
    size_t Find(char c) const { return str.find(c); }
    size_t FindLast(char c) const { return str.rfind(c); }
    const char *Find(const char *cpText) const
    {
        return Contains(cpText) ? c_str() + str.find(cpText) : nullptr;
    }
    bool Contains(const char *cpText) const { return str.find(cpText) != std::string::npos; }
    size_t FindAny(const char *cpSet) const { return str.find_first_of(cpSet); }
    size_t Span(const char *cpSet) const
    {
        return std::min(str.find_first_not_of(cpSet), str.size());
    }
    size_t CSpan(const char *cpSet) const { return std::min(FindAny(cpSet), str.size()); }
    size_t Length() const
    {
        return static_cast<size_t>(std::count_if(str.begin(), str.end(), [&](char c) {
            return iEncoding == 1 || (static_cast<uint8_t>(c) & 0xC0U) != 0x80;
        }));
    }

    std::string str;
    uint64_t sizeAlloc = 8;
    int32_t iEncoding = 0;

private:
    static uint64_t CapacityFor(uint64_t uLength)
    {
        return uLength < 8 ? 8 : std::bit_floor(uLength) * 2;
    }
    static std::string Lower(std::string strText)
    {
        std::transform(strText.begin(), strText.end(), strText.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return strText;
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

// What two answers are compared by: the signs of numbers of either kind, the places of pointers.
int64_t Plain(int iResult, const char * /*cpText*/)
{
    return (iResult > 0) - (iResult < 0);
}
int64_t Plain(size_t sizeResult, const char * /*cpText*/)
{
    return static_cast<int64_t>(sizeResult);
}
int64_t Plain(const char *cpResult, const char *cpText)
{
    return cpResult != nullptr ? cpResult - cpText : -1;
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

    template <class F>
    void Ask(const F &ask)
    {
        Both([&](const auto &str, const auto &other) {
            const int64_t lAnswer = Plain(ask(str, other), str.c_str());
            Check(!bAsked || lAnswer == lAsked, "another answer");
            lAsked = lAnswer;
            bAsked = !bAsked;
        });
        bAsked = false;
    }

    void Step()
    {
        const uint8_t uOperation = input.Byte();
        const uint8_t uStrings = input.Byte();
        const unsigned uIdx = input.Byte() * (uStrings / 64U == 3 ? 0x1000001U : 1U);
        const unsigned uCount = input.Byte() - (uStrings / 64U == 2 ? 128U : 0U);
        const char c = static_cast<char>(uIdx % 255 + 1);
        uTarget = uStrings % 4;
        uOther = uStrings / 4 % 4;
        // Text of the input, or a part of one of the strings.
        const std::string strText = (uStrings & 16) != 0 ? input.CText(uCount % 40) : "";
        const auto Text = [&](const auto &str) {
            return strText.empty() ? str.c_str() + std::min<size_t>(uIdx, std::strlen(str.c_str()))
                                   : strText.c_str();
        };
        if (strings[uTarget].sizeStr > 2000) {
            // Texts that double with every step would teach nothing more.
            Both([](auto &str, const auto & /*other*/) { str.Clear(); });
        }
        switch (uOperation % 18) {
        case 0:
            return Both([&](auto &str, const auto &other) { str = Text(other); });
        case 1:
            return Both([&](auto &str, const auto &other) { str += Text(other); });
        case 2:
            return Both([&](auto &str, const auto &other) { str = other; });
        case 3:
            return Both([&](auto &str, const auto &other) { str += other; });
        case 4:
            return Both([&](auto &str, const auto & /*other*/) { str += c; });
        case 5:
            return Both([&](auto &str, const auto &other) { str = str + other; });
        case 6:
            return Both([&](auto &str, const auto &other) { str = str + Text(other); });
        case 7:
            return Both([&](auto &str, const auto &other) {
                str =
                    std::decay_t<decltype(str)>(Text(other), size_t{uCount} % 256, uOperation / 18);
            });
        case 8:
            return Both([&](auto &str, const auto &other) { str.Insert(other, uIdx); });
        case 9:
            return Both([&](auto &str, const auto & /*other*/) { str.Delete(uIdx, uCount); });
        case 10:
            return Both([&](auto &str, const auto &other) { str = other.SubString(uIdx, uCount); });
        case 11:
            return Both([&](auto &str, const auto &other) { str = str.TailFrom(Text(other)); });
        case 12:
            return Both([&](auto &str, const auto & /*other*/) { str.Clean(); });
        case 13:
            return Both([&](auto &str, const auto & /*other*/) { str[uIdx] = c; });
        case 14:
            return Both([&](auto &str, const auto & /*other*/) { str.ToLower(); });
        case 15:
            return Both([&](auto &str, const auto & /*other*/) { str.Clear(); });
        default:
            Ask([&](const auto &a, const auto &b) { return a.Compare(Text(b)); });
            Ask([&](const auto &a, const auto &b) { return a.CaseCompare(Text(b)); });
            Ask([&](const auto &a, const auto &b) {
                return a.CompareRange(Text(b), uIdx, uCount);
            });
            Ask([&](const auto &a, const auto &b) { return a < b; });
            Ask([&](const auto &a, const auto &b) { return a.BeginsWith(Text(b)); });
            Ask([&](const auto &a, const auto &b) { return a.EndsWith(Text(b)); });
            Ask([&](const auto &a, const auto &b) { return a.EndsWith(b); });
            Ask([&](const auto &a, const auto &b) { return a.Find(Text(b)); });
            Ask([&](const auto &a, const auto &b) { return a.Contains(Text(b)); });
            Ask([&](const auto &a, const auto &b) { return a.FindAny(Text(b)); });
            Ask([&](const auto &a, const auto &b) { return a.Span(Text(b)); });
            Ask([&](const auto &a, const auto &b) { return a.CSpan(Text(b)); });
            Ask([&](const auto &a, const auto & /*b*/) { return a.Find(c); });
            Ask([&](const auto &a, const auto & /*b*/) { return a.FindLast(c); });
            Ask([&](const auto &a, const auto & /*b*/) { return a.Length(); });
            Ask([&](const auto &a, const auto & /*b*/) { return int{a.at(uIdx)}; });
        }
    }

    clInput input;
    std::array<clString, 4> strings;
    std::array<clModel, 4> models;
    size_t uTarget = 0;
    size_t uOther = 0;
    int64_t lAsked = 0;
    bool bAsked = false;
};

} // namespace

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    clProgram(clInput(pData, sizeData)).Run();
}
