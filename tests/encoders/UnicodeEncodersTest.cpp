#include "encoders/UnicodeEncoders.h"
#include "encoders/EncoderTesting.h"

#include <gtest/gtest.h>

#include <random>

using namespace Quarn;
using namespace quarn_test;

namespace {

// Random UTF-16 with every kind of unit: ASCII, BMP, lone surrogates of both kinds, pairs.
std::u16string anyUnits(std::mt19937& random, size_t length) {
    std::u16string text;
    while (text.size() < length)
        text += static_cast<char16_t>(random() % 3 == 0 ? random() % 0x80 : random() & 0xFFFF);
    return text;
}

// Random well-formed UTF-16 below `limit`, about a third ASCII, with pairs.
std::u16string validText(std::mt19937& random, size_t length, uint32_t limit) {
    std::u16string text;
    while (text.size() < length) {
        uint32_t c;
        switch (random() % 4) {
        case 0:
            c = random() % 0x80;
            break;
        case 1:
            c = 0x80 + random() % 0x780;
            break;
        case 2:
            c = 0x800 + random() % 0xF800;
            break;
        default:
            c = 0x10000 + random() % (limit - 0x10000);
            break;
        }
        if (c >= 0xD800 && c < 0xE000) continue;
        if (c < 0x10000) {
            text += static_cast<char16_t>(c);
        } else {
            text += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            text += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
    }
    return text;
}

TEST(UCS2, ByteOrdersAndSurrogatesPassThrough) {
    UCS2Encoder plain;
    UCS2leEncoder le;
    UCS2beEncoder be;
    const std::u16string text = units({0x0041, 0x20AC, 0xD83D, 0xDE00, 0xDC00, 0xFFFF});
    const std::string little = hexBytes("41 00 AC 20 3D D8 00 DE 00 DC FF FF");
    const std::string big = hexBytes("00 41 20 AC D8 3D DE 00 DC 00 FF FF");
    EXPECT_EQ(encodeWith(plain, text).bytes, little); // the unmarked names are little-endian
    EXPECT_EQ(encodeWith(le, text).bytes, little);
    EXPECT_EQ(encodeWith(be, text).bytes, big);
    EXPECT_EQ(encodeWith(be, u"\u20AC").bytes, hexBytes("20 AC"));
    for (const Encoder* e : {static_cast<const Encoder*>(&plain), static_cast<const Encoder*>(&le)}) {
        Decoded d = decodeWith(*e, little);
        EXPECT_EQ(d.text, text);
        EXPECT_EQ(d.result, ErrNone);
    }
    EXPECT_EQ(decodeWith(be, big).text, text);
}

TEST(UCS2, HalfAUnitAndFullDestinations) {
    UCS2leEncoder le;
    Decoded d = decodeWith(le, hexBytes("41 00 42"));
    EXPECT_EQ(d.text, u"A");
    EXPECT_EQ(d.consumed, 2);
    EXPECT_EQ(d.result, ErrPartialMultibyte);
    // With the destination full the loop stops before it sees the odd byte.
    d = decodeWith(le, hexBytes("41 00 42"), 1);
    EXPECT_EQ(d.consumed, 2);
    EXPECT_EQ(d.result, ErrNone);
    d = decodeWith(le, hexBytes("41 00 42 00"), 1);
    EXPECT_EQ(d.result, ErrNone);
    EXPECT_EQ(decodeWith(le, "").result, ErrNone);

    // Encoding: a destination that runs out before the source reports ErrPartialMultibyte.
    Encoded e = encodeWith(le, u"ab", 3);
    EXPECT_EQ(e.bytes, hexBytes("61 00"));
    EXPECT_EQ(e.consumed, 1);
    EXPECT_EQ(e.result, ErrPartialMultibyte);
    e = encodeWith(le, u"ab", 1);
    EXPECT_EQ(e.consumed, 0);
    EXPECT_EQ(e.result, ErrPartialMultibyte);
    e = encodeWith(le, u"ab", 4);
    EXPECT_EQ(e.consumed, 2);
    EXPECT_EQ(e.result, ErrNone);
    EXPECT_EQ(encodeWith(le, u"", 0).result, ErrNone);

    int32_t out = 0;
    EXPECT_EQ(le.getUnicodeLength("abcde", 5, out), ErrNone);
    EXPECT_EQ(out, 2);
    EXPECT_EQ(le.getMBCSLength(reinterpret_cast<const unsigned short*>(u"abc"), 3, out), ErrNone);
    EXPECT_EQ(out, 6);
}

TEST(UCS4, DecodingKeepsTheLow16Bits) {
    UCS4leEncoder le;
    UCS4beEncoder be;
    UCS4Encoder plain;
    Decoded d = decodeWith(le, hexBytes("00 F6 01 00 41 00 00 00"));
    EXPECT_EQ(d.text, units({0xF600, 0x41}));
    EXPECT_EQ(d.result, ErrNone);
    EXPECT_EQ(decodeWith(plain, hexBytes("00 F6 01 00")).text, units({0xF600}));
    EXPECT_EQ(decodeWith(be, hexBytes("00 01 F6 00 12 34 00 41")).text, units({0xF600, 0x0041}));

    d = decodeWith(le, hexBytes("41 00 00 00 42 00 00"));
    EXPECT_EQ(d.text, u"A");
    EXPECT_EQ(d.consumed, 4);
    EXPECT_EQ(d.result, ErrPartialMultibyte);
    // A full destination with source left is reported the same way, unlike UCS-2.
    d = decodeWith(le, hexBytes("41 00 00 00 42 00 00 00"), 1);
    EXPECT_EQ(d.consumed, 4);
    EXPECT_EQ(d.result, ErrPartialMultibyte);

    int32_t out = 0;
    EXPECT_EQ(le.getUnicodeLength("1234567", 7, out), ErrNone);
    EXPECT_EQ(out, 1);
    EXPECT_EQ(le.getMBCSLength(reinterpret_cast<const unsigned short*>(u"abc"), 3, out), ErrNone);
    EXPECT_EQ(out, 12);
}

TEST(UCS4, EncodingJoinsPairsAndStopsAtTheFirstBadUnit) {
    UCS4leEncoder le;
    UCS4beEncoder be;
    Encoded e = encodeWith(le, units({0x41, 0xD83D, 0xDE00}));
    EXPECT_EQ(e.bytes, hexBytes("41 00 00 00 00 F6 01 00"));
    EXPECT_EQ(e.consumed, 3);
    EXPECT_EQ(e.result, ErrNone);
    EXPECT_EQ(encodeWith(be, units({0xDBFF, 0xDFFF})).bytes, hexBytes("00 10 FF FF"));

    e = encodeWith(le, units({0x41, 0xDC00, 0x42}));
    EXPECT_EQ(e.bytes, hexBytes("41 00 00 00"));
    EXPECT_EQ(e.consumed, 1);
    EXPECT_EQ(e.result, ErrConversion);
    e = encodeWith(le, units({0xD800, 0x42}));
    EXPECT_EQ(e.consumed, 0);
    EXPECT_EQ(e.result, ErrConversion);
    // A high surrogate at the very end is cut short, not read past.
    e = encodeWith(le, units({0x41, 0xD800}));
    EXPECT_EQ(e.consumed, 1);
    EXPECT_EQ(e.bytes.size(), 4u);
    EXPECT_EQ(e.result, ErrPartialMultibyte);

    e = encodeWith(le, u"ab", 7);
    EXPECT_EQ(e.consumed, 1);
    EXPECT_EQ(e.result, ErrPartialMultibyte);
    e = encodeWith(le, u"ab", 8);
    EXPECT_EQ(e.result, ErrNone);
    EXPECT_EQ(encodeWith(le, u"", 0).result, ErrNone);
}

TEST(UnicodeRoundTrips, RandomTextThroughEveryByteOrder) {
    std::mt19937 random(7);
    UCS2Encoder ucs2;
    UCS2leEncoder ucs2le;
    UCS2beEncoder ucs2be;
    UCS4Encoder ucs4;
    UCS4leEncoder ucs4le;
    UCS4beEncoder ucs4be;
    for (int round = 0; round < 50; ++round) {
        std::u16string text = anyUnits(random, 1 + random() % 300);
        for (const Encoder* e : std::initializer_list<const Encoder*>{&ucs2, &ucs2le, &ucs2be}) {
            Encoded bytes = encodeWith(*e, text);
            ASSERT_EQ(bytes.result, ErrNone);
            Decoded back = decodeWith(*e, bytes.bytes);
            ASSERT_EQ(back.text, text);
            ASSERT_EQ(back.result, ErrNone);
        }
        // UCS-4 comes back with each pair as the low 16 bits of its character.
        std::u16string valid = validText(random, 1 + random() % 300, 0x110000);
        std::u16string truncated;
        for (size_t i = 0; i < valid.size(); ++i) {
            if (valid[i] >= 0xD800 && valid[i] < 0xDC00) {
                uint32_t c = 0x10000 + ((valid[i] - 0xD800u) << 10) + (valid[i + 1] - 0xDC00u);
                truncated += static_cast<char16_t>(c & 0xFFFF);
                ++i;
            } else {
                truncated += valid[i];
            }
        }
        for (const Encoder* e : std::initializer_list<const Encoder*>{&ucs4, &ucs4le, &ucs4be}) {
            Encoded bytes = encodeWith(*e, valid);
            ASSERT_EQ(bytes.result, ErrNone);
            ASSERT_EQ(bytes.bytes.size(), truncated.size() * 4);
            ASSERT_EQ(decodeWith(*e, bytes.bytes).text, truncated);
        }
    }
}

TEST(UnicodeChunks, CutAnywhereGivesTheSameOutput) {
    std::mt19937 random(11);
    UCS2beEncoder ucs2;
    UCS4leEncoder ucs4;
    const std::u16string text = validText(random, 40, 0x110000);
    for (const Encoder* e : std::initializer_list<const Encoder*>{&ucs2, &ucs4}) {
        const std::string whole = encodeWith(*e, text).bytes;
        const std::u16string decoded = decodeWith(*e, whole).text;
        for (size_t cut = 0; cut <= whole.size(); ++cut)
            ASSERT_EQ(decodeInChunks(*e, whole, cut, 1 << 20).text, decoded) << cut;
        for (int32_t room = 1; room <= 12; ++room)
            ASSERT_EQ(decodeInChunks(*e, whole, whole.size(), room).text, decoded) << room;
        for (size_t cut = 0; cut <= text.size(); ++cut)
            ASSERT_EQ(encodeInChunks(*e, text, cut, 1 << 20).bytes, whole) << cut;
        for (int32_t room = 4; room <= 20; ++room)
            ASSERT_EQ(encodeInChunks(*e, text, text.size(), room).bytes, whole) << room;
    }
}

} // namespace
