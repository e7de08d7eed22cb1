#include "kit/RunItems.h"

#include "kit/clCommandLine.h"
#include "kit/clJobs.h"
#include "kit/clReporter.h"

#include <atomic>
#include <utility>

size_t RunItems(const items_t &items, const options_t &options, clReporter &reporter)
{
    std::atomic<size_t> sizeNotGood{0};
    const auto put = [&](size_t sizeIdx, answer_t answer) {
        sizeNotGood += answer.bGood ? 0 : 1;
        if (options.bJson) {
            reporter.PutJson(answer.json.GetLine());
        } else {
            reporter.PutResult(sizeIdx, std::move(answer.strText));
        }
        reporter.EndFile();
    };
    reporter.StartProgress(items.sizeCount, items.uBytes, items.uSizesToCome);
    clJobs::Run(
        items.sizeCount, options.uJobs,
        [&](size_t sizeIdx) { put(sizeIdx, items.answer(sizeIdx)); },
        [&](size_t sizeIdx, const char *cpReason) { put(sizeIdx, items.fail(sizeIdx, cpReason)); });
    reporter.StopProgress();
    return sizeNotGood;
}
