#pragma once

#include <string>
#include <vector>

class clInputs;
struct input_t;
struct options_t;

/**
 * Where the output of each input goes. Constant after the construction, so threads may share it.
 */
class clOutputPlan
{
public:
    /**
     * @param cpExtension of the outputs, with its dot
     * @throws clXUsage, naming both, when two inputs have the same output, or when an output is one
     * of the inputs or the file of --tag, by whatever names and links; also when there is a --tag
     * and more than one file
     */
    clOutputPlan(const clInputs &inputs, const options_t &options, const char *cpExtension);

    /** The output of inputs.GetFiles()[sizeIdx]; empty for a folder. */
    const std::string &GetOutput(size_t sizeIdx) const { return aOutputs.at(sizeIdx); }

    /** Replaces ".dff" at the end of a path, in any case of letters, or appends the extension. */
    static std::string ReplaceExtension(const std::string &strPath, const char *cpExtension);

    /** The name of a file for what a URL leads to: its last segment, decoded, without slashes. */
    static std::string GetNameOfURL(const std::string &strURL);

private:
    std::vector<std::string> aOutputs;
};
