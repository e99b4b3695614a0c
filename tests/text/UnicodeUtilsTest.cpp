#include "text/UnicodeTables.h"

#include <quarn/UnicodeUtils.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <set>

using Quarn::UnicodeUtils;

namespace {

const unsigned short* u16(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

unsigned short lower(unsigned c) {
    return UnicodeUtils::towlower(static_cast<unsigned short>(c));
}
unsigned short upper(unsigned c) {
    return UnicodeUtils::towupper(static_cast<unsigned short>(c));
}

struct Range {
    unsigned first, last;
};

template <size_t n> bool inRanges(unsigned c, const Range (&ranges)[n]) {
    for (const Range& r : ranges)
        if (c >= r.first && c <= r.last) return true;
    return false;
}

TEST(UnicodeUtils, CharacterSetsHoldExactlyTheirUnits) {
    // clang-format off
    const Range ws[] = {{9, 13}, {32, 32}, {160, 160}, {5760, 5760}, {8192, 8203}, {8239, 8239},
                        {12288, 12288}};
    const Range cf[] = {{1807, 1807}, {6155, 6158}, {8204, 8207}, {8234, 8238}, {8298, 8303}, {65279, 65279},
                        {65529, 65531}};
    const Range pd[] = {{45, 45}, {173, 173}, {1418, 1418}, {6150, 6150}, {8208, 8213}, {12316, 12316},
                        {12336, 12336}, {65073, 65074}, {65112, 65112}, {65123, 65123}, {65293, 65293}};
    // clang-format on
    for (unsigned c = 0; c < 65536; ++c) {
        unsigned short u = static_cast<unsigned short>(c);
        EXPECT_EQ(UnicodeUtils::isWS(u), inRanges(c, ws)) << c;
        EXPECT_EQ(UnicodeUtils::isCf(u), inRanges(c, cf)) << c;
        EXPECT_EQ(UnicodeUtils::isPd(u), inRanges(c, pd)) << c;
    }
}
// The lookup tables are built from the case rules at start-up; a fingerprint of every mapping, worked
// out from a second, independent reading of the rules, pins the rules themselves: any wrong unit
// anywhere changes it.
TEST(UnicodeUtils, CaseMappingsAndClassesOfEveryUnit) {
    uint32_t fingerprint = 2166136261u; // FNV-1a over towlower and towupper of every unit
    for (unsigned c = 0; c < 65536; ++c) {
        unsigned short u = static_cast<unsigned short>(c);
        ASSERT_EQ(UnicodeUtils::towlower(u), Quarn::unicode::lowerByRules(u)) << c;
        ASSERT_EQ(UnicodeUtils::towupper(u), Quarn::unicode::upperByRules(u)) << c;
        for (unsigned v : {lower(c), upper(c)})
            fingerprint = (fingerprint ^ v) * 16777619u;
        // The case classes are derived from the mappings.
        ASSERT_EQ(UnicodeUtils::iswlower(u), upper(c) != c) << c;
        ASSERT_EQ(UnicodeUtils::iswupper(u), lower(c) != c) << c;
        ASSERT_EQ(UnicodeUtils::iswalpha(u), lower(c) != upper(c)) << c;
        ASSERT_EQ(UnicodeUtils::iswalnum(u), UnicodeUtils::iswalpha(u) || (c >= '0' && c <= '9')) << c;
    }
    EXPECT_EQ(fingerprint, 0x0E203E19u);
    // A one-byte block number addresses 256 blocks; far fewer are needed.
    EXPECT_LT(Quarn::unicode::caseTableBlocks(false), 256u);
    EXPECT_LT(Quarn::unicode::caseTableBlocks(true), 256u);
}
// {unit, towlower, towupper}: the units where the two mappings are deliberately not mirrors of each
// other and a few run ends, 0x1F00..0x1F07 just before the Greek run below (the fingerprint above pins
// the rest; these name the unit that broke).
TEST(UnicodeUtils, CaseRulesAtTheirEdges) {
    // clang-format off
        const unsigned cases[][3] = { {64, 64, 64}, {65, 97, 65}, {90, 122, 90}, {91, 91, 91},
        {255, 255, 376}, {1024, 1024, 1024}, {1039, 1119, 1039}, {4256, 4304, 4256}, {4304, 4304, 4304},
        {9439, 9465, 9413}, {9440, 9440, 9414}, {215, 215, 215}, {544, 544, 544}, {1117, 1117, 1117},
        {1162, 1162, 1162}, {376, 255, 376}, {304, 105, 304}, {305, 305, 73}, {383, 383, 83}, {477, 477, 398},
        {0x1C6, 0x1C6, 0x1C4}, {0x212A, 0x212A, 0x212A}, {0x212B, 0xE5, 0x212B}, {'k', 'k', 'K'},
        {0x1F00, 0x1F00, 0x1F00}, {0x1F07, 0x1F07, 0x1F07}, {0x1F70, 0x1F70, 0x1FBA}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(lower(c[0]), c[1]) << "towlower " << c[0];
        EXPECT_EQ(upper(c[0]), c[2]) << "towupper " << c[0];
    }
}

// Required: towlower lowers the whole of 7944..8047 by 8, lower-case units included, while towupper
// raises only the lower half of each group of sixteen.
TEST(UnicodeUtils, GreekRunIsLoweredWholeButRaisedByHalves) {
    for (unsigned c = 7944; c <= 8047; ++c) {
        EXPECT_EQ(lower(c), c - 8) << c;
        EXPECT_EQ(upper(c), (c & 15) < 8 ? c + 8 : c) << c;
    }
    EXPECT_TRUE(UnicodeUtils::iswlower(0x1F10) && UnicodeUtils::iswupper(0x1F10)) << "counts as both cases";
}

// Counts worked out from the Unicode Character Database the tables were generated from: any unit
// classified differently, on a bitmapped, whole or refused page or at an ideograph range end, changes one.
TEST(UnicodeUtils, IdentifierClassesMatchTheCharacterDatabase) {
    EXPECT_STREQ(Quarn::unicode::identifierUnicodeVersion, "14.0.0");
    const std::set<unsigned> wholePages = {1, 21, 160, 161, 162, 163, 249, 252};
    int starts = 0, chars = 0;
    for (unsigned c = 0; c < 65536; ++c) {
        const unsigned short u = static_cast<unsigned short>(c);
        bool start = UnicodeUtils::isSymbolStart(u), part = UnicodeUtils::isSymbolChar(u);
        ASSERT_TRUE(!start || part) << "a start that cannot continue: " << c;
        ASSERT_TRUE(start || !(wholePages.count(c >> 8) || Quarn::unicode::isIdeograph(u))) << c;
        starts += start;
        chars += part;
    }
    EXPECT_EQ(starts, 35665);
    EXPECT_EQ(chars, 36676);
    // {unit, may start, may continue}: letters of all kinds, letter numbers, "$" and "_" start; digits,
    // marks, connectors and the joiners only continue; punctuation, symbols, other numbers and letters
    // on refused pages do neither.
    // clang-format off
    const unsigned cases[][3] = {
        {'a', 1, 1}, {'$', 1, 1}, {'_', 1, 1}, {0xAA, 1, 1}, {0x2C0, 1, 1}, {0x0E01, 1, 1}, {0x2160, 1, 1},
        {0x3007, 1, 1}, {0x2071, 1, 1}, {'0', 0, 1}, {0x300, 0, 1}, {0x660, 0, 1}, {0xE31, 0, 1},
        {0xFF10, 0, 1}, {0x200C, 0, 1}, {0x200D, 0, 1}, {0x203F, 0, 1}, {0xFF3F, 0, 1}, {' ', 0, 0},
        {'-', 0, 0}, {0xB2, 0, 0}, {0xB7, 0, 0}, {0xD7, 0, 0}, {0x2070, 0, 0}, {0x30FB, 0, 0}, {0x800, 0, 0},
        {0x1D00, 0, 0}, {0xAD00, 0, 0}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(UnicodeUtils::isSymbolStart(static_cast<unsigned short>(c[0])), c[1] != 0) << c[0];
        EXPECT_EQ(UnicodeUtils::isSymbolChar(static_cast<unsigned short>(c[0])), c[2] != 0) << c[0];
    }
}

TEST(UnicodeUtils, WatolReadsASignedDecimalPrefix) {
    EXPECT_EQ(UnicodeUtils::watol(nullptr), 0);
    // White space is Unicode's (so U+200B too); no white space after the sign; no overflow check.
    // clang-format off
    const struct { const char16_t* text; int32_t value; } cases[] = {
        {u"  -42x", -42}, {u"x", 0}, {u"", 0}, {u"+0042", 42}, {u"\u3000\u00A0\t7 8", 7}, {u"\u200B12", 12},
        {u"- 5", 0}, {u"+-3", 0}, {u"\uFF17", 0}, {u"-2147483648", INT32_MIN}, {u"2147483648", INT32_MIN},
        {u"4294967297", 1}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(UnicodeUtils::watol(u16(c.text)), c.value) << "case " << &c - cases;
}

// Bytes are unsigned units of their own value (no encoder); results are differences of the first
// unequal pair, the caseless forms taking the upper-case forms of both sides.
TEST(UnicodeUtils, ByteTextComparesAsUnsignedUnits) {
    // n is -1 for the unbounded forms; a count below 1 compares nothing.
    // clang-format off
    const struct { const char16_t* a; const char* b; int32_t n; int plain, caseless; } cases[] = {
        {u"caf\u00E9", "caf\xE9", -1, 0, 0}, {u"\u0100", "\xFF", -1, 1, 0x100 - 0x178},
        {u"a", "\x80", -1, 'a' - 0x80, 'A' - 0x80}, {u"ab", "a", -1, 'b', 'B'}, {u"a", "ab", -1, -'b', -'B'},
        {u"HeLLo", "hello", -1, 'H' - 'h', 0}, {u"[", "a", -1, '[' - 'a', '[' - 'A'},
        {u"\u00F7", "\xD7", -1, 0xF7 - 0xD7, 0xF7 - 0xD7}, {u"\u0178", "\xFF", -1, 0x178 - 0xFF, 0},
        {u"abc", "abd", 2, 0, 0}, {u"abcx", "ABCy", 4, 'a' - 'A', 'X' - 'Y'}, {u"abc", "xyz", 0, 0, 0},
        {u"abc", "xyz", -5, 0, 0}, {u"ab", "abc", 100, -'c', -'C'}};
    // clang-format on
    for (const auto& c : cases) {
        const unsigned short* a = u16(c.a);
        SCOPED_TRACE(::testing::Message() << "case " << &c - cases);
        if (c.n == -1) {
            EXPECT_EQ(UnicodeUtils::wcscmpmb(a, c.b), c.plain);
            EXPECT_EQ(UnicodeUtils::wcsicmpmb(a, c.b), c.caseless);
        } else {
            EXPECT_EQ(UnicodeUtils::wcsncmpmb(a, c.b, c.n), c.plain);
            EXPECT_EQ(UnicodeUtils::wcsnicmpmb(a, c.b, c.n), c.caseless);
        }
    }
}

} // namespace
