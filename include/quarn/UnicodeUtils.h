// UnicodeUtils: locale-free classification and case mapping of single UTF-16 code units, and
// comparison of UTF-16 text with 8-bit text. Results never depend on the platform's settings;
// nothing here allocates. Surrogate pairs are not combined: every function sees one unit.
#ifndef QUARN_UNICODEUTILS_H
#define QUARN_UNICODEUTILS_H

#include <quarn/Config.h>

namespace Quarn {

class QUARN_API UnicodeUtils {
public:
    static bool isWS(unsigned short c);          // white space
    static bool isCf(unsigned short c);          // invisible format characters
    static bool isPd(unsigned short c);          // dash punctuation
    static bool isSymbolStart(unsigned short c); // may start an identifier
    static bool isSymbolChar(unsigned short c);  // may continue an identifier

    // Case mapping. ASCII is answered here; other units from tables built from the case rules.
    static unsigned short towlower(unsigned short c) {
        if (c < 128) return static_cast<unsigned short>(static_cast<unsigned>(c - 'A') < 26u ? c + 32 : c);
        return lowerBeyondAscii(c);
    }
    static unsigned short towupper(unsigned short c) {
        if (c < 128) return static_cast<unsigned short>(static_cast<unsigned>(c - 'a') < 26u ? c - 32 : c);
        return upperBeyondAscii(c);
    }

    // Classes derived from the case mappings.
    static bool iswlower(unsigned short c) { return towupper(c) != c; }
    static bool iswupper(unsigned short c) { return towlower(c) != c; }
    static bool iswalpha(unsigned short c) { return towlower(c) != towupper(c); }
    static bool iswalnum(unsigned short c) { return (c >= '0' && c <= '9') || iswalpha(c); }

    // A decimal integer: white space, an optional sign, digits; no overflow check (32-bit wrap-around).
    // Here and in the comparisons below a null text reads as an empty one.
    static int32_t watol(const unsigned short* text);

    // UTF-16 text against 8-bit text, each byte taken as the unit of the same value (0 to 255).
    // The result is the difference of the first unequal pair, 0 when both end together.
    static int wcscmpmb(const unsigned short* a, const char* b);
    static int wcsncmpmb(const unsigned short* a, const char* b, int32_t n);
    // The same through towupper on both sides.
    static int wcsicmpmb(const unsigned short* a, const char* b);
    static int wcsnicmpmb(const unsigned short* a, const char* b, int32_t n);

    UnicodeUtils() = delete;

private:
    static unsigned short lowerBeyondAscii(unsigned short c);
    static unsigned short upperBeyondAscii(unsigned short c);
};

} // namespace Quarn

#endif
