#include "encoders/EncoderTesting.h"
#include "encoders/UnicodeEncoders.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace Quarn;
using namespace quarn_test;

namespace {

// Standard UTF-8 of a character, written out independently of the encoder.
std::string standardUtf8(uint32_t c) {
    std::string out;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

struct Sample {
    std::u16string text;
    std::string bytes;
    int32_t characters = 0;
};

// Random well-formed text below `limit`, with its UTF-8 and character count.
Sample randomSample(std::mt19937& random, size_t characters, uint32_t limit) {
    Sample s;
    while (static_cast<size_t>(s.characters) < characters) {
        uint32_t c;
        switch (random() % 5) {
        case 0:
        case 1:
            c = random() % 0x80;
            break;
        case 2:
            c = 0x80 + random() % 0x780;
            break;
        case 3:
            c = 0x800 + random() % 0xF800;
            break;
        default:
            c = 0x10000 + random() % (limit - 0x10000);
            break;
        }
        if (c >= 0xD800 && c < 0xE000) continue;
        if (c < 0x10000) {
            s.text += static_cast<char16_t>(c);
        } else {
            s.text += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            s.text += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
        s.bytes += standardUtf8(c);
        ++s.characters;
    }
    return s;
}

TEST(UTF8Decoding, WellFormedSequencesOfEveryLength) {
    UTF8Encoder utf8;
    Decoded d =
        decodeWith(utf8, hexBytes("41 7F C2 80 DF BF E0 A0 80 E2 82 AC EF BF BF F0 9F 98 80 F4 8F BF BF"));
    EXPECT_EQ(d.text,
              units({0x41, 0x7F, 0x80, 0x7FF, 0x800, 0x20AC, 0xFFFF, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF}));
    EXPECT_EQ(d.consumed, 23);
    EXPECT_EQ(d.result, ErrNone);
    // Encoded surrogates are not refused.
    d = decodeWith(utf8, hexBytes("ED A0 80 ED BF BF"));
    EXPECT_EQ(d.text, units({0xD800, 0xDFFF}));
    EXPECT_EQ(d.result, ErrNone);
}

TEST(UTF8Decoding, ABadSequenceIsReplacedAndEndsTheConversion) {
    UTF8Encoder utf8;
    struct Case {
        const char* hex;
        int32_t consumed;
    };
    const Case cases[] = {
        {"C0 80 41", 2},          // overlong two bytes
        {"E0 80 80 41", 3},       // overlong three bytes
        {"F0 80 80 80 41", 4},    // overlong four bytes
        {"F4 90 80 80 41", 4},    // above U+10FFFF
        {"F8 88 80 80 80 41", 5}, // five-byte forms always fail
        {"FC 84 80 80 80 80 41", 6},
        {"C3 41 42", 2}, // the bad continuation byte goes with the sequence
        {"E2 28 A1 41", 3},
        {"80 41", 1}, // bytes that cannot lead: one byte each
        {"BF 41", 1},
        {"FE 41", 1},
        {"FF 41", 1},
    };
    for (const Case& c : cases) {
        Decoded d = decodeWith(utf8, hexBytes(c.hex));
        EXPECT_EQ(d.text, u"\uFFFD") << c.hex;
        EXPECT_EQ(d.consumed, c.consumed) << c.hex;
        EXPECT_EQ(d.result, ErrConversion) << c.hex;
    }
    // What came before stays.
    Decoded d = decodeWith(utf8, hexBytes("61 62 C0 80 63"));
    EXPECT_EQ(d.text, u"ab\uFFFD");
    EXPECT_EQ(d.consumed, 4);
    EXPECT_EQ(d.result, ErrConversion);
}

TEST(UTF8Decoding, SequencesThatDoNotFitAreLeftForTheNextCall) {
    UTF8Encoder utf8;
    Decoded d = decodeWith(utf8, hexBytes("E2 82"));
    EXPECT_EQ(d.consumed, 0);
    EXPECT_TRUE(d.text.empty());
    EXPECT_EQ(d.result, ErrPartialMultibyte);
    d = decodeWith(utf8, hexBytes("61 F0 9F 98"));
    EXPECT_EQ(d.text, u"a");
    EXPECT_EQ(d.consumed, 1);
    EXPECT_EQ(d.result, ErrPartialMultibyte);
    // A lead of five or six bytes waits for its whole length before it is refused.
    EXPECT_EQ(decodeWith(utf8, hexBytes("F8 88")).result, ErrPartialMultibyte);
    // The pair needs two units of room.
    d = decodeWith(utf8, hexBytes("F0 9F 98 80"), 1);
    EXPECT_TRUE(d.text.empty());
    EXPECT_EQ(d.consumed, 0);
    EXPECT_EQ(d.result, ErrPartialMultibyte);
    d = decodeWith(utf8, hexBytes("F0 9F 98 80"), 2);
    EXPECT_EQ(d.text, units({0xD83D, 0xDE00}));
    // A destination that fills on a character boundary is a normal end.
    d = decodeWith(utf8, hexBytes("61 C3 A9 62"), 2);
    EXPECT_EQ(d.text, u"a\u00E9");
    EXPECT_EQ(d.consumed, 3);
    EXPECT_EQ(d.result, ErrNone);
    EXPECT_EQ(decodeWith(utf8, "", 0).result, ErrNone);
    EXPECT_EQ(decodeWith(utf8, "abc", 0).consumed, 0);
}

TEST(UTF8Encoding, UnitsAndPairs) {
    UTF8Encoder utf8;
    Encoded e =
        encodeWith(utf8, units({0x41, 0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xD83D, 0xDE00, 0xD8BF, 0xDFFF}));
    EXPECT_EQ(e.bytes, hexBytes("41 7F C2 80 DF BF E0 A0 80 EF BF BF F0 9F 98 80 F0 BF BF BF"));
    EXPECT_EQ(e.consumed, 10);
    EXPECT_EQ(e.result, ErrNone);

    // From U+40000 up characters are refused, with room or without.
    e = encodeWith(utf8, units({0x61, 0xDB40, 0xDC00}));
    EXPECT_EQ(e.bytes, "a");
    EXPECT_EQ(e.consumed, 1);
    EXPECT_EQ(e.result, ErrConversion);
    EXPECT_EQ(encodeWith(utf8, units({0xD8C0, 0xDC00})).result, ErrConversion); // U+40000 exactly
    // ...but the room is tested first: a five-byte length that does not fit is a normal stop.
    e = encodeWith(utf8, units({0xDB40, 0xDC00}), 4);
    EXPECT_EQ(e.consumed, 0);
    EXPECT_EQ(e.result, ErrNone);

    e = encodeWith(utf8, units({0x61, 0xDC00}));
    EXPECT_EQ(e.consumed, 1);
    EXPECT_EQ(e.result, ErrConversion);
    e = encodeWith(utf8, units({0xD83D, 0x41}));
    EXPECT_EQ(e.consumed, 0);
    EXPECT_EQ(e.result, ErrConversion);
    e = encodeWith(utf8, units({0x61, 0xD83D}));
    EXPECT_EQ(e.bytes, "a");
    EXPECT_EQ(e.consumed, 1);
    EXPECT_EQ(e.result, ErrPartialMultibyte);
    // Surrogate problems are found before the room is looked at.
    EXPECT_EQ(encodeWith(utf8, units({0xDC00}), 0).result, ErrConversion);
}

TEST(UTF8Encoding, ACharacterThatDoesNotFitStopsWithoutAnError) {
    UTF8Encoder utf8;
    const struct {
        std::u16string text;
        int32_t room;
        int32_t consumed;
    } cases[] = {
        {u"ab", 1, 1}, {u"\u00E9", 1, 0}, {u"a\u20AC", 3, 1}, {units({0xD83D, 0xDE00}), 3, 0}, {u"abc", 0, 0},
    };
    for (const auto& c : cases) {
        Encoded e = encodeWith(utf8, c.text, c.room);
        EXPECT_EQ(e.consumed, c.consumed);
        EXPECT_EQ(e.result, ErrNone);
    }
}

TEST(UTF8Lengths, CountsAsStated) {
    UTF8Encoder utf8;
    int32_t out = 0;
    std::string bytes = hexBytes("41 C3 A9 E2 82 AC F0 9F 98 80");
    EXPECT_EQ(utf8.getUnicodeLength(bytes.data(), static_cast<int32_t>(bytes.size()), out), ErrNone);
    EXPECT_EQ(out, 4);            // the four-byte sequence counts one unit, though it decodes to two
    bytes = hexBytes("41 E2 82"); // a cut sequence still counts
    EXPECT_EQ(utf8.getUnicodeLength(bytes.data(), 3, out), ErrNone);
    EXPECT_EQ(out, 2);
    bytes = hexBytes("C3 C3 41"); // walked by lead bytes only
    EXPECT_EQ(utf8.getUnicodeLength(bytes.data(), 3, out), ErrNone);
    EXPECT_EQ(out, 2);
    for (const char* hex : {"41 80", "F8 88 80 80 80", "FC 84 80 80 80 80", "FE", "FF"}) {
        bytes = hexBytes(hex);
        EXPECT_EQ(utf8.getUnicodeLength(bytes.data(), static_cast<int32_t>(bytes.size()), out),
                  ErrConversion);
    }
    std::string ascii(1000, 'x');
    EXPECT_EQ(utf8.getUnicodeLength(ascii.data(), 1000, out), ErrNone);
    EXPECT_EQ(out, 1000);

    std::u16string text = units({0x41, 0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0xD83D, 0xDE00});
    EXPECT_EQ(utf8.getMBCSLength(reinterpret_cast<const unsigned short*>(text.data()), 8, out), ErrNone);
    EXPECT_EQ(out, 1 + 1 + 2 + 2 + 3 + 3 + 6); // a pair counts 3 per unit
}

// The length query reads sixteen bytes at a time while the text is well formed; whatever the text,
// it must count exactly what the byte-by-byte walk over lead bytes counts.
TEST(UTF8Lengths, BlockCountAgreesWithTheLeadByteWalk) {
    auto walk = [](const std::string& bytes, int32_t& out) -> int16_t {
        int32_t count = 0;
        for (size_t pos = 0; pos < bytes.size(); ++count) {
            const unsigned char b = static_cast<unsigned char>(bytes[pos]);
            const int step = b < 0x80 ? 1 : b < 0xC0 ? 0 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 0;
            if (step == 0) return out = -1, ErrConversion;
            pos += static_cast<size_t>(step);
        }
        return out = count, ErrNone;
    };
    const std::string pieces[] = {"a",    "\xD0\x96", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80",
                                  "\x80", "\xC3\xC3", "\xF8"};
    std::mt19937 random(99);
    UTF8Encoder utf8;
    for (int round = 0; round < 4000; ++round) {
        std::string bytes;
        const int length = static_cast<int>(random() % 80);
        while (static_cast<int>(bytes.size()) < length) {
            // Mostly well-formed text; now and then a piece that breaks the structure.
            const size_t piece = random() % 20 == 0 ? 4 + random() % 3 : random() % 4;
            bytes += pieces[piece];
        }
        if (random() % 3 == 0 && !bytes.empty()) bytes.pop_back(); // a cut last sequence
        int32_t expected = 0, got = 0;
        const int16_t expectedCode = walk(bytes, expected);
        EXPECT_EQ(utf8.getUnicodeLength(bytes.data(), static_cast<int32_t>(bytes.size()), got), expectedCode)
            << "round " << round;
        EXPECT_EQ(got, expected) << "round " << round;
    }
}

// The byte count is taken eight units at a time; any length and any mix must give the per-unit sum.
TEST(UTF8Lengths, ByteCountAgreesWithThePerUnitRule) {
    std::mt19937 random(7);
    UTF8Encoder utf8;
    for (int round = 0; round < 500; ++round) {
        std::vector<unsigned short> units(random() % 100);
        int32_t expected = 0;
        for (unsigned short& u : units) {
            static const unsigned short edges[] = {0x7F, 0x80, 0x7FF, 0x800, 0xD800, 0xFFFF, 0};
            u = random() % 3 ? edges[random() % 7] : static_cast<unsigned short>(random());
            expected += u < 0x80 ? 1 : u < 0x800 ? 2 : 3;
        }
        int32_t got = -1;
        EXPECT_EQ(utf8.getMBCSLength(units.data(), static_cast<int32_t>(units.size()), got), ErrNone);
        EXPECT_EQ(got, expected) << "round " << round;
    }
}

TEST(UTF8RoundTrips, RandomTextAgreesWithTheStandardForm) {
    std::mt19937 random(3);
    UTF8Encoder utf8;
    for (int round = 0; round < 200; ++round) {
        Sample s = randomSample(random, random() % 200, 0x40000);
        Encoded e = encodeWith(utf8, s.text);
        ASSERT_EQ(e.bytes, s.bytes);
        ASSERT_EQ(e.result, ErrNone);
        Decoded d = decodeWith(utf8, s.bytes, static_cast<int32_t>(s.text.size()));
        ASSERT_EQ(d.text, s.text);
        ASSERT_EQ(d.consumed, static_cast<int32_t>(s.bytes.size()));
        ASSERT_EQ(d.result, ErrNone);
        int32_t count = 0;
        ASSERT_EQ(utf8.getUnicodeLength(s.bytes.data(), static_cast<int32_t>(s.bytes.size()), count),
                  ErrNone);
        ASSERT_EQ(count, s.characters);
        ASSERT_EQ(utf8.getMBCSLength(reinterpret_cast<const unsigned short*>(s.text.data()),
                                     static_cast<int32_t>(s.text.size()), count),
                  ErrNone);
        ASSERT_GE(count, static_cast<int32_t>(s.bytes.size()));
    }
    // Decoding goes on above U+3FFFF, up to U+10FFFF.
    Sample high = randomSample(random, 300, 0x110000);
    EXPECT_EQ(decodeWith(utf8, high.bytes).text, high.text);
}

TEST(UTF8Chunks, CutAnywhereGivesTheSameOutput) {
    std::mt19937 random(5);
    UTF8Encoder utf8;
    Sample s = randomSample(random, 40, 0x40000);
    for (size_t cut = 0; cut <= s.bytes.size(); ++cut) {
        Decoded d = decodeInChunks(utf8, s.bytes, cut, 1 << 20);
        ASSERT_EQ(d.text, s.text) << cut;
        ASSERT_EQ(d.result, ErrNone);
    }
    for (int32_t room = 2; room <= 20; ++room)
        ASSERT_EQ(decodeInChunks(utf8, s.bytes, s.bytes.size(), room).text, s.text) << room;
    for (size_t cut = 0; cut <= s.text.size(); ++cut)
        ASSERT_EQ(encodeInChunks(utf8, s.text, cut, 1 << 20).bytes, s.bytes) << cut;
    for (int32_t room = 4; room <= 24; ++room)
        ASSERT_EQ(encodeInChunks(utf8, s.text, s.text.size(), room).bytes, s.bytes) << room;
}

// The ASCII block paths take 16 bytes or 8 units at a time: put a character of each length at every
// offset of texts around the block sizes, with destinations cut short too.
TEST(UTF8Chunks, BlockPathsAtEveryOffset) {
    UTF8Encoder utf8;
    for (uint32_t c : {0xE9u, 0x4E2Du, 0x1F600u}) {
        for (size_t length = 0; length <= 40; ++length) {
            for (size_t at = 0; at <= length; ++at) {
                std::string bytes = std::string(at, 'a') + standardUtf8(c) + std::string(length - at, 'b');
                std::u16string text = std::u16string(at, u'a');
                if (c < 0x10000) {
                    text += static_cast<char16_t>(c);
                } else {
                    text += units({0xD83D, 0xDE00});
                }
                text += std::u16string(length - at, u'b');
                ASSERT_EQ(decodeWith(utf8, bytes).text, text);
                ASSERT_EQ(encodeWith(utf8, text).bytes, bytes);
                Decoded d = decodeWith(utf8, bytes, static_cast<int32_t>(at));
                ASSERT_EQ(d.consumed, static_cast<int32_t>(at));
                Encoded e = encodeWith(utf8, text, static_cast<int32_t>(at + 1));
                ASSERT_EQ(e.consumed, static_cast<int32_t>(c < 0x80 ? at + 1 : at));
                int32_t count = 0;
                utf8.getUnicodeLength(bytes.data(), static_cast<int32_t>(bytes.size()), count);
                ASSERT_EQ(count, static_cast<int32_t>(length + 1));
            }
        }
    }
}

} // namespace
