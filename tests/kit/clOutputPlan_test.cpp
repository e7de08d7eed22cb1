#include "kit/clOutputPlan.h"

#include "kit/clCommandLine.h"
#include "kit/clInputs.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

using names_t = std::vector<std::string>;

/** Changes into a new folder, so that names are short. */
class clOutputPlanTest : public testing::Test
{
public:
    ~clOutputPlanTest() override { fs::current_path(before); }

protected:
    clOutputPlanTest() : before(fs::current_path())
    {
        fs::current_path(folder.Path(""));
        for (const char *cpName : {"a.dff", "B.DFF", "c", "m/a.dff", "m/deep/d.Dff", "taken.dsf"}) {
            fs::create_directories(fs::path(folder.Path(cpName)).parent_path());
            folder.Write(cpName, {1});
        }
        fs::create_directory("existing");
    }

    static names_t Plan(const names_t &names, const std::string &strOutput,
                        const std::string &strTag = "")
    {
        options_t options;
        options.strOutput = strOutput.empty() ? std::nullopt : std::optional(strOutput);
        options.strTag = strTag.empty() ? std::nullopt : std::optional(strTag);
        const clInputs inputs(names, clInputs::DSDIFF_FILES);
        const clOutputPlan plan(inputs, options, ".dsf");
        names_t outputs;
        for (size_t i = 0; i < inputs.GetFiles().size(); ++i) {
            outputs.push_back(plan.GetOutput(i));
        }
        return outputs;
    }

    const TempFolder folder;
    const fs::path before;
};

} // namespace

TEST_F(clOutputPlanTest, OutputsGoWhereTheyAreExpected)
{
    const struct {
        names_t inputs;
        std::string strOutput;
        names_t outputs;
    } aRows[] = {
        {{"a.dff", "B.DFF", "c", "m"}, "", {"a.dsf", "B.dsf", "c.dsf", "m/a.dsf", "m/deep/d.dsf"}},
        {{"./m/../a.dff"}, "", {"./m/../a.dsf"}},
        {{".dff", "x.dff.bak"}, "", {".dsf", "x.dff.bak.dsf"}},
        {{"a.dff"}, "out.wav", {"out.wav"}},
        {{"a.dff"}, "new/out", {"new/out"}},
        {{"m/a.dff"}, "new/", {"new/a.dsf"}},
        {{"m/a.dff"}, "existing", {"existing/a.dsf"}},
        {{"missing.dff"}, "out", {"out"}},
        {{"m/a.dff", "c"}, "new", {"new/a.dsf", "new/c.dsf"}},
        {{"m"}, "new", {"new/a.dsf", "new/deep/d.dsf"}},
        {{"m/deep"}, "new", {"new/d.dsf"}},
        {{"m/deep", "existing"}, "new/", {"new/d.dsf", ""}}, // a folder without files
        {{"http://h/p/x%20y.DFF?q=/z.dff#f/g"}, "", {"x y.dsf"}},
        {{"http://h/p/x.dff"}, "new/", {"new/x.dsf"}},
        {{"http://h/p/x.dff"}, "out", {"out"}},
        {{"https://h"}, "", {"download.dsf"}},
        {{"http://h/"}, "", {"download.dsf"}},
        {{"http://h/%2e%2E%2f%00%0a%7f%zz%4"}, "", {"..____%zz%4.dsf"}},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::PrintToString(row.inputs) + " to " + row.strOutput);
        EXPECT_EQ(row.outputs, Plan(row.inputs, row.strOutput));
    }
    EXPECT_FALSE(fs::exists("new"));
}

TEST_F(clOutputPlanTest, CollisionsNameBoth)
{
    fs::create_directory_symlink("m", "link");
    fs::create_hard_link("a.dff", "hard.dsf");
    folder.Write("hard.dff", {1});
    const std::string strSame = "two inputs have the same output ";
    const std::string strOne = "--tag is for one input file, not for 2";
    const struct {
        std::string strOutput, strTag;
        names_t inputs;
        std::string strText;
    } aRows[] = {
        {"o", "", {"a.dff", "c", "a.dff"}, strSame + "o/a.dsf: a.dff and a.dff"},
        {"o/", "", {"a.dff", "m/a.dff"}, strSame + "o/a.dsf: a.dff and m/a.dff"},
        {"", "", {"m/a.dff", "link/a.dff"}, strSame + "link/a.dsf: m/a.dff and link/a.dff"},
        {"",
         "",
         {"m", "link/../m/deep"},
         strSame + "link/../m/deep/d.dsf: m/deep/d.Dff and link/../m/deep/d.Dff"},
        {"o", "", {"x.dff", "X/../x.dff"}, strSame + "o/x.dsf: x.dff and X/../x.dff"},
        {"m/../a.dff", "", {"a.dff"}, "the output m/../a.dff of a.dff is the input a.dff"},
        {"", "", {"a.dff", "hard.dff"}, "the output hard.dsf of hard.dff is the input a.dff"},
        {"c", "./c", {"a.dff"}, "the output c of a.dff is the tag file ./c"},
        {"", "taken.dsf", {"a.dff", "c"}, strOne},
        {"", "taken.dsf", {"m"}, strOne},
    };
    for (const auto &row : aRows) {
        SCOPED_TRACE(testing::PrintToString(row.inputs));
        EXPECT_THROW_MSG(Plan(row.inputs, row.strOutput, row.strTag), clXUsage, row.strText);
    }
    EXPECT_EQ(names_t{"m/deep/d.dsf"}, Plan({"m/deep"}, "", "c"));
    // Names that only look the same, in folders that are still to be made.
    EXPECT_EQ((names_t{"new/x/../a.dsf"}), Plan({"a.dff"}, "new/x/../a.dsf"));
}

TEST_F(clOutputPlanTest, ManyInputsAreNoTrouble)
{
    names_t names;
    for (int i = 0; i < 20000; ++i) {
        names.push_back("m/" + std::to_string(i) + ".dff");
    }
    EXPECT_EQ("o/19999.dsf", Plan(names, "o").back());
    names.push_back("m/../m/777.dff");
    EXPECT_THROW_MSG(
        Plan(names, ""), clXUsage,
        "two inputs have the same output m/../m/777.dsf: m/777.dff and m/../m/777.dff");
}
