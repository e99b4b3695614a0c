#include "encoders/UnicodeEncoders.h"

#include "encoders/Sse2.h"
#include "encoders/UTF8Loops.h"
#include "encoders/WordAtATime.h"

#include <cstring>

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

// Set bits of a 16-bit mask.
inline int32_t bitCount16(uint32_t m) {
    m = m - ((m >> 1) & 0x5555);
    m = (m & 0x3333) + ((m >> 2) & 0x3333);
    m = (m + (m >> 4)) & 0x0F0F;
    return static_cast<int32_t>((m + (m >> 8)) & 0x1F);
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
#if QUARN_ENCODERS_SSE2
    // Sixteen bytes at a time while every sequence is well formed: then the walk's lead positions are
    // exactly the bytes that are not continuation bytes. The first block that is not (or holds a byte
    // that cannot lead) is left to the byte-by-byte walk, from the walk's own position.
    uint32_t carried = 0; // bytes of the next block that the last sequence here covers, one bit each
    while (n - pos >= 16) {
        // Runs of plain ASCII, the common case, go 64 bytes at a time.
        while (!carried && n - pos >= 64) {
            const __m128i any = _mm_or_si128(_mm_or_si128(load16(s + pos), load16(s + pos + 16)),
                                             _mm_or_si128(load16(s + pos + 32), load16(s + pos + 48)));
            if (laneBits(any)) break;
            count += 64;
            pos += 64;
        }
        if (n - pos < 16) break;
        const __m128i v = load16(s + pos);
        const uint32_t high = laneBits(v);
        const uint32_t continuation = laneBits(bytesBelow(v, -64));
        const uint32_t lead2 = laneBits(bytesAbove(v, -65)) & high;
        const uint32_t lead3 = laneBits(bytesAbove(v, -33)) & high;
        const uint32_t lead4 = laneBits(bytesAbove(v, -17)) & high;
        const uint32_t refused = laneBits(bytesAbove(v, -9)) & high;
        const uint32_t covered = (lead2 << 1) | (lead3 << 2) | (lead4 << 3) | carried;
        if (refused || (covered & 0xFFFF) != continuation) break;
        count += 16 - bitCount16(continuation);
        carried = covered >> 16;
        pos += 16;
    }
    pos += bitCount16(carried);
#endif
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
    int64_t bytes = n;
    int32_t i = 0;
#if QUARN_ENCODERS_SSE2
    // Eight units at a time: one more byte from U+0080 on and another from U+0800 on. The 16-bit
    // lanes are compared as signed numbers after flipping their top bit, and counted in blocks short
    // enough that no lane can overflow.
    const __m128i flip = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i from80 = _mm_set1_epi16(static_cast<short>(0x7F ^ 0x8000));
    const __m128i from800 = _mm_set1_epi16(static_cast<short>(0x7FF ^ 0x8000));
    while (n - i >= 8) {
        __m128i extra = _mm_setzero_si128();
        for (int block = 0; block < 8192 && n - i >= 8; ++block, i += 8) {
            const __m128i v = _mm_xor_si128(load16(src + i), flip);
            extra = _mm_sub_epi16(extra, _mm_cmpgt_epi16(v, from80));
            extra = _mm_sub_epi16(extra, _mm_cmpgt_epi16(v, from800));
        }
        int32_t lanes[4];
        store16(lanes, _mm_madd_epi16(extra, _mm_set1_epi16(1)));
        bytes += int64_t(lanes[0]) + lanes[1] + lanes[2] + lanes[3];
    }
#endif
    for (; i < n; ++i)
        bytes += (src[i] >= 0x80) + (src[i] >= 0x800);
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

// Text alternates between runs of ASCII and runs of one non-ASCII script, so the portable loop does
// the same: an ASCII run is copied a word at a time with no branch per byte (the whole word is widened
// and only its ASCII prefix kept), and a non-ASCII run stays in a loop whose branches repeat from
// character to character. It works while a whole block of room is left on both sides and hands
// anything unusual to decodeOne; it returns Stop when decodeOne has ended the conversion.
Step decodePortable(const unsigned char*& s, const unsigned char* end, unsigned short*& d,
                    const unsigned short* dEnd, int16_t& result) {
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
            if (decodeOne(s, end, d, dEnd, result) == Step::Stop) return Step::Stop;
        }
    }
    return Step::Go;
}

// The same rule for units.
Step encodePortable(const unsigned short*& s, const unsigned short* end, unsigned char*& d,
                    const unsigned char* dEnd, int16_t& result) {
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
            if (encodeOne(s, end, d, dEnd, result) == Step::Stop) return Step::Stop;
        }
    }
    return Step::Go;
}

#if QUARN_ENCODERS_SSE2

// The classes of 16 bytes, one bit per byte. Flipping the high bit lets the signed compares of SSE2
// order the bytes as unsigned: 80..FF become 0..7F and ASCII goes below them all. Continuation
// bytes are the signed bytes below C0.
struct ByteClasses {
    uint32_t high;         // 80..FF
    uint32_t continuation; // 80..BF
    uint32_t lead2;        // C2..DF
    uint32_t lead3;        // E0..EF
    uint32_t other;        // C0, C1, F0..FF: four-byte sequences and errors, left to the rules
    uint32_t e0;           // E0, whose next byte must be A0..BF (lower, the value is below U+0800)
    uint32_t below0xA0;    // 00..9F
};

inline ByteClasses classify(__m128i v) {
    const __m128i flipped = _mm_xor_si128(v, _mm_set1_epi8(static_cast<char>(0x80)));
    const uint32_t fromC0 = laneBits(bytesAbove(flipped, 0x3F));
    const uint32_t fromC2 = laneBits(bytesAbove(flipped, 0x41));
    const uint32_t fromE0 = laneBits(bytesAbove(flipped, 0x5F));
    const uint32_t fromF0 = laneBits(bytesAbove(flipped, 0x6F));
    ByteClasses c;
    c.high = laneBits(v);
    c.continuation = laneBits(bytesBelow(v, -64));
    c.lead2 = fromC2 & ~fromE0;
    c.lead3 = fromE0 & ~fromF0;
    c.other = (fromC0 & ~fromC2) | fromF0;
    c.e0 = laneBits(_mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(0xE0))));
    c.below0xA0 = ~laneBits(bytesAbove(flipped, 0x1F)) & 0xFFFF;
    return c;
}

// Writes the units of the sequences that end in a well-formed window v, given the bytes one and two
// before each byte (from the window before where the first sequences began there), and only for
// the bytes marked in inside; returns the new end of the destination, which needs room for 16 units.
//
// A byte ends a sequence when it is ASCII or a continuation byte that does not follow a three-byte
// lead. The unit is computed at that byte as a byte for its low half and one for its high half:
// ASCII gives itself; otherwise the low half is the byte's 6 bits under the low 2 bits of the byte
// before, and the high half is the 3 other bits of a two-byte lead before, or 4 bits of the
// continuation byte before under 4 bits of the three-byte lead two before (SSE2 shifts 16-bit lanes
// only, and the masks drop the bits that cross between bytes). The units of the ends are then moved
// together within each half of the window: each moves down by the number of other bytes before it,
// in steps of 1, 2 and 4 lanes taken by the bits of that number. A unit never lands on one that
// stays, since those numbers grow along the window by less than the lanes between.
inline unsigned short* decodeEnds(__m128i v, __m128i prev1, __m128i prev2, __m128i inside,
                                  unsigned short* q) {
    const __m128i flip = _mm_set1_epi8(static_cast<char>(0x80));
    const __m128i ascii = _mm_cmpgt_epi8(v, _mm_set1_epi8(-1));
    const __m128i ends = _mm_and_si128(
        inside, _mm_or_si128(ascii, _mm_andnot_si128(bytesAbove(_mm_xor_si128(prev1, flip), 0x5F),
                                                     bytesBelow(v, -64))));
    const __m128i afterLead3 = bytesAbove(_mm_xor_si128(prev2, flip), 0x5F);
    const __m128i low = _mm_or_si128(_mm_and_si128(v, _mm_set1_epi8(0x3F)),
                                     _mm_and_si128(_mm_slli_epi16(prev1, 6), _mm_set1_epi8(-0x40)));
    const __m128i high =
        _mm_or_si128(_mm_and_si128(_mm_and_si128(_mm_slli_epi16(prev2, 4), _mm_set1_epi8(-0x10)), afterLead3),
                     _mm_and_si128(_mm_srli_epi16(prev1, 2), _mm_set1_epi8(0x0F)));
    __m128i lowHalf = _mm_and_si128(select(ascii, low, v), ends);
    __m128i highHalf = _mm_and_si128(_mm_andnot_si128(ascii, high), ends);
    // The number of bytes before each end, in its half, that end nothing.
    __m128i shift = _mm_slli_epi64(_mm_andnot_si128(ends, _mm_set1_epi8(1)), 8);
    shift = _mm_add_epi8(shift, _mm_slli_epi64(shift, 8));
    shift = _mm_add_epi8(shift, _mm_slli_epi64(shift, 16));
    shift = _mm_add_epi8(shift, _mm_slli_epi64(shift, 32));
    shift = _mm_and_si128(shift, ends);
    for (int k = 0; k < 3; ++k) {
        const __m128i bit = _mm_set1_epi8(static_cast<char>(1 << k));
        const __m128i moves = _mm_cmpeq_epi8(_mm_and_si128(shift, bit), bit);
        const int bits = 8 << k;
        lowHalf = _mm_or_si128(_mm_andnot_si128(moves, lowHalf),
                               _mm_srli_epi64(_mm_and_si128(moves, lowHalf), bits));
        highHalf = _mm_or_si128(_mm_andnot_si128(moves, highHalf),
                                _mm_srli_epi64(_mm_and_si128(moves, highHalf), bits));
        // Runs of bytes that end nothing are at most two long, so no unit has more than 5 of them
        // before it in its half: none that moves by 2 also moves by 4, and the counts need moving
        // once only.
        if (k == 0)
            shift = _mm_or_si128(_mm_andnot_si128(moves, shift),
                                 _mm_srli_epi64(_mm_and_si128(moves, shift), bits));
    }
    // The number of ends in each half, as two sums of 0/1 bytes.
    const __m128i counts = _mm_sad_epu8(_mm_and_si128(ends, _mm_set1_epi8(1)), _mm_setzero_si128());
    store16(q, _mm_unpacklo_epi8(lowHalf, highHalf));
    q += _mm_cvtsi128_si32(counts);
    store16(q, _mm_unpackhi_epi8(lowHalf, highHalf));
    return q + _mm_extract_epi16(counts, 4);
}

// One window of 16 bytes from a sequence boundary s, for the cases the main loop does not take: the
// window is cut before the first byte left alone and before a sequence that runs past it, and its
// sequences are taken when they check out. A well-formed four-byte sequence where the window
// stopped is decoded on its own; anything else goes through decodeOne up to where the window was to
// end (it meets the fault there). Needs 16 bytes of source and 16 units of room.
Step decodeWindow(const unsigned char*& s, const unsigned char* end, unsigned short*& d,
                  const unsigned short* dEnd, int16_t& result) {
    const __m128i v = load16(s);
    const ByteClasses c = classify(v);
    const uint32_t leads = c.lead2 | c.lead3;
    int32_t limit = c.other ? lowestBit(c.other) : 16;
    uint32_t inside = (1u << limit) - 1;
    uint32_t expected = (leads & inside) << 1 | (c.lead3 & inside) << 2;
    if (expected & ~inside) {
        limit = highestBit(leads & inside);
        inside = (1u << limit) - 1;
        expected = (leads & inside) << 1 | (c.lead3 & inside) << 2;
    }
    const bool taken =
        limit > 0 && (c.continuation & inside) == expected && (c.e0 << 1 & c.below0xA0 & inside) == 0;
    if (taken) {
        const __m128i insideLanes =
            _mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(limit)),
                           _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
        d = decodeEnds(v, _mm_slli_si128(v, 1), _mm_slli_si128(v, 2), insideLanes, d);
        s += limit;
    }
    // A four-byte sequence, as emoji are, where the window stopped (at its start, or after the part
    // taken): decoded here when it is well formed and fits.
    if ((taken ? c.other >> limit & 1 : limit == 0) && end - s >= 4 && dEnd - d >= 2 && s[0] - 0xF0u < 5 &&
        isContinuation(s[1]) && isContinuation(s[2]) && isContinuation(s[3])) {
        const uint32_t v4 =
            (s[0] & 0x07u) << 18 | (s[1] & 0x3Fu) << 12 | (s[2] & 0x3Fu) << 6 | (s[3] & 0x3Fu);
        if (v4 - 0x10000 < 0x100000) {
            d[0] = static_cast<unsigned short>(0xD800 + ((v4 - 0x10000) >> 10));
            d[1] = static_cast<unsigned short>(0xDC00 + (v4 & 0x3FF));
            s += 4;
            d += 2;
            return Step::Go;
        }
    }
    if (taken) return Step::Go;
    const unsigned char* stop = s + (limit == 0 ? 1 : limit);
    do {
        if (decodeOne(s, end, d, dEnd, result) == Step::Stop) return Step::Stop;
    } while (s < stop && s < end && d < dEnd);
    return Step::Go;
}

// Sixteen bytes at a time, at a fixed stride so that the next load never waits for this window's
// work: a window is taken whole when its continuation bytes are exactly those that its leads, and
// the leads at the end of the window before, call for, and it holds only ASCII and two- and
// three-byte sequences. Each sequence's unit is computed at its last byte, from that byte and the
// two before it (taken from the window before where needed), and the units of the bytes that end a
// sequence are packed together. A window that does not check out goes back to the start of the
// sequence it continues and through decodeWindow. Only sequences that decodeOne would take without
// a word are taken here, so the results cannot differ.
Step decodeVector(const unsigned char*& s, const unsigned char* end, unsigned short*& d,
                  const unsigned short* dEnd, int16_t& result) {
    const __m128i zero = _mm_setzero_si128();
    // Kept in registers; s and d are written only around the slow path and at the end.
    const unsigned char* p = s;
    unsigned short* q = d;
    __m128i previous = zero;
    // Bits 0 and 1: the continuation bytes that the last sequence of the window before calls for
    // here; bit 2: that window ended with E0. pending: the bytes of that unfinished sequence.
    uint32_t carried = 0;
    int32_t pending = 0;
    while (end - p >= 16 && dEnd - q >= 16) {
        const __m128i v = load16(p);
        if ((laneBits(v) | carried) == 0) {
            store16(q, _mm_unpacklo_epi8(v, zero));
            store16(q + 8, _mm_unpackhi_epi8(v, zero));
            previous = v;
            p += 16;
            q += 16;
            continue;
        }
        const ByteClasses c = classify(v);
        const uint32_t leads = c.lead2 | c.lead3;
        const uint32_t expected = (carried & 3) | leads << 1 | c.lead3 << 2;
        const uint32_t overlong = (c.e0 << 1 | carried >> 2) & c.below0xA0;
        if ((((c.continuation ^ expected) | overlong) & 0xFFFF) | c.other) {
            s = p - pending;
            d = q;
            if (decodeWindow(s, end, d, dEnd, result) == Step::Stop) return Step::Stop;
            p = s;
            q = d;
            previous = zero;
            carried = 0;
            pending = 0;
            continue;
        }
        q = decodeEnds(v, _mm_or_si128(_mm_slli_si128(v, 1), _mm_srli_si128(previous, 15)),
                       _mm_or_si128(_mm_slli_si128(v, 2), _mm_srli_si128(previous, 14)), _mm_set1_epi8(-1),
                       q);
        carried = expected >> 16 | (c.e0 >> 15) << 2;
        pending = leads >> 15 ? 1 : (c.lead3 >> 14 & 1) ? 2 : 0;
        previous = v;
        p += 16;
    }
    s = p - pending;
    d = q;
    return Step::Go;
}

// Eight units at a time: the bytes of each unit's UTF-8 form are computed in 16-bit lanes by its
// class (below U+0080, below U+0800, the other units of the basic plane), put together as one
// 32-bit form per unit with its length, and the forms are written one after another, four bytes
// each time with the next form overwriting the spare ones. Surrogates go through encodeOne. A block
// needs 8 * 3 bytes of room plus the spare byte of the last store; the loop keeps 32.
Step encodeVector(const unsigned short*& s, const unsigned short* end, unsigned char*& d,
                  const unsigned char* dEnd, int16_t& result) {
    const __m128i zero = _mm_setzero_si128();
    // Kept in registers; s and d are written only around encodeOne and at the end.
    const unsigned short* p = s;
    unsigned char* q = d;
    while (end - p >= 8 && dEnd - q >= 32) {
        const __m128i v = load16(p);
        const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(-0x80)), zero);
        if (laneBits(ascii) == 0xFFFF) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(q), _mm_packus_epi16(v, v));
            p += 8;
            q += 8;
            continue;
        }
        const uint32_t surrogate =
            laneBits(_mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(-0x800)), _mm_set1_epi16(-0x2800)));
        const int32_t count = surrogate ? lowestBit(surrogate) / 2 : 8;
        const __m128i below800 = _mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(-0x800)), zero);
        const __m128i low6 = _mm_or_si128(_mm_and_si128(v, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
        const __m128i mid6 =
            _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 6), _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
        const __m128i lead =
            select(ascii,
                   select(below800, _mm_or_si128(_mm_srli_epi16(v, 12), _mm_set1_epi16(0xE0)),
                          _mm_or_si128(_mm_srli_epi16(v, 6), _mm_set1_epi16(0xC0))),
                   v);
        const __m128i firstTwo = _mm_or_si128(lead, _mm_slli_epi16(select(below800, mid6, low6), 8));
        alignas(16) uint32_t form[8];
        alignas(16) unsigned short length[8];
        store16(form, _mm_unpacklo_epi16(firstTwo, low6));
        store16(form + 4, _mm_unpackhi_epi16(firstTwo, low6));
        store16(length, _mm_add_epi16(_mm_add_epi16(_mm_set1_epi16(3), ascii), below800));
        for (int32_t k = 0; k < count; ++k) {
            std::memcpy(q, form + k, 4);
            q += length[k];
        }
        p += count;
        if (count < 8) {
            s = p;
            d = q;
            if (encodeOne(s, end, d, dEnd, result) == Step::Stop) return Step::Stop;
            p = s;
            q = d;
        }
    }
    s = p;
    d = q;
    return Step::Go;
}

#endif

} // namespace

namespace encoders {

// Stops at the first bad sequence after writing U+FFFD for it (ErrConversion), and before a sequence
// that the source cuts short or whose pair does not fit (ErrPartialMultibyte). The bulk loops work
// while a block of room is left on both sides; the rest goes through decodeOne. The destination
// beyond the units reported may have been written as scratch.
int16_t decodeUtf8(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen, Loops loops) {
    const unsigned char* const begin = reinterpret_cast<const unsigned char*>(src);
    const unsigned char* const end = begin + atLeastZero(srcLen);
    unsigned short* const dEnd = dst + atLeastZero(dstLen);
    const unsigned char* s = begin;
    unsigned short* d = dst;
    int16_t result = ErrNone;
#if QUARN_ENCODERS_SSE2
    Step step = loops == Loops::Vector ? decodeVector(s, end, d, dEnd, result)
                                       : decodePortable(s, end, d, dEnd, result);
#else
    (void)loops;
    Step step = decodePortable(s, end, d, dEnd, result);
#endif
    while (step == Step::Go && s < end && d < dEnd)
        step = decodeOne(s, end, d, dEnd, result);
    srcLen = int32_t(s - begin);
    dstLen = int32_t(d - dst);
    return result;
}

// A character that does not fit stops the conversion with result 0: the caller sees the source not
// fully consumed and continues with a fresh destination. Characters from U+40000 up are refused
// (ErrConversion) as they always have been. Like decoding, the bulk loops may write scratch bytes past
// those reported.
int16_t encodeUtf8(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen, Loops loops) {
    const unsigned short* const end = src + atLeastZero(srcLen);
    unsigned char* const begin = reinterpret_cast<unsigned char*>(dst);
    unsigned char* const dEnd = begin + atLeastZero(dstLen);
    const unsigned short* s = src;
    unsigned char* d = begin;
    int16_t result = ErrNone;
#if QUARN_ENCODERS_SSE2
    Step step = loops == Loops::Vector ? encodeVector(s, end, d, dEnd, result)
                                       : encodePortable(s, end, d, dEnd, result);
#else
    (void)loops;
    Step step = encodePortable(s, end, d, dEnd, result);
#endif
    while (step == Step::Go && s < end)
        step = encodeOne(s, end, d, dEnd, result);
    srcLen = int32_t(s - src);
    dstLen = int32_t(d - begin);
    return result;
}

} // namespace encoders

int16_t UTF8Encoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                               bool) const {
    return decodeUtf8(src, srcLen, dst, dstLen, kBestLoops);
}

int16_t UTF8Encoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                            bool) const {
    return encodeUtf8(src, srcLen, dst, dstLen, kBestLoops);
}

} // namespace Quarn
