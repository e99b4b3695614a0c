// NumberWriter: the floating-point writer behind the formatter's e, f, g and n directives, shared with
// Variant's number-to-text conversion. For e, f and g it writes byte for byte what C's printf writes
// for "%<width>.<precision><conversion>" in the "C" locale, whatever the process locale is.
#ifndef QUARN_TEXT_NUMBERWRITER_H
#define QUARN_TEXT_NUMBERWRITER_H

#include <quarn/Config.h>

namespace Quarn {

// Conversions (the capital forms write "E", "INF" and "NAN" instead):
//   e  d.ddde+xx, exponent of at least two digits;
//   f  fixed notation;
//   g  C's %g: the shorter of e and f, trailing zeros removed;
//   n  fixed notation as f, with the integer digits grouped by "," in threes ("1,234,567.500000").
// Any other conversion is taken as f.
//
// Precision: the number of decimals for e, f and n, the number of significant digits for g (0 counts
// as 1). Negative values select defaults: kShortestPrecision with g gives at most 14 significant
// digits, as "%.14g"; every other negative value is C's default of 6, so kDefaultPrecision with f
// is "%f".
//
// Non-finite values are written as C writes them: "inf", "nan", with "-" when the sign bit is set
// (so a negative NaN gives "-nan"). A "-0" keeps its sign. plus writes "+" before values whose sign
// bit is clear. The result is right-aligned in width with blanks.
class NumberWriter {
public:
    static constexpr int32_t kDefaultPrecision = -1;
    static constexpr int32_t kShortestPrecision = -14;
    // Holds most results (a double written with f needs at most 317 chars with the default
    // precision); maxLength() tells when a larger buffer is needed.
    static constexpr size_t kSmallBuffer = 512;

    // The most chars write() can produce for these arguments; out must hold that many.
    static size_t maxLength(double v, char conversion, int32_t precision, int32_t width);
    static size_t maxLength(long double v, char conversion, int32_t precision, int32_t width);

    // Writes v into out and returns the number of chars written (no terminator).
    static size_t write(char* out, double v, char conversion, int32_t precision, int32_t width = 0,
                        bool plus = false);
    static size_t write(char* out, long double v, char conversion, int32_t precision, int32_t width = 0,
                        bool plus = false);
};

} // namespace Quarn

#endif
