// The one place that decides whether the bulk conversions may use SSE2 vectors. SSE2 is part of every
// x86-64 target (and of 32-bit builds that ask for it), so no run-time test is needed; every other
// target compiles the portable loops only, and so does a build with QUARN_ENCODERS_NO_VECTORS
// defined, which is how the portable-only build is checked on x86-64. Code that uses the helpers
// below sits inside #if QUARN_ENCODERS_SSE2 and always has a portable twin that the tests run too.
#ifndef QUARN_ENCODERS_SSE2_H
#define QUARN_ENCODERS_SSE2_H

#if defined(QUARN_ENCODERS_NO_VECTORS)
#define QUARN_ENCODERS_SSE2 0
#elif defined(__SSE2__) || defined(_M_X64) || defined(_M_AMD64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define QUARN_ENCODERS_SSE2 1
#else
#define QUARN_ENCODERS_SSE2 0
#endif

#if QUARN_ENCODERS_SSE2
#include <emmintrin.h>
#endif

#include <cstdint>

namespace Quarn {
namespace encoders {

// Which loops a bulk conversion runs. The encoders take the fastest the build has; the tests run each
// against a plain reference, so the portable loops stay proven on x86-64 too.
enum class Loops { Portable, Vector };

constexpr bool kVectorLoopsBuilt = QUARN_ENCODERS_SSE2 != 0;
constexpr Loops kBestLoops = kVectorLoopsBuilt ? Loops::Vector : Loops::Portable;

#if QUARN_ENCODERS_SSE2

// Unaligned loads and stores: source and destination may sit anywhere.
inline __m128i load16(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

inline void store16(void* p, __m128i v) {
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

// One bit per byte lane, from the lane's high bit.
inline uint32_t laneBits(__m128i v) {
    return static_cast<uint32_t>(_mm_movemask_epi8(v));
}

// Bytes compared as signed numbers: 0x80..0xFF are -128..-1, which is how the UTF-8 classes are
// told apart with the signed compares SSE2 has.
inline __m128i bytesBelow(__m128i v, int threshold) {
    return _mm_cmplt_epi8(v, _mm_set1_epi8(static_cast<char>(threshold)));
}

inline __m128i bytesAbove(__m128i v, int threshold) {
    return _mm_cmpgt_epi8(v, _mm_set1_epi8(static_cast<char>(threshold)));
}

// b where mask is set, a elsewhere.
inline __m128i select(__m128i mask, __m128i a, __m128i b) {
    return _mm_or_si128(_mm_andnot_si128(mask, a), _mm_and_si128(mask, b));
}

#endif

// The positions of the lowest and the highest set bit of a lane mask (not 0).
inline int32_t lowestBit(uint32_t bits) {
#if defined(__GNUC__)
    return __builtin_ctz(bits);
#else
    int32_t n = 0;
    while (!(bits >> n & 1))
        ++n;
    return n;
#endif
}

inline int32_t highestBit(uint32_t bits) {
#if defined(__GNUC__)
    return 31 - __builtin_clz(bits);
#else
    int32_t n = 31;
    while (!(bits >> n & 1))
        --n;
    return n;
#endif
}

} // namespace encoders
} // namespace Quarn

#endif
