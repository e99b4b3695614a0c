#include "encoders/EncoderTesting.h"
#include "encoders/UnicodeEncoders.h"

using namespace Quarn;
using namespace quarn_test;

namespace {

const Way D = Way::Decode;
const Way E = Way::Encode;

// The encoder and the reference that the loop tests trust must both give these.
TEST(UTF8Encoder, StatedConversions) {
    const std::vector<Conversion> table = {
        {D, "41 7F C2 80 DF BF E0 A0 80 E2 82 AC EF BF BF F0 9F 98 80 F4 8F BF BF",
         u"\x41\x7F\x80\x7FF\x800\x20AC\xFFFF\xD83D\xDE00\xDBFF\xDFFF", kWhole, ErrNone},
        {D, "ED A0 80 ED BF BF", u"\xD800\xDFFF", kWhole, ErrNone}, // encoded surrogates are not refused
        // A bad sequence is replaced, consumed whole (bad continuation byte and all) and ends the call.
        {D, "C1 BF 41", u"\xFFFD", 2, ErrConversion}, // overlong: one below the least of each length
        {D, "E0 9F BF 41", u"\xFFFD", 3, ErrConversion},
        {D, "F0 8F BF BF 41", u"\xFFFD", 4, ErrConversion},
        {D, "F4 90 80 80 41", u"\xFFFD", 4, ErrConversion},    // above U+10FFFF
        {D, "F8 88 80 80 80 41", u"\xFFFD", 5, ErrConversion}, // five and six bytes always fail
        {D, "FC 84 80 80 80 80 41", u"\xFFFD", 6, ErrConversion},
        {D, "E2 28 A1 41", u"\xFFFD", 3, ErrConversion},
        {D, "61 62 80 41", u"ab\xFFFD", 3, ErrConversion}, // bytes that cannot lead: one each
        {D, "FE 41", u"\xFFFD", 1, ErrConversion},
        // What does not fit the source or the room is left for the next call.
        {D, "E2 82", u"", 0, ErrPartialMultibyte},
        {D, "61 F0 9F 98", u"a", 1, ErrPartialMultibyte},
        {D, "F8 88", u"", 0, ErrPartialMultibyte}, // a five-byte lead waits for its whole length
        {D, "F0 9F 98 80", u"", 0, ErrPartialMultibyte, 1},
        {D, "F0 9F 98 80", u"\xD83D\xDE00", kWhole, ErrNone, 2},
        {D, "61 C3 A9 62", u"a\xE9", 3, ErrNone, 2},
        {D, "61 62 63", u"", 0, ErrNone, 0},

        {E, "41 7F C2 80 DF BF E0 A0 80 EF BF BF F0 9F 98 80 F0 BF BF BF",
         u"\x41\x7F\x80\x7FF\x800\xFFFF\xD83D\xDE00\xD8BF\xDFFF", kWhole, ErrNone},
        {E, "", u"\xD8C0\xDC00", 0, ErrConversion}, // U+40000 and up are refused
        {E, "", u"\xDB40\xDC00", 0, ErrNone, 4},    // ...but the room is looked at first
        {E, "61", u"a\xDC00", 1, ErrConversion},
        {E, "", units({0xD83D, 'A'}), 0, ErrConversion},
        {E, "61", u"a\xD83D", 1, ErrPartialMultibyte},
        {E, "", u"\xDC00", 0, ErrConversion, 0}, // surrogates are looked at before the room
        // A character that does not fit stops without an error.
        {E, "61", u"ab", 1, ErrNone, 1},
        {E, "", u"\xE9", 0, ErrNone, 1},
        {E, "61", u"a\x20AC", 1, ErrNone, 3},
        {E, "", u"\xD83D\xDE00", 0, ErrNone, 3},
    };
    UTF8Encoder utf8;
    ReferenceUtf8 reference;
    expectConversions(utf8, table);
    expectConversions(reference, table);
}

// The queries take 64 or 16 bytes or 8 units at a time where they can; whatever the text, they must
// count what a walk over lead bytes and a sum over units count.
TEST(UTF8Encoder, LengthQueriesCountLeadBytesAndUnits) {
    UTF8Encoder utf8;
    const struct {
        const char* hex;
        int32_t units;
        int16_t result;
    } walks[] = {
        {"41 C3 A9 E2 82 AC F0 9F 98 80", 4, ErrNone}, // a four-byte sequence counts one unit
        {"41 E2 82", 2, ErrNone},                      // a cut sequence still counts
        {"C3 C3 41", 2, ErrNone},                      // only the lead bytes are looked at
        {"41 80", -1, ErrConversion},
        {"F8 88 80 80 80", -1, ErrConversion}, // five and six bytes are refused
    };
    int32_t out = 0;
    for (const auto& walk : walks) {
        const std::string bytes = hexBytes(walk.hex);
        EXPECT_EQ(utf8.getUnicodeLength(bytes.data(), static_cast<int32_t>(bytes.size()), out), walk.result)
            << walk.hex;
        EXPECT_EQ(out, walk.units) << walk.hex;
    }
    EXPECT_EQ(utf8.getMBCSLength(w(u"\x41\x7F\x80\x7FF\x800\xFFFF\xD83D\xDE00"), 8, out), ErrNone);
    EXPECT_EQ(out, 1 + 1 + 2 + 2 + 3 + 3 + 6); // a pair counts 3 per unit

    std::mt19937 random(99);
    for (int round = 0; round < 3000; ++round) {
        RandomText t = randomText(random, random() % 100, round % 3 == 0);
        if (round % 5 == 0 && !t.bytes.empty()) t.bytes.pop_back(); // a cut last sequence
        if (round % 2) t.bytes.insert(0, random() % 140, 'a');      // runs that take 64 bytes at a time
        int32_t leads = 0, bytes = 0;
        for (size_t pos = 0, length; pos < t.bytes.size(); pos += length, ++leads) {
            length = static_cast<size_t>(utf8Length(static_cast<unsigned char>(t.bytes[pos])));
            if (length == 0 || length > 4) {
                leads = -1;
                break;
            }
        }
        for (char16_t u : t.units)
            bytes += u < 0x80 ? 1 : u < 0x800 ? 2 : 3;
        ASSERT_EQ(utf8.getUnicodeLength(t.bytes.data(), static_cast<int32_t>(t.bytes.size()), out),
                  leads < 0 ? ErrConversion : ErrNone);
        ASSERT_EQ(out, leads) << "round " << round;
        ASSERT_EQ(utf8.getMBCSLength(w(t.units.c_str()), static_cast<int32_t>(t.units.size()), out), ErrNone);
        ASSERT_EQ(out, bytes) << "round " << round;
    }
}

} // namespace
