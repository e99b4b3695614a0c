#include "encoders/UnicodeEncoders.h"

#include "encoders/WordAtATime.h"

namespace Quarn {

using namespace encoders;

namespace {

constexpr unsigned short kReplacement = 0xFFFD;

inline bool isContinuation(uint32_t b) {
    return (b & 0xC0) == 0x80;
}

// Length of the sequence a byte leads, by its high bits, up to the old six-byte forms; 0 for a byte
// that cannot lead (a continuation byte, FE, FF).
inline int32_t leadLength(uint32_t b) {
    if (b < 0x80) return 1;
    if (b < 0xC0) return 0;
    if (b < 0xE0) return 2;
    if (b < 0xF0) return 3;
    if (b < 0xF8) return 4;
    if (b < 0xFC) return 5;
    if (b < 0xFE) return 6;
    return 0;
}

} // namespace

const unsigned short* UTF8Encoder::getNames() const {
    return reinterpret_cast<const unsigned short*>(
        u"UTF-8,UTF8,UNICODE-1-1-UTF-8,UNICODE-2-0-UTF-8,X-UNICODE-2-0-UTF-8");
}

// Counts sequences by their lead bytes without looking at the continuation bytes, so a four-byte
// sequence counts one unit though it decodes to a pair, and a truncated last sequence still counts.
// Five- and six-byte leads are refused here although decoding would replace them.
int16_t UTF8Encoder::getUnicodeLength(const char* src, int32_t len, int32_t& out) const {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
    const int64_t n = atLeastZero(len);
    int64_t pos = 0;
    int32_t count = 0;
    while (pos < n) {
        if (n - pos >= kByteBlock && asciiBytes(s + pos)) {
            count += kByteBlock;
            pos += kByteBlock;
            continue;
        }
        const int64_t stop = pos + kByteBlock < n ? pos + kByteBlock : n;
        while (pos < stop) {
            int32_t step = leadLength(s[pos]);
            if (step == 0 || step > 4) {
                out = -1;
                return ErrConversion;
            }
            ++count;
            pos += step;
        }
    }
    out = count;
    return ErrNone;
}

// Three bytes for every unit from U+0800 up, surrogates included: a pair is counted 6 for its 4
// bytes, so the figure is an upper bound for text with characters above U+FFFF.
int16_t UTF8Encoder::getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const {
    const int32_t n = atLeastZero(len);
    int64_t bytes = 0;
    for (int32_t i = 0; i < n; ++i)
        bytes += 1 + (src[i] >= 0x80) + (src[i] >= 0x800);
    out = bytes > INT32_MAX ? -1 : int32_t(bytes);
    return ErrNone;
}

// Stops at the first bad sequence after writing U+FFFD for it (ErrConversion), and before a
// sequence that the source cuts short or whose pair does not fit (ErrPartialMultibyte).
int16_t UTF8Encoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                               bool) const {
    const unsigned char* const begin = reinterpret_cast<const unsigned char*>(src);
    const unsigned char* const end = begin + atLeastZero(srcLen);
    unsigned short* const dEnd = dst + atLeastZero(dstLen);
    const unsigned char* s = begin;
    unsigned short* d = dst;
    int16_t result = ErrNone;
    while (s < end && d < dEnd) {
        const uint32_t b0 = *s;
        if (b0 < 0x80) {
            while (end - s >= kByteBlock && dEnd - d >= kByteBlock && asciiBytes(s)) {
                widenBlock(s, d);
                s += kByteBlock;
                d += kByteBlock;
            }
            while (s < end && d < dEnd && *s < 0x80)
                *d++ = *s++;
            continue;
        }
        // Well-formed two- and three-byte characters, the bulk of non-ASCII text, go straight through.
        if (b0 >= 0xC2 && b0 < 0xE0 && end - s >= 2 && isContinuation(s[1])) {
            *d++ = static_cast<unsigned short>((b0 & 0x1F) << 6 | (s[1] & 0x3F));
            s += 2;
            continue;
        }
        if ((b0 & 0xF0) == 0xE0 && end - s >= 3 && isContinuation(s[1]) && isContinuation(s[2])) {
            uint32_t v = (b0 & 0x0F) << 12 | (s[1] & 0x3Fu) << 6 | (s[2] & 0x3Fu);
            if (v >= 0x800) {
                *d++ = static_cast<unsigned short>(v);
                s += 3;
                continue;
            }
        }

        const int32_t length = leadLength(b0);
        if (length == 0) {
            *d++ = kReplacement;
            ++s;
            result = ErrConversion;
            break;
        }
        if (end - s < length) {
            result = ErrPartialMultibyte;
            break;
        }
        static constexpr uint32_t kLeadMask[7] = {0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
        static constexpr uint32_t kLeast[7] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x200000};
        uint32_t v = b0 & kLeadMask[length];
        bool bad = false;
        for (int32_t k = 1; k < length; ++k) {
            bad |= !isContinuation(s[k]);
            v = v << 6 | (s[k] & 0x3Fu);
        }
        if (bad || v >= 0x110000 || v < kLeast[length]) {
            // The bad sequence is consumed whole, continuation bytes or not.
            *d++ = kReplacement;
            s += length;
            result = ErrConversion;
            break;
        }
        if (v >= 0x10000) {
            if (dEnd - d < 2) {
                result = ErrPartialMultibyte;
                break;
            }
            v -= 0x10000;
            *d++ = static_cast<unsigned short>(0xD800 + (v >> 10));
            *d++ = static_cast<unsigned short>(0xDC00 + (v & 0x3FF));
        } else {
            // Encoded surrogates (ED A0 80 and the like) pass as the units they name.
            *d++ = static_cast<unsigned short>(v);
        }
        s += length;
    }
    srcLen = int32_t(s - begin);
    dstLen = int32_t(d - dst);
    return result;
}

// A character that does not fit stops the conversion with result 0: the caller sees the source not
// fully consumed and continues with a fresh destination. Characters from U+40000 up are refused
// (ErrConversion) as they always have been.
int16_t UTF8Encoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                            bool) const {
    const unsigned short* const end = src + atLeastZero(srcLen);
    unsigned char* const begin = reinterpret_cast<unsigned char*>(dst);
    unsigned char* const dEnd = begin + atLeastZero(dstLen);
    const unsigned short* s = src;
    unsigned char* d = begin;
    int16_t result = ErrNone;
    while (s < end) {
        const uint32_t u = *s;
        if (u < 0x80) {
            if (d == dEnd) break;
            while (end - s >= kUnitBlock && dEnd - d >= kUnitBlock && asciiUnits(s)) {
                narrowBlock(s, d);
                s += kUnitBlock;
                d += kUnitBlock;
            }
            while (s < end && d < dEnd && *s < 0x80)
                *d++ = static_cast<unsigned char>(*s++);
            continue;
        }
        if (u < 0x800) {
            if (dEnd - d < 2) break;
            d[0] = static_cast<unsigned char>(0xC0 | u >> 6);
            d[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
            d += 2;
            ++s;
            continue;
        }
        if (u - 0xD800 >= 0x800) {
            if (dEnd - d < 3) break;
            d[0] = static_cast<unsigned char>(0xE0 | u >> 12);
            d[1] = static_cast<unsigned char>(0x80 | (u >> 6 & 0x3F));
            d[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
            d += 3;
            ++s;
            continue;
        }
        if (u >= 0xDC00) {
            result = ErrConversion;
            break;
        }
        if (end - s < 2) {
            result = ErrPartialMultibyte;
            break;
        }
        const uint32_t low = s[1];
        if (low - 0xDC00 >= 0x400) {
            result = ErrConversion;
            break;
        }
        const uint32_t v = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
        if (dEnd - d < (v < 0x40000 ? 4 : 5)) break;
        if (v >= 0x40000) {
            result = ErrConversion;
            break;
        }
        d[0] = static_cast<unsigned char>(0xF0 | v >> 18);
        d[1] = static_cast<unsigned char>(0x80 | (v >> 12 & 0x3F));
        d[2] = static_cast<unsigned char>(0x80 | (v >> 6 & 0x3F));
        d[3] = static_cast<unsigned char>(0x80 | (v & 0x3F));
        d += 4;
        s += 2;
    }
    srcLen = int32_t(s - src);
    dstLen = int32_t(d - begin);
    return result;
}

} // namespace Quarn
