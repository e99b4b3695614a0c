// The bulk conversions behind UTF8Encoder::toUnicode and toMBCS, with the choice of loops left to the
// caller: the encoder passes kBestLoops, and the tests pass each kind in turn so that the portable
// loops, which other targets run, are held to the same results as the vector loops.
#ifndef QUARN_ENCODERS_UTF8LOOPS_H
#define QUARN_ENCODERS_UTF8LOOPS_H

#include "encoders/Sse2.h"

#include <cstdint>

namespace Quarn {
namespace encoders {

int16_t decodeUtf8(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen, Loops loops);
int16_t encodeUtf8(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen, Loops loops);

} // namespace encoders
} // namespace Quarn

#endif
