#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class clInputFile;
struct input_t;

/** Is told how far the work on the sound of a file has come, in bytes of sound. */
using sound_progress_t = std::function<void(uint64_t uDone, uint64_t uAll)>;

/** Opens an input of any kind that the program reads.
 * @throws clException when it cannot be opened or read, or is neither DSDIFF nor DSF */
void OpenInput(const input_t &file, clInputFile &input);

/** Why the sound of a file cannot be used; empty when it can. bLenient accepts what a conversion
 * would lose or guess. */
std::string FindSoundFault(const clInputFile &input, bool bLenient);

/** All faults of a file that show without reading the sound. Parses its tags.
 * @throws clException when it cannot be read */
std::vector<std::string> FindProblems(clInputFile &input);
