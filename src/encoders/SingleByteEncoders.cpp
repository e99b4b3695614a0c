#include "encoders/SingleByteEncoders.h"

#include "encoders/SingleByteTables.h"
#include "encoders/WordAtATime.h"

#include <cstring>

namespace Quarn {

using namespace encoders;

namespace {

const unsigned short* units(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

// Decoding goes through a 256-entry table of units. Whether a conversion met an error is a separate
// question about the source bytes, asked a word at a time: which bytes are errors depends only on
// the encoder (none, 80..FF, or 80..9F), so the table needs no error bit and its loop no test.
struct UnitTable {
    unsigned short unit[256] = {};
};

constexpr UnitTable makeAsciiUnits() {
    UnitTable table;
    for (uint32_t b = 0; b < 256; ++b)
        table.unit[b] = static_cast<unsigned short>(b < 0x80 ? b : 0xFFFD);
    return table;
}

constexpr UnitTable makeWindows1252Units(bool strict) {
    UnitTable table;
    for (uint32_t b = 0; b < 256; ++b)
        table.unit[b] = static_cast<unsigned short>(b);
    for (uint32_t b = 0x80; b < 0xA0; ++b)
        table.unit[b] = strict ? 0xFFFD : kWindows1252High[b - 0x80];
    return table;
}

constexpr UnitTable makeMacRomanUnits() {
    UnitTable table;
    for (uint32_t b = 0; b < 256; ++b)
        table.unit[b] = b < 0x80 ? static_cast<unsigned short>(b) : kMacRomanHigh[b - 0x80];
    return table;
}

constexpr UnitTable kAsciiUnits = makeAsciiUnits();
constexpr UnitTable kWindows1252Units = makeWindows1252Units(false);
constexpr UnitTable kLatin1Units = makeWindows1252Units(true);
constexpr UnitTable kMacRomanUnits = makeMacRomanUnits();

// Which bytes a decoding reports.
enum class Refused { None, From80, From80To9F };

constexpr uint64_t kEveryByte = 0x0101010101010101u;

// Whether any byte of a word is one that rule refuses (exact, not a guess: the borrow of the zero-byte
// test can only spill into bytes above a zero byte, and the answer is "some byte" either way).
template <Refused rule> inline uint64_t refusedIn(uint64_t word) {
    if (rule == Refused::From80) return word & (kEveryByte * 0x80);
    if (rule == Refused::None) return 0;
    // 80..9F are the bytes whose top three bits are 100: those become zero bytes here.
    const uint64_t top = (word & (kEveryByte * 0xE0)) ^ (kEveryByte * 0x80);
    return (top - kEveryByte) & ~top & (kEveryByte * 0x80);
}

template <Refused rule>
int16_t decodeThrough(const UnitTable& table, int16_t code, const char* src, int32_t& srcLen,
                      unsigned short* dst, int32_t& dstLen) {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
    const int32_t n = smaller(atLeastZero(srcLen), atLeastZero(dstLen));
    uint64_t refused = 0;
    int32_t i = 0;
    for (; i + kByteBlock <= n; i += kByteBlock) {
        const uint64_t word0 = loadWord(s + i), word1 = loadWord(s + i + 8);
        refused |= refusedIn<rule>(word0) | refusedIn<rule>(word1);
        if (((word0 | word1) & (kEveryByte * 0x80)) == 0) {
            widenBlock(s + i, dst + i);
            continue;
        }
        for (int32_t k = i; k < i + kByteBlock; ++k)
            dst[k] = table.unit[s[k]];
    }
    for (; i < n; ++i) {
        dst[i] = table.unit[s[i]];
        refused |= refusedIn<rule>(s[i]);
    }
    srcLen = dstLen = n;
    return refused ? code : int16_t(ErrNone);
}

// Encoding goes through a flat map from every unit to its byte, one read per unit, with "?" for the
// units without one: a "?" written for anything but U+003F is an error. The maps are built on first
// use into static storage, 64 KB each for Windows-1252, ISO-8859-1 and Mac OS Roman (the three
// together 192 KB, and only those an application uses are touched); ASCII needs no map. This is far
// less work per unit than range tests or the linear search of the Mac OS Roman table, and needs no
// allocation and no start of the library.
struct ByteMap {
    unsigned char byte[0x10000];
};

constexpr unsigned char kQuestionMark = '?';

// The Windows-1252 rule: the three range tables, then U+20AC and U+2122, then Latin-1 by value
// (U+0080..U+009F included). A unit other than U+0000 that gets byte 0 has none. Strict refuses every
// byte from 0x80 to 0x9F, however it was reached.
unsigned char windows1252Byte(uint32_t u, bool strict) {
    uint32_t b;
    if (u - 0x0150 < sizeof kWindows1252From0150) {
        b = kWindows1252From0150[u - 0x0150];
    } else if (u - 0x02C0 < sizeof kWindows1252From02C0) {
        b = kWindows1252From02C0[u - 0x02C0];
    } else if (u - 0x2010 < sizeof kWindows1252From2010) {
        b = kWindows1252From2010[u - 0x2010];
    } else if (u == 0x20AC) {
        b = 0x80;
    } else if (u == 0x2122) {
        b = 0x99;
    } else {
        b = u > 0xFF ? 0 : u;
    }
    if ((u != 0 && b == 0) || (strict && b - 0x80 < 0x20)) return kQuestionMark;
    return static_cast<unsigned char>(b);
}

struct Windows1252Map : ByteMap {
    explicit Windows1252Map(bool strict) {
        for (uint32_t u = 0; u < 0x10000; ++u)
            byte[u] = windows1252Byte(u, strict);
    }
};

// The first of the 128 entries from 0x80 upward that holds a unit gives its byte.
struct MacRomanMap : ByteMap {
    MacRomanMap() {
        for (uint32_t u = 0; u < 0x10000; ++u)
            byte[u] = u < 0x80 ? static_cast<unsigned char>(u) : kQuestionMark;
        for (uint32_t b = 0xFF; b >= 0x80; --b)
            byte[kMacRomanHigh[b - 0x80]] = static_cast<unsigned char>(b);
    }
};

const ByteMap& windows1252Bytes() {
    static const Windows1252Map map(false);
    return map;
}

const ByteMap& latin1Bytes() {
    static const Windows1252Map map(true);
    return map;
}

const ByteMap& macRomanBytes() {
    static const MacRomanMap map;
    return map;
}

// The unit-to-byte rule of ASCII, in the shape of a map.
struct AsciiRule {
    unsigned char operator[](uint32_t u) const {
        return u < 0x80 ? static_cast<unsigned char>(u) : kQuestionMark;
    }
};

struct MapRule {
    const ByteMap& map;
    unsigned char operator[](uint32_t u) const { return map.byte[u]; }
};

// Whether a word holds a "?" byte.
inline bool holdsQuestionMark(uint64_t word) {
    const uint64_t x = word ^ (kEveryByte * kQuestionMark);
    return ((x - kEveryByte) & ~x & (kEveryByte * 0x80)) != 0;
}

// An ASCII run only pays for a path of its own when it is long: testing 32 units at a time keeps the
// test's branch predictable both in ASCII text (always taken) and in text with an accented letter
// every few words (almost never).
constexpr int32_t kAsciiSpan = 32;

// ASCII spans are narrowed whole; in other spans each unit takes one map read, eight of them are put
// together in a word that is written at once and looked at once for "?". Only a word that holds a
// "?" is looked at byte by byte, to tell a replacement from a question mark.
template <class Rule>
int16_t encodeThrough(Rule rule, const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen) {
    unsigned char* d = reinterpret_cast<unsigned char*>(dst);
    const int32_t n = smaller(atLeastZero(srcLen), atLeastZero(dstLen));
    bool missed = false;
    int32_t i = 0;
    for (; i + kAsciiSpan <= n; i += kAsciiSpan) {
        uint64_t high = 0;
        for (int32_t k = i; k < i + kAsciiSpan; k += 4)
            high |= loadWord(src + k);
        if ((high & 0xFF80FF80FF80FF80u) == 0) {
            for (int32_t k = i; k < i + kAsciiSpan; k += kUnitBlock)
                narrowBlock(src + k, d + k);
            continue;
        }
        for (int32_t k = i; k < i + kAsciiSpan; k += 8) {
            const unsigned short* u = src + k;
            uint64_t word = 0;
            for (int j = 0; j < 8; ++j)
                word |= uint64_t(rule[u[j]]) << (kHostLittleEndian ? 8 * j : 56 - 8 * j);
            std::memcpy(d + k, &word, sizeof word);
            if (holdsQuestionMark(word)) {
                for (int j = 0; j < 8; ++j)
                    missed |= d[k + j] == kQuestionMark && u[j] != kQuestionMark;
            }
        }
    }
    for (; i < n; ++i) {
        d[i] = rule[src[i]];
        missed |= d[i] == kQuestionMark && src[i] != kQuestionMark;
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
    return decodeThrough<Refused::From80>(kAsciiUnits, ErrConversion, src, srcLen, dst, dstLen);
}

int16_t AsciiEncoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                             bool) const {
    return encodeThrough(AsciiRule(), src, srcLen, dst, dstLen);
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
    if (strict)
        return decodeThrough<Refused::From80To9F>(kLatin1Units, ErrCannotConvert, src, srcLen, dst, dstLen);
    return decodeThrough<Refused::None>(kWindows1252Units, ErrNone, src, srcLen, dst, dstLen);
}

int16_t CP1252Encoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                              bool) const {
    return encodeThrough(MapRule{strict ? latin1Bytes() : windows1252Bytes()}, src, srcLen, dst, dstLen);
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
    return decodeThrough<Refused::None>(kMacRomanUnits, ErrNone, src, srcLen, dst, dstLen);
}

int16_t MacRomanEncoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                                bool) const {
    return encodeThrough(MapRule{macRomanBytes()}, src, srcLen, dst, dstLen);
}

} // namespace Quarn
