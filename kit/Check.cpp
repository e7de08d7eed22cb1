#include "kit/Check.h"

#include "kit/OpenInput.h"
#include "kit/Printable.h"
#include "kit/RunItems.h"
#include "kit/clCommandLine.h"
#include "kit/clInputFile.h"
#include "kit/clInputs.h"
#include "kit/clReporter.h"

#include <string>
#include <utility>
#include <vector>

namespace
{

std::vector<std::string> Check(const input_t &file)
{
    clInputFile input;
    OpenInput(file, input);
    std::vector<std::string> aProblems = FindProblems(input);
    if (IsDST(input)) {
        aProblems.emplace_back(
            "DST-compressed sound, which this version does not decode: it was not checked");
    }
    input.GetStream().ThrowIfChanged();
    return aProblems;
}

answer_t Answer(const input_t &file, const std::vector<std::string> &aProblems)
{
    answer_t answer;
    answer.bGood = aProblems.empty();
    if (answer.bGood) {
        answer.strText = Printable("ok: " + file.strPath) + "\n";
    }
    for (const std::string &strProblem : aProblems) {
        answer.strText += Printable("bad: " + file.strPath + ": " + strProblem) + "\n";
    }
    answer.json.SetText("file", file.strPath)
        .SetBool("ok", answer.bGood)
        .SetTexts("problems", aProblems);
    return answer;
}

} // namespace

int RunCheck(const options_t &options, clReporter &reporter)
{
    const clInputs inputs(clInputs::ReadNames(options), clInputs::DSDIFF_AND_DSF_FILES);
    const std::vector<input_t> &aFiles = inputs.GetFiles();
    items_t items;
    items.sizeCount = aFiles.size();
    items.uBytes = inputs.GetTotalSize();
    items.answer = [&](size_t sizeIdx) {
        const input_t &file = aFiles[sizeIdx];
        reporter.BeginFile(file.strPath);
        answer_t answer = Answer(file, Check(file));
        reporter.AddBytes(file.uSize);
        return answer;
    };
    items.fail = [&](size_t sizeIdx, const char *cpReason) {
        const input_t &file = aFiles[sizeIdx];
        // A folder is no file that could be bad: something that was asked for could not be done.
        if (file.bFolder) {
            reporter.Fail(file.strPath, cpReason);
        }
        reporter.AddBytes(file.uSize);
        return Answer(file, {cpReason});
    };
    const size_t sizeBad = RunItems(items, options, reporter);
    reporter.Note(std::to_string(items.sizeCount - sizeBad) + " ok, " + std::to_string(sizeBad) +
                  " bad");
    return sizeBad == 0 ? EXIT_DONE : EXIT_SOME_FAILED;
}
