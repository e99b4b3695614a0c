#include "encoders/UnicodeEncoders.h"
#include "encoders/EncoderTesting.h"

using namespace Quarn;
using namespace quarn_test;

namespace {

const Way D = Way::Decode;
const Way E = Way::Encode;

// The length queries of a fixed width: bytes / width units, units * width bytes.
void expectWidth(const Encoder& encoder, int32_t width) {
    int32_t out = -5;
    EXPECT_EQ(encoder.getUnicodeLength("1234567", 7, out), ErrNone);
    EXPECT_EQ(out, 7 / width);
    EXPECT_EQ(encoder.getMBCSLength(w(u"abc"), 3, out), ErrNone);
    EXPECT_EQ(out, 3 * width);
}

TEST(UCS2, ByteOrdersHalfUnitsAndFullDestinations) {
    UCS2Encoder plain;
    UCS2leEncoder le;
    UCS2beEncoder be;
    // Surrogates pass both ways untouched; the unmarked names are little-endian.
    const std::u16string text = u"\x41\x20AC\xD83D\xDE00\xDC00\xFFFF";
    for (const Encoder* little : {static_cast<const Encoder*>(&plain), static_cast<const Encoder*>(&le)})
        expectConversions(*little, {{D, "41 00 AC 20 3D D8 00 DE 00 DC FF FF", text, kWhole, ErrNone},
                                    {E, "41 00 AC 20 3D D8 00 DE 00 DC FF FF", text, kWhole, ErrNone}});
    expectConversions(be, {{D, "00 41 20 AC D8 3D DE 00 DC 00 FF FF", text, kWhole, ErrNone},
                           {E, "00 41 20 AC D8 3D DE 00 DC 00 FF FF", text, kWhole, ErrNone}});
    expectConversions(le, {
                              {D, "41 00 42", u"A", 2, ErrPartialMultibyte},
                              {D, "41 00 42", u"A", 2, ErrNone, 1}, // the room ends it before the odd byte
                              // Encoding: a destination that runs out first is ErrPartialMultibyte.
                              {E, "61 00", u"ab", 1, ErrPartialMultibyte, 3},
                              {E, "", u"ab", 0, ErrPartialMultibyte, 1},
                              {E, "61 00 62 00", u"ab", kWhole, ErrNone, 4},
                              {E, "", u"", 0, ErrNone, 0},
                          });
    expectWidth(le, 2);
}

TEST(UCS4, DecodingKeepsTheLow16BitsEncodingJoinsPairs) {
    UCS4Encoder plain;
    UCS4leEncoder le;
    UCS4beEncoder be;
    expectConversions(plain, {{D, "00 F6 01 00 41 00 00 00", u"\xF600\x41", kWhole, ErrNone},
                              {E, "41 00 00 00 00 F6 01 00", u"\x41\xD83D\xDE00", kWhole, ErrNone}});
    expectConversions(be, {{D, "00 01 F6 00 12 34 00 41", u"\xF600\x41", kWhole, ErrNone},
                           {E, "00 10 FF FF", u"\xDBFF\xDFFF", kWhole, ErrNone}});
    expectConversions(le, {
                              {D, "41 00 00 00 42 00 00", u"A", 4, ErrPartialMultibyte},
                              {D, "41 00 00 00 42 00 00 00", u"A", 4, ErrPartialMultibyte, 1}, // unlike UCS-2
                              // Encoding stops at the first bad unit.
                              {E, "41 00 00 00", u"\x41\xDC00\x42", 1, ErrConversion},
                              {E, "", u"\xDC00", 0, ErrConversion},
                              {E, "", units({0xD800, 0x42}), 0, ErrConversion},
                              {E, "41 00 00 00", u"\x41\xD800", 1, ErrPartialMultibyte}, // not read past
                              {E, "61 00 00 00", u"ab", 1, ErrPartialMultibyte, 7},
                              {E, "61 00 00 00 62 00 00 00", u"ab", kWhole, ErrNone, 8},
                              {E, "", u"", 0, ErrNone, 0},
                          });
    expectWidth(le, 4);
}

} // namespace
