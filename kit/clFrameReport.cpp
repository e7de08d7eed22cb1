#include "kit/clFrameReport.h"

namespace
{

// A file can repeat a fault in every frame.
constexpr size_t MOST_TEXTS = 16;

} // namespace

void clFrameReport::Add(const clDSTSound::frame_t &frame)
{
    if (!frame.strFault.empty()) {
        undecoded.Add(frame.strFault);
        return;
    }
    const std::string strName = clDSTSound::GetName(frame);
    if (frame.bLooksCut) {
        cut.Add(strName + ": its end seems to be missing");
    }
    if (frame.eCheck == clDSTSound::check_t::WRONG) {
        differing.Add(strName + ": its sound does not have the check value that the file names");
    }
    bSomeAgrees = bSomeAgrees || frame.eCheck == clDSTSound::check_t::GOOD;
}

std::vector<std::string> clFrameReport::GetFaults(const std::string &strThen) const
{
    std::vector<std::string> aFaults;
    undecoded.PutTo(aFaults, strThen);
    cut.PutTo(aFaults, "");
    if (bSomeAgrees) {
        differing.PutTo(aFaults, "");
    }
    return aFaults;
}

void clFrameReport::kind_t::Add(const std::string &strText)
{
    if (aTexts.size() < MOST_TEXTS) {
        aTexts.push_back(strText);
    } else {
        ++sizeMore;
    }
}

void clFrameReport::kind_t::PutTo(std::vector<std::string> &aFaults,
                                  const std::string &strThen) const
{
    for (const std::string &strText : aTexts) {
        aFaults.push_back(strText + strThen);
    }
    if (sizeMore != 0) {
        aFaults.push_back(std::to_string(sizeMore) + " more DST frames with such a fault" +
                          strThen);
    }
}
