#pragma once

#include <cstdint>
#include <string>
#include <vector>

class clInputFile;
struct options_t;

/** The tag of an output, from the first source that exists. */
class clTagChoice
{
public:
    enum class source_t { NONE, GIVEN, CARRIED, MADE };

    /** Chooses for a DSDIFF file, by strTag and bNoTag, and forgets the previous choice. bBytes
     * false makes only name and size. @throws clXInput when a source cannot be read */
    void Choose(const clInputFile &input, const options_t &options, bool bBytes);

    source_t GetSource() const noexcept { return source; }
    /** "given", "carried", "made" or "none" */
    const char *GetName() const noexcept;
    uint64_t GetSize() const noexcept { return uSize; }
    /** Empty without a tag or without bBytes. */
    const std::vector<uint8_t> &GetBytes() const noexcept { return bytes; }
    /** Why a given tag was left out, or empty. */
    const std::string &GetWarning() const noexcept { return strWarning; }

private:
    void Take(source_t from, class clInputStream &stream, uint64_t uOffset, uint64_t uBytes,
              bool bBytes, const std::string &strName);
    void Make(const std::string &strArtist, const std::string &strTitle);

    source_t source = source_t::NONE;
    uint64_t uSize = 0;
    std::vector<uint8_t> bytes;
    std::string strWarning;
};
