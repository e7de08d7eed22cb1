#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

/** The target: runs one input, within the limits of Budget.cpp. */
void Fuzz(const uint8_t *pData, size_t sizeData);

/** Called by the fuzzing engine, or by Replay.cpp, with each input. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pData, size_t sizeData);

/** Ends the process, which the engine or the test reports, unless bHolds. */
inline void Check(bool bHolds, const char *cpWhat)
{
    if (!bHolds) {
        std::fprintf(stderr, "fault: %s\n", cpWhat);
        std::abort();
    }
}

/** Runs an operation on untrusted bytes, which may throw. @return whether it did not throw */
template <class F>
inline bool Try(const F &use)
{
    try {
        use();
        return true;
    } catch (const std::exception &) {
        return false;
    }
}

/**
 * Takes an input apart. A file is at its start, the choice of operations at its end, so a seed is a
 * file followed by a few bytes. All values are 0 once nothing is left.
 */
class clInput
{
public:
    clInput(const uint8_t *pData, size_t sizeData) : strRest(pData, pData + sizeData) {}

    uint8_t Byte()
    {
        if (strRest.size() == sizeTaken) {
            return 0;
        }
        return static_cast<uint8_t>(strRest[sizeTaken++]);
    }

    uint8_t LastByte()
    {
        if (strRest.size() == sizeTaken) {
            return 0;
        }
        const auto uByte = static_cast<uint8_t>(strRest.back());
        strRest.pop_back();
        return uByte;
    }

    /** The next eight bytes as a number. */
    uint64_t Number()
    {
        uint64_t uValue = 0;
        for (int i = 0; i < 8; ++i) {
            uValue = uValue << 8 | Byte();
        }
        return uValue;
    }

    bool IsEmpty() const { return strRest.size() == sizeTaken; }

    /** The next bytes, at most sizeMost. */
    std::string Text(size_t sizeMost = SIZE_MAX)
    {
        std::string strText = strRest.substr(sizeTaken, sizeMost);
        sizeTaken += strText.size();
        return strText;
    }

    /** As Text, without zeros: C strings. */
    std::string CText(size_t sizeMost = SIZE_MAX)
    {
        std::string strText = Text(sizeMost);
        std::erase(strText, '\0');
        return strText;
    }

    std::vector<uint8_t> Bytes()
    {
        const std::string strText = Text();
        return {strText.begin(), strText.end()};
    }

private:
    std::string strRest;
    size_t sizeTaken = 0;
};
