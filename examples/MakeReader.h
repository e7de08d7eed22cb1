#pragma once

#include <memory>

class clDSD;
class clStreamReader;

/**
 * Makes the reader for the format of the stream, not opened yet; the stream is back at its start.
 *
 * @throws std::runtime_error for any other format
 */
std::unique_ptr<clDSD> MakeReader(clStreamReader &stream);
