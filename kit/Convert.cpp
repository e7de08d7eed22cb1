#include "kit/Convert.h"

#include "kit/clCommandLine.h"
#include "kit/clConversion.h"
#include "kit/clInputs.h"
#include "kit/clJobs.h"
#include "kit/clJson.h"
#include "kit/clOutputPlan.h"
#include "kit/clReporter.h"

#include <array>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace
{

using result_t = clConversion::result_t;
using status_t = clConversion::status_t;

// The conversions that no job uses at the moment, so that their buffers serve all inputs.
class clConversions
{
public:
    std::unique_ptr<clConversion> Take(const options_t &options, clReporter &reporter)
    {
        const std::lock_guard<std::mutex> lock(mtx);
        if (aFree.empty()) {
            return std::make_unique<clConversion>(options, reporter);
        }
        auto pConversion = std::move(aFree.back());
        aFree.pop_back();
        return pConversion;
    }

    void GiveBack(std::unique_ptr<clConversion> pConversion)
    {
        const std::lock_guard<std::mutex> lock(mtx);
        aFree.push_back(std::move(pConversion));
    }

private:
    std::mutex mtx; // guards aFree
    std::vector<std::unique_ptr<clConversion>> aFree;
};

const char *NameOf(status_t status)
{
    switch (status) {
    case status_t::SKIPPED:
        return "skipped";
    case status_t::WOULD_CONVERT:
        return "would-convert";
    case status_t::CONVERTED:
        return "converted";
    default:
        return "failed";
    }
}

template <class T>
void SetKnown(clJson &json, const char *cpKey, const std::optional<T> &uValue)
{
    if (uValue) {
        json.SetNumber(cpKey, *uValue);
    } else {
        json.SetNull(cpKey);
    }
}

std::string FormatJson(const input_t &file, const std::string &strOutput, const result_t &result)
{
    clJson json;
    json.SetText("input", file.strPath)
        .SetTextOrNull("output", strOutput)
        .SetText("status", NameOf(result.status))
        .SetTextOrNull("error", result.strError)
        .SetTexts("warnings", result.aWarnings);
    SetKnown(json, "channels", result.uChannels);
    SetKnown(json, "sample_rate", result.uSampleRate);
    SetKnown(json, "samples", result.uSamples);
    if (result.cpTag != nullptr) {
        json.SetText("tag", result.cpTag).SetNumber("tag_bytes", result.uTagBytes);
    } else {
        json.SetNull("tag").SetNull("tag_bytes");
    }
    return json.SetBool("verified", result.bVerified).GetLine();
}

// Hours, minutes and seconds, rounded to the nearest second.
std::string FormatDuration(uint64_t uSamples, uint32_t uSampleRate)
{
    const uint64_t uSeconds = uSamples / uSampleRate +
                              (uSamples % uSampleRate >= (uSampleRate + uint64_t{1}) / 2 ? 1 : 0);
    char aText[40];
    std::snprintf(aText, sizeof(aText), "%" PRIu64 ":%02" PRIu64 ":%02" PRIu64, uSeconds / 3600,
                  uSeconds / 60 % 60, uSeconds % 60);
    return aText;
}

std::string FormatLine(const input_t &file, const std::string &strOutput, const result_t &result)
{
    if (result.status == status_t::SKIPPED) {
        return "skipped: " + file.strPath + " (" + strOutput + " exists)";
    }
    const bool bDone = result.status == status_t::CONVERTED;
    return (bDone ? "converted: " : "would convert: ") + file.strPath + " -> " + strOutput + " (" +
           std::to_string(*result.uChannels) +
           (*result.uChannels == 1 ? " channel, " : " channels, ") +
           std::to_string(*result.uSampleRate) + " Hz, " +
           FormatDuration(*result.uSamples, *result.uSampleRate) +
           (result.uTagBytes == 0 ? ", no tag" : std::string(", tag ") + result.cpTag) +
           (result.bVerified ? ", verified)"
            : bDone          ? ", not verified)"
                             : ")");
}

// The run over all inputs. Its jobs share it.
class clConvertRun
{
public:
    clConvertRun(const options_t &runOptions, clReporter &runReporter)
        : options(runOptions),
          reporter(runReporter),
          inputs(clInputs::ReadNames(runOptions), clInputs::DSDIFF_FILES),
          plan(inputs, runOptions, ".dsf")
    {
        if (options.bDeleteInput && inputs.CountURLs() != 0) {
            throw clXUsage("--delete-input cannot remove what a URL leads to");
        }
    }

    int Run()
    {
        reporter.StartProgress(inputs.GetFiles().size(), inputs.GetTotalSize(), inputs.CountURLs());
        clJobs::Run(
            inputs.GetFiles().size(), options.uJobs, [this](size_t sizeIdx) { Work(sizeIdx); },
            [this](size_t sizeIdx, const char *cpReason) {
                result_t result;
                result.strError = cpReason;
                Report(sizeIdx, result);
            });
        reporter.StopProgress();
        std::string strSummary = std::to_string(Count(status_t::CONVERTED)) + " converted, " +
                                 std::to_string(Count(status_t::SKIPPED)) + " skipped, " +
                                 std::to_string(Count(status_t::FAILED)) + " failed";
        if (options.bDryRun) {
            strSummary += " (dry run: " + std::to_string(Count(status_t::WOULD_CONVERT)) +
                          " would be converted)";
        }
        reporter.Note(strSummary);
        return Count(status_t::FAILED) == 0 ? EXIT_DONE : EXIT_SOME_FAILED;
    }

private:
    void Work(size_t sizeIdx)
    {
        const input_t &file = inputs.GetFiles()[sizeIdx];
        reporter.BeginFile(file.strPath);
        auto pConversion = conversions.Take(options, reporter);
        const result_t result = pConversion->Convert(file, plan.GetOutput(sizeIdx));
        conversions.GiveBack(std::move(pConversion));
        Report(sizeIdx, result);
    }

    void Report(size_t sizeIdx, const result_t &result)
    {
        const input_t &file = inputs.GetFiles()[sizeIdx];
        const std::string &strOutput = plan.GetOutput(sizeIdx);
        if (result.status == status_t::FAILED) {
            reporter.Fail(file.strPath, result.strError);
        } else {
            reporter.Note(FormatLine(file, strOutput, result));
        }
        if (options.bJson) {
            reporter.PutJson(FormatJson(file, strOutput, result));
        }
        reporter.EndFile();
        ++aCounts[static_cast<size_t>(result.status)];
    }

    uint64_t Count(status_t status) const { return aCounts[static_cast<size_t>(status)]; }

    const options_t &options;
    clReporter &reporter;
    const clInputs inputs;
    const clOutputPlan plan;
    clConversions conversions;
    std::array<std::atomic<uint64_t>, 4> aCounts = {};
};

} // namespace

int RunConvert(const options_t &options, clReporter &reporter)
{
    return clConvertRun(options, reporter).Run();
}
