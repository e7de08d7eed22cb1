#pragma once

#include <cstdint>
#include <string>

// The parts of DSDIFF files that all samples share.

constexpr unsigned MAX_SAMPLE_CHANNELS = 6;

/** The properties of a DSDIFF file. */
struct sample_format {
    uint32_t uSampleRate = 2822400; // Hz
    unsigned uChannels = 2;         // 1 to 6
    uint64_t uFrames = 0;           // a frame is one byte, eight samples, of every channel
    bool bCompressed = false;       // with DST
    bool bExtras = false;           // with start time and loudspeaker configuration
};

/** A number of uBytes bytes, the highest first. */
std::string BigEndian(uint64_t uValue, unsigned uBytes);

std::string ChunkHeader(const std::string &strId, uint64_t uSize);

/** A whole chunk, with a pad byte after data of odd size. */
std::string Chunk(const std::string &strId, const std::string &strData);

/** The form's data up to the sound: its type, the version and the properties. */
std::string SampleStart(const sample_format &format);
