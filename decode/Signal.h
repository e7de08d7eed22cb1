#pragma once

#include <cstdint>

/** Constants of the one-bit signal. */
namespace Signal
{

constexpr uint32_t SAMPLES_PER_BYTE = 8; ///< of one channel

/** One-bit samples per decoded one: the filter stages divide by 8 and by 2. */
constexpr uint32_t DECIMATION = 16;

/** Bytes of one channel per decoded sample. */
constexpr uint32_t BYTES_PER_DECODED = DECIMATION / SAMPLES_PER_BYTE;

constexpr uint32_t MAX_CHANNELS = 6; ///< that can be decoded; also the places of the 5.1 frame

/** Hz, where a file names none: 64 times that of a compact disc. */
constexpr uint32_t DEFAULT_RATE = 2822400;

/** The byte for silence: four ones and four zeros, without low frequencies. */
constexpr uint8_t IDLE = 0x96;

} // namespace Signal
