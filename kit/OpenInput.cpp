#include "kit/OpenInput.h"

#include "kit/clCommandLine.h"
#include "kit/clFileProgress.h"
#include "kit/clFileStream.h"
#include "kit/clInputFile.h"
#include "kit/clInputs.h"
#include "kit/clStopSignal.h"
#include "kit/clStreamReaderURL.h"
#include "kit/clTagChoice.h"
#include "kit/clXInput.h"

std::unique_ptr<clInputStream> OpenStream(const input_t &file, const options_t &options,
                                          clFileProgress &progress)
{
    clStopSignal::ThrowIfStopped();
    if (!file.strFault.empty()) {
        throw clXInput(file.strFault);
    }
    if (file.strURL.empty()) {
        return std::make_unique<clFileStream>(file.strPath);
    }
    auto pStream = std::make_unique<clStreamReaderURL>(clURL(file.strURL), options.uTimeoutSeconds);
    progress.TakeSize(static_cast<uint64_t>(pStream->GetSize()));
    return pStream;
}

void OpenInput(const input_t &file, const options_t &options, clFileProgress &progress,
               clInputFile &input)
{
    input.Open(OpenStream(file, options, progress));
    if (input.GetKind() == clInputFile::kind_t::UNKNOWN) {
        throw clXInput("neither a DSDIFF nor a DSF file");
    }
}

std::string FindSoundFault(const clInputFile &input, bool bLenient)
{
    std::string strFault;
    const auto add = [&strFault](const std::string &strText) {
        strFault += (strFault.empty() ? "" : "; ") + strText;
    };
    for (const finding_t &finding : input.GetFindings()) {
        if (finding.eSeverity == severity_t::REFUSED ||
            (finding.eSeverity == severity_t::LENIENT && !bLenient)) {
            add(finding.strText);
        }
    }
    return strFault;
}

std::vector<std::string> FindProblems(clInputFile &input)
{
    input.CheckTags();
    std::vector<std::string> aProblems;
    for (const finding_t &finding : input.GetFindings()) {
        if (finding.eSeverity != severity_t::HINT) {
            aProblems.push_back(finding.strText);
        }
    }
    if (input.GetKind() == clInputFile::kind_t::DSDIFF) {
        // What a conversion finds wrong only when it chooses the tag of its output.
        try {
            clTagChoice().Choose(input, options_t(), false);
        } catch (const clXInput &caught) {
            aProblems.emplace_back(caught.what());
        }
    }
    return aProblems;
}
