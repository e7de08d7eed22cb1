#pragma once

#include <memory>
#include <string>
#include <vector>

class clFileProgress;
class clInputFile;
class clInputStream;
struct input_t;
struct options_t;

/** Opens what an input names, a file or a URL, and tells the progress a size that was not known.
 * @throws clException when it cannot be opened; clXStopped */
std::unique_ptr<clInputStream> OpenStream(const input_t &file, const options_t &options,
                                          clFileProgress &progress);

/** Opens and inspects an input of any kind that the program reads.
 * @throws clException when it cannot be opened or read, or is neither DSDIFF nor DSF; clXStopped */
void OpenInput(const input_t &file, const options_t &options, clFileProgress &progress,
               clInputFile &input);

/** Why the sound of a file cannot be used; empty when it can. bLenient accepts what a conversion
 * would lose or guess. */
std::string FindSoundFault(const clInputFile &input, bool bLenient);

/** All faults of a file that show without reading the sound. Parses its tags.
 * @throws clException when it cannot be read */
std::vector<std::string> FindProblems(clInputFile &input);
