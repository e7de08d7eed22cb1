#include "kit/clOutputPlan.h"

#include "kit/clCommandLine.h"
#include "kit/clInputs.h"
#include "kit/clStopSignal.h"
#include "kit/clURL.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include <strings.h> // for strcasecmp()
#include <sys/stat.h>

namespace
{

constexpr size_t EXTENSION_SIZE = 4;

using identity_t = std::pair<dev_t, ino_t>;

bool IsFolder(const std::string &strPath)
{
    struct stat statPath = {};
    return stat(strPath.c_str(), &statPath) == 0 && S_ISDIR(statPath.st_mode);
}

std::string GetNameOf(const std::string &strPath)
{
    return strPath.substr(strPath.rfind('/') + 1);
}

/** Gives all paths of one file that may not exist yet the same text. */
class clPathKeys
{
public:
    std::string GetKey(const std::string &strPath)
    {
        const size_t sizeFolder = strPath.rfind('/') + 1;
        const std::string strFolder = strPath.substr(0, sizeFolder);
        const auto [found, bNew] = mapFolders.try_emplace(strFolder);
        if (bNew) {
            found->second = MakeFolderKey(strFolder.empty() ? "./" : strFolder);
        }
        return found->second + strPath.substr(sizeFolder);
    }

private:
    // The folder that exists, by its numbers, and the names below it that are still to be made.
    static std::string MakeFolderKey(std::string strFolder)
    {
        std::vector<std::string> aMissing;
        struct stat statFolder = {};
        while (stat(strFolder.c_str(), &statFolder) != 0) {
            const size_t sizeEnd = strFolder.find_last_not_of('/');
            if (sizeEnd == std::string::npos) {
                break;
            }
            const size_t sizeName = strFolder.rfind('/', sizeEnd) + 1;
            aMissing.push_back(strFolder.substr(sizeName, sizeEnd + 1 - sizeName));
            strFolder.resize(sizeName);
            if (strFolder.empty()) {
                strFolder = "./";
            }
        }
        std::vector<std::string> aNames;
        for (; !aMissing.empty(); aMissing.pop_back()) {
            const std::string &strName = aMissing.back();
            if (strName == ".." && !aNames.empty()) {
                aNames.pop_back(); // no link can be among folders that do not exist
            } else if (strName != ".") {
                aNames.push_back(strName);
            }
        }
        std::string strKey =
            std::to_string(statFolder.st_dev) + ":" + std::to_string(statFolder.st_ino) + "/";
        for (const std::string &strName : aNames) {
            strKey += strName + "/";
        }
        return strKey;
    }

    std::unordered_map<std::string, std::string> mapFolders;
};

std::vector<std::string> MakeOutputs(const clInputs &inputs, const options_t &options,
                                     const char *cpExtension)
{
    const bool bBeside = !options.strOutput;
    const std::string strPath = options.strOutput.value_or("");
    const bool bFile = !bBeside && inputs.GetNames() == 1 && !inputs.HasFolder() &&
                       strPath.back() != '/' && !IsFolder(strPath);
    const std::string strFolder = bBeside || strPath.back() == '/' ? strPath : strPath + "/";

    std::vector<std::string> aOutputs;
    aOutputs.reserve(inputs.GetFiles().size());
    for (const input_t &input : inputs.GetFiles()) {
        if (input.bFolder) {
            aOutputs.emplace_back();
        } else if (bFile) {
            aOutputs.push_back(strPath);
        } else {
            std::string strName = input.strPath;
            if (!input.strURL.empty()) {
                strName = clURL(input.strURL).GetFileName();
            } else if (!input.strBelow.empty() && !bBeside) {
                strName = input.strBelow;
            } else if (!bBeside) {
                strName = GetNameOf(input.strPath);
            }
            aOutputs.push_back(strFolder + clOutputPlan::ReplaceExtension(strName, cpExtension));
        }
    }
    return aOutputs;
}

// Refuses two inputs with one output. Links to the same file are two outputs all the same, as each
// is replaced by its name.
void RefuseSameOutputs(const std::vector<input_t> &aFiles, const std::vector<std::string> &aOutputs)
{
    clPathKeys keys;
    std::unordered_map<std::string, size_t> mapOutputs;
    for (size_t i = 0; i < aOutputs.size(); ++i) {
        clStopSignal::ThrowIfStopped();
        if (aOutputs[i].empty()) {
            continue;
        }
        const auto [found, bNew] = mapOutputs.try_emplace(keys.GetKey(aOutputs[i]), i);
        if (!bNew) {
            throw clXUsage("two inputs have the same output " + aOutputs[i] + ": " +
                           aFiles[found->second].strPath + " and " + aFiles[i].strPath);
        }
    }
}

void RefuseInputsAsOutputs(const std::vector<input_t> &aFiles,
                           const std::vector<std::string> &aOutputs,
                           const std::optional<std::string> &strTag)
{
    std::map<identity_t, std::string> mapTaken;
    for (const input_t &input : aFiles) {
        if (input.inode != 0 || input.device != 0) {
            mapTaken.try_emplace({input.device, input.inode}, "the input " + input.strPath);
        }
    }
    struct stat statFile = {};
    if (strTag && stat(strTag->c_str(), &statFile) == 0) {
        mapTaken.try_emplace({statFile.st_dev, statFile.st_ino}, "the tag file " + *strTag);
    }
    for (size_t i = 0; i < aOutputs.size(); ++i) {
        clStopSignal::ThrowIfStopped();
        if (aOutputs[i].empty() || stat(aOutputs[i].c_str(), &statFile) != 0) {
            continue;
        }
        const auto found = mapTaken.find({statFile.st_dev, statFile.st_ino});
        if (found != mapTaken.end()) {
            throw clXUsage("the output " + aOutputs[i] + " of " + aFiles[i].strPath + " is " +
                           found->second);
        }
    }
}

} // namespace

clOutputPlan::clOutputPlan(const clInputs &inputs, const options_t &options,
                           const char *cpExtension)
    : aOutputs(MakeOutputs(inputs, options, cpExtension))
{
    if (options.strTag && inputs.GetFiles().size() > 1) {
        throw clXUsage("--tag is for one input file, not for " +
                       std::to_string(inputs.GetFiles().size()));
    }
    RefuseSameOutputs(inputs.GetFiles(), aOutputs);
    RefuseInputsAsOutputs(inputs.GetFiles(), aOutputs, options.strTag);
}

std::string clOutputPlan::ReplaceExtension(const std::string &strPath, const char *cpExtension)
{
    if (strPath.size() >= EXTENSION_SIZE) {
        const size_t sizeStem = strPath.size() - EXTENSION_SIZE;
        if (strcasecmp(strPath.c_str() + sizeStem, ".dff") == 0) {
            return strPath.substr(0, sizeStem) + cpExtension;
        }
    }
    return strPath + cpExtension;
}
