// UnicodeUtils: white space, format and dash sets, the case rules and the tables built from them,
// identifier classes over the generated page bitmaps, and the byte-text comparisons.
#include "text/UnicodeTables.h"

#include <quarn/UnicodeUtils.h>

#include <cstdint>
#include <cstring>

namespace Quarn {
namespace unicode {
namespace {

inline bool within(unsigned c, unsigned first, unsigned last) {
    return c - first <= last - first;
}

inline unsigned short unit(unsigned value) {
    return static_cast<unsigned short>(value);
}

// Case pairs that follow no arithmetic, upper-case unit first. Searched from the first row to the
// last: towupper meets 01C6, 01C9 and 01F3 twice and takes the first row's upper-case unit.
struct CasePair {
    unsigned short upper;
    unsigned short lower;
};

constexpr CasePair casePairs[] = {
    {0x0178, 0x00FF}, {0x0179, 0x017A}, {0x017B, 0x017C}, {0x017D, 0x017E}, {0x0181, 0x0253},
    {0x0182, 0x0183}, {0x0184, 0x0185}, {0x0186, 0x0254}, {0x0187, 0x0188}, {0x0189, 0x0256},
    {0x018A, 0x0257}, {0x018B, 0x018C}, {0x018E, 0x01DD}, {0x018F, 0x0259}, {0x0190, 0x025B},
    {0x0191, 0x0192}, {0x0193, 0x0260}, {0x0194, 0x0263}, {0x0196, 0x0269}, {0x0197, 0x0268},
    {0x0198, 0x0199}, {0x019C, 0x026F}, {0x019D, 0x0272}, {0x019F, 0x0275}, {0x01A0, 0x01A1},
    {0x01A2, 0x01A3}, {0x01A4, 0x01A5}, {0x01A6, 0x0280}, {0x01A7, 0x01A8}, {0x01A9, 0x0283},
    {0x01AC, 0x01AD}, {0x01AE, 0x0288}, {0x01AF, 0x01B0}, {0x01B1, 0x028A}, {0x01B2, 0x028B},
    {0x01B3, 0x01B4}, {0x01B5, 0x01B6}, {0x01B7, 0x0292}, {0x01B8, 0x01B9}, {0x01BC, 0x01BD},
    {0x01C4, 0x01C6}, {0x01C5, 0x01C6}, {0x01C7, 0x01C9}, {0x01C8, 0x01C9}, {0x01CA, 0x01CC},
    {0x01F1, 0x01F3}, {0x01F2, 0x01F3}, {0x01F4, 0x01F5}, {0x01F6, 0x0195}, {0x01F7, 0x01BF},
    {0x01F8, 0x01F9}, {0x01FA, 0x01FB}, {0x01FC, 0x01FD}, {0x01FE, 0x01FF}, {0x0386, 0x03AC},
    {0x0388, 0x03AD}, {0x0389, 0x03AE}, {0x038A, 0x03AF}, {0x038C, 0x03CC}, {0x038E, 0x03CD},
    {0x038F, 0x03CE}, {0x04C1, 0x04C2}, {0x04C3, 0x04C4}, {0x04C7, 0x04C8}, {0x04CB, 0x04CC},
    {0x1FB8, 0x1FB0}, {0x1FB9, 0x1FB1}, {0x1FBA, 0x1F70}, {0x1FBB, 0x1F71}, {0x1FC8, 0x1F72},
    {0x1FC9, 0x1F73}, {0x1FCA, 0x1F74}, {0x1FCB, 0x1F75}, {0x1FD8, 0x1FD0}, {0x1FD9, 0x1FD1},
    {0x1FDA, 0x1F76}, {0x1FDB, 0x1F77}, {0x1FE8, 0x1FE0}, {0x1FE9, 0x1FE1}, {0x1FEA, 0x1F7A},
    {0x1FEB, 0x1F7B}, {0x1FEC, 0x1FE5}, {0x1FF8, 0x1F78}, {0x1FF9, 0x1F79}, {0x1FFA, 0x1F7C},
    {0x1FFB, 0x1F7D}, {0x2126, 0x03C9}, {0x212A, 0x006B}, {0x212B, 0x00E5},
};
static_assert(sizeof(casePairs) / sizeof(casePairs[0]) == 89, "the pair table has 89 rows");

// The 256-unit pages that hold a unit of one column of the pair table (one bit per page): a unit on
// any other page is not in that column, which spares the search for nearly every unit when the case
// tables are built.
struct PageSet {
    uint32_t bits[8] = {};
    constexpr bool has(unsigned c) const { return (bits[c >> 13] >> ((c >> 8) & 31)) & 1; }
};

template <bool upperColumn> constexpr PageSet pairColumnPages() {
    PageSet pages;
    for (const CasePair& pair : casePairs) {
        unsigned c = upperColumn ? pair.upper : pair.lower;
        pages.bits[c >> 13] |= 1u << ((c >> 8) & 31);
    }
    return pages;
}

constexpr PageSet upperColumnPages = pairColumnPages<true>();
constexpr PageSet lowerColumnPages = pairColumnPages<false>();

// The partner from the first row whose upper-case (or lower-case) unit is c, or c itself.
template <bool byUpper> unsigned short pairPartner(unsigned short c) {
    if (!(byUpper ? upperColumnPages : lowerColumnPages).has(c)) return c;
    for (const CasePair& pair : casePairs)
        if ((byUpper ? pair.upper : pair.lower) == c) return byUpper ? pair.lower : pair.upper;
    return c;
}

} // namespace

unsigned short lowerByRules(unsigned short c) {
    switch (c) {
    // Upper-case units that keep their form: the multiplication sign, and letters whose lower-case
    // partner is not the unit the arithmetic below would give.
    case 215:
    case 544:
    case 1024:
    case 1037:
    case 1154:
    case 1156:
    case 1158:
    case 1160:
    case 1162:
        return c;
    case 376:
        return 255;
    case 304:
        return 105;
    default:
        break;
    }
    if (within(c, 65, 90) || within(c, 192, 222) || within(c, 913, 939) || within(c, 1040, 1071) ||
        within(c, 65313, 65338))
        return unit(c + 32u);
    if (within(c, 1024, 1039)) return unit(c + 80u);
    if (within(c, 1329, 1366) || within(c, 4256, 4293)) return unit(c + 48u);
    if (within(c, 8544, 8559)) return unit(c + 16u);
    if (within(c, 9398, 9439)) return unit(c + 26u);
    // The whole Greek run is lowered, its lower-case half too: the test that was to pick the upper
    // half of each group of sixteen never fails, and folded keys and compared texts depend on that.
    // towupper, which tests the low four bits properly, deliberately does not mirror it.
    if (within(c, 7944, 8047)) return unit(c - 8u);
    if (c & 1) {
        if (within(c, 313, 327) || within(c, 459, 475)) return unit(c + 1u);
        if (c < 376) return c;
        return pairPartner<true>(c);
    }
    // Even units never reach the pair table: its rows with an even upper-case unit serve towupper.
    if (within(c, 256, 310) || within(c, 330, 374) || within(c, 478, 494) || within(c, 544, 562) ||
        within(c, 986, 1006) || within(c, 1120, 1214) || within(c, 1232, 1256) || within(c, 7680, 7934))
        return unit(c + 1u);
    return c;
}

unsigned short upperByRules(unsigned short c) {
    switch (c) {
    // Dotless i and long s have the plain Latin capitals as upper case.
    case 305:
        return 73;
    case 383:
        return 83;
    // The mirror of towlower's fixed units: where towlower leaves an upper-case unit alone, the unit
    // the arithmetic would pair with it is not raised onto it either. The division sign (against the
    // multiplication sign), 545 (against 544), 1104 and 1117 (against 1024 and 1037) and the odd
    // units 1155 to 1163 (against the even 1154 to 1162). 544 itself needs nothing: no rule raises it.
    case 247:
    case 545:
    case 1104:
    case 1117:
    case 1155:
    case 1157:
    case 1159:
    case 1161:
    case 1163:
        return c;
    default:
        break;
    }
    if (within(c, 97, 122) || within(c, 224, 254) || within(c, 945, 971) || within(c, 1072, 1103) ||
        within(c, 65345, 65370))
        return unit(c - 32u);
    if (within(c, 1104, 1119)) return unit(c - 80u);
    if (within(c, 1377, 1414)) return unit(c - 48u);
    if (within(c, 8560, 8575)) return unit(c - 16u);
    if (within(c, 9424, 9466)) return unit(c - 26u);
    if (within(c, 7944, 8047) && (c & 15) < 8) return unit(c + 8u);
    if (c & 1) {
        if (within(c, 257, 311) || within(c, 331, 375) || within(c, 479, 495) || within(c, 545, 563) ||
            within(c, 987, 1007) || within(c, 1121, 1215) || within(c, 1233, 1257) || within(c, 7681, 7935))
            return unit(c - 1u);
    } else if (within(c, 314, 328) || within(c, 460, 476)) {
        return unit(c - 1u);
    }
    return pairPartner<false>(c);
}

namespace {

// A case mapping as a two-level table: the difference to add to each unit, in blocks of 32 units,
// with equal blocks stored once (about 35 distinct blocks of 64 bytes per mapping; some 8 KB in all
// with the block numbers). Built from the rule functions, so the rules stay the only statement of
// the mapping.
class CaseMap {
public:
    explicit CaseMap(unsigned short (*rule)(unsigned short)) {
        unsigned short block[kBlockSize];
        for (unsigned b = 0; b < kBlocks; ++b) {
            for (unsigned i = 0; i < kBlockSize; ++i) {
                unsigned c = b * kBlockSize + i;
                block[i] = unit(rule(unit(c)) - c);
            }
            unsigned n = 0;
            while (n < used && std::memcmp(deltas[n], block, sizeof block) != 0)
                ++n;
            // Running out of room would take far more irregular rules than there are; the exhaustive
            // agreement test would catch the wrong block left behind.
            if (n == used && used < kCapacity) std::memcpy(deltas[used++], block, sizeof block);
            blockOf[b] = static_cast<unsigned char>(n < used ? n : used - 1);
        }
    }

    unsigned short map(unsigned short c) const { return unit(c + deltas[blockOf[c >> kShift]][c & kMask]); }
    unsigned distinctBlocks() const { return used; }

private:
    static constexpr unsigned kShift = 5;
    static constexpr unsigned kBlockSize = 1u << kShift;
    static constexpr unsigned kMask = kBlockSize - 1;
    static constexpr unsigned kBlocks = 65536u >> kShift;
    static constexpr unsigned kCapacity = 256; // what a one-byte block number can address

    unsigned char blockOf[kBlocks];
    unsigned short deltas[kCapacity][kBlockSize];
    unsigned used = 0;
};

struct CaseMaps {
    // Kept out of line so that readers inline only the check that the maps exist.
    [[gnu::noinline]] CaseMaps();
    CaseMap lower;
    CaseMap upper;
};

CaseMaps::CaseMaps() : lower(lowerByRules), upper(upperByRules) {}

// Built on first use into static storage: no allocation, no dependence on the library being started.
inline const CaseMaps& caseMaps() {
    static const CaseMaps maps;
    return maps;
}

inline bool inBitmap(const unsigned char (*bitmaps)[32], unsigned kind, unsigned short c) {
    return (bitmaps[kind - PageFirstBitmap][(c & 255) >> 3] >> (c & 7)) & 1;
}

} // namespace

unsigned caseTableBlocks(bool upper) {
    return upper ? caseMaps().upper.distinctBlocks() : caseMaps().lower.distinctBlocks();
}

} // namespace unicode

using namespace unicode;

unsigned short UnicodeUtils::lowerBeyondAscii(unsigned short c) {
    return caseMaps().lower.map(c);
}

unsigned short UnicodeUtils::upperBeyondAscii(unsigned short c) {
    return caseMaps().upper.map(c);
}

bool UnicodeUtils::isWS(unsigned short c) {
    if (c <= 32) return c == 32 || within(c, 9, 13);
    if (c < 160) return false;
    return c == 160 || c == 5760 || within(c, 8192, 8203) || c == 8239 || c == 12288;
}

bool UnicodeUtils::isCf(unsigned short c) {
    if (c < 1807) return false;
    return c == 1807 || within(c, 6155, 6158) || within(c, 8204, 8207) || within(c, 8234, 8238) ||
           within(c, 8298, 8303) || c == 65279 || within(c, 65529, 65531);
}

bool UnicodeUtils::isPd(unsigned short c) {
    if (c < 1418) return c == 45 || c == 173;
    switch (c) {
    case 1418:
    case 6150:
    case 12316:
    case 12336:
    case 65073:
    case 65074:
    case 65112:
    case 65123:
    case 65293:
        return true;
    default:
        return within(c, 8208, 8213);
    }
}

bool UnicodeUtils::isSymbolStart(unsigned short c) {
    if (isIdeograph(c)) return true;
    unsigned kind = identifierPageKinds[c >> 8];
    return kind < PageFirstBitmap ? kind == PageWhole : inBitmap(identifierStartBits, kind, c);
}

bool UnicodeUtils::isSymbolChar(unsigned short c) {
    if (isIdeograph(c)) return true;
    unsigned kind = identifierPageKinds[c >> 8];
    return kind < PageFirstBitmap ? kind == PageWhole : inBitmap(identifierPartBits, kind, c);
}

int32_t UnicodeUtils::watol(const unsigned short* text) {
    if (!text) return 0;
    while (isWS(*text))
        ++text;
    bool negative = *text == '-';
    if (negative || *text == '+') ++text;
    // Unsigned arithmetic: too many digits wrap around instead of being undefined.
    uint32_t value = 0;
    for (; within(*text, '0', '9'); ++text)
        value = value * 10u + (*text - '0');
    return static_cast<int32_t>(negative ? 0u - value : value);
}

namespace {

inline unsigned byteUnit(const char* b) {
    return static_cast<unsigned char>(*b);
}

template <bool caseless> inline int compareWithBytes(const unsigned short* a, const char* b, int32_t n) {
    static const unsigned short noUnits[1] = {0};
    if (!a) a = noUnits;
    if (!b) b = "";
    for (; n > 0; --n, ++a, ++b) {
        unsigned x = *a;
        unsigned y = byteUnit(b);
        if (caseless) {
            x = UnicodeUtils::towupper(unit(x));
            y = UnicodeUtils::towupper(unit(y));
        }
        if (x != y) return static_cast<int>(x) - static_cast<int>(y);
        if (x == 0) return 0;
    }
    return 0;
}

constexpr int32_t kNoLimit = INT32_MAX;

} // namespace

int UnicodeUtils::wcscmpmb(const unsigned short* a, const char* b) {
    return compareWithBytes<false>(a, b, kNoLimit);
}

int UnicodeUtils::wcsncmpmb(const unsigned short* a, const char* b, int32_t n) {
    return compareWithBytes<false>(a, b, n);
}

int UnicodeUtils::wcsicmpmb(const unsigned short* a, const char* b) {
    return compareWithBytes<true>(a, b, kNoLimit);
}

int UnicodeUtils::wcsnicmpmb(const unsigned short* a, const char* b, int32_t n) {
    return compareWithBytes<true>(a, b, n);
}

} // namespace Quarn
