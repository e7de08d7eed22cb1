#pragma once

#include <cstdint>

/** Constants of the one-bit signal that all readers and the decoder share. */
namespace Signal
{

/** One-bit samples of one channel in a byte. */
constexpr uint32_t SAMPLES_PER_BYTE = 8;

/** One-bit samples for each decoded one: the first filter stage divides the rate by 8, the second
 * by 2. */
constexpr uint32_t DECIMATION = 16;

/** Bytes of one channel for each decoded sample. */
constexpr uint32_t BYTES_PER_DECODED = DECIMATION / SAMPLES_PER_BYTE;

/** Channels that can be decoded; also the places of the 5.1 frame. DSF has no channel type for
 * more. */
constexpr uint32_t MAX_CHANNELS = 6;

/** The rate in Hz that is assumed where a file names none: 64 times that of a compact disc. */
constexpr uint32_t DEFAULT_RATE = 2822400;

/** The byte that DSDIFF names for silence: four ones and four zeros, without low frequencies. The
 * earliest sample is in the highest bit. */
constexpr uint8_t IDLE = 0x96;

} // namespace Signal
