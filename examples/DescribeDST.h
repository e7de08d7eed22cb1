#pragma once

#include "examples/clDSTEncoder.h"

#include <cstdint>
#include <vector>

/**
 * Describes a frame that compresses the sound: one filter and one table per channel, made by linear
 * prediction and from the errors that it leaves.
 *
 * @param aSound one frame of the encoder
 * @param uOrder coefficients of each filter, 1 to 128; more compress better
 */
dst_frame DescribeDST(const clDSTEncoder &encoder, const std::vector<uint8_t> &aSound,
                      unsigned uOrder = 128);

/** The shortest way to write a list; sets how and leaves the entries. */
void ChooseCoding(dst_list &list, dst_kind_t eKind);

/** A frame of the encoder compressed in this way, or plain where that is not longer. */
std::vector<uint8_t> CompressDST(const clDSTEncoder &encoder, const std::vector<uint8_t> &aSound);
