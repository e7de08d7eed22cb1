#pragma once

#include <string>
#include <vector>

class clInputFile;
struct input_t;

/** Opens an input of any kind that the program reads.
 * @throws clException when it cannot be opened or read, or is neither DSDIFF nor DSF */
void OpenInput(const input_t &file, clInputFile &input);

/** Whether the sound is compressed in a way that this version does not decode. */
bool IsDST(const clInputFile &input) noexcept;

/** Why the sound of a file cannot be used; empty when it can. bLenient accepts what a conversion
 * would lose or guess. */
std::string FindSoundFault(const clInputFile &input, bool bLenient);

/** All faults of a file that show without reading the sound. Parses its tags.
 * @throws clException when it cannot be read */
std::vector<std::string> FindProblems(clInputFile &input);
