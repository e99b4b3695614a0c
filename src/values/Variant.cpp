#include "memory/Modules.h"
#include "values/NumberText.h"

#include <quarn/Array.h>
#include <quarn/ErrorCodes.h>
#include <quarn/UnicodeUtils.h>
#include <quarn/Variant.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace Quarn {

using detail::NumberBuffer;

namespace {

// The number-class cache and the text-cached flag.
enum : uint16_t {
    kClassKnown = 1 << 0,
    kFinite = 1 << 1,
    kInt32 = 1 << 2,
    kUInt32 = 1 << 3,
    kNaNClass = 1 << 4,
    kPosInf = 1 << 5,
    kNegInf = 1 << 6,
    kMinus0 = 1 << 7,
    kTextCached = 1 << 8,
};

Variant* sharedUndefined = nullptr;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

static_assert(sizeof(Array) == sizeof(void*), "an Array handle must fit the Variant payload");
static_assert(sizeof(String) == sizeof(void*), "a String handle must fit the Variant payload");

template <class T> T* newOnHeap(const T& value) {
    return new (Heap::operator new(sizeof(T))) T(value);
}

template <class T> void deleteOnHeap(T* p) {
    p->~T();
    Heap::operator delete(p);
}

String asciiToString(const char* text, int32_t length) {
    unsigned short local[128];
    unsigned short* units =
        length <= 128 ? local
                      : static_cast<unsigned short*>(Heap::operator new[](static_cast<size_t>(length) * 2));
    for (int32_t i = 0; i < length; ++i)
        units[i] = static_cast<unsigned char>(text[i]);
    String out;
    try {
        out = String(units, length);
    } catch (...) {
        if (units != local) Heap::operator delete[](units);
        throw;
    }
    if (units != local) Heap::operator delete[](units);
    return out;
}

// Values whose text or number can change behind the Variant's back (an Array reachable through
// getArray(), an object's data) are never cached.
inline bool cachesConversions(uint8_t kind) {
    return kind != TypeArray && kind != TypeObject && kind != TypeLiveObject;
}

// Saturating conversion of a coordinate for the "%ld" text forms.
int32_t coordinate(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return INT32_MAX;
    if (v <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(v);
}

void appendInteger(NumberBuffer& out, int32_t v) {
    uint64_t magnitude = v < 0 ? static_cast<uint64_t>(-static_cast<int64_t>(v)) : static_cast<uint64_t>(v);
    if (v < 0) out.push('-');
    out.commit(detail::writeUnsigned(magnitude, out.reserve(24)));
}

// ---- number to text

void appendRadix(double v, int radix, NumberBuffer& out) {
    double n = std::floor(std::fabs(v));
    char digits[1100]; // 2^1024 in base 2 needs 1024 digits
    int count = 0;
    do {
        int digit = static_cast<int>(std::fmod(n, radix));
        digits[count++] = static_cast<char>(digit < 10 ? '0' + digit : 'a' + digit - 10);
        n = std::floor(n / radix);
    } while (n > 0 && count < static_cast<int>(sizeof digits));
    if (v < 0) out.push('-');
    char* at = out.reserve(count);
    for (int i = 0; i < count; ++i)
        at[i] = digits[count - 1 - i];
    out.commit(count);
}

void formatNumber(double v, int radix, int precision, int mode, NumberBuffer& out) {
    if (std::isnan(v)) return out.append("NaN", 3);
    if (std::isinf(v)) return v > 0 ? out.append("Infinity", 8) : out.append("-Infinity", 9);
    if (radix != 0 && radix != 10) {
        if (v == 0) return out.push('0');
        if (radix < 2 || radix > 36) return out.append("NaN", 3);
        return appendRadix(v, radix, out);
    }
    const double a = std::fabs(v);
    bool fixed;
    if (mode == 0) {
        if (a < 1e21 && v == std::floor(v)) {
            // Integral: "%.0f" from 1e9 on, the 32-bit integer below (so -0 gives "0").
            if (a >= 1e9) return detail::appendFixed(v, 0, out);
            return appendInteger(out, static_cast<int32_t>(v));
        }
        fixed = a >= 1e-6 && a < 1e21;
    } else {
        fixed = mode == 1;
    }

    NumberBuffer raw;
    if (fixed) {
        // At most 15 significant digits: 15 minus the integer digits, unless the precision asks
        // for fewer (a negative count falls back to C's default of 6, as printf does).
        int integerDigits = a > 0 ? static_cast<int>(std::log10(a)) : 0;
        if (integerDigits < 0) integerDigits = 0;
        if (a >= 1) ++integerDigits;
        int decimals = 15 - integerDigits < precision ? 15 - integerDigits : precision;
        detail::appendFixed(v, decimals, raw);
    } else {
        detail::appendExponential(v, precision, raw);
    }

    // Split into mantissa and exponent at the "e".
    const char* text = raw.text();
    const int32_t length = raw.length();
    int32_t e = 0;
    while (e < length && text[e] != 'e')
        ++e;
    const char* point = static_cast<const char*>(std::memchr(text, '.', static_cast<size_t>(e)));
    int32_t mantissaEnd = e;
    if (mode == 0) {
        // Trailing zeros go, then a trailing point. A mantissa without a point is an integer
        // whose zeros are digits, not padding, and keeps them.
        if (point) {
            while (text[mantissaEnd - 1] == '0')
                --mantissaEnd;
            if (text[mantissaEnd - 1] == '.') --mantissaEnd;
        }
        out.append(text, mantissaEnd);
    } else {
        out.append(text, mantissaEnd);
        if (precision > 0) {
            int32_t decimals = point ? mantissaEnd - static_cast<int32_t>(point - text) - 1 : 0;
            if (!point) out.push('.');
            for (; decimals < precision; ++decimals)
                out.push('0');
        }
    }
    if (e < length) {
        // The exponent loses the zeros between its sign and its first other digit (e+021 -> e+21);
        // an exponent of zero keeps one digit (e+00 -> e+0), as the script language writes it.
        out.push('e');
        int32_t i = e + 1;
        if (i < length && (text[i] == '+' || text[i] == '-')) out.push(text[i++]);
        while (i < length - 1 && text[i] == '0')
            ++i;
        out.append(text + i, length - i);
    }
}

// ---- text to number

inline bool isAsciiDigit(unsigned short c) {
    return c >= '0' && c <= '9';
}

inline int digitValue(unsigned short c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'z') return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
    return 99;
}

bool matchesWord(const unsigned short* units, int32_t length, int32_t pos, const char* word) {
    for (; *word; ++word, ++pos)
        if (pos >= length || units[pos] != static_cast<unsigned char>(*word)) return false;
    return true;
}

const double kExactPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                              1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Converts the decimal number at units[pos...] (digits, an optional point and digits, an exponent
// only when digits follow its "e" and sign) with correct rounding, as the standard conversion reads
// it; returns how many units it read (0 for none). Up to 15 significant digits with a small power
// of ten are exact in one double operation; anything else goes to std::from_chars.
int32_t readDecimal(const unsigned short* units, int32_t length, int32_t pos, double& value) {
    const unsigned short* const first = units + pos;
    const unsigned short* const end = units + length;
    const unsigned short* p = first;
    uint64_t mantissa = 0;
    int32_t significant = 0, scale = 0;
    // Leading zeros are not significant; at most 19 digits fit the mantissa, later ones only scale.
    while (p < end && *p == '0')
        ++p;
    for (unsigned digit; p < end && (digit = *p - 0x30u) < 10; ++p, ++significant) {
        if (significant < 19)
            mantissa = mantissa * 10 + digit;
        else
            ++scale;
    }
    bool anyDigit = p > first;
    if (p < end && *p == '.') {
        const unsigned short* fraction = ++p;
        if (significant == 0)
            for (; p < end && *p == '0'; ++p)
                --scale;
        for (unsigned digit; p < end && (digit = *p - 0x30u) < 10; ++p, ++significant) {
            if (significant < 19) mantissa = mantissa * 10 + digit, --scale;
        }
        anyDigit |= p > fraction;
    }
    if (!anyDigit) return 0;
    pos = static_cast<int32_t>(p - units);
    int32_t exponent = 0;
    if (pos < length && (units[pos] == 'e' || units[pos] == 'E')) {
        int32_t at = pos + 1;
        bool negative = false;
        if (at < length && (units[at] == '+' || units[at] == '-')) negative = units[at++] == '-';
        if (at < length && isAsciiDigit(units[at])) {
            for (; at < length && isAsciiDigit(units[at]); ++at)
                if (exponent < 100000) exponent = exponent * 10 + (units[at] - '0');
            if (negative) exponent = -exponent;
            pos = at;
        }
    }
    const int32_t start = static_cast<int32_t>(first - units);
    const int32_t power = scale + exponent;
    if (FLT_EVAL_METHOD == 0 && significant <= 15 && power >= -22 && power <= 22) {
        const double m = static_cast<double>(mantissa);
        value = power < 0 ? m / kExactPow10[-power] : m * kExactPow10[power];
        return pos - start;
    }
    NumberBuffer ascii;
    char* at = ascii.reserve(pos - start);
    for (int32_t i = start; i < pos; ++i)
        at[i - start] = static_cast<char>(units[i]);
    ascii.commit(pos - start);
    double result = 0;
    std::from_chars_result read = std::from_chars(ascii.text(), ascii.text() + ascii.length(), result);
    // Out of range: the nearest representable magnitude, as the standard conversion gives.
    if (read.ec == std::errc::result_out_of_range) result = power < 0 ? 0.0 : kInfinity;
    value = result;
    return pos - start;
}

// The integer scanner: an optional prefix allowed by flags, then digits of its base. Reports the
// base and whether any digit was read.
double readInteger(const unsigned short* units, int32_t length, int32_t& pos, int32_t flags, int& base,
                   bool& any) {
    base = 10;
    any = false;
    if ((flags & ScanHexPrefix) && pos + 1 < length && units[pos] == '0' &&
        (units[pos + 1] == 'x' || units[pos + 1] == 'X')) {
        base = 16;
        pos += 2;
    } else if ((flags & ScanOctalPrefix) && pos + 1 < length && units[pos] == '0' &&
               isAsciiDigit(units[pos + 1])) {
        base = 8;
        ++pos;
        any = true;
    }
    const int32_t first = pos;
    double value = 0;
    for (int digit; pos < length && (digit = digitValue(units[pos])) < base; ++pos)
        value = value * base + digit;
    if (pos > first) any = true;
    // Long decimal runs are converted again with correct rounding.
    if (base == 10 && pos - first > 15) readDecimal(units, pos, first, value);
    return value;
}

// What may follow a number, by the low bits of flags.
bool acceptsRemainder(const unsigned short* units, int32_t length, int32_t pos, int32_t flags) {
    if (pos >= length) return true;
    int32_t mode = flags & ~(ScanHexPrefix | ScanOctalPrefix);
    if (mode == ScanStrict) return false;
    if (mode == ScanAllowBlank) return UnicodeUtils::isWS(units[pos]);
    return true;
}

void setRest(String* rest, const String& text, int32_t pos) {
    if (rest) *rest = text.substr(pos);
}

// ToNumber of a string: white space allowed around the number, blank text is 0.
double stringToNumber(const String& s) {
    const unsigned short* units = s.wstr();
    int32_t begin = 0, end = s.length();
    while (begin < end && UnicodeUtils::isWS(units[begin]))
        ++begin;
    while (end > begin && UnicodeUtils::isWS(units[end - 1]))
        --end;
    if (begin == end) return 0;
    if (begin == 0 && end == s.length()) return Variant::scanDouble(s, ScanHexPrefix | ScanStrict);
    return Variant::scanDouble(s.substr(begin, end - begin), ScanHexPrefix | ScanStrict);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Payload

void Variant::release() {
    switch (kind) {
    case TypePoint:
        deleteOnHeap(value.point);
        break;
    case TypeRect:
        deleteOnHeap(value.rect);
        break;
    case TypeArray:
        reinterpret_cast<Array*>(&value.array)->~Array();
        break;
    case TypeObject:
        reinterpret_cast<String*>(&value.object.className)->~String();
        break;
    default:
        break;
    }
    kind = TypeUndefined;
    flags = 0;
    data = nullptr;
    value.number = 0;
    text.erase();
}

void Variant::copyFrom(const Variant& other) {
    // The kind is set last, so that an exhausted copy leaves an undefined value behind.
    switch (other.kind) {
    case TypePoint:
        value.point = newOnHeap(*other.value.point);
        break;
    case TypeRect:
        value.rect = newOnHeap(*other.value.rect);
        break;
    case TypeArray:
        new (&value.array) Array(*reinterpret_cast<const Array*>(&other.value.array));
        break;
    case TypeObject:
        new (&value.object.className) String(*reinterpret_cast<const String*>(&other.value.object.className));
        value.object.id = other.value.object.id;
        break;
    default:
        value = other.value;
        break;
    }
    kind = other.kind;
    text = other.text;
    flags = other.flags;
    data = other.data;
}

Variant::Variant(bool b) : Variant() {
    setBool(b);
}
Variant::Variant(int v) : Variant() {
    setInteger(static_cast<int32_t>(v));
}
Variant::Variant(uint32_t v) : Variant() {
    setInteger(v);
}
Variant::Variant(double v) : Variant() {
    setDouble(v);
}
Variant::Variant(const String& s) : Variant() {
    setString(s);
}
Variant::Variant(const unsigned short* s) : Variant() {
    setString(s);
}
Variant::Variant(const char16_t* s) : Variant() {
    setString(s);
}
Variant::Variant(int32_t id, const String& className, Root* object) : Variant() {
    setObject(id, className, object);
}
Variant::Variant(const Point& p) : Variant() {
    setPoint(p);
}
Variant::Variant(const Rect& r) : Variant() {
    setRect(r);
}
Variant::Variant(const Array& a) : Variant() {
    setArray(a);
}
Variant::Variant(const Variant& other) : Variant() {
    copyFrom(other);
}
Variant::Variant(const Variant* other) : Variant() {
    if (other) copyFrom(*other);
}

// Every payload is relocatable (pointers and one-pointer handles), so a move is a bitwise transfer.
Variant::Variant(Variant&& other) noexcept
    : kind(other.kind), flags(other.flags), data(other.data), value(other.value),
      text(std::move(other.text)) {
    other.kind = TypeUndefined;
    other.flags = 0;
    other.data = nullptr;
    other.value.number = 0;
}

Variant::~Variant() {
    release();
}

Variant& Variant::operator=(const Variant& other) {
    if (this != &other) {
        Variant copy(other);
        *this = std::move(copy);
    }
    return *this;
}

Variant& Variant::operator=(Variant&& other) noexcept {
    if (this != &other) {
        release();
        kind = other.kind;
        flags = other.flags;
        data = other.data;
        value = other.value;
        text = std::move(other.text);
        other.kind = TypeUndefined;
        other.flags = 0;
        other.data = nullptr;
        other.value.number = 0;
    }
    return *this;
}

// ---------------------------------------------------------------------------------------------
// Setters

void Variant::erase() {
    release();
}

void Variant::setNull() {
    release();
    kind = TypeNull;
}

void Variant::setBool(bool b) {
    release();
    kind = TypeBool;
    value.boolean = b;
}

void Variant::setNumberUnchecked(double v) {
    release();
    kind = TypeNumber;
    value.number = v;
}

void Variant::setInteger(int32_t v) {
    setNumberUnchecked(v);
}
void Variant::setInteger(uint32_t v) {
    setNumberUnchecked(v);
}
void Variant::setDouble(double v) {
    setNumberUnchecked(v);
}
void Variant::setMinus0() {
    setNumberUnchecked(-0.0);
}
void Variant::setNaN() {
    setNumberUnchecked(kNaN);
}
void Variant::setPosInfinity() {
    setNumberUnchecked(kInfinity);
}
void Variant::setNegInfinity() {
    setNumberUnchecked(-kInfinity);
}

void Variant::setString(const String& s) {
    String keep(s); // s may be this Variant's own text
    release();
    kind = TypeString;
    text = std::move(keep);
}

void Variant::setString(const unsigned short* s, int32_t len) {
    String keep(s, len);
    release();
    kind = TypeString;
    text = std::move(keep);
}

void Variant::setPoint(const Point& p) {
    Point* copy = newOnHeap(p);
    release();
    kind = TypePoint;
    value.point = copy;
}

void Variant::setRect(const Rect& r) {
    Rect* copy = newOnHeap(r);
    release();
    kind = TypeRect;
    value.rect = copy;
}

void Variant::setArray(const Array& a) {
    Array keep(a); // a may live inside this Variant
    release();
    new (&value.array) Array(keep);
    kind = TypeArray;
}

void Variant::setObject(int32_t id, const String& className, Root* object) {
    String keep(className);
    release();
    new (&value.object.className) String(keep);
    value.object.id = id;
    data = object;
    kind = TypeObject;
}

void Variant::setObjectID(int32_t id) {
    if (kind != TypeObject) setObject(id, String(), nullptr);
    value.object.id = id;
    flags = 0;
}

void Variant::setObjectData(Root* object) {
    if (kind != TypeObject) setObject(0, String(), nullptr);
    data = object;
    flags = 0;
}

// ---------------------------------------------------------------------------------------------
// Queries and readers

VariantType Variant::getDataType() const {
    return static_cast<VariantType>(kind);
}

uint16_t Variant::numberClass() const {
    if (flags & kClassKnown) return flags;
    const double d = getDouble();
    uint16_t found = kClassKnown;
    if (std::isnan(d)) {
        found |= kNaNClass;
    } else if (std::isinf(d)) {
        found |= d > 0 ? kPosInf : kNegInf;
    } else {
        found |= kFinite;
        if (d == 0 && std::signbit(d)) found |= kMinus0;
        if (d == std::trunc(d)) {
            if (d >= -2147483648.0 && d <= 2147483647.0) found |= kInt32;
            if (d >= 0 && d <= 4294967295.0) found |= kUInt32;
        }
    }
    if (!cachesConversions(kind)) return found;
    flags = static_cast<uint16_t>(flags | found);
    return flags;
}

bool Variant::isInteger() const {
    return numberClass() & kInt32;
}
bool Variant::isUInteger() const {
    return numberClass() & kUInt32;
}
bool Variant::isFinite() const {
    return numberClass() & kFinite;
}
bool Variant::isNaN() const {
    return numberClass() & kNaNClass;
}
bool Variant::isMinus0() const {
    return numberClass() & kMinus0;
}

bool Variant::doGetBool() const {
    switch (kind) {
    case TypeUndefined:
    case TypeNull:
        return false;
    case TypeBool:
        return value.boolean;
    case TypeNumber:
        return value.number != 0 && !std::isnan(value.number);
    case TypeString:
        return text.length() > 0;
    default:
        return true; // every object
    }
}

bool Variant::getBool() const {
    return doGetBool();
}

double Variant::doGetDouble() const {
    switch (kind) {
    case TypeNull:
        return 0;
    case TypeBool:
        return value.boolean ? 1 : 0;
    case TypeNumber:
        return value.number;
    case TypeString:
        return stringToNumber(text);
    case TypeArray: {
        String arrayText;
        reinterpret_cast<const Array*>(&value.array)->toString(arrayText);
        return stringToNumber(arrayText);
    }
    default:
        return kNaN;
    }
}

double Variant::getDouble() const {
    return kind == TypeNumber ? value.number : doGetDouble();
}

int32_t Variant::getInteger() const {
    return static_cast<int32_t>(getUInteger());
}

uint32_t Variant::getUInteger() const {
    const double d = getDouble();
    if (!std::isfinite(d)) return 0;
    if (d >= -2147483648.0 && d < 4294967296.0) return static_cast<uint32_t>(static_cast<int64_t>(d));
    double wrapped = std::fmod(std::trunc(d), 4294967296.0);
    if (wrapped < 0) wrapped += 4294967296.0;
    return static_cast<uint32_t>(wrapped);
}

int32_t Variant::getInteger(int32_t min, int32_t max) const {
    double d = getDouble();
    if (std::isnan(d)) d = 0;
    d = std::trunc(d);
    if (d < min) return min;
    if (d > max) return max;
    return static_cast<int32_t>(d);
}

const Array* Variant::getArray() const {
    return kind == TypeArray ? reinterpret_cast<const Array*>(&value.array) : nullptr;
}

Array* Variant::getArray() {
    return kind == TypeArray ? reinterpret_cast<Array*>(&value.array) : nullptr;
}

const String& Variant::getObjectClass() const {
    return kind == TypeObject ? *reinterpret_cast<const String*>(&value.object.className)
                              : String::emptyString();
}

// ---------------------------------------------------------------------------------------------
// Text

void Variant::doToString(String& out, int radix, int precision) const {
    NumberBuffer buffer;
    switch (kind) {
    case TypeUndefined:
        out = u"undefined";
        return;
    case TypeNull:
        out = u"null";
        return;
    case TypeBool:
        out = value.boolean ? u"true" : u"false";
        return;
    case TypeNumber:
        formatNumber(value.number, radix, precision, 0, buffer);
        break;
    case TypeString:
        out = text;
        return;
    case TypeObject: {
        const String& className = getObjectClass();
        out = u"[object ";
        out += className.length() ? className : String(u"Object");
        out += static_cast<unsigned short>(']');
        return;
    }
    case TypePoint:
        appendInteger(buffer, coordinate(value.point->x));
        buffer.push(':');
        appendInteger(buffer, coordinate(value.point->y));
        break;
    case TypeRect:
        appendInteger(buffer, coordinate(value.rect->left));
        buffer.push(':');
        appendInteger(buffer, coordinate(value.rect->top));
        buffer.push('-');
        appendInteger(buffer, coordinate(value.rect->right));
        buffer.push(':');
        appendInteger(buffer, coordinate(value.rect->bottom));
        break;
    case TypeArray: {
        String inner;
        reinterpret_cast<const Array*>(&value.array)->toString(inner);
        out = u"[";
        out += inner;
        out += static_cast<unsigned short>(']');
        return;
    }
    default:
        out.erase();
        return;
    }
    out = asciiToString(buffer.text(), buffer.length());
}

const String& Variant::getString() const {
    if (kind == TypeString || (flags & kTextCached)) return text;
    String fresh;
    doToString(fresh, 10, 15);
    text = std::move(fresh);
    if (cachesConversions(kind)) flags = static_cast<uint16_t>(flags | kTextCached);
    return text;
}

void Variant::toString(String& out) const {
    if (cachesConversions(kind))
        out = getString();
    else
        doToString(out, 10, 15);
}

String Variant::getString(int radix) const {
    if (kind != TypeNumber || radix == 10 || radix == 0) return getString();
    return numberToString(value.number, radix, 15, 0);
}

String Variant::getString(int radix, int precision) const {
    if (kind != TypeNumber) return getString();
    return numberToString(value.number, radix, precision, 0);
}

String Variant::numberToString(double v, int radix, int precision, int mode) {
    NumberBuffer buffer;
    formatNumber(v, radix, precision, mode, buffer);
    return asciiToString(buffer.text(), buffer.length());
}

// ---------------------------------------------------------------------------------------------
// Comparison, conversion, validation

bool Variant::operator==(const Variant& other) const {
    if (kind != other.kind) return false;
    switch (kind) {
    case TypeUndefined:
    case TypeNull:
        return true;
    case TypeBool:
        return value.boolean == other.value.boolean;
    case TypeNumber:
        return value.number == other.value.number;
    case TypeString:
        return text == other.text;
    case TypeObject:
        return value.object.id == other.value.object.id && data == other.data;
    case TypePoint:
        return *value.point == *other.value.point;
    case TypeRect:
        return *value.rect == *other.value.rect;
    case TypeArray:
        return *getArray() == *other.getArray();
    default:
        return false;
    }
}

int32_t Variant::compare(const Variant& other) const {
    if (kind == TypeString && other.kind == TypeString) {
        int order = text.cmp(other.text);
        return order < 0 ? -1 : order > 0 ? 1 : 0;
    }
    const double a = getDouble(), b = other.getDouble();
    return a < b ? -1 : a > b ? 1 : 0;
}

int16_t Variant::convert(VariantType type) {
    if (type == kind) return ErrNone;
    switch (type) {
    case TypeUndefined:
        erase();
        return ErrNone;
    case TypeNull:
        setNull();
        return ErrNone;
    case TypeBool:
        setBool(getBool());
        return ErrNone;
    case TypeNumber:
        setDouble(getDouble());
        return ErrNone;
    case TypeString:
        setString(getString());
        return ErrNone;
    default:
        return ErrTypeMismatch;
    }
}

int16_t Variant::validate(VariantType type) const {
    return getType() == type || getDataType() == type ? ErrNone : ErrTypeMismatch;
}

int16_t Variant::validate(double min, double max) const {
    const double d = getDouble();
    if (std::isnan(d)) return ErrTypeMismatch;
    return d < min || d > max ? ErrOutOfRange : ErrNone;
}

int16_t Variant::validate(int32_t min, int32_t max) const {
    const double d = getDouble();
    if (std::isnan(d) || (std::isfinite(d) && d != std::trunc(d))) return ErrTypeMismatch;
    return d < min || d > max ? ErrOutOfRange : ErrNone;
}

int16_t Variant::validate(uint32_t min, uint32_t max) const {
    const double d = getDouble();
    if (std::isnan(d) || (std::isfinite(d) && d != std::trunc(d))) return ErrTypeMismatch;
    return d < min || d > max ? ErrOutOfRange : ErrNone;
}

// ---------------------------------------------------------------------------------------------
// Scanners

double Variant::scanDouble(const String& text, int32_t flags, String* rest) {
    const unsigned short* units = text.wstr();
    const int32_t length = text.length();
    if (length == 0) {
        if (rest) rest->erase();
        return 0;
    }
    int32_t pos = 0;
    while (pos < length && UnicodeUtils::isWS(units[pos]))
        ++pos;
    double sign = 1;
    if (pos < length && (units[pos] == '+' || units[pos] == '-')) {
        sign = units[pos] == '-' ? -1 : 1;
        ++pos;
        if (pos >= length || UnicodeUtils::isWS(units[pos])) {
            setRest(rest, text, pos);
            return kNaN;
        }
    }
    double result;
    if (matchesWord(units, length, pos, "Infinity")) {
        // Nothing after the words is examined.
        setRest(rest, text, pos + 8);
        return sign * kInfinity;
    }
    if (matchesWord(units, length, pos, "NaN")) {
        setRest(rest, text, pos + 3);
        return kNaN;
    }
    const int32_t numberStart = pos;
    const bool prefixed = pos + 1 < length && units[pos] == '0' &&
                          (((flags & ScanHexPrefix) && (units[pos + 1] == 'x' || units[pos + 1] == 'X')) ||
                           ((flags & ScanOctalPrefix) && isAsciiDigit(units[pos + 1])));
    if (!prefixed) {
        // Decimal: the integer scanner's digits and the decimal re-read are one pass.
        int32_t read = readDecimal(units, length, numberStart, result);
        setRest(rest, text, numberStart + read);
        if (read == 0) return kNaN;
        if (!acceptsRemainder(units, length, numberStart + read, flags)) return kNaN;
        return sign * result;
    }
    int base = 10;
    bool any = false;
    result = readInteger(units, length, pos, flags, base, any);
    if (base != 16 && pos < length && (units[pos] == '.' || units[pos] == 'e' || units[pos] == 'E')) {
        // A fraction or an exponent: read the number again as a decimal floating-point number.
        int32_t read = readDecimal(units, length, numberStart, result);
        if (read == 0) {
            setRest(rest, text, numberStart);
            return kNaN;
        }
        pos = numberStart + read;
    } else if (!any) {
        setRest(rest, text, numberStart);
        return kNaN;
    }
    setRest(rest, text, pos);
    if (!acceptsRemainder(units, length, pos, flags)) return kNaN;
    return sign * result;
}

double Variant::scanInteger(const String& text, int32_t start, int32_t flags, String* rest) {
    const unsigned short* units = text.wstr();
    const int32_t length = text.length();
    int32_t pos = start < 0 ? 0 : start > length ? length : start;
    while (pos < length && UnicodeUtils::isWS(units[pos]))
        ++pos;
    double sign = 1;
    if (pos < length && (units[pos] == '+' || units[pos] == '-')) sign = units[pos++] == '-' ? -1 : 1;
    const int32_t numberStart = pos;
    int base = 10;
    bool any = false;
    double result = readInteger(units, length, pos, flags, base, any);
    if (!any) {
        setRest(rest, text, numberStart);
        return kNaN;
    }
    setRest(rest, text, pos);
    if (!acceptsRemainder(units, length, pos, flags)) return kNaN;
    return sign * result;
}

// ---------------------------------------------------------------------------------------------
// The shared undefined value

const Variant& Variant::undefinedValue() {
    if (sharedUndefined) return *sharedUndefined;
    static const Variant fallback; // before the library starts or after it ends
    return fallback;
}

namespace detail {

void variantModule(bool start) {
    if (start) {
        if (!sharedUndefined) sharedUndefined = new Variant;
        return;
    }
    delete sharedUndefined;
    sharedUndefined = nullptr;
}

} // namespace detail
} // namespace Quarn
