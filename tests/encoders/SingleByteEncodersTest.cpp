#include "encoders/SingleByteEncoders.h"
#include "encoders/EncoderTesting.h"

#include <algorithm>

// kPythonCp1252 and kPythonMacRoman: python's decoding of every byte, -1 where it has none.
#include "encoders/data/SingleByteOracle.inc"

using namespace Quarn;
using namespace quarn_test;

namespace {

enum Kind { Ascii, Binary, Cp1252, Latin1, MacRoman };

// One of each, in the order of Kind.
struct Encoders {
    AsciiEncoder ascii;
    BinaryEncoder binary;
    CP1252Encoder cp1252;
    ISO88591Encoder latin1;
    MacRomanEncoder macRoman;
    const Encoder* all[5] = {&ascii, &binary, &cp1252, &latin1, &macRoman};
    const Encoder& operator[](Kind kind) const { return *all[kind]; }
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
    std::u16string plane;
    for (unsigned u = 0; u < 0x10000; ++u) {
        plane += static_cast<char16_t>(u);
        if (u < 256) bytes += static_cast<char>(u);
    }
    for (Kind kind : kKinds) {
        std::u16string text;
        for (unsigned b = 0; b < 256; ++b)
            text += expectedUnit(kind, b);
        EXPECT_EQ(convert(encoders[kind], bytes), (Decoded{text, 256, decodingError(kind, 0x80)})) << kind;
        std::string want;
        for (int byte : expectedBytes(kind))
            want += static_cast<char>(byte < 0 ? '?' : byte);
        const Encoded e = convert(encoders[kind], plane);
        EXPECT_EQ(e.consumed, 0x10000);
        EXPECT_EQ(e.result, kind == Binary ? ErrNone : ErrConversion);
        ASSERT_EQ(e.out.size(), want.size());
        const size_t wrong =
            static_cast<size_t>(std::mismatch(want.begin(), want.end(), e.out.begin()).first - want.begin());
        EXPECT_EQ(wrong, want.size())
            << kind << ": U+" << std::hex << wrong << " is the first unit encoded wrong";
    }
}

TEST(SingleByteEncoders, StatedQuirksAndLengthQueries) {
    const Encoders encoders;
    const Way D = Way::Decode, E = Way::Encode;
    // The whole-table checks above hold these too; they are the quirks, spelled out. Windows-1252
    // passes C1 controls through; strict decoding of 80..9F reports ErrCannotConvert, strict encoding
    // into them ErrConversion.
    expectConversions(encoders.cp1252,
                      {{E, "80 9D 80 99", u"\x80\x9D\x20AC\x2122", kWhole, ErrNone},
                       {E, "3F 78", u"\x151x", kWhole, ErrConversion}}); // in a range table, but no byte
    expectConversions(encoders.latin1,
                      {{D, "41 80 A0 9F FF", u"A\xFFFD\xA0\xFFFD\xFF", kWhole, ErrCannotConvert},
                       {E, "3F 3F 3F 3F 3F", u"\x80\x20AC\x2122\x152\x9F", kWhole, ErrConversion}});

    // Every one: a byte is a unit in both length queries. (Where the shorter side stops a conversion
    // is checked at every room below.)
    for (Kind kind : kKinds) {
        int32_t out = -5;
        EXPECT_EQ(encoders[kind].getUnicodeLength("abcdefg", 7, out), ErrNone);
        EXPECT_EQ(out, 7);
        EXPECT_EQ(encoders[kind].getMBCSLength(w(u"\x20AC\xFFFF"), 2, out), ErrNone);
        EXPECT_EQ(out, 2);
    }
}

// Random text against the rules at every room: long ASCII runs (the paths that take 16 or 32 at
// once), literal question marks next to replaced units, and every kind of unit the maps tell apart.
// The bytes decoded are the low bytes of the units.
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
        while (text.size() < 1 + random() % 90) {
            for (size_t run = random() % 3 ? 0 : random() % 40; run > 0; --run)
                text += random() % 8 ? static_cast<char16_t>('a' + random() % 26) : u'?';
            text += random() % 4 ? interesting[random() % (sizeof interesting / sizeof interesting[0])]
                                 : static_cast<char16_t>(random());
        }
        const std::string bytes(text.begin(), text.end());
        for (Kind kind : kKinds) {
            for (size_t room = 0; room <= text.size() + 1; ++room) {
                const int32_t fits = static_cast<int32_t>(std::min(room, text.size()));
                Encoded encoded{"", fits, ErrNone};
                Decoded decoded{u"", fits, ErrNone};
                for (int32_t i = 0; i < fits; ++i) {
                    const int byte = maps[kind][text[i]];
                    encoded.out += static_cast<char>(byte < 0 ? '?' : byte);
                    if (byte < 0) encoded.result = ErrConversion;
                    const unsigned b = static_cast<unsigned char>(bytes[i]);
                    decoded.out += expectedUnit(kind, b);
                    if (decodingError(kind, b)) decoded.result = decodingError(kind, b);
                }
                ASSERT_EQ(convert(encoders[kind], text, static_cast<int32_t>(room)), encoded) << kind;
                ASSERT_EQ(convert(encoders[kind], bytes, static_cast<int32_t>(room)), decoded) << kind;
            }
        }
    }
}

} // namespace
