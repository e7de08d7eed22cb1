#pragma once

#include <cstdint>
#include <string>
#include <vector>

class clInputFile;
struct options_t;

/** The tag that an output gets: the first source that exists is asked, and no other. */
class clTagChoice
{
public:
    enum class source_t { NONE, GIVEN, CARRIED, MADE };

    /**
     * Chooses for one input and forgets the choice before.
     *
     * @param input   with a DSDIFF file
     * @param options its strTag and bNoTag
     * @param bBytes  whether the bytes are wanted, or only what they would be
     * @throws clXInput when a source cannot be read
     */
    void Choose(const clInputFile &input, const options_t &options, bool bBytes);

    source_t GetSource() const noexcept { return source; }
    /** "given", "carried", "made" or "none" */
    const char *GetName() const noexcept;
    /** Also without the bytes. */
    uint64_t GetSize() const noexcept { return uSize; }
    /** Empty without a tag, or when they were not wanted. */
    const std::vector<uint8_t> &GetBytes() const noexcept { return bytes; }
    /** Why a given tag was left out; empty when it was not. */
    const std::string &GetWarning() const noexcept { return strWarning; }

private:
    void Take(source_t from, class clFileStream &stream, uint64_t uOffset, uint64_t uBytes,
              bool bBytes, const std::string &strName);
    void Make(const std::string &strArtist, const std::string &strTitle);

    source_t source = source_t::NONE;
    uint64_t uSize = 0;
    std::vector<uint8_t> bytes;
    std::string strWarning;
};
