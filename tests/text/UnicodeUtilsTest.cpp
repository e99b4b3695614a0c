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
    const Range ws[] = {{9, 13},      {32, 32},     {160, 160},    {5760, 5760},
                        {8192, 8203}, {8239, 8239}, {12288, 12288}};
    const Range cf[] = {{1807, 1807}, {6155, 6158},   {8204, 8207},  {8234, 8238},
                        {8298, 8303}, {65279, 65279}, {65529, 65531}};
    const Range pd[] = {{45, 45},       {173, 173},     {1418, 1418},   {6150, 6150},
                        {8208, 8213},   {12316, 12316}, {12336, 12336}, {65073, 65074},
                        {65112, 65112}, {65123, 65123}, {65293, 65293}};
    for (unsigned c = 0; c < 65536; ++c) {
        unsigned short u = static_cast<unsigned short>(c);
        EXPECT_EQ(UnicodeUtils::isWS(u), inRanges(c, ws)) << c;
        EXPECT_EQ(UnicodeUtils::isCf(u), inRanges(c, cf)) << c;
        EXPECT_EQ(UnicodeUtils::isPd(u), inRanges(c, pd)) << c;
    }
}

TEST(UnicodeUtils, TablesAgreeWithTheCaseRulesForEveryUnit) {
    for (unsigned c = 0; c < 65536; ++c) {
        unsigned short u = static_cast<unsigned short>(c);
        ASSERT_EQ(UnicodeUtils::towlower(u), Quarn::unicode::lowerByRules(u)) << c;
        ASSERT_EQ(UnicodeUtils::towupper(u), Quarn::unicode::upperByRules(u)) << c;
    }
    // A one-byte block number addresses 256 blocks; far fewer are needed.
    EXPECT_LT(Quarn::unicode::caseTableBlocks(false), 256u);
    EXPECT_LT(Quarn::unicode::caseTableBlocks(true), 256u);
}

// {unit, towlower, towupper}
TEST(UnicodeUtils, CaseRulesAtTheirEdges) {
    // clang-format off
    const unsigned cases[][3] = {
        // Ends of the arithmetic runs and their outer neighbours.
        {64, 64, 64}, {65, 97, 65}, {90, 122, 90}, {91, 91, 91}, {96, 96, 96}, {97, 97, 65}, {122, 122, 90},
        {123, 123, 123}, {191, 191, 191}, {192, 224, 192}, {222, 254, 222}, {223, 223, 223}, {254, 254, 222},
        {255, 255, 376}, {912, 912, 912}, {913, 945, 913}, {939, 971, 939}, {944, 944, 944}, {971, 971, 939},
        {1023, 1023, 1023}, {1025, 1105, 1025}, {1039, 1119, 1039}, {1040, 1072, 1040}, {1071, 1103, 1071},
        {1103, 1103, 1071}, {1119, 1119, 1039}, {1328, 1328, 1328}, {1329, 1377, 1329}, {1366, 1414, 1366},
        {1376, 1376, 1376}, {1414, 1414, 1366}, {1415, 1415, 1415}, {4255, 4255, 4255}, {4256, 4304, 4256},
        {4293, 4341, 4293}, {4294, 4294, 4294}, {4304, 4304, 4304}, {8543, 8543, 8543}, {8544, 8560, 8544},
        {8559, 8575, 8559}, {8575, 8575, 8559}, {8576, 8576, 8576}, {65312, 65312, 65312},
        {65313, 65345, 65313}, {65338, 65370, 65338}, {65370, 65370, 65338}, {65371, 65371, 65371},
        {65535, 65535, 65535},
        // The circled-letter runs reach past the letters into the circled digits.
        {9397, 9397, 9397}, {9398, 9424, 9398}, {9423, 9449, 9423}, {9439, 9465, 9413}, {9440, 9440, 9414},
        {9466, 9466, 9440}, {9467, 9467, 9467},
        // Neighbours paired by parity; odd units below 376 outside their runs stay.
        {256, 257, 256}, {257, 257, 256}, {310, 311, 310}, {311, 311, 310}, {312, 312, 312}, {313, 314, 313},
        {328, 328, 327}, {329, 329, 329}, {375, 375, 374}, {459, 460, 459}, {476, 476, 475}, {477, 477, 398},
        {7934, 7935, 7934}, {7935, 7935, 7934}, {7936, 7936, 7936},
        // Fixed units of towlower and their mirrors in towupper, with their paired neighbours.
        {215, 215, 215}, {247, 247, 247}, {216, 248, 216}, {246, 246, 214}, {544, 544, 544}, {545, 545, 545},
        {546, 547, 546}, {1024, 1024, 1024}, {1104, 1104, 1104}, {1037, 1037, 1037}, {1117, 1117, 1117},
        {1036, 1116, 1036}, {1116, 1116, 1036}, {1152, 1153, 1152}, {1153, 1153, 1152}, {1154, 1154, 1154},
        {1155, 1155, 1155}, {1162, 1162, 1162}, {1163, 1163, 1163}, {1164, 1165, 1164}, {1165, 1165, 1164},
        // One-way units into ASCII.
        {376, 255, 376}, {304, 105, 304}, {305, 305, 73}, {383, 383, 83},
        // The pair table lowers odd units only; towupper takes the first row of a repeated lower-case unit
        // and tries the arithmetic first.
        {0x179, 0x17A, 0x179}, {0x181, 0x253, 0x181}, {0x1C5, 0x1C6, 0x1C5}, {0x1C6, 0x1C6, 0x1C4},
        {0x1C9, 0x1C9, 0x1C7}, {0x1F3, 0x1F3, 0x1F1}, {0x389, 0x3AE, 0x389}, {0x4C1, 0x4C2, 0x4C1},
        {0x4C2, 0x4C2, 0x4C1}, {0x1FFB, 0x1F7D, 0x1FFB}, {0x212B, 0xE5, 0x212B}, {0x182, 0x182, 0x182},
        {0x183, 0x183, 0x182}, {0x386, 0x386, 0x386}, {0x3AC, 0x3AC, 0x386}, {0x1FB8, 0x1FB8, 0x1FB8},
        {0x1FB0, 0x1FB0, 0x1FB8}, {0x2126, 0x2126, 0x2126}, {0x212A, 0x212A, 0x212A}, {0x3C9, 0x3C9, 0x3A9},
        {'k', 'k', 'K'}, {0xE5, 0xE5, 0xC5}, {0x17F, 0x17F, 83}, {0x1BF, 0x1BF, 0x1F7},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(lower(c[0]), c[1]) << "towlower " << c[0];
        EXPECT_EQ(upper(c[0]), c[2]) << "towupper " << c[0];
    }
}

TEST(UnicodeUtils, GreekRunIsLoweredWholeButRaisedByHalves) {
    EXPECT_EQ(lower(0x1F10), 0x1F08);
    EXPECT_EQ(upper(0x1F10), 0x1F18);
    for (unsigned c = 7944; c <= 8047; ++c) {
        EXPECT_EQ(lower(c), c - 8) << c;
        EXPECT_EQ(upper(c), (c & 15) < 8 ? c + 8 : c) << c;
    }
    // A lower-case unit of the run counts as both cases.
    EXPECT_TRUE(UnicodeUtils::iswlower(0x1F10));
    EXPECT_TRUE(UnicodeUtils::iswupper(0x1F10));
    // Outside the run: 0x1F00 to 0x1F07 are not raised, 0x1F70 goes through the pair table.
    EXPECT_EQ(upper(0x1F00), 0x1F00);
    EXPECT_EQ(lower(0x1F07), 0x1F07);
    EXPECT_EQ(lower(0x1F70), 0x1F70);
    EXPECT_EQ(upper(0x1F70), 0x1FBA);
}

// Round trips fail only where the mappings are one-way by design; a wrong bound in any run or a wrong
// row in the pair table would change these sets.
TEST(UnicodeUtils, MappingsRoundTripApartFromKnownOneWayUnits) {
    auto greekRun = [](unsigned c) { return c >= 0x1F00 && c <= 0x1F6F; };
    std::set<unsigned> loweredOneWay, raisedOneWay, bothWays;
    for (unsigned c = 0; c < 65536; ++c) {
        if (greekRun(c)) continue;
        unsigned l = lower(c), u = upper(c);
        if (l != c && upper(l) != c) loweredOneWay.insert(c);
        if (u != c && lower(u) != c) raisedOneWay.insert(c);
        if (l != c && u != c) bothWays.insert(c);
    }
    std::set<unsigned> expectLowered = {0x130, 0x1C5, 0x212B};
    for (unsigned c = 0x10A0; c <= 0x10C5; ++c) // Georgian capitals: no way back
        expectLowered.insert(c);
    std::set<unsigned> expectBoth;
    for (unsigned c = 0x24D0; c <= 0x24DF; ++c) // circled letters: the lowering run reaches 16 too far
        expectBoth.insert(c);
    EXPECT_EQ(loweredOneWay, expectLowered);
    EXPECT_EQ(bothWays, expectBoth);
    // Raised onto the even upper-case units of the pair table, which are never lowered, plus dotless i,
    // long s, the second lower-case unit of a repeated row and the end of the circled run.
    const std::set<unsigned> expectRaised = {
        0x131,  0x17F,  0x183,  0x185,  0x195,  0x199,  0x1A1,  0x1A3,  0x1A5, 0x1AD,  0x1B9,  0x1BD,
        0x1C6,  0x1DD,  0x1F5,  0x1F9,  0x1FB,  0x1FD,  0x1FF,  0x254,  0x257, 0x25B,  0x263,  0x269,
        0x26F,  0x280,  0x288,  0x28B,  0x3AC,  0x3AD,  0x3AF,  0x3CC,  0x3CD, 0x1F70, 0x1F72, 0x1F74,
        0x1F76, 0x1F78, 0x1F7A, 0x1F7C, 0x1FB0, 0x1FD0, 0x1FE0, 0x1FE5, 0x24FA};
    EXPECT_EQ(raisedOneWay, expectRaised);
}

TEST(UnicodeUtils, DerivedClassesFollowTheMappings) {
    int alpha = 0, lowerCase = 0, upperCase = 0;
    for (unsigned c = 0; c < 65536; ++c) {
        unsigned short u = static_cast<unsigned short>(c);
        bool isAlpha = UnicodeUtils::iswalpha(u);
        // No unit has a lower and an upper form that coincide elsewhere.
        EXPECT_EQ(isAlpha, UnicodeUtils::iswlower(u) || UnicodeUtils::iswupper(u)) << c;
        EXPECT_EQ(UnicodeUtils::iswalnum(u), isAlpha || (c >= '0' && c <= '9')) << c;
        alpha += isAlpha;
        lowerCase += UnicodeUtils::iswlower(u);
        upperCase += UnicodeUtils::iswupper(u);
        // Only 0 maps to 0 (caseless comparisons stop on it), and only three units map into ASCII.
        EXPECT_TRUE(c == 0 || (lower(c) != 0 && upper(c) != 0)) << c;
        EXPECT_TRUE(c < 128 || (lower(c) >= 128 && upper(c) >= 128) || c == 304 || c == 305 || c == 383) << c;
    }
    // Figures from a second, independent reading of the case rules: the counts, and an FNV-1a hash over
    // towlower and towupper of every unit that any wrong unit anywhere would change.
    uint32_t fingerprint = 2166136261u;
    for (unsigned c = 0; c < 65536; ++c)
        for (unsigned v : {lower(c), upper(c)})
            fingerprint = (fingerprint ^ v) * 16777619u;
    EXPECT_EQ(fingerprint, 0x0E203E19u);
    EXPECT_EQ(alpha, 1316);
    EXPECT_EQ(lowerCase, 664);
    EXPECT_EQ(upperCase, 716);
    EXPECT_TRUE(UnicodeUtils::iswalnum('7') && !UnicodeUtils::iswalpha('7') && !UnicodeUtils::iswalnum('_'));
    EXPECT_TRUE(UnicodeUtils::iswupper('Q') && !UnicodeUtils::iswlower('Q'));
    EXPECT_TRUE(UnicodeUtils::iswlower(0x3C3) && !UnicodeUtils::iswupper(0x3C3));
    EXPECT_FALSE(UnicodeUtils::iswalpha(0xD7) || UnicodeUtils::iswalpha(0xF7));
}

TEST(UnicodeUtils, IdentifierPagesKeepTheirStructure) {
    using Quarn::unicode::isIdeograph;
    const std::set<unsigned> whole = {1, 21, 160, 161, 162, 163, 249, 252};
    std::set<unsigned> mapped = {0, 48, 49, 52, 164, 172, 215, 250, 251, 253, 254, 255};
    for (unsigned p :
         {2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 22, 23, 24, 30, 31, 32, 33})
        mapped.insert(p);
    for (unsigned c = 0; c < 65536; ++c) {
        unsigned short u = static_cast<unsigned short>(c);
        bool start = UnicodeUtils::isSymbolStart(u), part = UnicodeUtils::isSymbolChar(u);
        EXPECT_TRUE(!start || part) << "a start that cannot continue: " << c;
        if (whole.count(c >> 8) || isIdeograph(u)) {
            EXPECT_TRUE(start) << c;
        } else if (!mapped.count(c >> 8)) {
            EXPECT_FALSE(part) << c;
        }
    }
    // The ideograph ranges end inside refused pages.
    for (unsigned c : {13312u, 19893u, 19968u, 40869u})
        EXPECT_TRUE(isIdeograph(static_cast<unsigned short>(c))) << c;
    for (unsigned c : {13311u, 19894u, 19967u, 40870u})
        EXPECT_FALSE(UnicodeUtils::isSymbolChar(static_cast<unsigned short>(c))) << c;
}

// Figures worked out from the Unicode Character Database the tables were generated from.
TEST(UnicodeUtils, IdentifierClassesMatchTheCharacterDatabase) {
    EXPECT_STREQ(Quarn::unicode::identifierUnicodeVersion, "14.0.0");
    int starts = 0, chars = 0, startsInPage3 = 0, charsInPage6 = 0, charsInPage32 = 0;
    for (unsigned c = 0; c < 65536; ++c) {
        bool start = UnicodeUtils::isSymbolStart(static_cast<unsigned short>(c));
        bool part = UnicodeUtils::isSymbolChar(static_cast<unsigned short>(c));
        starts += start;
        chars += part;
        startsInPage3 += start && (c >> 8) == 3;
        charsInPage6 += part && (c >> 8) == 6;
        charsInPage32 += part && (c >> 8) == 32;
    }
    EXPECT_EQ(starts, 35665);
    EXPECT_EQ(chars, 36676);
    EXPECT_EQ(startsInPage3, 129);
    EXPECT_EQ(charsInPage6, 225);
    EXPECT_EQ(charsInPage32, 46);
    // Start and continue: letters of all kinds, letter numbers, "$" and "_".
    const unsigned letters[] = {'a',    'Z',    '$',    '_',    0xAA,   0xB5,  0x2C0,
                                0xFF21, 0x0E01, 0x2160, 0x3005, 0x3007, 0x2071};
    for (unsigned c : letters)
        EXPECT_TRUE(UnicodeUtils::isSymbolStart(static_cast<unsigned short>(c))) << c;
    // Continue only: digits, marks, connectors, the joiners.
    const unsigned continuations[] = {'0',    '9',    0x300,  0x660,  0xE31, 0xE50,
                                      0xFF10, 0x200C, 0x200D, 0x203F, 0xFF3F};
    for (unsigned c : continuations) {
        EXPECT_FALSE(UnicodeUtils::isSymbolStart(static_cast<unsigned short>(c))) << c;
        EXPECT_TRUE(UnicodeUtils::isSymbolChar(static_cast<unsigned short>(c))) << c;
    }
    // Neither: punctuation, symbols, other numbers, and letters on refused pages.
    const unsigned others[] = {' ',    '-',   '@',    0xB2,   0xB7,   0xD7,  0x2070,
                               0x30FB, 0x800, 0x1D00, 0xAD00, 0x4DB6, 0x9FA6};
    for (unsigned c : others)
        EXPECT_FALSE(UnicodeUtils::isSymbolChar(static_cast<unsigned short>(c))) << c;
}

TEST(UnicodeUtils, WatolReadsASignedDecimalPrefix) {
    EXPECT_EQ(UnicodeUtils::watol(u16(u"  -42x")), -42);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"x")), 0);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"")), 0);
    EXPECT_EQ(UnicodeUtils::watol(nullptr), 0);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"+0042")), 42);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"\u3000\u00A0\t\u1680 7 8")), 7);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"- 5")), 0); // no white space after the sign
    EXPECT_EQ(UnicodeUtils::watol(u16(u"+-3")), 0);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"-")), 0);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"\uFF17")), 0); // fullwidth digits are not digits
    EXPECT_EQ(UnicodeUtils::watol(u16(u"\u200B12")), 12);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"2147483647")), INT32_MAX);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"-2147483648")), INT32_MIN);
    // No overflow check: the value wraps around in 32 bits.
    EXPECT_EQ(UnicodeUtils::watol(u16(u"2147483648")), INT32_MIN);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"4294967297")), 1);
    EXPECT_EQ(UnicodeUtils::watol(u16(u"-4294967295")), 1);
}

TEST(UnicodeUtils, ByteTextComparesAsUnsignedUnits) {
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u"caf\u00E9"), "caf\xE9"), 0);
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u"\u00FF"), "\xFF"), 0);
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u"\u0100"), "\xFF"), 1);
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u"a"), "\x80"), 'a' - 0x80);
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u"ab"), "a"), 'b');
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u"a"), "ab"), -'b');
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u""), ""), 0);
    EXPECT_EQ(UnicodeUtils::wcscmpmb(u16(u"abc"), "abd"), -1);
    EXPECT_EQ(UnicodeUtils::wcsncmpmb(u16(u"abc"), "abd", 2), 0);
    EXPECT_EQ(UnicodeUtils::wcsncmpmb(u16(u"abc"), "abd", 3), -1);
    EXPECT_EQ(UnicodeUtils::wcsncmpmb(u16(u"abc"), "xyz", 0), 0);
    EXPECT_EQ(UnicodeUtils::wcsncmpmb(u16(u"abc"), "xyz", -5), 0);
    EXPECT_EQ(UnicodeUtils::wcsncmpmb(u16(u"ab"), "ab", 100), 0); // stops at the common end
    EXPECT_EQ(UnicodeUtils::wcsncmpmb(u16(u"ab"), "abc", 100), -'c');
}

TEST(UnicodeUtils, CaselessByteTextComparesUpperCaseForms) {
    EXPECT_EQ(UnicodeUtils::wcsicmpmb(u16(u"HeLLo"), "hello"), 0);
    EXPECT_EQ(UnicodeUtils::wcsicmpmb(u16(u"\u00C9t\u00E9"), "\xE9T\xC9"), 0);
    EXPECT_EQ(UnicodeUtils::wcsicmpmb(u16(u"\u0178"), "\xFF"), 0);
    EXPECT_EQ(UnicodeUtils::wcsicmpmb(u16(u"\u00F7"), "\xD7"), 0xF7 - 0xD7); // division is not multiplication
    // Differences are between upper-case forms: "[" against "A", not against "a".
    EXPECT_EQ(UnicodeUtils::wcsicmpmb(u16(u"["), "a"), '[' - 'A');
    EXPECT_EQ(UnicodeUtils::wcsicmpmb(u16(u"a"), "B"), -1);
    EXPECT_EQ(UnicodeUtils::wcsicmpmb(u16(u"Ab"), "a"), 'B');
    EXPECT_EQ(UnicodeUtils::wcsnicmpmb(u16(u"ABCx"), "abcy", 3), 0);
    EXPECT_EQ(UnicodeUtils::wcsnicmpmb(u16(u"ABCx"), "abcy", 4), 'X' - 'Y');
    EXPECT_EQ(UnicodeUtils::wcsnicmpmb(u16(u"x"), "y", 0), 0);
}

} // namespace
