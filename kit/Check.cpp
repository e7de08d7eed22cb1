#include "kit/Check.h"

#include "kit/OpenInput.h"
#include "kit/Printable.h"
#include "kit/RunItems.h"
#include "kit/clCommandLine.h"
#include "kit/clFileProgress.h"
#include "kit/clInputFile.h"
#include "kit/clInputs.h"
#include "kit/clReporter.h"
#include "kit/clSoundReader.h"

#include <string>
#include <utility>
#include <vector>

namespace
{

// Only when it is decoded does compressed sound show what is wrong with it.
std::vector<std::string> CheckFrames(clInputFile &input, clFileProgress &progress)
{
    clSoundReader sound;
    sound.Open(input, true);
    const size_t sizeFrames = sound.GetReadFrames();
    std::vector<uint8_t> frames(sizeFrames * sound.GetChannels());
    uint64_t uDone = 0;
    while (const size_t sizeRead = sound.ReadStored(frames.data(), sizeFrames)) {
        uDone += sizeRead * sound.GetChannels();
        progress.Reach(uDone, sound.GetSize());
    }
    return sound.GetFrameReport().GetFaults("");
}

std::vector<std::string> Check(const input_t &file, const options_t &options,
                               clFileProgress &progress)
{
    clInputFile input;
    OpenInput(file, options, progress, input);
    std::vector<std::string> aProblems = FindProblems(input);
    if (input.IsDST() && FindSoundFault(input, true).empty()) {
        for (std::string &strFault : CheckFrames(input, progress)) {
            aProblems.push_back(std::move(strFault));
        }
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
    items.uSizesToCome = inputs.CountURLs();
    items.answer = [&](size_t sizeIdx) {
        const input_t &file = aFiles[sizeIdx];
        reporter.BeginFile(file.strPath);
        clFileProgress progress(reporter);
        progress.Add(file);
        return Answer(file, Check(file, options, progress));
    };
    items.fail = [&](size_t sizeIdx, const char *cpReason) {
        const input_t &file = aFiles[sizeIdx];
        // A folder is no bad file: the check itself failed.
        if (file.bFolder) {
            reporter.Fail(file.strPath, cpReason);
        }
        return Answer(file, {cpReason});
    };
    const size_t sizeBad = RunItems(items, options, reporter);
    reporter.Note(std::to_string(items.sizeCount - sizeBad) + " ok, " + std::to_string(sizeBad) +
                  " bad");
    return sizeBad == 0 ? EXIT_DONE : EXIT_SOME_FAILED;
}
