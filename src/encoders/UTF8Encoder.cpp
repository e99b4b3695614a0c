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

namespace {

enum class Step { Go, Stop };

// One sequence by the rules, whatever it holds; the fast loops hand over everything unusual.
Step decodeOne(const unsigned char*& s, const unsigned char* end, unsigned short*& d,
               const unsigned short* dEnd, int16_t& result) {
    const uint32_t b0 = *s;
    if (b0 < 0x80) {
        *d++ = static_cast<unsigned short>(b0);
        ++s;
        return Step::Go;
    }
    const int32_t length = leadLength(b0);
    if (length == 0) {
        *d++ = kReplacement;
        ++s;
        result = ErrConversion;
        return Step::Stop;
    }
    if (end - s < length) {
        result = ErrPartialMultibyte;
        return Step::Stop;
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
        return Step::Stop;
    }
    if (v >= 0x10000) {
        if (dEnd - d < 2) {
            result = ErrPartialMultibyte;
            return Step::Stop;
        }
        v -= 0x10000;
        *d++ = static_cast<unsigned short>(0xD800 + (v >> 10));
        *d++ = static_cast<unsigned short>(0xDC00 + (v & 0x3FF));
    } else {
        // Encoded surrogates (ED A0 80 and the like) pass as the units they name.
        *d++ = static_cast<unsigned short>(v);
    }
    s += length;
    return Step::Go;
}

// One unit (or pair) by the rules. A character that does not fit stops with result 0.
Step encodeOne(const unsigned short*& s, const unsigned short* end, unsigned char*& d,
               const unsigned char* dEnd, int16_t& result) {
    const uint32_t u = *s;
    if (u < 0x80) {
        if (d == dEnd) return Step::Stop;
        *d++ = static_cast<unsigned char>(u);
        ++s;
        return Step::Go;
    }
    if (u < 0x800) {
        if (dEnd - d < 2) return Step::Stop;
        d[0] = static_cast<unsigned char>(0xC0 | u >> 6);
        d[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
        d += 2;
        ++s;
        return Step::Go;
    }
    if (u - 0xD800 >= 0x800) {
        if (dEnd - d < 3) return Step::Stop;
        d[0] = static_cast<unsigned char>(0xE0 | u >> 12);
        d[1] = static_cast<unsigned char>(0x80 | (u >> 6 & 0x3F));
        d[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
        d += 3;
        ++s;
        return Step::Go;
    }
    if (u >= 0xDC00) {
        result = ErrConversion;
        return Step::Stop;
    }
    if (end - s < 2) {
        result = ErrPartialMultibyte;
        return Step::Stop;
    }
    const uint32_t low = s[1];
    if (low - 0xDC00 >= 0x400) {
        result = ErrConversion;
        return Step::Stop;
    }
    const uint32_t v = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
    // The room is looked at before the limit: a five-byte length that does not fit is a normal stop.
    if (dEnd - d < (v < 0x40000 ? 4 : 5)) return Step::Stop;
    if (v >= 0x40000) {
        result = ErrConversion;
        return Step::Stop;
    }
    d[0] = static_cast<unsigned char>(0xF0 | v >> 18);
    d[1] = static_cast<unsigned char>(0x80 | (v >> 12 & 0x3F));
    d[2] = static_cast<unsigned char>(0x80 | (v >> 6 & 0x3F));
    d[3] = static_cast<unsigned char>(0x80 | (v & 0x3F));
    d += 4;
    s += 2;
    return Step::Go;
}

} // namespace

// Stops at the first bad sequence after writing U+FFFD for it (ErrConversion), and before a
// sequence that the source cuts short or whose pair does not fit (ErrPartialMultibyte).
//
// Text alternates between runs of ASCII and runs of one non-ASCII script, so the loop does the
// same: an ASCII run is copied a word at a time with no branch per byte (the whole word is widened
// and only its ASCII prefix kept), and a non-ASCII run stays in a loop whose branches repeat from
// character to character. The loops work while a whole word of room is left on both sides; the
// rest, and anything unusual, goes through decodeOne. The destination beyond the units reported
// may have been written as scratch.
int16_t UTF8Encoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                               bool) const {
    const unsigned char* const begin = reinterpret_cast<const unsigned char*>(src);
    const unsigned char* const end = begin + atLeastZero(srcLen);
    unsigned short* const dEnd = dst + atLeastZero(dstLen);
    const unsigned char* s = begin;
    unsigned short* d = dst;
    int16_t result = ErrNone;
    while (end - s >= kByteBlock && dEnd - d >= kByteBlock) {
        const uint64_t high0 = loadWord(s) & 0x8080808080808080u;
        const uint64_t high1 = loadWord(s + 8) & 0x8080808080808080u;
        widenBlock(s, d);
        if ((high0 | high1) == 0) {
            s += kByteBlock;
            d += kByteBlock;
            continue;
        }
        const int32_t ascii = high0 ? asciiPrefix(high0) : 8 + asciiPrefix(high1);
        s += ascii;
        d += ascii;
        while (end - s >= 4 && dEnd - d >= 2) {
            const uint32_t b0 = s[0], b1 = s[1];
            if (b0 < 0x80) {
                // A lone blank or stop between words of the run stays here; more ASCII leaves.
                if (b1 < 0x80) break;
                *d++ = static_cast<unsigned short>(b0);
                ++s;
                continue;
            }
            if (b0 - 0xC2 < 0x1E && isContinuation(b1)) {
                *d++ = static_cast<unsigned short>((b0 & 0x1F) << 6 | (b1 & 0x3F));
                s += 2;
                continue;
            }
            const uint32_t b2 = s[2];
            if ((b0 & 0xF0) == 0xE0 && isContinuation(b1) && isContinuation(b2)) {
                const uint32_t v = (b0 & 0x0F) << 12 | (b1 & 0x3F) << 6 | (b2 & 0x3F);
                if (v >= 0x800) {
                    *d++ = static_cast<unsigned short>(v);
                    s += 3;
                    continue;
                }
            }
            if (decodeOne(s, end, d, dEnd, result) == Step::Stop) goto done;
        }
        if (end - s < kByteBlock || dEnd - d < kByteBlock) break;
    }
    while (s < end && d < dEnd)
        if (decodeOne(s, end, d, dEnd, result) == Step::Stop) break;
done:
    srcLen = int32_t(s - begin);
    dstLen = int32_t(d - dst);
    return result;
}

// A character that does not fit stops the conversion with result 0: the caller sees the source not
// fully consumed and continues with a fresh destination. Characters from U+40000 up are refused
// (ErrConversion) as they always have been. Like decoding, the loops work a word at a time and may
// write scratch bytes past those reported.
int16_t UTF8Encoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                            bool) const {
    const unsigned short* const end = src + atLeastZero(srcLen);
    unsigned char* const begin = reinterpret_cast<unsigned char*>(dst);
    unsigned char* const dEnd = begin + atLeastZero(dstLen);
    const unsigned short* s = src;
    unsigned char* d = begin;
    int16_t result = ErrNone;
    // ASCII runs eight units at a time (all eight narrowed, the ASCII prefix kept), and runs of other
    // characters in a loop of their own that a lone blank does not leave; both while a word of room
    // is left. encodeOne does the rest.
    while (end - s >= kUnitBlock && dEnd - d >= kUnitBlock) {
        const uint64_t high0 = loadWord(s) & 0xFF80FF80FF80FF80u;
        const uint64_t high1 = loadWord(s + 4) & 0xFF80FF80FF80FF80u;
        narrowBlock(s, d);
        if ((high0 | high1) == 0) {
            s += kUnitBlock;
            d += kUnitBlock;
            continue;
        }
        const int32_t ascii = high0 ? asciiUnitPrefix(high0) : 4 + asciiUnitPrefix(high1);
        s += ascii;
        d += ascii;
        while (end - s >= 2 && dEnd - d >= 4) {
            const uint32_t u = s[0];
            if (u < 0x80) {
                if (s[1] < 0x80) break;
                *d++ = static_cast<unsigned char>(u);
                ++s;
                continue;
            }
            if (u < 0x800) {
                d[0] = static_cast<unsigned char>(0xC0 | u >> 6);
                d[1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
                d += 2;
                ++s;
                continue;
            }
            if (u - 0xD800 >= 0x800) {
                d[0] = static_cast<unsigned char>(0xE0 | u >> 12);
                d[1] = static_cast<unsigned char>(0x80 | (u >> 6 & 0x3F));
                d[2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
                d += 3;
                ++s;
                continue;
            }
            if (encodeOne(s, end, d, dEnd, result) == Step::Stop) goto done;
        }
        if (end - s < kUnitBlock || dEnd - d < kUnitBlock) break;
    }
    while (s < end)
        if (encodeOne(s, end, d, dEnd, result) == Step::Stop) break;
done:
    srcLen = int32_t(s - src);
    dstLen = int32_t(d - begin);
    return result;
}

} // namespace Quarn
