#pragma once

#include "dsd/clDSTSound.h"

#include <cstddef>
#include <string>
#include <vector>

/** Collects what is wrong with the compressed frames of a file while its sound is read. */
class clFrameReport
{
public:
    void Add(const clDSTSound::frame_t &frame);

    /**
     * Frames that cannot be decoded, that seem to be cut, and those whose check value differs. Of
     * many of one kind only the first few, and how many more. Check values count only if that of
     * some frame agrees: otherwise they were made by another rule.
     *
     * @param strThen ends the texts of frames that cannot be decoded: what was done then
     */
    std::vector<std::string> GetFaults(const std::string &strThen) const;

private:
    struct kind_t {
        std::vector<std::string> aTexts;
        size_t sizeMore = 0;

        void Add(const std::string &strText);
        void PutTo(std::vector<std::string> &aFaults, const std::string &strThen) const;
    };

    kind_t undecoded;
    kind_t cut;
    kind_t differing;
    bool bSomeAgrees = false;
};
