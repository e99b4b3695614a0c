#include "encoders/SingleByteEncoders.h"
#include "encoders/EncoderTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

// kPythonCp1252 and kPythonMacRoman: python's decoding of every byte, -1 where it has none.
#include "encoders/data/SingleByteOracle.inc"

using namespace Quarn;
using namespace quarn_test;

namespace {

enum Kind { Ascii, Binary, Cp1252, Latin1, MacRoman };

struct Encoders {
    AsciiEncoder ascii;
    BinaryEncoder binary;
    CP1252Encoder cp1252;
    ISO88591Encoder latin1;
    MacRomanEncoder macRoman;
    const Encoder& operator[](Kind kind) const {
        const Encoder* all[] = {&ascii, &binary, &cp1252, &latin1, &macRoman};
        return *all[kind];
    }
};

const Kind kKinds[] = {Ascii, Binary, Cp1252, Latin1, MacRoman};

// What a byte must decode to, by the oracle and the rules. The Mac OS Roman revision we ship differs
// from older python releases at two bytes: the euro sign and the maker's logo.
char16_t expectedUnit(Kind kind, unsigned b) {
    if (b < 0x80 || kind == Binary) return static_cast<char16_t>(b);
    if (kind == MacRoman)
        return static_cast<char16_t>(b == 0xDB ? 0x20AC : b == 0xF0 ? 0xF8FF : kPythonMacRoman[b]);
    if (kind == Ascii || (kind == Latin1 && b <= 0x9F)) return 0xFFFD;
    return static_cast<char16_t>(kPythonCp1252[b] < 0 ? 0xFFFD : kPythonCp1252[b]);
}

int16_t decodingError(Kind kind, unsigned b) {
    if (kind == Ascii && b >= 0x80) return ErrConversion;
    return kind == Latin1 && b >= 0x80 && b <= 0x9F ? ErrCannotConvert : ErrNone;
}

// The byte each unit must encode to; -1 for none ("?" and ErrConversion). Windows-1252 passes the
// C1 controls through by value; strict refuses every byte 80..9F, however it is reached.
std::vector<int> expectedBytes(Kind kind) {
    std::vector<int> map(0x10000, -1);
    for (unsigned u = 0; u < 0x10000; ++u)
        if (kind == Binary || u < 0x80 || (u <= 0xFF && (kind == Cp1252 || kind == Latin1)))
            map[u] = u & 0xFF;
    for (unsigned b = 0xFF; b >= 0x80 && kind != Binary && kind != Ascii; --b)
        if (expectedUnit(kind, b) != 0xFFFD) map[expectedUnit(kind, b)] = static_cast<int>(b);
    for (int& byte : map)
        if (kind == Latin1 && byte >= 0x80 && byte <= 0x9F) byte = -1;
    return map;
}

TEST(SingleByteEncoders, EveryByteAndEveryUnitOfTheBasicPlane) {
    const Encoders encoders;
    std::string bytes;
    for (unsigned b = 0; b < 256; ++b)
        bytes += static_cast<char>(b);
    std::u16string plane;
    for (unsigned u = 0; u < 0x10000; ++u)
        plane += static_cast<char16_t>(u);
    for (Kind kind : kKinds) {
        std::u16string text;
        for (unsigned b = 0; b < 256; ++b)
            text += expectedUnit(kind, b);
        EXPECT_EQ(decodeWith(encoders[kind], bytes), (Decoded{text, 256, decodingError(kind, 0x80)})) << kind;
        const std::vector<int> map = expectedBytes(kind);
        std::string want;
        for (int byte : map)
            want += static_cast<char>(byte < 0 ? '?' : byte);
        const Encoded e = encodeWith(encoders[kind], plane);
        EXPECT_EQ(e.consumed, 0x10000);
        EXPECT_EQ(e.result, kind == Binary ? ErrNone : ErrConversion);
        EXPECT_EQ(e.bytes.size(), want.size());
        for (size_t u = 0, wrong = 0; u < want.size() && u < e.bytes.size() && wrong < 5; ++u)
            if (e.bytes[u] != want[u] && ++wrong)
                ADD_FAILURE() << kind << ": U+" << std::hex << u << " gave "
                              << +static_cast<unsigned char>(e.bytes[u]);
    }
}

TEST(SingleByteEncoders, StatedConversions) {
    const Encoders encoders;
    const Way D = Way::Decode, E = Way::Encode;
    expectConversions(encoders.ascii, {{D, "41 C3 A9", u"A\xFFFD\xFFFD", kWhole, ErrConversion},
                                       {D, "41 7F", u"A\x7F", kWhole, ErrNone}});
    expectConversions(encoders.binary, {{E, "AC", u"\x20AC", kWhole, ErrNone}});
    expectConversions(
        encoders.cp1252,
        {{D, "80 81 8D 8F 90 9D 9F", u"\x20AC\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\x178", kWhole, ErrNone},
         {E, "80 9D 80 99 8C 98 9B", u"\x80\x9D\x20AC\x2122\x152\x2DC\x203A", kWhole, ErrNone},
         {E, "3F 78", u"\x151x", kWhole, ErrConversion}, // in a range table, but no byte
         {E, "00 61", units({0, 'a'}), kWhole, ErrNone}});
    // Strict decoding of 80..9F reports ErrCannotConvert, strict encoding into them ErrConversion.
    expectConversions(encoders.latin1,
                      {{D, "41 80 A0 9F FF", u"A\xFFFD\xA0\xFFFD\xFF", kWhole, ErrCannotConvert},
                       {D, "7F A0 FF", u"\x7F\xA0\xFF", kWhole, ErrNone},
                       {E, "3F 3F 3F 3F 3F", u"\x80\x20AC\x2122\x152\x9F", kWhole, ErrConversion},
                       {E, "A0 FF", u"\xA0\xFF", kWhole, ErrNone}});
    expectConversions(encoders.macRoman, {{E, "DB F0 80", u"\x20AC\xF8FF\xC4", kWhole, ErrNone},
                                          {E, "3F 2D", u"\xA4-", kWhole, ErrConversion}});

    // Every one: the shorter side sets the counts, a problem beyond what fits is not reported, and a
    // byte is a unit in both length queries.
    for (Kind kind : kKinds) {
        expectConversions(encoders[kind], {{D, "61 62 63 64 65", u"abc", 3, ErrNone, 3},
                                           {E, "61 62 63", u"abcde", 3, ErrNone, 3},
                                           {D, "61 62 81", u"ab", 2, ErrNone, 2},
                                           {E, "61 62", u"ab\xFFFF", 2, ErrNone, 2}});
        int32_t out = -5;
        EXPECT_EQ(encoders[kind].getUnicodeLength("abcdefg", 7, out), ErrNone);
        EXPECT_EQ(out, 7);
        EXPECT_EQ(
            encoders[kind].getMBCSLength(reinterpret_cast<const unsigned short*>(u"\x20AC\xFFFF"), 2, out),
            ErrNone);
        EXPECT_EQ(out, 2);
    }
}

// Random text against the rules at every room: long ASCII runs (the paths that take 16 or 32 at
// once), literal question marks next to replaced units, and every kind of unit the maps tell apart.
TEST(SingleByteEncoders, RandomTextAtEveryRoom) {
    const Encoders encoders;
    const char16_t interesting[] = {u'?',  0,     0x7F,   0x80,   0x9F,   0xA0,   0xFF,   0x100,  0x151,
                                    0x152, 0x2C6, 0x2013, 0x20AC, 0x2122, 0xF8FF, 0xFB01, 0xFFFD, 0x3F3F};
    std::vector<int> maps[5];
    for (Kind kind : kKinds)
        maps[kind] = expectedBytes(kind);
    std::mt19937 random(21);
    for (int round = 0; round < 300; ++round) {
        std::u16string text;
        std::string bytes;
        while (text.size() < 1 + random() % 90) {
            for (size_t run = random() % 3 ? 0 : random() % 40; run > 0; --run) {
                text += random() % 8 ? static_cast<char16_t>('a' + random() % 26) : u'?';
                bytes += static_cast<char>('a' + random() % 26);
            }
            text += random() % 4 ? interesting[random() % (sizeof interesting / sizeof interesting[0])]
                                 : static_cast<char16_t>(random());
            bytes += static_cast<char>(random());
        }
        for (Kind kind : kKinds) {
            for (size_t room = 0; room <= text.size() + 1; ++room) {
                Encoded want{"", static_cast<int32_t>(std::min(room, text.size())), ErrNone};
                for (size_t i = 0; i < text.size() && i < room; ++i) {
                    const int byte = maps[kind][text[i]];
                    want.bytes += static_cast<char>(byte < 0 ? '?' : byte);
                    if (byte < 0) want.result = ErrConversion;
                }
                ASSERT_EQ(encodeWith(encoders[kind], text, static_cast<int32_t>(room)), want) << kind;
            }
            for (size_t room = 0; room <= bytes.size() + 1; ++room) {
                Decoded want{u"", static_cast<int32_t>(std::min(room, bytes.size())), ErrNone};
                for (size_t i = 0; i < bytes.size() && i < room; ++i) {
                    const unsigned b = static_cast<unsigned char>(bytes[i]);
                    want.text += expectedUnit(kind, b);
                    if (decodingError(kind, b)) want.result = decodingError(kind, b);
                }
                ASSERT_EQ(decodeWith(encoders[kind], bytes, static_cast<int32_t>(room)), want) << kind;
            }
        }
    }
}

} // namespace
