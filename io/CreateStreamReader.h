#pragma once

class clStreamReader;

/**
 * Opens the input that a user names: "http:" names come from a web server, all others are files,
 * see clStreamReaderFile. Upper case is no prefix; "HTTP://x" is a file.
 *
 * @return the reader; the caller deletes it
 * @throws clXStreamReader and what else the constructors of the readers throw, unchanged
 */
clStreamReader *CreateStreamReader(const char *cpName);
