// The floating-point writer. Digits come from std::to_chars, which is specified to give exactly what
// printf gives in the "C" locale (correctly rounded, exact for any precision) while ignoring the
// process locale and running several times faster than printf. Sign, non-finite values, digit
// grouping, capitals and width are written here.
#include "text/NumberWriter.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#if !defined(__cpp_lib_to_chars)
#include <cstdio>
#endif

namespace Quarn {
namespace {

inline bool isUpper(char conversion) {
    return conversion >= 'A' && conversion <= 'Z';
}
inline char lowerOf(char conversion) {
    return static_cast<char>(conversion | 0x20);
}

int32_t effectivePrecision(char lower, int32_t precision) {
    if (precision >= 0) return precision;
    if (lower == 'g' && precision == NumberWriter::kShortestPrecision) return 14;
    return 6;
}

// Decimal digits in the integer part of a finite |v|, rounded up generously.
template <class T> size_t integerDigits(T v) {
    if (!(v >= 1 || v <= -1)) return 1;
    int binaryExponent = std::ilogb(v);
    // log10(2) < 0.30103: one digit of slack for the truncation, one for rounding up to a new power.
    return static_cast<size_t>(binaryExponent) * 30103 / 100000 + 2;
}

template <class T> size_t maxLengthOf(T v, char conversion, int32_t precision, int32_t width) {
    const char lower = lowerOf(conversion);
    const size_t digits = static_cast<size_t>(effectivePrecision(lower, precision));
    size_t body;
    if (!std::isfinite(v)) {
        body = 4;
    } else if (lower == 'e') {
        body = 1 + 1 + 1 + digits + 2 + 5; // sign, digit, point, decimals, "e+" and up to five digits
    } else if (lower == 'g') {
        body = 1 + digits + 12; // either form: at most "0.0000" or "e+xxxxx" around the digits
    } else {
        size_t whole = integerDigits(v);
        body = 1 + whole + 1 + digits;
        if (lower == 'n') body += whole / 3;
    }
    ++body; // the terminator that printf writes where to_chars is missing
    return width > 0 && static_cast<size_t>(width) > body ? static_cast<size_t>(width) : body;
}

// Puts "," between groups of three integer digits of the fixed text at [digits, end); returns the new end.
char* groupThousands(char* digits, char* end) {
    char* point = digits;
    while (point < end && *point != '.')
        ++point;
    size_t whole = static_cast<size_t>(point - digits);
    if (whole <= 3) return end;
    size_t commas = (whole - 1) / 3;
    std::memmove(point + commas, point, static_cast<size_t>(end - point));
    // Walk the integer digits from the right; the destination is never left of the source.
    char* to = point + commas;
    for (size_t i = 0; i < whole; ++i) {
        if (i > 0 && i % 3 == 0) *--to = ',';
        *--to = point[-1 - static_cast<ptrdiff_t>(i)];
    }
    return end + commas;
}

#if defined(__cpp_lib_to_chars)
template <class T> char* writeDigits(char* out, char* limit, T v, char lower, int32_t digits) {
    std::chars_format form = lower == 'e'   ? std::chars_format::scientific
                             : lower == 'g' ? std::chars_format::general
                                            : std::chars_format::fixed;
    return std::to_chars(out, limit, v, form, digits).ptr;
}
#else
// Toolchains without floating-point to_chars: printf gives the same digits while the process runs in
// the "C" locale.
template <class T> char* writeDigits(char* out, char* limit, T v, char lower, int32_t digits) {
    char format[] = {'%', '.', '*', 'L', lower == 'n' ? 'f' : lower, 0};
    int n = std::snprintf(out, static_cast<size_t>(limit - out), format, digits, static_cast<long double>(v));
    return out + (n > 0 ? n : 0);
}
#endif

template <class T>
size_t writeOf(char* out, T v, char conversion, int32_t precision, int32_t width, bool plus) {
    const char lower = lowerOf(conversion);
    char* p = out;
    if (std::signbit(v)) {
        *p++ = '-';
        v = -v;
    } else if (plus) {
        *p++ = '+';
    }
    if (std::isnan(v)) {
        std::memcpy(p, "nan", 3);
        p += 3;
    } else if (std::isinf(v)) {
        std::memcpy(p, "inf", 3);
        p += 3;
    } else {
        char* limit = out + maxLengthOf(v, conversion, precision, 0);
        char* digits = p;
        p = writeDigits(p, limit, v, lower, effectivePrecision(lower, precision));
        if (lower == 'n') p = groupThousands(digits, p);
    }
    if (isUpper(conversion)) {
        for (char* c = out; c < p; ++c)
            if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 32);
    }
    size_t length = static_cast<size_t>(p - out);
    if (width > 0 && static_cast<size_t>(width) > length) {
        size_t pad = static_cast<size_t>(width) - length;
        std::memmove(out + pad, out, length);
        std::memset(out, ' ', pad);
        length += pad;
    }
    return length;
}

} // namespace

size_t NumberWriter::maxLength(double v, char conversion, int32_t precision, int32_t width) {
    return maxLengthOf(v, conversion, precision, width);
}

size_t NumberWriter::maxLength(long double v, char conversion, int32_t precision, int32_t width) {
    return maxLengthOf(v, conversion, precision, width);
}

size_t NumberWriter::write(char* out, double v, char conversion, int32_t precision, int32_t width,
                           bool plus) {
    return writeOf(out, v, conversion, precision, width, plus);
}

size_t NumberWriter::write(char* out, long double v, char conversion, int32_t precision, int32_t width,
                           bool plus) {
    return writeOf(out, v, conversion, precision, width, plus);
}

} // namespace Quarn
