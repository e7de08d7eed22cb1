#pragma once

#include "dsd/Findings.h"

#include <cstdint>
#include <string>

class clFileWindow;
class clStreamReader;

/** Bytes of a file that should be an ID3v2 tag, as the inspectors examine them. */
namespace TagRegion
{

constexpr uint64_t HEADER_SIZE = 10; ///< of the header, and of the footer

/** The largest tag: 28 bits count what is between header and footer. */
constexpr uint64_t MAX_SIZE = (uint64_t{1} << 28) + 2 * HEADER_SIZE;

/** Whether the region begins with "ID3". */
bool IsTag(clFileWindow &window, const region_t &region);

/** Size with header and footer; 0 for an invalid header. */
uint64_t GetAnnouncedSize(clFileWindow &window, uint64_t uOffset);

/** Parses the tag. @return its fault, or empty @throws what the stream throws; std::runtime_error
 * when memory is short */
std::string FindFault(clStreamReader &stream, const region_t &region);

} // namespace TagRegion
