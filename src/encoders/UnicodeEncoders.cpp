#include "encoders/UnicodeEncoders.h"

#include "encoders/WordAtATime.h"

namespace Quarn {

using namespace encoders;

namespace {

const unsigned short* units(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

// A byte count that does not fit the 32-bit out value is reported as unknown, so that the caller
// converts in chunks instead of trusting a wrapped number.
int16_t byteLength(int32_t units, int32_t width, int32_t& out) {
    int64_t bytes = int64_t(atLeastZero(units)) * width;
    out = bytes > INT32_MAX ? -1 : int32_t(bytes);
    return ErrNone;
}

inline bool isSurrogate(uint32_t u) {
    return u - 0xD800 < 0x800;
}
inline bool isLowSurrogate(uint32_t u) {
    return u - 0xDC00 < 0x400;
}

} // namespace

// UCS-2

const unsigned short* UCS2Encoder::getNames() const {
    return units(u"UCS2,UCS-2,ISO-10646-UCS-2,UTF16,UTF-16,ISO-10646-UTF-16");
}

const unsigned short* UCS2beEncoder::getNames() const {
    return units(u"UCS2BE,UCS-2BE,ISO-10646-UCS-2BE,UTF16BE,UTF-16BE,ISO-10646-UTF16BE");
}

const unsigned short* UCS2leEncoder::getNames() const {
    return units(u"UCS2LE,UCS-2LE,ISO-10646-UCS-2LE,UTF16LE,UTF-16LE,ISO-10646-UTF16LE");
}

int16_t UCS2Encoder::getUnicodeLength(const char*, int32_t len, int32_t& out) const {
    out = atLeastZero(len) / 2;
    return ErrNone;
}

int16_t UCS2Encoder::getMBCSLength(const unsigned short*, int32_t len, int32_t& out) const {
    return byteLength(len, 2, out);
}

int16_t UCS2Encoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                               bool) const {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
    const int32_t bytes = atLeastZero(srcLen);
    const int32_t room = atLeastZero(dstLen);
    const int32_t n = smaller(bytes / 2, room);
    if (littleEndian == kHostLittleEndian) {
        if (n > 0) std::memcpy(dst, s, size_t(n) * 2);
    } else if (littleEndian) {
        for (int32_t i = 0; i < n; ++i)
            dst[i] = static_cast<unsigned short>(s[2 * i] | s[2 * i + 1] << 8);
    } else {
        for (int32_t i = 0; i < n; ++i)
            dst[i] = static_cast<unsigned short>(s[2 * i] << 8 | s[2 * i + 1]);
    }
    srcLen = 2 * n;
    dstLen = n;
    // With room left over, the only thing that can stop the loop is half a unit at the end.
    return n < room && bytes - 2 * n == 1 ? ErrPartialMultibyte : ErrNone;
}

// A destination that runs out before the source reports ErrPartialMultibyte, even on a unit
// boundary: callers take that code as "more output follows".
int16_t UCS2Encoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                            bool) const {
    unsigned char* d = reinterpret_cast<unsigned char*>(dst);
    const int32_t count = atLeastZero(srcLen);
    const int32_t n = smaller(count, atLeastZero(dstLen) / 2);
    if (littleEndian == kHostLittleEndian) {
        if (n > 0) std::memcpy(d, src, size_t(n) * 2);
    } else {
        const int high = littleEndian ? 1 : 0;
        for (int32_t i = 0; i < n; ++i) {
            d[2 * i + high] = static_cast<unsigned char>(src[i] >> 8);
            d[2 * i + 1 - high] = static_cast<unsigned char>(src[i]);
        }
    }
    srcLen = n;
    dstLen = 2 * n;
    return n == count ? ErrNone : ErrPartialMultibyte;
}

// UCS-4

const unsigned short* UCS4Encoder::getNames() const {
    return units(u"UCS4,UCS-4,ISO-10646-UCS-4");
}

const unsigned short* UCS4beEncoder::getNames() const {
    return units(u"UCS4BE,UCS-4BE,ISO-10646-UCS-4BE");
}

const unsigned short* UCS4leEncoder::getNames() const {
    return units(u"UCS4LE,UCS-4LE,ISO-10646-UCS-4LE");
}

int16_t UCS4Encoder::getUnicodeLength(const char*, int32_t len, int32_t& out) const {
    out = atLeastZero(len) / 4;
    return ErrNone;
}

int16_t UCS4Encoder::getMBCSLength(const unsigned short*, int32_t len, int32_t& out) const {
    return byteLength(len, 4, out);
}

// Only the low 16 bits of each value are kept: no pairs are made, characters above U+FFFF come out
// truncated. Readers of UCS-4 files rely on one unit per four bytes.
int16_t UCS4Encoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                               bool) const {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
    const int32_t bytes = atLeastZero(srcLen);
    const int32_t n = smaller(bytes / 4, atLeastZero(dstLen));
    // Little-endian keeps bytes 0 and 1 of each value, big-endian bytes 2 and 3.
    const int lowByte = littleEndian ? 0 : 3;
    const int highByte = littleEndian ? 1 : 2;
    for (int32_t i = 0; i < n; ++i) {
        const unsigned char* value = s + 4 * i;
        dst[i] = static_cast<unsigned short>(value[lowByte] | value[highByte] << 8);
    }
    srcLen = 4 * n;
    dstLen = n;
    return 4 * n == bytes ? ErrNone : ErrPartialMultibyte;
}

int16_t UCS4Encoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                            bool) const {
    unsigned char* d = reinterpret_cast<unsigned char*>(dst);
    const int32_t count = atLeastZero(srcLen);
    const int32_t room = atLeastZero(dstLen);
    int32_t i = 0;
    int32_t o = 0;
    int16_t result = ErrNone;
    while (i < count) {
        if (room - o < 4) {
            result = ErrPartialMultibyte;
            break;
        }
        uint32_t v = src[i];
        int32_t used = 1;
        if (isSurrogate(v)) {
            if (isLowSurrogate(v)) {
                result = ErrConversion;
                break;
            }
            // A high surrogate at the very end may be completed by the next call.
            if (i + 1 == count) {
                result = ErrPartialMultibyte;
                break;
            }
            uint32_t next = src[i + 1];
            if (!isLowSurrogate(next)) {
                result = ErrConversion;
                break;
            }
            v = 0x10000 + ((v - 0xD800) << 10) + (next - 0xDC00);
            used = 2;
        }
        for (int k = 0; k < 4; ++k) {
            int shift = littleEndian ? 8 * k : 24 - 8 * k;
            d[o + k] = static_cast<unsigned char>(v >> shift);
        }
        o += 4;
        i += used;
    }
    srcLen = i;
    dstLen = o;
    return result;
}

} // namespace Quarn
