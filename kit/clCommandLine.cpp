#include "kit/clCommandLine.h"

#include "kit/clJobs.h"
#include "kit/clURL.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include <CLI/CLI.hpp>

namespace
{

constexpr char PROGRAM[] = "vantrel-kit";

// What arrives as text and is judged afterwards.
struct raw_t {
    std::string strJobs;
    std::string strTimeout;
    bool bNoVerify = false;
};

std::string GetSeeAlso(const command_t *pCommand)
{
    const std::string strCommand = pCommand != nullptr ? std::string(pCommand->cpName) + " " : "";
    return "; see " + std::string(PROGRAM) + " " + strCommand + "--help";
}

std::string GetProgramHelp(const std::vector<command_t> &aCommands)
{
    std::string strHelp = "Looks after archives of one-bit audio: DSDIFF and DSF files.\n"
                          "Usage: vantrel-kit COMMAND [OPTION...] INPUT...\n\nCommands:\n";
    for (const command_t &command : aCommands) {
        std::string strName = command.cpName;
        strName.resize(std::max<size_t>(strName.size() + 2, 12), ' ');
        strHelp += "  " + strName + command.cpHelp + "\n";
    }
    return strHelp + "\n  --help      print this, or after a command what it accepts\n"
                     "  --version   print the version\n";
}

template <class T>
void AddValue(CLI::App &app, const char *cpNames, T &value, const char *cpType, const char *cpHelp)
{
    app.add_option(cpNames, value, cpHelp)->type_name(cpType)->take_last();
}

void AddInputOptions(CLI::App &app, options_t &options, raw_t &raw)
{
    AddValue(app, "--files-from", options.strFilesFrom, "FILE",
             "read further inputs from FILE, one per line (-: standard input)");
    app.add_flag("-0,--null", options.bNulSeparated, "names in FILE end with NUL, not with lines");
    AddValue(app, "-j,--jobs", raw.strJobs, "N",
             "process N inputs at the same time (default: number of processors)");
    AddValue(app, "--timeout", raw.strTimeout, "SECONDS",
             "give up when a server sends nothing for that long (default: 60)");
}

void AddOutputOptions(CLI::App &app, options_t &options, raw_t &raw)
{
    AddValue(app, "-o,--output", options.strOutput, "PATH",
             "output file, or folder for the outputs (default: next to the input)");
    CLI::Option *pForce = app.add_flag("-f,--force", options.bForce, "replace existing outputs");
    app.add_flag("-s,--skip-existing", options.bSkipExisting, "leave inputs with an output out")
        ->excludes(pForce);
    app.add_flag("-n,--dry-run", options.bDryRun, "judge every input, write nothing");
    app.add_flag("--no-verify", raw.bNoVerify, "do not compare the output with the input");
}

void AddConvertOptions(CLI::App &app, options_t &options)
{
    AddValue(app, "--tag", options.strTag, "FILE", "put the ID3v2 tag of FILE into the output");
    app.add_flag("--no-tag", options.bNoTag, "write no tag")->excludes(app.get_option("--tag"));
    app.add_flag("--lenient", options.bLenient, "convert damaged files as far as possible");
    app.add_flag("--delete-input", options.bDeleteInput, "remove inputs whose output was verified")
        ->excludes(app.get_option("--no-verify"));
}

void AddOptions(CLI::App &app, unsigned uAccepts, options_t &options, raw_t &raw)
{
    if ((uAccepts & command_t::OUTPUT) != 0) {
        AddOutputOptions(app, options, raw);
    }
    if ((uAccepts & command_t::CONVERTS) != 0) {
        AddConvertOptions(app, options);
    }
    if ((uAccepts & command_t::DIGEST) != 0) {
        app.add_flag("--digest", options.bDigest, "add the MD5 of the sound");
    }
    if ((uAccepts & command_t::INPUTS) != 0) {
        AddInputOptions(app, options, raw);
    }
    app.add_flag("-q,--quiet", options.bQuiet, "leave only failures on standard error");
    app.add_flag("--json", options.bJson, "print a line of JSON for each input");
}

/**
 * Takes the arguments apart as getopt_long() does and leaves to CLI11 what has no ambiguity: each
 * option as "--name" or "--name=value". Left alone, CLI11 takes "[a]" for a list, "-5" for an
 * input and "--name=" for an option whose value is the next argument.
 */
class clWords
{
public:
    clWords(CLI::App &appCommand, int argc, const char *const *argv)
        : app(appCommand),
          aArguments(argv, argv + argc)
    {
    }

    /** False when help is requested. */
    bool TakeApart()
    {
        while (sizeNext < aArguments.size()) {
            const std::string &strWord = aArguments[sizeNext++];
            if (strWord == "--") {
                aInputs.insert(aInputs.end(), aArguments.begin() + static_cast<ptrdiff_t>(sizeNext),
                               aArguments.end());
                return true;
            }
            if (strWord.size() < 2 || strWord[0] != '-') {
                aInputs.push_back(strWord);
            } else if (!(strWord[1] == '-' ? TakeLong(strWord) : TakeCluster(strWord))) {
                return false;
            }
        }
        return true;
    }

    std::vector<std::string> aInputs;
    std::vector<std::string> aOptions;

private:
    const CLI::Option &Find(const std::string &strName) const
    {
        const CLI::Option *pOption = app.get_option_no_throw(strName);
        if (pOption == nullptr) {
            throw clXUsage("unknown option " + strName);
        }
        return *pOption;
    }

    static bool TakesValue(const CLI::Option &option)
    {
        return option.get_items_expected_min() > 0;
    }

    void PutValue(const CLI::Option &option, const std::string &strName,
                  const std::string &strValue)
    {
        if (strValue.empty()) {
            throw clXUsage("option " + strName + " needs a value that is not empty");
        }
        if (clURL::IsURL(strValue)) {
            throw clXUsage("option " + strName + " takes no URL");
        }
        aOptions.push_back("--" + option.get_lnames().front() + "=" + strValue);
    }

    void TakeNextAsValue(const CLI::Option &option, const std::string &strName)
    {
        if (sizeNext == aArguments.size()) {
            throw clXUsage("option " + strName + " needs a value");
        }
        PutValue(option, strName, aArguments[sizeNext++]);
    }

    bool TakeLong(const std::string &strWord)
    {
        const size_t sizeName = strWord.find('=');
        const std::string strName = strWord.substr(0, sizeName);
        const CLI::Option &option = Find(strName);
        if (sizeName != std::string::npos) {
            if (!TakesValue(option)) {
                throw clXUsage("option " + strName + " takes no value");
            }
            PutValue(option, strName, strWord.substr(sizeName + 1));
        } else if (TakesValue(option)) {
            TakeNextAsValue(option, strName);
        } else {
            aOptions.push_back(strName);
        }
        return &option != app.get_help_ptr();
    }

    bool TakeCluster(const std::string &strWord)
    {
        for (size_t i = 1; i < strWord.size(); ++i) {
            const std::string strName = {'-', strWord[i]};
            const CLI::Option &option = Find(strName);
            if (&option == app.get_help_ptr()) {
                return false;
            }
            if (!TakesValue(option)) {
                aOptions.push_back("--" + option.get_lnames().front());
            } else if (i + 1 < strWord.size()) {
                PutValue(option, strName, strWord.substr(i + 1));
                break;
            } else {
                TakeNextAsValue(option, strName);
            }
        }
        return true;
    }

    CLI::App &app;
    const std::vector<std::string> aArguments;
    size_t sizeNext = 0;
};

// The number, which must be all of the text and at least 1.
unsigned ParseNumber(const char *cpOption, const std::string &strText)
{
    unsigned uValue = 0;
    const char *cpEnd = strText.data() + strText.size();
    const std::from_chars_result result = std::from_chars(strText.data(), cpEnd, uValue);
    if (result.ec != std::errc() || result.ptr != cpEnd || uValue == 0) {
        throw clXUsage("option " + std::string(cpOption) +
                       " needs a whole number from 1 on, not \"" + strText + "\"");
    }
    return uValue;
}

void JudgeNumbers(const raw_t &raw, options_t &options)
{
    // A stop after that long is as good as none, and milliseconds of it stay in an int.
    constexpr unsigned LONGEST_TIMEOUT = 1000000;
    options.uJobs =
        raw.strJobs.empty() ? clJobs::CountProcessors() : ParseNumber("--jobs", raw.strJobs);
    if (!raw.strTimeout.empty()) {
        options.uTimeoutSeconds =
            std::min(ParseNumber("--timeout", raw.strTimeout), LONGEST_TIMEOUT);
    }
}

const command_t &FindCommand(const std::vector<command_t> &aCommands, const std::string &strName)
{
    const auto found =
        std::find_if(aCommands.begin(), aCommands.end(),
                     [&](const command_t &command) { return command.cpName == strName; });
    if (found == aCommands.end()) {
        throw clXUsage((strName[0] == '-' ? "unknown option " : "unknown command ") +
                       (clURL::IsURL(strName) ? clURL(strName).strShown : strName) +
                       GetSeeAlso(nullptr));
    }
    return *found;
}

} // namespace

clCommandLine::clCommandLine(const std::vector<command_t> &aCommands, int argc,
                             const char *const *argv)
{
    if (argc < 2) {
        throw clXUsage("no command" + GetSeeAlso(nullptr));
    }
    const std::string strFirst = argv[1];
    if (strFirst == "--help" || strFirst == "-h") {
        strHelp = GetProgramHelp(aCommands);
        return;
    }
    if (strFirst == "--version") {
        strHelp = std::string(PROGRAM) + " " + VANTREL_VERSION + "\n";
        return;
    }
    const command_t &command = FindCommand(aCommands, strFirst);
    options.pCommand = &command;

    raw_t raw;
    CLI::App app(command.cpHelp, std::string(PROGRAM) + " " + command.cpName);
    app.get_formatter()->column_width(34);
    app.get_help_ptr()->description("print this");
    AddOptions(app, command.uAccepts, options, raw);
    // For the help alone: CLI11 sees no input.
    std::vector<std::string> aNone;
    app.add_option((command.uAccepts & command_t::TWO) != 0 ? "A B" : "INPUT", aNone,
                   "files, folders for all files below them, or URLs");
    try {
        clWords words(app, argc - 2, argv + 2);
        if (!words.TakeApart()) {
            strHelp = app.help();
            return;
        }
        std::reverse(words.aOptions.begin(), words.aOptions.end()); // as App::parse() wants them
        app.parse(words.aOptions);
        JudgeNumbers(raw, options);
        options.bVerify = !raw.bNoVerify;
        options.aInputs = std::move(words.aInputs);
    } catch (const CLI::ParseError &caught) {
        throw clXUsage(caught.what() + GetSeeAlso(&command));
    } catch (const clXUsage &caught) {
        throw clXUsage(caught.what() + GetSeeAlso(&command));
    }
}
