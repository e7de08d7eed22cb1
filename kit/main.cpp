#include "base/StandardDescriptors.h"
#include "kit/Check.h"
#include "kit/Compare.h"
#include "kit/Convert.h"
#include "kit/Info.h"
#include "kit/clCommandLine.h"
#include "kit/clReporter.h"
#include "kit/clStopSignal.h"
#include "kit/clURL.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <vector>

namespace
{

// One row for each command, in the order in which the help lists them.
const std::vector<command_t> aCommands = {
    {"convert", "Converts DSDIFF files to DSF files, bit for bit.",
     command_t::INPUTS | command_t::OUTPUT | command_t::CONVERTS, RunConvert},
    {"check", "Tells whether files are complete and consistent.", command_t::INPUTS, RunCheck},
    {"compare", "Tells whether two files, or the files of two folders, hold the same sound.",
     command_t::INPUTS | command_t::TWO, RunCompare},
    {"info", "Shows what files contain.", command_t::INPUTS | command_t::DIGEST, RunInfo},
};

int Run(const clCommandLine &commandLine, clReporter &reporter)
{
    if (!commandLine.GetHelp().empty()) {
        reporter.PutText(commandLine.GetHelp());
        return EXIT_DONE;
    }
    const options_t &options = commandLine.GetOptions();
    return options.pCommand->pRun(options, reporter);
}

int RunGuarded(int argc, char **argv)
{
    try {
        const clCommandLine commandLine(aCommands, argc, argv);
        // They are copied, and all users of the machine can see the arguments.
        std::for_each(argv + 1, argv + argc, clURL::Hide);
        clReporter reporter(commandLine.GetOptions().bQuiet);
        int iStatus;
        try {
            iStatus = Run(commandLine, reporter);
        } catch (const clXStopped &) {
            reporter.Note("vantrel-kit: stopped by a signal");
            iStatus = EXIT_SOME_FAILED;
        } catch (const clXUsage &) {
            throw;
        } catch (const std::exception &caught) {
            reporter.Fail(caught.what());
            iStatus = EXIT_SOME_FAILED;
        }
        return reporter.Finish() ? iStatus : std::max(iStatus, EXIT_SOME_FAILED);
    } catch (const clXUsage &caught) {
        clReporter().Fail(caught.what());
        return EXIT_WRONG_USAGE;
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (!HoldStandardDescriptors()) {
        return EXIT_SOME_FAILED;
    }
    // The call that fails then says so, instead of a signal ending the process.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    clStopSignal::Install();
    int iStatus = EXIT_SOME_FAILED;
    try {
        iStatus = RunGuarded(argc, argv);
    } catch (...) {
        clReporter().Fail("unknown exception");
    }
    return clStopSignal::GetSignal() != 0 ? EXIT_STOPPED + clStopSignal::GetSignal() : iStatus;
}
