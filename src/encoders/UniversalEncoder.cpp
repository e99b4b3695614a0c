// The platform code-page encoder and its factory. The factory's table is kept exactly as it has
// always been, odd rows included: the "ISO-8859-3" row leads to code page 28591, the 28606 row
// carries the cut aliases "ISO-885", the 437 row also claims "IBM850", and some rows repeat a name.
// The first row holding a name wins, so none of that shadows a regular row.
#include "encoders/UniversalEncoder.h"

#include "platform/Platform.h"

#include <new>

namespace Quarn {
namespace {

const CodePageRow kCodePages[] = {
    {10000, 1, "MACINTOSH,X-MAC-ROMAN"},
    {65000, 0, "UTF-7,UTF7,UNICODE-1-1-UTF-7,X-UNICODE-2-0-UTF-7"},
    {28592, 0, "ISO-8859-2,ISO-8859-2,ISO-8859-2:1987,ISO-IR-101,LATIN2"},
    {28591, 0, "ISO-8859-3,ISO-8859-3,ISO-8859-3:1988,ISO-IR-109,LATIN3"},
    {28594, 0, "ISO-8859-4,ISO-8859-4,ISO-8859-4:1988,ISO-IR-110,LATIN4,BALTIC"},
    {28595, 0, "ISO-8859-5,ISO-8859-5,ISO-8859-5:1988,ISO-IR-144,CYRILLIC"},
    {28596, 0, "ISO-8859-6,ISO-8859-6,ISO-8859-6:1987,ISO-IR-127,ECMA-114,ASMO-708,ARABIC"},
    {28597, 0, "ISO-8859-7,ISO-8859-7,ISO-8859-7:1987,ISO-IR-126,ECMA-118,ELOT-928,GREEK8,GREEK"},
    {28598, 0, "ISO-8859-8,ISO-8859-8,ISO-8859-8:1988,ISO-IR-138,HEBREW"},
    {28599, 0, "ISO-8859-9,ISO-8859-9,ISO-8859-9:1989,ISO-IR-148,LATIN5,TURKISH"},
    {28600, 0, "ISO-8859-10,ISO-8859-10,ISO-8859-10:1992,ISO-IR-157,LATIN6"},
    {28603, 0, "ISO-8859-13,ISO-8859-13,ISO-IR-179,LATIN7"},
    {28604, 0, "ISO-8859-14,ISO-8859-14,ISO-8859-14,ISO-8859-14:1998,ISO-IR-199,LATIN8"},
    {28605, 0, "ISO-8859-15,ISO-8859-15,ISO-8859-15:1998,ISO-IR-203"},
    {28606, 0, "ISO-8859-16,ISO-885,ISO-885,MS-EE"},
    {850, 1, "CP850,WINDOWS-850,IBM850"},
    {866, 0, "CP866,WINDOWS-866,IBM866"},
    {932, 0, "CP932,WINDOWS-932,SJIS,SHIFT-JIS,X-SJIS,X-MS-SJIS,MS-SJIS,MS-KANJI"},
    {936, 0, "CP936,WINDOWS-936,GBK,WINDOWS-936,GB2312,GB-2312-80,ISO-IR-58,CHINESE"},
    {949, 0, "CP949,WINDOWS-949,UHC,KSC-5601,KS-C-5601-1987,KS-C-5601-1989,ISO-IR-149,KOREAN"},
    {950, 0, "CP950,WINDOWS-950,BIG5,BIG-5,BIG-FIVE,BIGFIVE,CN-BIG5,X-X-BIG5"},
    {1251, 0, "CP1251,WINDOWS-1251,MS-CYRL"},
    {1252, 1, "CP1252,WINDOWS-1252,MS-ANSI"},
    {1253, 0, "CP1253,WINDOWS-1253,MS-GREEK"},
    {1254, 0, "CP1254,WINDOWS-1254,MS-TURK"},
    {1255, 0, "CP1255,WINDOWS-1255,MS-HEBR"},
    {1256, 0, "CP1256,WINDOWS-1256,MS-ARAB"},
    {1257, 0, "CP1257,WINDOWS-1257,WINBALTRIM"},
    {1258, 0, "CP1258,WINDOWS-1258"},
    {1361, 0, "CP1361,WINDOWS-1361,JOHAB"},
    {51932, 0, "EUC-JP,EUCJP,X-EUC-JP"},
    {51949, 0, "EUC-KR,EUCKR,X-EUC-KR"},
    {52936, 0, "HZ,HZ-GB-2312"},
    {10001, 0, "X-MAC-JAPANESE"},
    {10006, 0, "X-MAC-GREEK"},
    {10007, 0, "X-MAC-CYRILLIC"},
    {10029, 0, "X-MAC-LATIN"},
    {10079, 0, "X-MAC-ICELANDIC"},
    {10081, 0, "X-MAC-TURKISH"},
    {437, 1, "CP437,IBM850,WINDOWS-437"},
    {709, 0, "CP709,WINDOWS-709,ASMO-449,BCONV4"},
    {1026, 0, "EBCDIC"},
    {20866, 0, "KOI-8R"},
    {21886, 0, "KOI-8U"},
    {50220, 0, "ISO-2022-JP"},
    {50225, 0, "ISO-2022-KR"},
    {0, 0, nullptr},
};

// The pages the Win32 converters refuse any flag for.
bool acceptsNoFlags(uint32_t codePage) {
    switch (codePage) {
    case 50220:
    case 50221:
    case 50222:
    case 50225:
    case 50227:
    case 50229:
    case 52936:
    case 54936:
    case 65000:
    case 65001:
        return true;
    default:
        return codePage >= 57002 && codePage <= 57011;
    }
}

constexpr uint32_t kPrecomposed = 0x1;     // MB_PRECOMPOSED
constexpr uint32_t kErrInvalidChars = 0x8; // MB_ERR_INVALID_CHARS

inline bool isDigit(unsigned short c) {
    return c >= '0' && c <= '9';
}

// The decimal number at pos, saturating instead of wrapping.
uint32_t readNumber(const String& text, int32_t pos) {
    uint64_t value = 0;
    const unsigned short* p = text.wstr() + pos;
    while (isDigit(*p)) {
        value = value * 10 + (*p++ - '0');
        if (value > UINT32_MAX) value = UINT32_MAX;
    }
    return static_cast<uint32_t>(value);
}

bool startsWith(const String& text, const char* prefix) {
    const unsigned short* p = text.wstr();
    for (; *prefix; ++prefix, ++p)
        if (*p != static_cast<unsigned char>(*prefix)) return false;
    return true;
}

// Whether "," + aliases + "," contains key as a run of units.
bool listContains(const char* aliases, const unsigned short* key, int32_t keyLength) {
    int32_t listLength = 0;
    while (aliases[listLength])
        ++listLength;
    const int32_t haystack = listLength + 2;
    auto at = [&](int32_t i) -> unsigned short {
        return i == 0 || i == haystack - 1 ? ',' : static_cast<unsigned char>(aliases[i - 1]);
    };
    for (int32_t start = 0; start + keyLength <= haystack; ++start) {
        int32_t k = 0;
        while (k < keyLength && at(start + k) == key[k])
            ++k;
        if (k == keyLength) return true;
    }
    return false;
}

String rowNames(const CodePageRow& row) {
    return String(row.aliases, &Encoder::getAscii());
}

} // namespace

const CodePageRow* UniversalEncoder::table() {
    return kCodePages;
}

uint32_t UniversalEncoder::decodingFlagsFor(uint32_t codePage) {
    return acceptsNoFlags(codePage) ? 0 : kPrecomposed | kErrInvalidChars;
}

uint32_t UniversalEncoder::encodingFlagsFor(uint32_t) {
    return 0;
}

bool UniversalEncoder::resolve(const String& name, CodePageChoice& choice) {
    if (name.length() == 0) return false;
    String normal(name);
    normal.toUpper();
    normal.replaceAll('_', '-');

    // The number forms look at the name as given for "CP", so a lower-case "cp1251" is no number
    // (the table still knows it); "WINDOWS-" is read case-blind.
    bool numbered = false;
    uint32_t number = 0;
    const unsigned short* s = name.wstr();
    if (name.length() >= 3 && s[0] == 'C' && s[1] == 'P' && isDigit(s[2])) {
        number = readNumber(name, 2);
        numbered = true;
    } else if (startsWith(normal, "WINDOWS-") && name.length() >= 10 && isDigit(s[8])) {
        number = readNumber(name, 8);
        numbered = true;
    }

    if (numbered) {
        choice.codePage = number;
        choice.width = 0;
        choice.names.print(u"CP%lu,WINDOWS-%lu", number, number);
        for (const CodePageRow* row = kCodePages; row->codePage; ++row) {
            if (row->codePage == number) {
                choice.width = row->width;
                choice.names = rowNames(*row);
                break;
            }
        }
        return true;
    }

    // By the table, upper case but with "_" kept: iso_8859_2 is not ISO-8859-2 here.
    String key(name);
    key.toUpper();
    key.insert(',', 0);
    key += ',';
    for (const CodePageRow* row = kCodePages; row->codePage; ++row) {
        if (listContains(row->aliases, key.wstr(), key.length())) {
            choice.codePage = row->codePage;
            choice.width = row->width;
            choice.names = rowNames(*row);
            return true;
        }
    }
    return false;
}

Encoder* UniversalEncoder::make(const String& name) {
    if (name.length() == 0) return &Encoder::getDefault();
    CodePageChoice choice;
    if (!resolve(name, choice)) return nullptr;
    platform::CodePageConverter* converter = platform::openCodePage(choice.codePage);
    if (!converter) return nullptr;
    try {
        return new UniversalEncoder(choice.names, choice.width, choice.codePage, converter);
    } catch (...) {
        platform::closeCodePage(converter);
        throw;
    }
}

UniversalEncoder::UniversalEncoder(const String& names, int32_t width, uint32_t codePage,
                                   platform::CodePageConverter* converter)
    : Encoder(width, true),
      names(names), conversion{codePage, decodingFlagsFor(codePage), encodingFlagsFor(codePage), converter} {}

UniversalEncoder::~UniversalEncoder() {
    platform::closeCodePage(conversion.converter);
}

int16_t UniversalEncoder::getUnicodeLength(const char* src, int32_t len, int32_t& out) const {
    out = 0;
    if (!src || len < 1) return ErrNone;
    int32_t n =
        platform::codePageToUnicode(conversion.converter, conversion.decodingFlags, src, len, nullptr, 0);
    if (n < 0) return ErrCannotConvert;
    out = n;
    return ErrNone;
}

int16_t UniversalEncoder::getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const {
    out = 0;
    if (!src || len < 1) return ErrNone;
    int32_t n =
        platform::codePageToBytes(conversion.converter, conversion.encodingFlags, src, len, nullptr, 0);
    if (n < 0) return ErrConversion;
    out = n;
    return ErrNone;
}

int32_t UniversalEncoder::getDecodedLength(const char* src, int32_t len) {
    int32_t out = 0;
    return getUnicodeLength(src, len, out) == ErrNone ? out : 0;
}

int32_t UniversalEncoder::getEncodedLength(const unsigned short* src, int32_t len) {
    int32_t out = 0;
    return getMBCSLength(src, len, out) == ErrNone ? out : 0;
}

// A destination that is not filled exactly means the platform wrote fewer units than asked for:
// the call counts as failed and the counts stay as they came.
int16_t UniversalEncoder::toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                                    bool) const {
    unsigned short none = 0;
    const int32_t len = src && srcLen > 0 ? srcLen : 0;
    const int32_t room = dst && dstLen > 0 ? dstLen : 0;
    int32_t written = platform::codePageToUnicode(conversion.converter, conversion.decodingFlags, src, len,
                                                  room ? dst : &none, room);
    if (written < 0 || written < dstLen) return ErrConversion;
    dstLen = written;
    return ErrNone;
}

int16_t UniversalEncoder::toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                                 bool) const {
    char none = 0;
    const int32_t len = src && srcLen > 0 ? srcLen : 0;
    const int32_t room = dst && dstLen > 0 ? dstLen : 0;
    int32_t written = platform::codePageToBytes(conversion.converter, conversion.encodingFlags, src, len,
                                                room ? dst : &none, room);
    if (written < 0 || written < dstLen) return ErrConversion;
    dstLen = written;
    return ErrNone;
}

} // namespace Quarn
