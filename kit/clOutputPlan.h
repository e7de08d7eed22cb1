#pragma once

#include <string>
#include <vector>

class clInputs;
struct input_t;
struct options_t;

/** The outputs of the inputs. Constant after the construction, so threads may share it. */
class clOutputPlan
{
public:
    /** @param cpExtension of the outputs, with its dot
     * @throws clXUsage, naming both, when two inputs have the same output, or when an output is one
     * of the inputs or the file of --tag, by any names and links; also for --tag with more than one
     * file */
    clOutputPlan(const clInputs &inputs, const options_t &options, const char *cpExtension);

    /** The output of inputs.GetFiles()[sizeIdx]; empty for a folder. */
    const std::string &GetOutput(size_t sizeIdx) const { return aOutputs.at(sizeIdx); }

    /** Replaces ".dff" at the end of a path, in any case of letters, or appends the extension. */
    static std::string ReplaceExtension(const std::string &strPath, const char *cpExtension);

private:
    std::vector<std::string> aOutputs;
};
