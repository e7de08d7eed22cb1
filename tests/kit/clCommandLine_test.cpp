#include "kit/clCommandLine.h"

#include "kit/clJobs.h"

#include <gtest/gtest.h>

namespace
{

using words_t = std::vector<std::string>;

int NeverRun(const options_t &, clReporter &)
{
    return EXIT_SOME_FAILED;
}

const std::vector<command_t> aCommands = {
    {"convert", "Converts.", command_t::INPUTS | command_t::OUTPUT | command_t::CONVERTS, NeverRun},
    {"compare", "Compares.", command_t::INPUTS | command_t::TWO, NeverRun},
    {"info", "Tells.", command_t::INPUTS | command_t::DIGEST, NeverRun},
};

clCommandLine Parse(words_t words)
{
    words.insert(words.begin(), "vantrel-kit");
    std::vector<const char *> aWords;
    for (const std::string &strWord : words) {
        aWords.push_back(strWord.c_str());
    }
    return {aCommands, static_cast<int>(aWords.size()), aWords.data()};
}

options_t ParseConvert(words_t words)
{
    words.insert(words.begin(), "convert");
    const clCommandLine commandLine = Parse(words);
    EXPECT_EQ("", commandLine.GetHelp());
    return commandLine.GetOptions();
}

} // namespace

TEST(clCommandLine, WrongUsageIsRefused)
{
    const struct {
        words_t words;
        std::string strText; // begins the message
    } aRows[] = {
        {{}, "no command"},
        {{"transcode"}, "unknown command transcode"},
        {{""}, "unknown command "},
        {{"-q", "convert", "a"}, "unknown option -q"},
        {{"convert", "--forc", "a"}, "unknown option --forc"},
        {{"convert", "--digest", "a"}, "unknown option --digest"},
        {{"convert", "-fx", "a"}, "unknown option -x"},
        {{"convert", "--=x", "a"}, "unknown option --"},
        {{"convert", "a", "-o"}, "option -o needs a value"},
        {{"convert", "a", "-o", ""}, "option -o needs a value that is not empty"},
        {{"convert", "--output=", "a"}, "option --output needs a value that is not empty"},
        {{"convert", "--force=false", "a"}, "option --force takes no value"},
        {{"convert", "a", "-j", "0"}, "option --jobs needs a whole number"},
        {{"convert", "a", "-j", "2x"}, "option --jobs needs a whole number"},
        {{"convert", "a", "-j", "99999999999"}, "option --jobs needs a whole number"},
        {{"convert", "a", "--timeout", "0"}, "option --timeout needs a whole number"},
        {{"convert", "a", "--force", "--skip-existing"}, "--force excludes --skip-existing"},
        {{"convert", "a", "--no-tag", "--tag", "t"}, "--tag excludes --no-tag"},
        {{"convert", "a", "--no-verify", "--delete-input"}, "--no-verify excludes --delete-input"},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        try {
            Parse(row.words);
            ADD_FAILURE() << "accepted";
        } catch (const clXUsage &caught) {
            EXPECT_EQ(0U, std::string(caught.what()).find(row.strText)) << caught.what();
        }
    }
}

TEST(clCommandLine, TakesOptionsAsGetoptDoes)
{
    const options_t plain = ParseConvert({"a"});
    EXPECT_EQ(clJobs::CountProcessors(), plain.uJobs);
    EXPECT_EQ(60U, plain.uTimeoutSeconds);
    EXPECT_FALSE(plain.bForce || plain.bNoTag || plain.bLenient || plain.bDryRun || plain.bJson);
    EXPECT_TRUE(plain.bVerify);
    EXPECT_FALSE(plain.strOutput || plain.strTag || plain.strFilesFrom);

    const options_t all =
        ParseConvert({"a", "-fnq0j3", "--no-verify", "--lenient", "-osound", "b", "--tag", "-t",
                      "--files-from=-", "--timeout", "9", "--json"});
    EXPECT_EQ((words_t{"a", "b"}), all.aInputs);
    EXPECT_TRUE(all.bForce && all.bDryRun && all.bQuiet && all.bNulSeparated && all.bLenient);
    EXPECT_TRUE(all.bJson);
    EXPECT_FALSE(all.bVerify);
    EXPECT_EQ(3U, all.uJobs);
    EXPECT_EQ(9U, all.uTimeoutSeconds);
    EXPECT_EQ("sound", all.strOutput);
    EXPECT_EQ("-t", all.strTag) << "a value may begin with a dash";
    EXPECT_EQ("-", all.strFilesFrom);
    EXPECT_TRUE(ParseConvert({"a", "-s", "--delete-input", "--no-tag"}).bDeleteInput);

    const options_t last = ParseConvert({"-o", "x", "-o", "y", "-ff", "-j9", "--jobs=2", "a"});
    EXPECT_EQ("y", last.strOutput) << "the last one counts";
    EXPECT_EQ(2U, last.uJobs);
}

TEST(clCommandLine, LeavesNamesAlone)
{
    // Texts that the option parser itself would take for lists, commands, ends of lists or numbers.
    const words_t names = {"[a,b]", "{}",  "convert", "++",   "-",  "a b",  "\"q\"",
                           "%x",    "a=b", "",        "\xFF", "[]", "check"};
    EXPECT_EQ(names, ParseConvert(names).aInputs);
    for (const std::string &strName : names) {
        if (!strName.empty()) {
            SCOPED_TRACE(strName);
            EXPECT_EQ(strName, ParseConvert({"-o", strName, "a"}).strOutput);
            EXPECT_EQ(strName, ParseConvert({"--tag=" + strName, "a"}).strTag);
        }
    }
    EXPECT_EQ("--", ParseConvert({"-o", "--", "a"}).strOutput);
    EXPECT_EQ((words_t{"a", "-f", "--help", "--", "-"}),
              ParseConvert({"a", "--", "-f", "--help", "--", "-"}).aInputs);
}
