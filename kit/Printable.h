#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/** One character of a text that should be UTF-8. */
struct character_t {
    char32_t uCode;   ///< the byte itself when it is not UTF-8
    size_t sizeBytes; ///< at least 1
    bool bValid;      ///< false: one byte that is not part of a valid sequence
};

/** The character that begins at sizeAt, which must be inside the text. */
character_t NextCharacter(std::string_view strText, size_t sizeAt) noexcept;

/** The text with '?' for each control character, so that names and texts of files can neither break
 * lines nor command the terminal: codes below 32, 127, and 128 to 159 as UTF-8 or as single bytes.
 * Other bytes that are not UTF-8 stay. */
std::string Printable(std::string_view strText);

/** The end of a printable text, cut at its front to at most sizeColumns columns of a terminal, with
 * ".." for what is left out where that fits. */
std::string CutToColumns(std::string_view strText, size_t sizeColumns);

/** Columns that a printable text takes on a terminal. */
size_t CountColumns(std::string_view strText) noexcept;
