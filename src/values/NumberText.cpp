#include "values/NumberText.h"

#include <quarn/Heap.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>

namespace Quarn {
namespace detail {
namespace {

const double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
const uint64_t kPow10Int[] = {1ULL,
                              10ULL,
                              100ULL,
                              1000ULL,
                              10000ULL,
                              100000ULL,
                              1000000ULL,
                              10000000ULL,
                              100000000ULL,
                              1000000000ULL,
                              10000000000ULL,
                              100000000000ULL,
                              1000000000000ULL,
                              10000000000000ULL,
                              100000000000000ULL,
                              1000000000000000ULL,
                              10000000000000000ULL,
                              100000000000000000ULL,
                              1000000000000000000ULL,
                              10000000000000000000ULL};

const char kDigitPairs[] = "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
                           "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
                           "8081828384858687888990919293949596979899";

// The exact products below need plain double arithmetic (no extended precision, no contraction).
constexpr bool kExactDoubles = FLT_EVAL_METHOD == 0;

// a * b == p + error exactly (Dekker's product; no overflow for the magnitudes used here).
inline double productError(double a, double b, double p) {
    const double splitter = 134217729.0; // 2^27 + 1
    double ta = splitter * a, tb = splitter * b;
    double aHigh = ta - (ta - a), aLow = a - aHigh;
    double bHigh = tb - (tb - b), bLow = b - bHigh;
    return ((aHigh * bHigh - p) + aHigh * bLow + aLow * bHigh) + aLow * bLow;
}

// a * 10^k rounded to the nearest integer, ties to even, computed from the exact product: what
// printf does with the binary value. False when a * 10^k is too large for the exact test.
bool roundScaled(double a, int k, uint64_t& n) {
    if (!kExactDoubles || k < 0 || k > 22) return false;
    const double scale = kPow10[k];
    const double p = a * scale;
    // Below 2^52 every product keeps at least one fraction bit, so its error (at most half a unit in
    // the last place) can never carry the fraction across one half unless the fraction is one half.
    if (!(p < 4503599627370496.0)) return false;
    const double error = productError(a, scale, p);
    const double whole = std::floor(p);
    const double fraction = p - whole;
    n = static_cast<uint64_t>(whole);
    if (fraction > 0.5 || (fraction == 0.5 && (error > 0 || (error == 0 && (n & 1))))) ++n;
    return true;
}

// The general conversion: std::to_chars writes what printf writes in the "C" locale, whatever
// locale the host has set.
void appendGeneral(double v, std::chars_format format, int decimals, NumberBuffer& out) {
    // "%f" of the largest double has 309 integer digits.
    const int32_t room = 330 + decimals;
    char* at = out.reserve(room);
    std::to_chars_result written = std::to_chars(at, at + room, v, format, decimals);
    out.commit(static_cast<int32_t>(written.ptr - at));
}

#ifdef __SIZEOF_INT128__
__extension__ typedef unsigned __int128 UInt128;

// Decimal digits of an integral double of at least 2^64 (which is m * 2^e with e > 0).
int writeLargeIntegral(double a, char* out) {
    int exponent = 0;
    double fraction = std::frexp(a, &exponent);
    UInt128 value = static_cast<UInt128>(static_cast<uint64_t>(std::ldexp(fraction, 53))) << (exponent - 53);
    char digits[40];
    int count = 0;
    const uint64_t chunk = 10000000000000000000ULL; // 10^19
    while (value >= chunk) {
        uint64_t low = static_cast<uint64_t>(value % chunk);
        value /= chunk;
        for (int i = 0; i < 19; ++i, low /= 10)
            digits[count++] = static_cast<char>('0' + low % 10);
    }
    for (uint64_t high = static_cast<uint64_t>(value); high; high /= 10)
        digits[count++] = static_cast<char>('0' + high % 10);
    for (int i = 0; i < count; ++i)
        out[i] = digits[count - 1 - i];
    return count;
}
#endif

} // namespace

NumberBuffer::~NumberBuffer() {
    if (bytes != inlineBytes) Heap::operator delete[](bytes);
}

char* NumberBuffer::reserve(int32_t n) {
    if (size + n > capacity) {
        int32_t grown = capacity * 2 > size + n ? capacity * 2 : size + n;
        char* bigger = static_cast<char*>(Heap::operator new[](static_cast<size_t>(grown)));
        std::memcpy(bigger, bytes, static_cast<size_t>(size));
        if (bytes != inlineBytes) Heap::operator delete[](bytes);
        bytes = bigger;
        capacity = grown;
    }
    return bytes + size;
}

void NumberBuffer::append(const char* text, int32_t n) {
    std::memcpy(reserve(n), text, static_cast<size_t>(n));
    size += n;
}

int writeUnsigned(uint64_t value, char* out) {
    char digits[20];
    int at = 20;
    while (value >= 100) {
        unsigned pair = static_cast<unsigned>(value % 100) * 2;
        value /= 100;
        digits[--at] = kDigitPairs[pair + 1];
        digits[--at] = kDigitPairs[pair];
    }
    if (value >= 10) {
        unsigned pair = static_cast<unsigned>(value) * 2;
        digits[--at] = kDigitPairs[pair + 1];
        digits[--at] = kDigitPairs[pair];
    } else {
        digits[--at] = static_cast<char>('0' + value);
    }
    std::memcpy(out, digits + at, static_cast<size_t>(20 - at));
    return 20 - at;
}

void appendFixed(double v, int decimals, NumberBuffer& out) {
    if (decimals < 0) decimals = 6;
    const double a = std::fabs(v);
    uint64_t n = 0;
    if (std::isfinite(v) && roundScaled(a, decimals, n)) {
        if (std::signbit(v)) out.push('-');
        // n < 2^52 < 10^16: with more than 19 decimals the integer part is 0.
        const uint64_t whole = decimals <= 19 ? n / kPow10Int[decimals] : 0;
        char* at = out.reserve(24 + decimals);
        int length = writeUnsigned(whole, at);
        if (decimals > 0) {
            at[length++] = '.';
            char fraction[24];
            int count = writeUnsigned(decimals <= 19 ? n % kPow10Int[decimals] : n, fraction);
            std::memset(at + length, '0', static_cast<size_t>(decimals - count));
            std::memcpy(at + length + decimals - count, fraction, static_cast<size_t>(count));
            length += decimals;
        }
        out.commit(length);
        return;
    }
    if (std::isfinite(v) && decimals == 0 && a == std::floor(a)) {
        // An integral value: its exact digits, as "%.0f" prints them.
        if (a < 18446744073709551616.0) {
            if (std::signbit(v)) out.push('-');
            out.commit(writeUnsigned(static_cast<uint64_t>(a), out.reserve(24)));
            return;
        }
#ifdef __SIZEOF_INT128__
        if (a < 1e21) {
            if (std::signbit(v)) out.push('-');
            out.commit(writeLargeIntegral(a, out.reserve(24)));
            return;
        }
#endif
    }
    appendGeneral(v, std::chars_format::fixed, decimals, out);
}

void appendExponential(double v, int decimals, NumberBuffer& out) {
    if (decimals < 0) decimals = 6;
    appendGeneral(v, std::chars_format::scientific, decimals, out);
}

} // namespace detail
} // namespace Quarn
