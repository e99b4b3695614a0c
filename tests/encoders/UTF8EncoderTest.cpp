#include "encoders/EncoderTesting.h"
#include "encoders/UnicodeEncoders.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

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
        {D, "C3 41 42", u"\xFFFD", 2, ErrConversion},
        {D, "E2 28 A1 41", u"\xFFFD", 3, ErrConversion},
        {D, "61 62 80 41", u"ab\xFFFD", 3, ErrConversion}, // bytes that cannot lead: one each
        {D, "FE 41", u"\xFFFD", 1, ErrConversion},
        {D, "FF 41", u"\xFFFD", 1, ErrConversion},
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
        {E, "61", u"a\xDB40\xDC00", 1, ErrConversion}, // U+40000 and up are refused
        {E, "", u"\xD8C0\xDC00", 0, ErrConversion},
        {E, "", u"\xDB40\xDC00", 0, ErrNone, 4}, // ...but the room is looked at first
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

TEST(UTF8Encoder, LengthQueries) {
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
        {"F8 88 80 80 80", -1, ErrConversion},
        {"FC 84 80 80 80 80", -1, ErrConversion},
        {"FE", -1, ErrConversion},
        {"FF", -1, ErrConversion},
    };
    for (const auto& w : walks) {
        const std::string bytes = hexBytes(w.hex);
        int32_t out = 0;
        EXPECT_EQ(utf8.getUnicodeLength(bytes.data(), static_cast<int32_t>(bytes.size()), out), w.result)
            << w.hex;
        EXPECT_EQ(out, w.units) << w.hex;
    }
    const std::u16string text = u"\x41\x7F\x80\x7FF\x800\xFFFF\xD83D\xDE00";
    int32_t out = 0;
    EXPECT_EQ(utf8.getMBCSLength(reinterpret_cast<const unsigned short*>(text.data()), 8, out), ErrNone);
    EXPECT_EQ(out, 1 + 1 + 2 + 2 + 3 + 3 + 6); // a pair counts 3 per unit
}

// The queries take 64 or 16 bytes or 8 units at a time where they can; whatever the text, they must
// count what a walk over lead bytes and a sum over units count.
TEST(UTF8Encoder, LengthQueriesAgreeWithAWalk) {
    UTF8Encoder utf8;
    std::mt19937 random(99);
    for (int round = 0; round < 3000; ++round) {
        RandomText t = randomText(random, random() % 100, round % 3 == 0);
        if (round % 5 == 0 && !t.bytes.empty()) t.bytes.pop_back(); // a cut last sequence
        if (round % 2) t.bytes.insert(0, random() % 140, 'a');      // runs that take 64 bytes at a time
        int32_t leads = 0, bytes = 0;
        int16_t result = ErrNone;
        for (size_t pos = 0; pos < t.bytes.size(); ++leads) {
            const unsigned char b = static_cast<unsigned char>(t.bytes[pos]);
            const size_t step = b < 0x80 ? 1 : b < 0xC0 ? 0 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 0;
            if (step == 0) {
                leads = -1;
                result = ErrConversion;
                break;
            }
            pos += step;
        }
        for (char16_t u : t.units)
            bytes += u < 0x80 ? 1 : u < 0x800 ? 2 : 3;
        int32_t out = 0;
        ASSERT_EQ(utf8.getUnicodeLength(t.bytes.data(), static_cast<int32_t>(t.bytes.size()), out), result);
        ASSERT_EQ(out, leads) << "round " << round;
        const int32_t count = static_cast<int32_t>(t.units.size());
        ASSERT_EQ(utf8.getMBCSLength(reinterpret_cast<const unsigned short*>(t.units.data()), count, out),
                  ErrNone);
        ASSERT_EQ(out, bytes) << "round " << round;
    }
}

} // namespace
