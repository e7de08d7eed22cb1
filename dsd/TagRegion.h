#pragma once

#include "dsd/Findings.h"

#include <cstdint>
#include <string>

class clFileWindow;
class clStreamReader;

/** What inspectors ask about the bytes of a file that should be an ID3v2 tag. */
namespace TagRegion
{

/** Bytes of a tag's header, and of its footer. */
constexpr uint64_t HEADER_SIZE = 10;

/** The largest tag: what is between header and footer is counted in 28 bits. */
constexpr uint64_t MAX_SIZE = (uint64_t{1} << 28) + 2 * HEADER_SIZE;

/** Whether the region begins with "ID3". */
bool IsTag(clFileWindow &window, const region_t &region);

/** Bytes that the tag announces, header and footer included; 0 for a header that makes no sense. */
uint64_t GetAnnouncedSize(clFileWindow &window, uint64_t uOffset);

/**
 * Parses the tag.
 * @return what is wrong with it; empty when nothing is
 * @throws what the stream throws; std::runtime_error when memory is short
 */
std::string FindFault(clStreamReader &stream, const region_t &region);

} // namespace TagRegion
