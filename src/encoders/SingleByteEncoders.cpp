#include "encoders/SingleByteEncoders.h"

#include "encoders/SingleByteTables.h"
#include "encoders/WordAtATime.h"

namespace Quarn {

using namespace encoders;

namespace {

const unsigned short* units(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

// Decoding goes through a 256-entry table: the low 16 bits are the unit, kReports marks a byte whose
// decoding is an error. OR-ing the entries together tells at the end whether any error was met,
// without a branch per byte.
constexpr uint32_t kReports = 0x10000;

struct UnitTable {
    uint32_t entry[256] = {};
};

constexpr UnitTable makeAsciiUnits() {
    UnitTable table;
    for (uint32_t b = 0; b < 256; ++b)
        table.entry[b] = b < 0x80 ? b : 0xFFFD | kReports;
    return table;
}

constexpr UnitTable makeWindows1252Units(bool strict) {
    UnitTable table;
    for (uint32_t b = 0; b < 256; ++b)
        table.entry[b] = b;
    for (uint32_t b = 0x80; b < 0xA0; ++b)
        table.entry[b] = strict ? 0xFFFD | kReports : kWindows1252High[b - 0x80];
    return table;
}

constexpr UnitTable makeMacRomanUnits() {
    UnitTable table;
    for (uint32_t b = 0; b < 256; ++b)
        table.entry[b] = b < 0x80 ? b : kMacRomanHigh[b - 0x80];
    return table;
}

constexpr UnitTable kAsciiUnits = makeAsciiUnits();
constexpr UnitTable kWindows1252Units = makeWindows1252Units(false);
constexpr UnitTable kLatin1Units = makeWindows1252Units(true);
constexpr UnitTable kMacRomanUnits = makeMacRomanUnits();

// Encoding goes through a two-level map from unit to byte: pageOf[u >> 8] picks a 256-byte page, and
// page 0 is all zeros. A 0 byte for a unit other than U+0000 means "no byte": the unit is written as
// "?". Only the pages that hold a character exist, so a map costs a few kilobytes.
template <int Pages> struct ByteMap {
    unsigned char pageOf[256] = {};
    unsigned char page[Pages][256] = {};
    int used = 1;
    bool overflow = false;

    // Keeps the first byte given for a unit.
    constexpr void add(uint32_t u, uint32_t b) {
        uint32_t high = u >> 8;
        if (pageOf[high] == 0) {
            if (used == Pages) {
                overflow = true;
                return;
            }
            pageOf[high] = static_cast<unsigned char>(used++);
        }
        unsigned char& slot = page[pageOf[high]][u & 0xFF];
        if (slot == 0) slot = static_cast<unsigned char>(b);
    }
    unsigned char operator[](uint32_t u) const { return page[pageOf[u >> 8]][u & 0xFF]; }
};

constexpr ByteMap<2> makeAsciiBytes() {
    ByteMap<2> map;
    for (uint32_t u = 0; u < 0x80; ++u)
        map.add(u, u);
    return map;
}

// The Windows-1252 rule: the three range tables, then U+20AC and U+2122, then Latin-1 by value
// (U+0080..U+009F included). Strict drops every byte from 0x80 to 0x9F, however it was reached.
template <int Pages> constexpr ByteMap<Pages> makeWindows1252Bytes(bool strict) {
    ByteMap<Pages> map;
    for (uint32_t u = 0; u < 0x100; ++u)
        if (!strict || u < 0x80 || u > 0x9F) map.add(u, u);
    if (strict) return map;
    for (uint32_t i = 0; i < sizeof kWindows1252From0150; ++i)
        map.add(0x0150 + i, kWindows1252From0150[i]);
    for (uint32_t i = 0; i < sizeof kWindows1252From02C0; ++i)
        map.add(0x02C0 + i, kWindows1252From02C0[i]);
    for (uint32_t i = 0; i < sizeof kWindows1252From2010; ++i)
        map.add(0x2010 + i, kWindows1252From2010[i]);
    map.add(0x20AC, 0x80);
    map.add(0x2122, 0x99);
    return map;
}

// The first of the 128 entries from 0x80 upward that holds a unit gives its byte.
constexpr ByteMap<11> makeMacRomanBytes() {
    ByteMap<11> map;
    for (uint32_t u = 0; u < 0x80; ++u)
        map.add(u, u);
    for (uint32_t b = 0x80; b < 0x100; ++b)
        map.add(kMacRomanHigh[b - 0x80], b);
    return map;
}

constexpr ByteMap<2> kAsciiBytes = makeAsciiBytes();
constexpr ByteMap<6> kWindows1252Bytes = makeWindows1252Bytes<6>(false);
constexpr ByteMap<2> kLatin1Bytes = makeWindows1252Bytes<2>(true);
constexpr ByteMap<11> kMacRomanBytes = makeMacRomanBytes();
static_assert(!kAsciiBytes.overflow && !kWindows1252Bytes.overflow && !kLatin1Bytes.overflow &&
                  !kMacRomanBytes.overflow,
              "a byte map needs more pages");

int16_t decodeThrough(const UnitTable& table, int16_t code, const char* src, int32_t& srcLen,
                      unsigned short* dst, int32_t& dstLen) {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
    const int32_t n = smaller(atLeastZero(srcLen), atLeastZero(dstLen));
    uint32_t seen = 0;
    int32_t i = 0;
    for (; i + kByteBlock <= n; i += kByteBlock) {
        if (asciiBytes(s + i)) {
            widenBlock(s + i, dst + i);
            continue;
        }
        for (int32_t k = i; k < i + kByteBlock; ++k) {
            uint32_t e = table.entry[s[k]];
            dst[k] = static_cast<unsigned short>(e);
            seen |= e;
        }
    }
    for (; i < n; ++i) {
        uint32_t e = table.entry[s[i]];
        dst[i] = static_cast<unsigned short>(e);
        seen |= e;
    }
    srcLen = dstLen = n;
    return (seen & kReports) ? code : int16_t(ErrNone);
}

template <int Pages>
int16_t encodeThrough(const ByteMap<Pages>& map, const unsigned short* src, int32_t& srcLen, char* dst,
                      int32_t& dstLen) {
    unsigned char* d = reinterpret_cast<unsigned char*>(dst);
    const int32_t n = smaller(atLeastZero(srcLen), atLeastZero(dstLen));
    // Kept in a register: a flag behind a reference would be reloaded after every byte stored.
    uint32_t missed = 0;
    int32_t i = 0;
    for (; i + kUnitBlock <= n; i += kUnitBlock) {
        if (asciiUnits(src + i)) {
            narrowBlock(src + i, d + i);
            continue;
        }
        for (int32_t k = i; k < i + kUnitBlock; ++k) {
            const uint32_t u = src[k];
            const uint32_t b = map[u];
            const uint32_t miss = (b == 0) & (u != 0);
            missed |= miss;
            d[k] = static_cast<unsigned char>(b | ((0u - miss) & '?'));
        }
    }
    for (; i < n; ++i) {
        const uint32_t u = src[i];
        const uint32_t b = map[u];
        const uint32_t miss = (b == 0) & (u != 0);
        missed |= miss;
        d[i] = static_cast<unsigned char>(b | ((0u - miss) & '?'));
    }
    srcLen = dstLen = n;
    return missed ? ErrConversion : ErrNone;
}

// One byte is one unit, both ways.
int16_t sameLength(int32_t len, int32_t& out) {
    out = atLeastZero(len);
    return ErrNone;
}

} // namespace

// ASCII

const unsigned short* AsciiEncoder::getNames() const {
    return units(u"US-ASCII,ASCII,ISO646-US,ISO_646.IRV:1991,ISO-IR-6,ANSI_X3.4-1968,CP367,IBM367,US,"
                 u"ISO646.1991-IRV");
}

int16_t AsciiEncoder::getUnicodeLength(const char*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t AsciiEncoder::getMBCSLength(const unsigned short*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t AsciiEncoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                                bool) const {
    return decodeThrough(kAsciiUnits, ErrConversion, src, srcLen, dst, dstLen);
}

int16_t AsciiEncoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                             bool) const {
    return encodeThrough(kAsciiBytes, src, srcLen, dst, dstLen);
}

// BINARY

const unsigned short* BinaryEncoder::getNames() const {
    return units(u"BINARY");
}

int16_t BinaryEncoder::getUnicodeLength(const char*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t BinaryEncoder::getMBCSLength(const unsigned short*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t BinaryEncoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                                 bool) const {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
    const int32_t n = smaller(atLeastZero(srcLen), atLeastZero(dstLen));
    for (int32_t i = 0; i < n; ++i)
        dst[i] = s[i];
    srcLen = dstLen = n;
    return ErrNone;
}

int16_t BinaryEncoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                              bool) const {
    unsigned char* d = reinterpret_cast<unsigned char*>(dst);
    const int32_t n = smaller(atLeastZero(srcLen), atLeastZero(dstLen));
    for (int32_t i = 0; i < n; ++i)
        d[i] = static_cast<unsigned char>(src[i]);
    srcLen = dstLen = n;
    return ErrNone;
}

// Windows-1252 and ISO-8859-1

const unsigned short* CP1252Encoder::getNames() const {
    return units(u"CP1252,WINDOWS-1252,MS-ANSI");
}

int16_t CP1252Encoder::getUnicodeLength(const char*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t CP1252Encoder::getMBCSLength(const unsigned short*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t CP1252Encoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                                 bool) const {
    if (strict) return decodeThrough(kLatin1Units, ErrCannotConvert, src, srcLen, dst, dstLen);
    return decodeThrough(kWindows1252Units, ErrNone, src, srcLen, dst, dstLen);
}

int16_t CP1252Encoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                              bool) const {
    if (strict) return encodeThrough(kLatin1Bytes, src, srcLen, dst, dstLen);
    return encodeThrough(kWindows1252Bytes, src, srcLen, dst, dstLen);
}

// The list names ISO-8859-1 twice; the registry binds the name once and the list stays as it is.
const unsigned short* ISO88591Encoder::getNames() const {
    return units(u"ISO-8859-1,ISO-8859-1,ISO-8859-1:1987,ISO-IR-100,LATIN1");
}

// Mac OS Roman

const unsigned short* MacRomanEncoder::getNames() const {
    return units(u"MACINTOSH,X-MAC-ROMAN");
}

int16_t MacRomanEncoder::getUnicodeLength(const char*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t MacRomanEncoder::getMBCSLength(const unsigned short*, int32_t len, int32_t& out) const {
    return sameLength(len, out);
}

int16_t MacRomanEncoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                                   bool) const {
    return decodeThrough(kMacRomanUnits, ErrNone, src, srcLen, dst, dstLen);
}

int16_t MacRomanEncoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                                bool) const {
    return encodeThrough(kMacRomanBytes, src, srcLen, dst, dstLen);
}

} // namespace Quarn
