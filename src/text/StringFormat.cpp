// String's formatter: print and vprint with the library's own directives, read from a UTF-16 format.
//
// A directive is "%", flags ("-", "+" in any order), an optional "0", a width ("*" or digits), a
// precision ("." then "*" or digits), a size ("l", "L", or the ignored "h"/"H") and a conversion:
//   d D        signed 32-bit decimal
//   u U o O    unsigned decimal, octal,
//   x X b B    hexadecimal (digits in the letter's case), binary; without "l" only the low 16 bits
//              of the argument are written (0x12345 with "x" gives "2345"), with "l" all 32 bits
//   c C        one character: with "l" a UTF-16 unit, without it a byte
//   s          a text: with "l" const unsigned short*, without it const char*; null gives "(null)"
//   e E f F n N  a double (long double with "L"); the precision, or the writer's default
//   g G        a double, with at most 14 significant digits (the precision is not used)
//   p P        a pointer in hexadecimal, zero-padded to at least 8 digits
//   S          nothing, and no argument is read
// Any other unit after "%" is written as itself, so "%%" gives "%". Integer arguments are read as
// int (the library's long is 32-bit), so "%d" and "%ld" read the same argument.
//
// The output of a directive is a text that the width then pads: "-" pads with blanks after it,
// otherwise blanks go before it, or zeros with "0", written after a leading "-" or "+". With both
// "-" and "0" the text is padded with blanks after it, as C does: zeros after a number would change
// its value. A precision only cuts texts ("s") and sets the decimals of e, f and n; integers ignore it.
// A "*" width that is negative left-justifies, a negative "*" precision counts as none. A format
// that ends inside a directive ends the output there.
#include "text/NumberWriter.h"
#include "text/StringEncoding.h"

#include <quarn/Heap.h>
#include <quarn/String.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace Quarn {
namespace {

// The precision of a directive that gives none. It never cuts a text.
constexpr int32_t kNoPrecision = 10000;
// Widths and precisions saturate here instead of overflowing; no String gets that long anyway.
constexpr int32_t kFieldLimit = 0x40000000;

const char kLowerDigits[] = "0123456789abcdef";
const char kUpperDigits[] = "0123456789ABCDEF";

// "00" to "99", so decimal numbers are written two digits per division.
struct DigitPairs {
    char text[200];
    constexpr DigitPairs() : text() {
        for (int i = 0; i < 100; ++i) {
            text[2 * i] = static_cast<char>('0' + i / 10);
            text[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
constexpr DigitPairs kDigitPairs;

// The formatted units. They are built apart from the String being filled, so that arguments may
// point into that String, and so that it is resized once. Short results never touch the heap.
class Output {
public:
    Output() : units(local), used(0), capacity(kLocalUnits) {}
    ~Output() {
        if (units != local) Heap::operator delete[](units);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    size_t size() const { return used; }
    unsigned short* begin() { return units; }

    // Room for n more units, at the returned pointer; commit() then counts what was written there.
    unsigned short* reserve(size_t n) {
        if (capacity - used < n) grow(n);
        return units + used;
    }
    void commit(size_t n) { used += n; }
    void truncate(size_t n) { used = n; }

    void put(unsigned short c) {
        *reserve(1) = c;
        ++used;
    }
    void put(const unsigned short* text, size_t n) {
        if (n == 0) return;
        std::memcpy(reserve(n), text, n * 2);
        used += n;
    }
    void putAscii(const char* text, size_t n) {
        unsigned short* to = reserve(n);
        for (size_t i = 0; i < n; ++i)
            to[i] = static_cast<unsigned char>(text[i]);
        used += n;
    }
    void fill(unsigned short c, size_t n) {
        unsigned short* to = reserve(n);
        for (size_t i = 0; i < n; ++i)
            to[i] = c;
        used += n;
    }

private:
    static constexpr size_t kLocalUnits = 256;

    void grow(size_t n) {
        if (n > SIZE_MAX / 8 - used) throw std::bad_alloc();
        size_t next = capacity * 2;
        if (next < used + n) next = used + n;
        if (units == local) {
            auto* fresh = static_cast<unsigned short*>(Heap::operator new[](next * 2));
            std::memcpy(fresh, local, used * 2);
            units = fresh;
        } else {
            units = static_cast<unsigned short*>(Heap::reAlloc(units, next * 2));
        }
        capacity = next;
    }

    unsigned short* units;
    size_t used;
    size_t capacity;
    unsigned short local[kLocalUnits];
};

// The variable arguments, copied so that helpers can read them by reference on every ABI.
struct Arguments {
    va_list list;
    explicit Arguments(va_list from) { va_copy(list, from); }
    ~Arguments() { va_end(list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
};

struct Directive {
    bool left = false;
    bool plus = false;
    bool zero = false;
    int32_t width = 0;
    bool hasPrecision = false;
    int32_t precision = kNoPrecision;
    unsigned short size = 0;
};

// Byte texts and characters ("%s", "%c" without "l") are decoded with the default encoder, as
// String::decode does: straight into the output, in one call when the encoder can tell the length.
void decodeBytes(Output& out, const char* bytes, size_t count) {
    struct Sink {
        Output& out;
        unsigned short* reserve(int32_t n) { return out.reserve(static_cast<size_t>(n)); }
        void commit(int32_t n) { out.commit(static_cast<size_t>(n)); }
    } sink{out};
    const int32_t len = count > static_cast<size_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(count);
    decodeBytesInto(Encoder::getDefault(), bytes, len, sink);
}

int32_t readDigits(const unsigned short*& p) {
    int32_t n = 0;
    while (*p >= '0' && *p <= '9') {
        n = n <= (kFieldLimit - 9) / 10 ? n * 10 + (*p - '0') : kFieldLimit;
        ++p;
    }
    return n;
}

int32_t clampField(int value) {
    return value > kFieldLimit ? kFieldLimit : static_cast<int32_t>(value);
}

inline int decimalDigits(uint32_t v) {
    return v < 10           ? 1
           : v < 100        ? 2
           : v < 1000       ? 3
           : v < 10000      ? 4
           : v < 100000     ? 5
           : v < 1000000    ? 6
           : v < 10000000   ? 7
           : v < 100000000  ? 8
           : v < 1000000000 ? 9
                            : 10;
}

void writeDecimal(Output& out, uint32_t v, char sign) {
    const int digits = decimalDigits(v);
    const size_t length = static_cast<size_t>(digits) + (sign ? 1 : 0);
    unsigned short* start = out.reserve(length);
    unsigned short* p = start + length;
    while (v >= 100) {
        const char* pair = kDigitPairs.text + 2 * (v % 100);
        v /= 100;
        p -= 2;
        p[0] = static_cast<unsigned char>(pair[0]);
        p[1] = static_cast<unsigned char>(pair[1]);
    }
    if (v >= 10) {
        const char* pair = kDigitPairs.text + 2 * v;
        p -= 2;
        p[0] = static_cast<unsigned char>(pair[0]);
        p[1] = static_cast<unsigned char>(pair[1]);
    } else {
        *--p = static_cast<unsigned short>('0' + v);
    }
    if (sign) *start = static_cast<unsigned short>(sign);
    out.commit(length);
}

// Octal, hexadecimal and binary: shift bits per digit, at least minDigits digits (zero-padded).
void writePowerOfTwo(Output& out, uint64_t v, unsigned shift, const char* digitSet, int minDigits) {
    int digits = 0;
    for (uint64_t rest = v; rest; rest >>= shift)
        ++digits;
    if (digits < minDigits) digits = minDigits;
    const uint64_t mask = (uint64_t{1} << shift) - 1;
    unsigned short* p = out.reserve(static_cast<size_t>(digits)) + digits;
    for (int i = 0; i < digits; ++i) {
        *--p = static_cast<unsigned char>(digitSet[v & mask]);
        v >>= shift;
    }
    out.commit(static_cast<size_t>(digits));
}

template <class T> void writeFloating(Output& out, T v, char conversion, int32_t precision, bool plus) {
    const size_t bound = NumberWriter::maxLength(v, conversion, precision, 0);
    char local[NumberWriter::kSmallBuffer];
    char* text = local;
    struct Release {
        char* block = nullptr;
        ~Release() { Heap::operator delete[](block); }
    } release;
    if (bound > sizeof local) text = release.block = static_cast<char*>(Heap::operator new[](bound));
    const size_t n = NumberWriter::write(text, v, conversion, precision, 0, plus);
    out.putAscii(text, n);
}

// Pads the text written since start to the directive's width.
void justify(Output& out, size_t start, const Directive& d) {
    const size_t length = out.size() - start;
    if (static_cast<size_t>(d.width) <= length) return;
    const size_t pad = static_cast<size_t>(d.width) - length;
    if (d.left) {
        out.fill(' ', pad);
        return;
    }
    out.reserve(pad);
    unsigned short* text = out.begin() + start;
    unsigned short padding = ' ';
    size_t keep = 0; // units that stay in front of the padding
    if (d.zero) {
        padding = '0';
        if (length > 0 && (text[0] == '-' || text[0] == '+')) keep = 1;
    }
    std::memmove(text + keep + pad, text + keep, (length - keep) * 2);
    for (size_t i = 0; i < pad; ++i)
        text[keep + i] = padding;
    out.commit(pad);
}

void writeText(Output& out, Arguments& args, const Directive& d) {
    static const char kNull[] = "(null)";
    const size_t start = out.size();
    if (d.size == 'l') {
        const unsigned short* text = va_arg(args.list, const unsigned short*);
        if (!text) {
            out.putAscii(kNull, sizeof kNull - 1);
        } else {
            // With a precision the text may be unterminated past the units that are shown.
            size_t limit = d.hasPrecision ? static_cast<size_t>(d.precision) : SIZE_MAX;
            size_t n = 0;
            while (n < limit && text[n])
                ++n;
            out.put(text, n);
            return;
        }
    } else {
        const char* text = va_arg(args.list, const char*);
        if (text) {
            decodeBytes(out, text, std::strlen(text));
        } else {
            out.putAscii(kNull, sizeof kNull - 1);
        }
    }
    if (d.hasPrecision && out.size() - start > static_cast<size_t>(d.precision))
        out.truncate(start + static_cast<size_t>(d.precision));
}

// Reads one directive after its "%"; returns the position after it, or null when the format ends
// inside the directive.
const unsigned short* formatDirective(Output& out, const unsigned short* p, Arguments& args) {
    Directive d;
    for (;; ++p) {
        if (*p == '-') {
            d.left = true;
        } else if (*p == '+') {
            d.plus = true;
        } else {
            break;
        }
    }
    if (*p == '0') {
        d.zero = true;
        ++p;
    }
    if (*p == '*') {
        int width = va_arg(args.list, int);
        if (width < 0) {
            d.left = true;
            width = width == INT32_MIN ? INT32_MAX : -width;
        }
        d.width = clampField(width);
        ++p;
    } else {
        d.width = readDigits(p);
    }
    if (*p == '.') {
        ++p;
        d.hasPrecision = true;
        if (*p == '*') {
            int precision = va_arg(args.list, int);
            if (precision < 0) {
                d.hasPrecision = false;
                d.precision = kNoPrecision;
            } else {
                d.precision = clampField(precision);
            }
            ++p;
        } else {
            d.precision = readDigits(p);
        }
    }
    if (*p == 'l' || *p == 'L' || *p == 'h' || *p == 'H') d.size = *p++;
    const unsigned short conversion = *p;
    if (conversion == 0) return nullptr;
    ++p;

    const size_t start = out.size();
    switch (conversion) {
    case 'd':
    case 'D': {
        const int32_t v = va_arg(args.list, int);
        const uint32_t magnitude = v < 0 ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
        writeDecimal(out, magnitude, v < 0 ? '-' : d.plus ? '+' : 0);
        break;
    }
    case 'u':
    case 'U':
    case 'o':
    case 'O':
    case 'x':
    case 'X':
    case 'b':
    case 'B': {
        uint32_t v = va_arg(args.list, unsigned int);
        if (d.size != 'l') v &= 0xFFFF;
        switch (conversion | 0x20) {
        case 'u':
            writeDecimal(out, v, 0);
            break;
        case 'o':
            writePowerOfTwo(out, v, 3, kLowerDigits, 1);
            break;
        case 'x':
            writePowerOfTwo(out, v, 4, conversion == 'X' ? kUpperDigits : kLowerDigits, 1);
            break;
        default:
            writePowerOfTwo(out, v, 1, kLowerDigits, 1);
            break;
        }
        break;
    }
    case 'c':
    case 'C': {
        const int v = va_arg(args.list, int);
        if (d.size == 'l') {
            out.put(static_cast<unsigned short>(v));
        } else {
            const char byte = static_cast<char>(v);
            decodeBytes(out, &byte, 1);
        }
        break;
    }
    case 's':
        writeText(out, args, d);
        break;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'n':
    case 'N':
    case 'g':
    case 'G': {
        const char c = static_cast<char>(conversion);
        int32_t precision = (c | 0x20) == 'g' ? NumberWriter::kShortestPrecision
                            : d.hasPrecision  ? d.precision
                                              : NumberWriter::kDefaultPrecision;
        if (d.size == 'L') {
            writeFloating(out, va_arg(args.list, long double), c, precision, d.plus);
        } else {
            writeFloating(out, va_arg(args.list, double), c, precision, d.plus);
        }
        break;
    }
    case 'p':
    case 'P': {
        const auto v = reinterpret_cast<uintptr_t>(va_arg(args.list, void*));
        writePowerOfTwo(out, v, 4, conversion == 'P' ? kUpperDigits : kLowerDigits, 8);
        break;
    }
    case 'S':
        return p;
    default:
        out.put(conversion);
        break;
    }
    justify(out, start, d);
    return p;
}

void format(Output& out, const unsigned short* p, Arguments& args) {
    for (;;) {
        const unsigned short* run = p;
        while (*p && *p != '%')
            ++p;
        out.put(run, static_cast<size_t>(p - run));
        if (!*p) return;
        p = formatDirective(out, p + 1, args);
        if (!p) return;
    }
}

} // namespace

void String::vprint(const unsigned short* format, va_list args) {
    Output out;
    if (format) {
        Arguments arguments(args);
        Quarn::format(out, format, arguments);
    }
    if (out.size() > static_cast<size_t>(INT32_MAX)) throw std::bad_alloc();
    const auto n = static_cast<int32_t>(out.size());
    if (data->refCount > 1) {
        // A shared buffer is not ours to keep, and copying its text only to overwrite it is waste.
        String fresh;
        fresh.add(out.begin(), n);
        *this = std::move(fresh);
    } else if (n == 0) {
        clear();
    } else {
        // Resizing first keeps this string as it was if the allocation fails.
        adjust(n);
        std::memcpy(data->units, out.begin(), static_cast<size_t>(n) * 2);
    }
}

void String::print(const unsigned short* format, ...) {
    va_list args;
    va_start(args, format);
    struct End {
        va_list& list;
        ~End() { va_end(list); }
    } end{args};
    vprint(format, args);
}

void String::print(const char16_t* format, ...) {
    va_list args;
    va_start(args, format);
    struct End {
        va_list& list;
        ~End() { va_end(list); }
    } end{args};
    vprint(u16(format), args);
}

} // namespace Quarn
