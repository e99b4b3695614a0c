// Word-at-a-time helpers shared by the bulk conversions: most text is ASCII, and testing eight bytes
// (or four units) per load, then widening or narrowing a whole block in a loop the compiler turns
// into vector code, is what makes a file read cheap. Plain C++, no intrinsics.
#ifndef QUARN_ENCODERS_WORDATATIME_H
#define QUARN_ENCODERS_WORDATATIME_H

#include <cstdint>
#include <cstring>

namespace Quarn {
namespace encoders {

#if defined(__BYTE_ORDER__) && defined(__ORDER_LITTLE_ENDIAN__)
constexpr bool kHostLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
#elif defined(_WIN32)
constexpr bool kHostLittleEndian = true;
#else
#error "cannot tell the byte order of this platform"
#endif

// Bytes or units per block of the fast paths.
constexpr int32_t kByteBlock = 16;
constexpr int32_t kUnitBlock = 8;

inline uint64_t loadWord(const void* p) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

// Whether 16 bytes are all below 0x80.
inline bool asciiBytes(const unsigned char* s) {
    return ((loadWord(s) | loadWord(s + 8)) & 0x8080808080808080u) == 0;
}

// Whether 8 units are all below 0x80 (the mask tests every 16-bit lane, whatever the byte order).
inline bool asciiUnits(const unsigned short* s) {
    return ((loadWord(s) | loadWord(s + 4)) & 0xFF80FF80FF80FF80u) == 0;
}

// The number of bytes in memory order before the first one whose high bit is set, given the high
// bits of a loaded word (not 0).
inline int32_t asciiPrefix(uint64_t highBits) {
#if defined(__GNUC__)
    if (kHostLittleEndian) return __builtin_ctzll(highBits) >> 3;
    return __builtin_clzll(highBits) >> 3;
#else
    int32_t n = 0;
    const int shift0 = kHostLittleEndian ? 7 : 63;
    const int step = kHostLittleEndian ? 8 : -8;
    while (!(highBits >> (shift0 + step * n) & 1))
        ++n;
    return n;
#endif
}

// The same for units: the number of units before the first one from U+0080 up, given the loaded
// word masked with 0xFF80 per unit (not 0).
inline int32_t asciiUnitPrefix(uint64_t highBits) {
#if defined(__GNUC__)
    if (kHostLittleEndian) return __builtin_ctzll(highBits) >> 4;
    return __builtin_clzll(highBits) >> 4;
#else
    int32_t n = 0;
    const int shift0 = kHostLittleEndian ? 0 : 48;
    const int step = kHostLittleEndian ? 16 : -16;
    while (!(highBits >> (shift0 + step * n) & 0xFFFF))
        ++n;
    return n;
#endif
}

inline void widenBlock(const unsigned char* s, unsigned short* d) {
    for (int k = 0; k < kByteBlock; ++k)
        d[k] = s[k];
}

inline void narrowBlock(const unsigned short* s, unsigned char* d) {
    for (int k = 0; k < kUnitBlock; ++k)
        d[k] = static_cast<unsigned char>(s[k]);
}

inline int32_t atLeastZero(int32_t n) {
    return n < 0 ? 0 : n;
}

inline int32_t smaller(int32_t a, int32_t b) {
    return a < b ? a : b;
}

} // namespace encoders
} // namespace Quarn

#endif
