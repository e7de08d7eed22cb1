#include "kit/Compare.h"

#include "kit/Printable.h"
#include "kit/RunItems.h"
#include "kit/clCommandLine.h"
#include "kit/clFileProgress.h"
#include "kit/clInputs.h"
#include "kit/clReporter.h"
#include "kit/clSoundComparison.h"
#include "kit/clStopSignal.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr size_t EXTENSION_SIZE = 4;

enum outcome_t { IDENTICAL, DIFFERENT, MISSING, FAILED };

// Files of one path in the two folders, or the two files that were named. Only one file on each
// side can be compared.
struct pair_t {
    // Below the folders, without the extension; empty for two files.
    std::string strPath;
    std::array<std::vector<const input_t *>, 2> aSides;

    std::string GetFile(size_t sizeSide) const
    {
        return aSides[sizeSide].empty() ? std::string() : aSides[sizeSide].front()->strPath;
    }
    std::string GetAnyFile() const { return GetFile(aSides[0].empty() ? 1 : 0); }
};

// A folder that cannot be read must not meet a file of its name.
std::string KeyOf(const input_t &file)
{
    return file.bFolder ? file.strBelow + "/"
                        : file.strBelow.substr(0, file.strBelow.size() - EXTENSION_SIZE);
}

class clCompareRun
{
public:
    clCompareRun(const options_t &runOptions, clReporter &runReporter)
        : options(runOptions),
          reporter(runReporter)
    {
        const std::vector<std::string> aNames = clInputs::ReadNames(options);
        for (const std::string &strName : aNames) {
            aInputs.push_back(std::make_unique<clInputs>(std::vector<std::string>{strName},
                                                         clInputs::DSDIFF_AND_DSF_FILES));
        }
        bFolders = aInputs[0]->HasFolder() && aInputs[1]->HasFolder();
        const auto isSound = [](const input_t &file) { return file.strFault.empty(); };
        for (size_t i = 0; i < 2 && !bFolders; ++i) {
            // A name that leads to nothing is no wrong usage but a failure.
            if (aInputs[i]->HasFolder() && isSound(aInputs[1 - i]->GetFiles().front())) {
                throw clXUsage("compare takes two files or two folders: " + Printable(aNames[i]) +
                               " is a folder, " +
                               Printable(aInputs[1 - i]->GetFiles().front().strPath) + " is none");
            }
        }
        bFolders ? PairFolders() : PairNames();
    }

    int Run()
    {
        items_t items;
        items.sizeCount = aPairs.size();
        for (const auto &pInputs : aInputs) {
            const uint64_t uSize = pInputs->GetTotalSize();
            items.uBytes += std::min(uSize, UINT64_MAX - items.uBytes);
            items.uSizesToCome += pInputs->CountURLs();
        }
        items.answer = [this](size_t sizeIdx) { return Answer(aPairs[sizeIdx]); };
        items.fail = [this](size_t sizeIdx, const char *cpReason) {
            const pair_t &pair = aPairs[sizeIdx];
            return Fail(pair, {{pair.GetAnyFile(), cpReason}});
        };
        const size_t sizeNotGood = RunItems(items, options, reporter);
        if (bFolders) {
            reporter.Note(Count(IDENTICAL) + " identical, " + Count(DIFFERENT) + " different, " +
                          Count(MISSING) + " missing, " + Count(FAILED) + " failed");
        }
        return sizeNotGood == 0 ? EXIT_DONE : EXIT_SOME_FAILED;
    }

private:
    // Paths and reasons.
    using failures_t = std::vector<std::pair<std::string, std::string>>;

    void PairNames()
    {
        pair_t pair;
        for (size_t i = 0; i < 2; ++i) {
            // Of a folder next to a name that leads to nothing, no file counts.
            if (!aInputs[i]->HasFolder()) {
                pair.aSides[i] = {&aInputs[i]->GetFiles().front()};
            }
        }
        aPairs.push_back(std::move(pair));
    }

    void PairFolders()
    {
        std::map<std::string, pair_t> mapPairs;
        for (size_t i = 0; i < 2; ++i) {
            for (const input_t &file : aInputs[i]->GetFiles()) {
                pair_t &pair = mapPairs[KeyOf(file)];
                pair.strPath = KeyOf(file);
                pair.aSides[i].push_back(&file);
            }
        }
        for (auto &[strKey, pair] : mapPairs) {
            aPairs.push_back(std::move(pair));
        }
    }

    answer_t Answer(const pair_t &pair)
    {
        const bool bAlone = pair.aSides[0].empty() || pair.aSides[1].empty();
        failures_t failures;
        for (const auto &aFiles : pair.aSides) {
            if (aFiles.empty()) {
                continue;
            }
            const input_t &file = *aFiles.front();
            if (aFiles.size() > 1) {
                failures.emplace_back(file.strPath, aFiles.back()->strPath +
                                                        " has the same path without the extension, "
                                                        "so neither was compared");
            } else if (file.bFolder || (bAlone && !bFolders)) {
                failures.emplace_back(file.strPath, file.strFault);
            }
        }
        if (!failures.empty()) {
            return Fail(pair, failures);
        }
        return bAlone ? AnswerMissing(pair) : Compare(pair);
    }

    answer_t Compare(const pair_t &pair)
    {
        const input_t &fileA = *pair.aSides[0].front();
        const input_t &fileB = *pair.aSides[1].front();
        reporter.BeginFile(fileA.strPath);
        clSoundComparison comparison;
        clFileProgress progress(reporter);
        progress.Add(fileA);
        progress.Add(fileB);
        failures_t failures;
        Open(fileA, comparison.a, progress, failures);
        Open(fileB, comparison.b, progress, failures);
        if (!failures.empty()) {
            return Fail(pair, failures);
        }
        try {
            comparison.Compare(progress);
        } catch (const clXStopped &) {
            throw;
        } catch (const std::exception &caught) {
            failures.emplace_back((comparison.bAtB ? fileB : fileA).strPath, caught.what());
            return Fail(pair, failures);
        }
        return Put(pair, comparison);
    }

    void Open(const input_t &file, clSoundComparison::clSide &side, clFileProgress &progress,
              failures_t &failures) const
    {
        try {
            side.Open(file, options, progress);
        } catch (const clXStopped &) {
            throw;
        } catch (const std::exception &caught) {
            failures.emplace_back(file.strPath, caught.what());
        }
    }

    answer_t Put(const pair_t &pair, const clSoundComparison &comparison)
    {
        const bool bSame = comparison.strDifference.empty();
        answer_t answer = Begin(pair, bSame ? IDENTICAL : DIFFERENT);
        const std::string strResult =
            bSame ? "identical: " + std::to_string(comparison.GetChannels()) + " channels, " +
                        std::to_string(comparison.GetSamples()) + " samples per channel, " +
                        std::to_string(comparison.GetSampleRate()) + " Hz"
                  : "different: " + comparison.strDifference;
        answer.strText = Line(pair, strResult);
        answer.json.SetBool("identical", bSame)
            .SetTextOrNull("difference", comparison.strDifference)
            .SetTextOrNull("channel", comparison.strChannel)
            .SetNumberOrNull("sample", comparison.uSample);
        return answer;
    }

    answer_t AnswerMissing(const pair_t &pair)
    {
        answer_t answer = Begin(pair, MISSING);
        const std::string strFile = pair.GetAnyFile();
        answer.strText = Printable("missing: " + strFile) + "\n";
        answer.json.SetBool("identical", false)
            .SetText("difference", "missing: " + strFile)
            .SetNull("channel")
            .SetNull("sample");
        return answer;
    }

    answer_t Fail(const pair_t &pair, const failures_t &failures)
    {
        for (const auto &[strPath, strReason] : failures) {
            reporter.Fail(strPath, strReason);
        }
        answer_t answer = Begin(pair, FAILED);
        if (bFolders) {
            answer.strText = Line(pair, "failed: " + failures.front().second);
        }
        answer.json.SetNull("identical").SetNull("difference").SetNull("channel").SetNull("sample");
        return answer;
    }

    answer_t Begin(const pair_t &pair, outcome_t eOutcome)
    {
        ++aCounts[eOutcome];
        answer_t answer;
        answer.bGood = eOutcome == IDENTICAL;
        answer.json.SetTextOrNull("a", pair.GetFile(0)).SetTextOrNull("b", pair.GetFile(1));
        return answer;
    }

    std::string Line(const pair_t &pair, const std::string &strResult) const
    {
        return Printable((bFolders ? pair.strPath + ": " : "") + strResult) + "\n";
    }

    std::string Count(outcome_t eOutcome) const { return std::to_string(aCounts[eOutcome]); }

    const options_t &options;
    clReporter &reporter;
    std::vector<std::unique_ptr<clInputs>> aInputs;
    bool bFolders = false;
    std::vector<pair_t> aPairs;
    std::array<std::atomic<uint64_t>, 4> aCounts = {};
};

} // namespace

int RunCompare(const options_t &options, clReporter &reporter)
{
    return clCompareRun(options, reporter).Run();
}
