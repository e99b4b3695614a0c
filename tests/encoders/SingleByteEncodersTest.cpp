#include "encoders/SingleByteEncoders.h"
#include "encoders/EncoderTesting.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

// kPythonCp1252 and kPythonMacRoman: python's decoding of every byte, -1 where it has none.
#include "encoders/data/SingleByteOracle.inc"

using namespace Quarn;
using namespace quarn_test;

namespace {

std::string allBytes() {
    std::string bytes;
    for (int b = 0; b < 256; ++b)
        bytes += static_cast<char>(b);
    return bytes;
}

// The Mac OS Roman revision we ship differs from older python releases at these two bytes.
int32_t macRomanOracle(int b) {
    if (b == 0xDB) return 0x20AC;
    if (b == 0xF0) return 0xF8FF;
    return kPythonMacRoman[b];
}

// What each encoder decodes every byte to, by the oracle and the stated rules.
std::u16string expectedDecoding(const char* which) {
    std::u16string out;
    std::string name(which);
    for (int b = 0; b < 256; ++b) {
        int32_t u = b;
        if (name == "ascii" && b >= 0x80) u = 0xFFFD;
        if (name == "cp1252") u = kPythonCp1252[b] < 0 ? 0xFFFD : kPythonCp1252[b];
        if (name == "latin1" && b >= 0x80 && b <= 0x9F) u = 0xFFFD;
        if (name == "macroman") u = macRomanOracle(b);
        out += static_cast<char16_t>(u);
    }
    return out;
}

TEST(SingleByteDecoding, EveryByteOfEveryTable) {
    const std::string bytes = allBytes();
    struct Case {
        const Encoder& encoder;
        const char* oracle;
        int16_t result;
    };
    AsciiEncoder ascii;
    BinaryEncoder binary;
    CP1252Encoder cp1252;
    ISO88591Encoder latin1;
    MacRomanEncoder macRoman;
    const Case cases[] = {{ascii, "ascii", ErrConversion},
                          {binary, "binary", ErrNone},
                          {cp1252, "cp1252", ErrNone},
                          {latin1, "latin1", ErrCannotConvert},
                          {macRoman, "macroman", ErrNone}};
    for (const Case& c : cases) {
        Decoded d = decodeWith(c.encoder, bytes);
        EXPECT_EQ(d.text, expectedDecoding(c.oracle)) << c.oracle;
        EXPECT_EQ(d.consumed, 256) << c.oracle;
        EXPECT_EQ(d.result, c.result) << c.oracle;
    }
    // The table revision: euro sign and logo.
    EXPECT_EQ(decodeWith(macRoman, "\xDB").text, u"\u20AC");
    EXPECT_EQ(decodeWith(macRoman, "\xF0").text, u"\uF8FF");
}

TEST(SingleByteDecoding, ErrorsReplaceAndGoOnWithTheCodeOfTheEncoder) {
    AsciiEncoder ascii;
    Decoded d = decodeWith(ascii, hexBytes("41 C3 A9"));
    EXPECT_EQ(d.text, u"A\uFFFD\uFFFD");
    EXPECT_EQ(d.consumed, 3);
    EXPECT_EQ(d.result, ErrConversion);
    EXPECT_EQ(decodeWith(ascii, "plain\x7F").result, ErrNone);

    CP1252Encoder cp1252;
    d = decodeWith(cp1252, hexBytes("80 81 8D 8F 90 9D 9F"));
    EXPECT_EQ(d.text, u"\u20AC\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0178");
    EXPECT_EQ(d.result, ErrNone); // undefined bytes are replaced silently

    ISO88591Encoder latin1;
    d = decodeWith(latin1, hexBytes("41 80 A0 9F FF"));
    EXPECT_EQ(d.text, u"A\uFFFD\u00A0\uFFFD\u00FF");
    EXPECT_EQ(d.consumed, 5);
    EXPECT_EQ(d.result, ErrCannotConvert);
    EXPECT_EQ(decodeWith(latin1, hexBytes("7F A0 FF")).result, ErrNone);
}

// For each unit of the BMP, the byte it must encode to (-1: "?" with ErrConversion).
int expectedByte(const char* which, uint32_t u) {
    std::string name(which);
    if (name == "binary") return static_cast<int>(u & 0xFF);
    if (u < 0x80) return static_cast<int>(u);
    if (name == "ascii") return -1;
    if (name == "macroman") {
        for (int b = 0x80; b < 0x100; ++b)
            if (static_cast<uint32_t>(macRomanOracle(b)) == u) return b;
        return -1;
    }
    // Windows-1252: its characters, then C1 controls and Latin-1 by value; strict refuses 0x80..0x9F.
    int byte = -1;
    for (int b = 0x80; b < 0xA0; ++b)
        if (static_cast<uint32_t>(kPythonCp1252[b]) == u) byte = b;
    if (byte < 0 && u <= 0xFF) byte = static_cast<int>(u);
    if (name == "latin1" && byte >= 0x80 && byte <= 0x9F) byte = -1;
    return byte;
}

TEST(SingleByteEncoding, EveryUnitOfTheBasicPlane) {
    std::u16string plane;
    for (uint32_t u = 0; u < 0x10000; ++u)
        plane += static_cast<char16_t>(u);
    AsciiEncoder ascii;
    BinaryEncoder binary;
    CP1252Encoder cp1252;
    ISO88591Encoder latin1;
    MacRomanEncoder macRoman;
    const std::pair<const Encoder*, const char*> cases[] = {{&ascii, "ascii"},
                                                            {&binary, "binary"},
                                                            {&cp1252, "cp1252"},
                                                            {&latin1, "latin1"},
                                                            {&macRoman, "macroman"}};
    for (const auto& c : cases) {
        Encoded e = encodeWith(*c.first, plane);
        ASSERT_EQ(e.bytes.size(), 0x10000u) << c.second;
        EXPECT_EQ(e.consumed, 0x10000);
        EXPECT_EQ(e.result, c.first == &binary ? ErrNone : ErrConversion) << c.second;
        int wrong = 0;
        for (uint32_t u = 0; u < 0x10000 && wrong < 5; ++u) {
            int want = expectedByte(c.second, u);
            int got = static_cast<unsigned char>(e.bytes[u]);
            if (got != (want < 0 ? '?' : want)) {
                ADD_FAILURE() << c.second << ": U+" << std::hex << u << " gave " << got << ", want " << want;
                ++wrong;
            }
        }
    }
}

TEST(SingleByteEncoding, EveryByteComesBackFromItsCharacter) {
    const std::string bytes = allBytes();
    CP1252Encoder cp1252;
    MacRomanEncoder macRoman;
    BinaryEncoder binary;
    // The five undefined Windows-1252 bytes decode to U+FFFD, which has no byte of its own.
    for (const Encoder* encoder :
         {static_cast<const Encoder*>(&cp1252), static_cast<const Encoder*>(&macRoman),
          static_cast<const Encoder*>(&binary)}) {
        Encoded e = encodeWith(*encoder, decodeWith(*encoder, bytes).text);
        for (int b = 0; b < 256; ++b) {
            bool undefined = encoder == &cp1252 && kPythonCp1252[b] < 0;
            EXPECT_EQ(static_cast<unsigned char>(e.bytes[b]), undefined ? '?' : b) << b;
        }
    }
}

TEST(SingleByteEncoding, StatedCases) {
    BinaryEncoder binary;
    Encoded e = encodeWith(binary, u"\u20AC");
    EXPECT_EQ(e.bytes, "\xAC");
    EXPECT_EQ(e.result, ErrNone);

    CP1252Encoder cp1252;
    e = encodeWith(cp1252, u"\u0080\u009D\u20AC\u2122\u0152\u02DC\u203A");
    EXPECT_EQ(e.bytes, hexBytes("80 9D 80 99 8C 98 9B"));
    EXPECT_EQ(e.result, ErrNone);
    e = encodeWith(cp1252, u"\u0151x");
    EXPECT_EQ(e.bytes, "?x"); // inside a range table, but no byte
    EXPECT_EQ(e.result, ErrConversion);
    e = encodeWith(cp1252, units({0, 'a'}));
    EXPECT_EQ(e.bytes, std::string("\0a", 2));
    EXPECT_EQ(e.result, ErrNone);

    // Strict encoding into 0x80..0x9F reports ErrConversion, not the ErrCannotConvert of decoding.
    ISO88591Encoder latin1;
    for (const char16_t* text : {u"\u0080", u"\u20AC", u"\u2122", u"\u0152", u"\u009F"}) {
        e = encodeWith(latin1, text);
        EXPECT_EQ(e.bytes, "?");
        EXPECT_EQ(e.result, ErrConversion);
    }
    e = encodeWith(latin1, u"\u00A0\u00FF");
    EXPECT_EQ(e.bytes, "\xA0\xFF");
    EXPECT_EQ(e.result, ErrNone);

    MacRomanEncoder macRoman;
    e = encodeWith(macRoman, u"\u20AC\uF8FF\u00C4");
    EXPECT_EQ(e.bytes, "\xDB\xF0\x80");
    EXPECT_EQ(e.result, ErrNone);
    e = encodeWith(macRoman, u"\u00A4-");
    EXPECT_EQ(e.bytes, "?-");
    EXPECT_EQ(e.result, ErrConversion);
}

TEST(SingleByteConversions, CountsFollowTheShorterSide) {
    AsciiEncoder ascii;
    BinaryEncoder binary;
    CP1252Encoder cp1252;
    ISO88591Encoder latin1;
    MacRomanEncoder macRoman;
    for (const Encoder* encoder :
         std::initializer_list<const Encoder*>{&ascii, &binary, &cp1252, &latin1, &macRoman}) {
        Decoded d = decodeWith(*encoder, "abcde", 3);
        EXPECT_EQ(d.text, u"abc");
        EXPECT_EQ(d.consumed, 3);
        EXPECT_EQ(d.result, ErrNone);
        Encoded e = encodeWith(*encoder, u"abcde", 3);
        EXPECT_EQ(e.bytes, "abc");
        EXPECT_EQ(e.consumed, 3);
        EXPECT_EQ(e.result, ErrNone);
        // An error beyond the part that fits is not reported.
        EXPECT_EQ(decodeWith(*encoder, "ab\x81", 2).result, ErrNone);
        EXPECT_EQ(encodeWith(*encoder, u"ab\uFFFF", 2).result, ErrNone);
        d = decodeWith(*encoder, "", 0);
        EXPECT_EQ(d.consumed, 0);
        EXPECT_EQ(d.result, ErrNone);

        int32_t out = -5;
        EXPECT_EQ(encoder->getUnicodeLength("abcdefg", 7, out), ErrNone);
        EXPECT_EQ(out, 7);
        EXPECT_EQ(encoder->getMBCSLength(reinterpret_cast<const unsigned short*>(u"\u20AC\uFFFF"), 2, out),
                  ErrNone);
        EXPECT_EQ(out, 2);
    }
}

// The ASCII block paths work on 16 bytes or 8 units at a time: a character that needs the table at
// every offset of texts of every length around the block sizes, with the destination cut too.
TEST(SingleByteConversions, BlockPathsAgreeWithOneByteAtATime) {
    CP1252Encoder cp1252;
    ISO88591Encoder latin1;
    for (size_t length = 1; length <= 40; ++length) {
        for (size_t at = 0; at < length; ++at) {
            std::string bytes(length, 'k');
            bytes[at] = '\x80';
            std::u16string text(length, u'k');
            text[at] = u'\u20AC';
            Decoded d = decodeWith(cp1252, bytes);
            ASSERT_EQ(d.text, text) << length << " " << at;
            EXPECT_EQ(decodeWith(latin1, bytes).result, ErrCannotConvert);
            Encoded e = encodeWith(cp1252, text);
            ASSERT_EQ(e.bytes, bytes) << length << " " << at;
            EXPECT_EQ(encodeWith(latin1, text).result, ErrConversion);
            for (int32_t room = 0; room < static_cast<int32_t>(length); room += 7) {
                Decoded cut = decodeWith(latin1, bytes, room);
                EXPECT_EQ(cut.consumed, room);
                EXPECT_EQ(cut.result, static_cast<int32_t>(at) < room ? ErrCannotConvert : ErrNone);
            }
        }
    }
}

} // namespace

namespace {

// Random text against the rules, one unit at a time: long ASCII runs (the paths that take 16 or 32
// at once), literal question marks next to replaced units, every kind of unit the maps tell apart,
// and every room.
TEST(SingleByteConversions, RandomTextAgreesWithTheRulesAtEveryRoom) {
    AsciiEncoder ascii;
    BinaryEncoder binary;
    CP1252Encoder cp1252;
    ISO88591Encoder latin1;
    MacRomanEncoder macRoman;
    const std::pair<const Encoder*, const char*> cases[] = {{&ascii, "ascii"},
                                                            {&binary, "binary"},
                                                            {&cp1252, "cp1252"},
                                                            {&latin1, "latin1"},
                                                            {&macRoman, "macroman"}};
    const char16_t interesting[] = {u'?',  0,     0x7F,   0x80,   0x9F,   0xA0,   0xFF,   0x100,  0x151,
                                    0x152, 0x2C6, 0x2013, 0x20AC, 0x2122, 0xF8FF, 0xFB01, 0xFFFD, 0x3F3F};
    std::mt19937 random(21);
    for (int round = 0; round < 300; ++round) {
        std::u16string text;
        std::string bytes;
        while (text.size() < 1 + random() % 90) {
            if (random() % 3 == 0) {
                size_t run = random() % 40;
                for (size_t i = 0; i < run; ++i) {
                    text += static_cast<char16_t>('a' + random() % 26);
                    bytes += static_cast<char>('a' + random() % 26);
                }
            } else {
                text += random() % 2 ? interesting[random() % (sizeof interesting / sizeof interesting[0])]
                                     : static_cast<char16_t>(random() % 0x10000);
                bytes += static_cast<char>(random() % 256);
            }
        }
        for (const auto& c : cases) {
            const std::u16string decodedAll = expectedDecoding(c.second);
            for (int32_t room = 0; room <= static_cast<int32_t>(text.size()) + 1; ++room) {
                std::string want;
                int16_t wantResult = ErrNone;
                for (size_t i = 0; i < text.size() && i < static_cast<size_t>(room); ++i) {
                    const int byte = expectedByte(c.second, text[i]);
                    want += static_cast<char>(byte < 0 ? '?' : byte);
                    if (byte < 0) wantResult = ErrConversion;
                }
                Encoded e = encodeWith(*c.first, text, room);
                ASSERT_EQ(e.bytes, want) << c.second << " room " << room;
                ASSERT_EQ(e.consumed, static_cast<int32_t>(want.size()));
                ASSERT_EQ(e.result, wantResult) << c.second << " room " << room;
            }
            for (int32_t room = 0; room <= static_cast<int32_t>(bytes.size()) + 1; ++room) {
                std::u16string want;
                int16_t wantResult = ErrNone;
                for (size_t i = 0; i < bytes.size() && i < static_cast<size_t>(room); ++i) {
                    const unsigned b = static_cast<unsigned char>(bytes[i]);
                    want += decodedAll[b];
                    if (std::string(c.second) == "ascii" && b >= 0x80) wantResult = ErrConversion;
                    if (std::string(c.second) == "latin1" && b >= 0x80 && b <= 0x9F)
                        wantResult = ErrCannotConvert;
                }
                Decoded d = decodeWith(*c.first, bytes, room);
                ASSERT_EQ(d.text, want) << c.second << " room " << room;
                ASSERT_EQ(d.consumed, static_cast<int32_t>(want.size()));
                ASSERT_EQ(d.result, wantResult) << c.second << " room " << room;
            }
        }
    }
}

} // namespace
