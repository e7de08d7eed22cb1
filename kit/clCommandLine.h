#pragma once

#include "base/clException.h"

#include <optional>
#include <string>
#include <vector>

class clReporter;
struct options_t;

/** Exit statuses; a run that a signal ended exits with EXIT_STOPPED plus its number. */
constexpr int EXIT_DONE = 0;
constexpr int EXIT_SOME_FAILED = 1;
constexpr int EXIT_WRONG_USAGE = 2;
constexpr int EXIT_STOPPED = 128;

/**
 * Wrong usage: main prints the text, which has no prefix, and exits with EXIT_WRONG_USAGE. Only
 * thrown before anything was written.
 */
class clXUsage : public clException
{
public:
    explicit clXUsage(const std::string &strText) : clException(strText.c_str()) {}
};

/** One command of the program: its place in the table of main. */
struct command_t {
    // What a command accepts beyond --quiet and --json; bits of uAccepts.
    static constexpr unsigned INPUTS = 1;   ///< INPUT..., --files-from, -0, --jobs, --timeout
    static constexpr unsigned TWO = 2;      ///< with INPUTS: exactly two of them, A and B
    static constexpr unsigned OUTPUT = 4;   ///< -o, -f, -s, -n, --no-verify
    static constexpr unsigned CONVERTS = 8; ///< --tag, --no-tag, --lenient, --delete-input
    static constexpr unsigned DIGEST = 16;  ///< --digest

    const char *cpName;
    const char *cpHelp; ///< one line
    unsigned uAccepts;

    /** Runs the command and reports faults of single inputs. @return EXIT_DONE, or EXIT_SOME_FAILED
     * @throws clXUsage, clXStopped */
    int (*pRun)(const options_t &options, clReporter &reporter);
};

/** All arguments; an option that the command does not accept has its default. */
struct options_t {
    const command_t *pCommand = nullptr;

    /** The INPUT arguments, without what --files-from names; see clInputs::ReadNames. */
    std::vector<std::string> aInputs;
    std::optional<std::string> strFilesFrom; ///< "-": standard input
    bool bNulSeparated = false;

    bool bQuiet = false;
    bool bJson = false;
    unsigned uJobs = 1;            ///< at least 1; by default the processors of this process
    unsigned uTimeoutSeconds = 60; ///< at least 1

    std::optional<std::string> strOutput; ///< never empty
    bool bForce = false;
    bool bSkipExisting = false;
    bool bDryRun = false;
    bool bVerify = true;

    std::optional<std::string> strTag; ///< never empty
    bool bNoTag = false;
    bool bLenient = false;
    bool bDeleteInput = false;

    bool bDigest = false;
};

/**
 * Turns the arguments of the program into options by the rules of the GNU programs: options and
 * inputs in any order, one-letter options in clusters, "--name=value" or "--name value", "--"
 * before names that begin with a dash; of a repeated option the last one counts. Long names are not
 * abbreviated. Neither the environment nor files are read.
 */
class clCommandLine
{
public:
    /** @param aCommands borrowed: must outlive the options
     * @param argv argc entries, the first of which is ignored
     * @throws clXUsage */
    clCommandLine(const std::vector<command_t> &aCommands, int argc, const char *const *argv);
    clCommandLine(const clCommandLine &) = delete;
    clCommandLine &operator=(const clCommandLine &) = delete;
    ~clCommandLine() = default;

    /** Lines for standard output, if only help or the version was requested; else empty. */
    const std::string &GetHelp() const noexcept { return strHelp; }

    /** Valid when GetHelp() is empty. */
    const options_t &GetOptions() const noexcept { return options; }

private:
    options_t options;
    std::string strHelp;
};
