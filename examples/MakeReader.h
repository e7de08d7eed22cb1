#pragma once

#include <memory>

class clDSD;
class clStreamReader;

/**
 * The reader for the format that the stream begins with, not opened yet; the stream is back at its
 * start.
 *
 * @throws std::runtime_error for any other format
 */
std::unique_ptr<clDSD> MakeReader(clStreamReader &stream);
