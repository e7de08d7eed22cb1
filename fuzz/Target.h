#pragma once

#include <cstddef>
#include <cstdint>

/** The entry that a fuzzing engine, or Replay.cpp, calls with each input. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pData, size_t sizeData);
