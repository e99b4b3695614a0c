// String: buffers, sharing, comparison, searching and editing.
//
// A buffer is in one of three states: the static empty buffer (shared by every empty String, never
// freed), shared (count above 1: read-only for every holder) or private (count 1: written in place).
// Every writer makes the buffer private first, except the leading trim of strip(), which is kept
// writing in place on purpose.
#include "memory/Modules.h"
#include "platform/Platform.h"
#include "text/StringAccess.h"
#include "text/StringEncoding.h"

#include <quarn/String.h>
#include <quarn/UnicodeUtils.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <new>

namespace Quarn {

StringData String::emptyBuffer = {0, 0, 1, {0}};

namespace {

constexpr size_t kHeaderBytes = offsetof(StringData, units);
// The largest text a buffer may hold: its byte size must stay a positive 32-bit quantity.
constexpr int32_t kMaxLength = (INT32_MAX - static_cast<int32_t>(kHeaderBytes)) / 2 - 1024;

String* sharedEmptyString = nullptr;

StringData* newBuffer(int32_t n) {
    if (n > kMaxLength) throw std::bad_alloc();
    int32_t capacity = StringAccess::capacityFor(n);
    StringData* buffer =
        static_cast<StringData*>(Heap::operator new[](kHeaderBytes + static_cast<size_t>(capacity) * 2));
    buffer->length = n;
    buffer->limit = capacity - 1;
    buffer->refCount = 1;
    buffer->units[n] = 0;
    return buffer;
}

inline void copyUnits(unsigned short* to, const unsigned short* from, int32_t count) {
    if (count > 0) std::memcpy(to, from, static_cast<size_t>(count) * 2);
}

inline void moveUnits(unsigned short* to, const unsigned short* from, int32_t count) {
    if (count > 0) std::memmove(to, from, static_cast<size_t>(count) * 2);
}

inline int32_t unitLength(const unsigned short* text) {
    const unsigned short* end = text;
    while (*end)
        ++end;
    return static_cast<int32_t>(end - text);
}

// The standard wide-string comparison on 16-bit units: up to the first difference or terminator.
inline int compareUnits(const unsigned short* a, const unsigned short* b) {
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return static_cast<int>(*a) - static_cast<int>(*b);
}

inline int compareCaseless(const unsigned short* a, const unsigned short* b, int32_t limit) {
    for (int32_t i = 0; i < limit; ++i) {
        unsigned short x = UnicodeUtils::towupper(a[i]);
        unsigned short y = UnicodeUtils::towupper(b[i]);
        if (x != y) return static_cast<int>(x) - static_cast<int>(y);
        if (x == 0) return 0;
    }
    return 0;
}

// Index of the first unit of text[i, end) equal to c, or to 0 when stopAtZero, else end. Four units
// are tested at a time with the usual "has a zero lane" bit trick; a hit (or a rare false alarm in a
// lane above a real hit) is settled one unit at a time.
template <bool stopAtZero>
inline int32_t scanUnits(const unsigned short* text, int32_t i, int32_t end, unsigned short c) {
    constexpr uint64_t kLanes = 0x0001000100010001ULL, kHighs = 0x8000800080008000ULL;
    const uint64_t pattern = c * kLanes;
    for (;;) {
        for (; i + 4 <= end; i += 4) {
            uint64_t v;
            std::memcpy(&v, text + i, sizeof v);
            uint64_t x = v ^ pattern;
            uint64_t hit = (x - kLanes) & ~x & kHighs;
            if (stopAtZero) hit |= (v - kLanes) & ~v & kHighs;
            if (hit) break;
        }
        const int32_t stop = end - i > 4 ? i + 4 : end;
        for (; i < stop; ++i)
            if (text[i] == c || (stopAtZero && text[i] == 0)) return i;
        if (i >= end) return end;
    }
}

inline bool unitsEqual(const unsigned short* a, const unsigned short* b, int32_t count) {
    if (count > 16) return std::memcmp(a, b, static_cast<size_t>(count) * 2) == 0;
    for (int32_t i = 0; i < count; ++i)
        if (a[i] != b[i]) return false;
    return true;
}

// Forward search of needle (m > 0 units, none of them 0) in text[start, length). Like the standard
// wide-string search it stops at the first 0 unit of the text.
int32_t searchForward(const unsigned short* text, int32_t length, int32_t start, const unsigned short* needle,
                      int32_t m) {
    const unsigned short first = needle[0];
    const int32_t lastStart = length - m;
    if (m == 1) {
        int32_t i = start <= lastStart ? scanUnits<true>(text, start, lastStart + 1, first) : lastStart + 1;
        return i <= lastStart && text[i] != 0 ? i : -1;
    }
    // Candidates must match the first two units, which rules out most places at once: four places
    // are tested per step, lanes of the text against the first unit and the text one unit on
    // against the second; any 0 unit also stops the step.
    constexpr uint64_t kLanes = 0x0001000100010001ULL, kHighs = 0x8000800080008000ULL;
    const uint64_t firsts = first * kLanes, seconds = needle[1] * kLanes;
    int32_t i = start;
    while (i <= lastStart) {
        for (; i + 4 <= lastStart + 1; i += 4) {
            uint64_t v, w;
            std::memcpy(&v, text + i, sizeof v);
            std::memcpy(&w, text + i + 1, sizeof w);
            uint64_t x = v ^ firsts, y = w ^ seconds;
            uint64_t hit = ((x - kLanes) & ~x & kHighs) & ((y - kLanes) & ~y & kHighs);
            hit |= (v - kLanes) & ~v & kHighs;
            if (hit) break;
        }
        const int32_t stop = lastStart + 1 - i > 4 ? i + 4 : lastStart + 1;
        for (; i < stop; ++i) {
            if (text[i] == 0) return -1;
            if (text[i] == first && unitsEqual(text + i + 1, needle + 1, m - 1)) return i;
        }
    }
    return -1;
}

// Needles end at their first 0 unit, as the standard search reads them.
inline int32_t needleLength(const unsigned short* needle, int32_t length) {
    for (int32_t i = 0; i < length; ++i)
        if (needle[i] == 0) return i;
    return length;
}

int32_t findForward(const StringData* data, int32_t start, const unsigned short* needle, int32_t m) {
    if (start > data->length - m) return -1;
    if (start < 0) start = 0;
    m = needleLength(needle, m);
    if (m == 0) return start;
    return searchForward(data->units, data->length, start, needle, m);
}

int32_t findReverse(const StringData* data, int32_t start, const unsigned short* needle, int32_t m) {
    int32_t last = data->length - m;
    if (start < 0 || start > last) start = last;
    if (start < 0) return -1;
    for (int32_t i = start; i >= 0; --i)
        if (std::memcmp(data->units + i, needle, static_cast<size_t>(m) * 2) == 0) return i;
    return -1;
}

inline bool isMixedCaseSeparator(unsigned short c) {
    return c == ' ' || c == ',' || c == ';' || c == '.';
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Buffers

void String::freeData(StringData* buffer) {
    Heap::operator delete[](buffer);
}

void String::release() {
    if (--data->refCount == 0) freeData(data);
}

bool String::aliases(const unsigned short* text) const {
    const std::less<const unsigned short*> before;
    return !before(text, data->units) && before(text, data->units + data->limit + 1);
}

String::String(const unsigned short* text, int32_t len) : data(&emptyBuffer) {
    if (text && len < 0) len = unitLength(text);
    if (!text || len <= 0) {
        ++emptyBuffer.refCount;
        return;
    }
    data = newBuffer(len);
    copyUnits(data->units, text, len);
}

const String& String::emptyString() {
    if (sharedEmptyString) return *sharedEmptyString;
    // Before the library starts or after it ends: an empty String that needs no allocation.
    static const String fallback;
    return fallback;
}

void String::unique() {
    if (data->refCount <= 1) return;
    StringData* copy = newBuffer(data->length);
    copyUnits(copy->units, data->units, data->length);
    --data->refCount;
    data = copy;
}

void String::init(int32_t n) {
    if (n < 0) n = 0;
    StringData* fresh = newBuffer(n);
    release();
    data = fresh;
}

void String::adjust(int32_t n) {
    if (n <= 0) {
        erase();
        return;
    }
    if (data->refCount < 2) {
        // A private buffer grows to the rule's capacity, and shrinks only when more than 2048 units
        // would stay idle.
        if (data->limit < n || data->limit - n > 2048) {
            if (n > kMaxLength) throw std::bad_alloc();
            int32_t capacity = StringAccess::capacityFor(n);
            data = static_cast<StringData*>(
                Heap::reAlloc(data, kHeaderBytes + static_cast<size_t>(capacity) * 2));
            data->limit = capacity - 1;
        }
    } else {
        StringData* copy = newBuffer(n);
        copyUnits(copy->units, data->units, data->length < n ? data->length : n);
        release();
        data = copy;
    }
    data->length = n;
    data->units[n] = 0;
}

void String::reserve(int32_t n) {
    if (n <= data->limit && data->refCount == 1) return;
    if (n > kMaxLength) throw std::bad_alloc();
    const int32_t length = data->length;
    if (data->refCount == 1) {
        const int32_t capacity = StringAccess::capacityFor(n);
        data =
            static_cast<StringData*>(Heap::reAlloc(data, kHeaderBytes + static_cast<size_t>(capacity) * 2));
        data->limit = capacity - 1;
        return;
    }
    StringData* fresh = newBuffer(n);
    copyUnits(fresh->units, data->units, length);
    fresh->length = length;
    fresh->units[length] = 0;
    release();
    data = fresh;
}

void String::add(unsigned short c) {
    int32_t n = data->length;
    adjust(n + 1);
    data->units[n] = c;
}

void String::add(const unsigned short* text, int32_t len) {
    if (!text) return;
    if (len < 0) len = unitLength(text);
    if (len == 0) return;
    if (aliases(text)) {
        // Appending part of itself: the buffer may move while it grows.
        String copy(text, len);
        add(copy.data->units, len);
        return;
    }
    int32_t n = data->length;
    if (n > kMaxLength - len) throw std::bad_alloc();
    adjust(n + len);
    copyUnits(data->units + n, text, len);
}

// ---------------------------------------------------------------------------------------------
// Assignment and access

String& String::operator=(const String& other) {
    if (data != other.data) {
        ++other.data->refCount;
        release();
        data = other.data;
    }
    return *this;
}

String& String::operator=(String&& other) noexcept {
    if (this != &other) {
        release();
        data = other.data;
        other.data = &emptyBuffer;
        ++emptyBuffer.refCount;
    }
    return *this;
}

String& String::operator=(const unsigned short* text) {
    if (!text || !*text) {
        erase();
        return *this;
    }
    if (aliases(text)) {
        // The text lives in this very buffer, which adjust() may move or shrink.
        String source(text);
        return *this = source;
    }
    int32_t len = unitLength(text);
    adjust(len);
    copyUnits(data->units, text, len);
    return *this;
}

String& String::operator=(unsigned short c) {
    if (c == 0) {
        erase();
    } else {
        adjust(1);
        data->units[0] = c;
    }
    return *this;
}

void String::set(int32_t pos, unsigned short c) {
    if (pos < 0 || pos >= data->length) return;
    unique();
    data->units[pos] = c;
}

void String::setup(unsigned short c, int32_t count) {
    adjust(count);
    for (int32_t i = 0; i < data->length; ++i)
        data->units[i] = c;
}

void String::clear() {
    // The static empty buffer already reads as cleared; writing to it is never allowed.
    if (data == &emptyBuffer) return;
    unique();
    data->length = 0;
    data->units[0] = 0;
}

void String::erase() {
    if (data == &emptyBuffer) return;
    release();
    data = &emptyBuffer;
    ++emptyBuffer.refCount;
}

void String::erase(int32_t pos, int32_t count) {
    int32_t length = data->length;
    if (pos < 0) pos = length;
    if (count < 0) count = length;
    if (pos == 0 && count >= length) {
        erase();
        return;
    }
    if (pos >= length) return;
    unique();
    if (count > length - pos) count = length - pos;
    moveUnits(data->units + pos, data->units + pos + count, length - pos - count);
    data->length = length - count;
    adjust(length - count);
}

// ---------------------------------------------------------------------------------------------
// Appending and joining

String& String::operator+=(const String& text) {
    if (data->length == 0 && data != text.data) {
        // Appending to an empty string is the same as sharing the other's buffer.
        return *this = text;
    }
    add(text.data->units, text.data->length);
    return *this;
}

String& String::operator+=(const unsigned short* text) {
    add(text, -1);
    return *this;
}

String String::operator+(const String& text) const {
    if (text.data->length == 0) return *this;
    if (data->length == 0) return text;
    String result;
    result.init(data->length + text.data->length);
    copyUnits(result.data->units, data->units, data->length);
    copyUnits(result.data->units + data->length, text.data->units, text.data->length);
    return result;
}

String String::operator+(const unsigned short* text) const {
    String result(*this);
    result += text;
    return result;
}

String String::operator+(unsigned short c) const {
    String result(*this);
    result += c;
    return result;
}

// ---------------------------------------------------------------------------------------------
// Comparison

bool String::operator==(const String& other) const {
    if (data == other.data) return true;
    if (data->length != other.data->length) return false;
    return std::memcmp(data->units, other.data->units, static_cast<size_t>(data->length) * 2) == 0;
}

int String::cmp(const String& other) const {
    if (data == other.data) return 0;
    return cmp(other.data->units);
}

int String::cmp(const unsigned short* text) const {
    static const unsigned short kEmpty[1] = {0};
    if (!text) text = kEmpty;
    if (text == data->units) return 0;
    int first = static_cast<int>(data->units[0]) - static_cast<int>(text[0]);
    if (first != 0) return first;
    return compareUnits(data->units, text);
}

int String::ncmp(const unsigned short* text, int32_t n) const {
    static const unsigned short kEmpty[1] = {0};
    if (!text) text = kEmpty;
    const unsigned short* a = data->units;
    for (int32_t i = 0; i < n; ++i) {
        if (a[i] != text[i]) return static_cast<int>(a[i]) - static_cast<int>(text[i]);
        if (a[i] == 0) return 0;
    }
    return 0;
}

int String::ucmp(const unsigned short* text) const {
    static const unsigned short kEmpty[1] = {0};
    return compareCaseless(data->units, text ? text : kEmpty, INT32_MAX);
}

int String::nucmp(const unsigned short* text, int32_t n) const {
    static const unsigned short kEmpty[1] = {0};
    if (n < 1) return 0;
    return compareCaseless(data->units, text ? text : kEmpty, n);
}

// ---------------------------------------------------------------------------------------------
// Searching

int32_t String::find(unsigned short c, int32_t start, bool reverse) const {
    const int32_t length = data->length;
    const unsigned short* units = data->units;
    if (start < 0) start = 0;
    if (start > length) start = length;
    if (reverse) {
        // From the start down to 0; a start at the length looks at the terminator first.
        for (int32_t i = start; i >= 0; --i)
            if (units[i] == c) return i;
        return -1;
    }
    int32_t i = scanUnits<false>(units, start, length, c);
    return i < length ? i : -1;
}

int32_t String::find(const String& text, int32_t start, bool reverse) const {
    const int32_t m = text.data->length;
    return reverse ? findReverse(data, start, text.data->units, m)
                   : findForward(data, start, text.data->units, m);
}

int32_t String::find(const unsigned short* text, int32_t start, bool reverse) const {
    if (!text || !*text) return 0;
    const int32_t m = unitLength(text);
    return reverse ? findReverse(data, start, text, m) : findForward(data, start, text, m);
}

int32_t String::findAny(const unsigned short* set, int32_t start) const {
    if (!set || !*set) return start;
    if (start < 0 || start > data->length) return -1;
    // The set's terminator is a member, so the scan always ends at this string's terminator.
    for (int32_t i = start;; ++i) {
        unsigned short c = data->units[i];
        if (c == 0) return i;
        for (const unsigned short* s = set; *s; ++s)
            if (*s == c) return i;
    }
}

// ---------------------------------------------------------------------------------------------
// Editing

void String::insert(const String& text, int32_t pos) {
    if (text.data->length == 0) return;
    if (pos >= data->length) {
        *this += text;
        return;
    }
    String keep(text); // the text may be this string
    const int32_t len = keep.data->length;
    if (pos < 0) pos = 0;
    replaceAt(pos, 0, keep.data->units, len);
}

void String::insert(const unsigned short* text, int32_t pos) {
    if (!text || !*text) return;
    String copy(text);
    insert(copy, pos);
}

void String::insert(unsigned short c, int32_t pos) {
    if (pos >= data->length) {
        add(c);
        return;
    }
    if (pos < 0) pos = 0;
    replaceAt(pos, 0, &c, 1);
}

// Replaces whatLength units at pos with withLength units; the text replaced in must not live in
// this buffer. Returns pos.
int32_t String::replaceAt(int32_t pos, int32_t whatLength, const unsigned short* with, int32_t withLength) {
    const int32_t length = data->length;
    const int32_t tail = length - pos - whatLength;
    if (withLength - whatLength > kMaxLength - length) throw std::bad_alloc();
    const int32_t newLength = length - whatLength + withLength;
    if (newLength == 0) {
        erase();
        return pos;
    }
    if (data->refCount > 1) {
        StringData* fresh = newBuffer(newLength);
        copyUnits(fresh->units, data->units, pos);
        copyUnits(fresh->units + pos, with, withLength);
        copyUnits(fresh->units + pos + withLength, data->units + pos + whatLength, tail);
        release();
        data = fresh;
        return pos;
    }
    if (newLength > length) adjust(newLength);
    moveUnits(data->units + pos + withLength, data->units + pos + whatLength, tail);
    copyUnits(data->units + pos, with, withLength);
    if (newLength < length) adjust(newLength);
    data->length = newLength;
    data->units[newLength] = 0;
    return pos;
}

int32_t String::replace(const String& what, const String& with, int32_t start) {
    int32_t pos = what.data->length == 0 ? 0 : find(what, start, false);
    if (pos < 0) return -1;
    String keep(with);
    return replaceAt(pos, what.data->length, keep.data->units, keep.data->length);
}

int32_t String::replace(const String& what, const unsigned short* with, int32_t start) {
    return replace(what, String(with), start);
}

int32_t String::replace(const unsigned short* what, const String& with, int32_t start) {
    return replace(String(what), with, start);
}

int32_t String::replace(const unsigned short* what, const unsigned short* with, int32_t start) {
    return replace(String(what), String(with), start);
}

int32_t String::replace(unsigned short a, unsigned short b, int32_t start) {
    int32_t pos = find(a, start, false);
    if (pos >= 0) set(pos, b);
    return pos;
}

// One pass over the old text: searching the old text just after each match is the same as searching
// the new text just after the inserted replacement, so inserted text is never searched again.
int32_t String::replaceEvery(const unsigned short* what, int32_t whatLength, const unsigned short* with,
                             int32_t withLength, int32_t start) {
    if (whatLength == 0) {
        // An empty pattern matches once, at the front, as replace() does.
        replaceAt(0, 0, with, withLength);
        return 1;
    }
    int32_t first = findForward(data, start, what, whatLength);
    if (first < 0) return 0;
    whatLength = needleLength(what, whatLength);

    // The first matches are remembered so that building the new text does not search again.
    constexpr int32_t kRemembered = 256;
    int32_t positions[kRemembered];
    const StringData* old = data;
    int32_t count = 0;
    int64_t newLength = old->length;
    for (int32_t pos = first; pos >= 0;
         pos = searchForward(old->units, old->length, pos + whatLength, what, whatLength)) {
        if (count < kRemembered) positions[count] = pos;
        ++count;
        newLength += withLength - whatLength;
    }
    if (newLength > kMaxLength) throw std::bad_alloc();
    if (newLength == 0) {
        erase();
        return count;
    }

    StringData* fresh = newBuffer(static_cast<int32_t>(newLength));
    unsigned short* out = fresh->units;
    int32_t copied = 0;
    for (int32_t done = 0; done < count; ++done) {
        int32_t pos = done < kRemembered ? positions[done]
                                         : searchForward(old->units, old->length, copied, what, whatLength);
        copyUnits(out, old->units + copied, pos - copied);
        out += pos - copied;
        copyUnits(out, with, withLength);
        out += withLength;
        copied = pos + whatLength;
    }
    copyUnits(out, old->units + copied, old->length - copied);
    release();
    data = fresh;
    return count;
}

int32_t String::replaceAll(const String& what, const String& with, int32_t start) {
    String keepWhat(what), keepWith(with); // either may be this string
    return replaceEvery(keepWhat.data->units, keepWhat.data->length, keepWith.data->units,
                        keepWith.data->length, start);
}

int32_t String::replaceAll(const String& what, const unsigned short* with, int32_t start) {
    return replaceAll(what, String(with), start);
}

int32_t String::replaceAll(const unsigned short* what, const String& with, int32_t start) {
    return replaceAll(String(what), with, start);
}

int32_t String::replaceAll(const unsigned short* what, const unsigned short* with, int32_t start) {
    return replaceAll(String(what), String(with), start);
}

int32_t String::replaceAll(unsigned short a, unsigned short b, int32_t start) {
    int32_t count = 0;
    for (int32_t pos = find(a, start, false); pos >= 0; pos = find(a, pos + 1, false)) {
        if (count++ == 0) unique();
        data->units[pos] = b;
    }
    return count;
}

String String::substr(int32_t start, int32_t count) const {
    const int32_t length = data->length;
    if (start >= length) return String();
    if (start < 0) start = 0; // callers pass 0 or more; never read before the text
    if (count < 0 || count > length - start) count = length - start;
    if (start == 0 && count == length) return *this;
    return String(data->units + start, count);
}

String String::splitAt(int32_t pos, int32_t sepLength) {
    String field;
    if (pos < 0) {
        field = *this;
        erase();
    } else {
        field = substr(0, pos);
        erase(0, pos + sepLength);
    }
    // strip() trims the front in place; the whole text may still be shared with other strings,
    // which must not see it change.
    if (field.length() > 0 && field.wstr()[0] <= 32) field.unique();
    field.strip();
    return field;
}

String String::split(unsigned short sep) {
    return splitAt(find(sep, 0, false), 1);
}

String String::split(const String& sep) {
    String keep(sep);
    return splitAt(find(keep, 0, false), keep.data->length);
}

String String::split(const unsigned short* sep) {
    int32_t pos = find(sep, 0, false);
    return splitAt(pos, sep ? unitLength(sep) : 0);
}

void String::strip() {
    const int32_t length = data->length;
    unsigned short* units = data->units;
    int32_t skip = 0;
    while (skip < length && units[skip] <= 32)
        ++skip;
    if (skip > 0) {
        // In place, shared or not, and only up to the first 0 unit: the long-standing behaviour,
        // which callers respect by stripping only strings whose buffer they own.
        unsigned short* to = units;
        const unsigned short* from = units + skip;
        while ((*to++ = *from++) != 0) {
        }
        data->length = length - skip;
        data->units[data->length] = 0;
    }
    int32_t end = data->length;
    while (end > 0 && data->units[end - 1] <= 32)
        --end;
    if (end < data->length) erase(end, -1);
    if (data->length == 0) erase();
}

// ---------------------------------------------------------------------------------------------
// Case and line ends

namespace {

// Maps every unit through map; the buffer is made private only when the first change is written.
template <unsigned short (*map)(unsigned short)> bool mapUnits(String& s) {
    const int32_t length = s.length();
    const unsigned short* units = s.wstr();
    int32_t i = 0;
    for (; i < length; ++i)
        if (map(units[i]) != units[i]) break;
    if (i == length) return false;
    StringAccess::unique(s);
    unsigned short* out = StringAccess::units(s);
    for (; i < length; ++i)
        out[i] = map(out[i]);
    return true;
}

} // namespace

bool String::toLower() {
    return mapUnits<UnicodeUtils::towlower>(*this);
}

bool String::toUpper() {
    return mapUnits<UnicodeUtils::towupper>(*this);
}

bool String::toMixed() {
    bool changed = toLower();
    bool capitalise = true;
    for (int32_t i = 0; i < data->length; ++i) {
        unsigned short c = data->units[i];
        if (capitalise) {
            unsigned short upper = UnicodeUtils::towupper(c);
            if (upper != c) {
                unique();
                data->units[i] = upper;
                changed = true;
            }
        }
        capitalise = isMixedCaseSeparator(c);
    }
    return changed;
}

int32_t String::convertLF(CRLFEncoding kind) {
    int wanted = kind == LineEndPlatform ? platform::nativeLineEnd() : kind;
    const int32_t length = data->length;
    const unsigned short* units = data->units;
    int32_t count = 0, occupied = 0;
    bool mixed = false;
    int seen = 0;
    for (int32_t i = 0; i < length; ++i) {
        int found;
        if (units[i] == '\r') {
            found = (i + 1 < length && units[i + 1] == '\n') ? LineEndCRLF : LineEndCR;
        } else if (units[i] == '\n') {
            found = LineEndLF;
        } else {
            continue;
        }
        ++count;
        occupied += found == LineEndCRLF ? 2 : 1;
        if (found == LineEndCRLF) ++i;
        if (seen && seen != found) mixed = true;
        seen = found;
    }
    if (count == 0 || (!mixed && seen == wanted)) return count;
    if (wanted < LineEndCRLF || wanted > LineEndLF) return count; // not a line end this library writes

    const int32_t width = wanted == LineEndCRLF ? 2 : 1;
    StringData* fresh = newBuffer(length - occupied + count * width);
    unsigned short* out = fresh->units;
    for (int32_t i = 0; i < length; ++i) {
        unsigned short c = units[i];
        if (c != '\r' && c != '\n') {
            *out++ = c;
            continue;
        }
        if (c == '\r' && i + 1 < length && units[i + 1] == '\n') ++i;
        if (wanted == LineEndCRLF) {
            *out++ = '\r';
            *out++ = '\n';
        } else {
            *out++ = wanted == LineEndCR ? '\r' : '\n';
        }
    }
    release();
    data = fresh;
    return count;
}

// ---------------------------------------------------------------------------------------------
// The module's start and end step

namespace detail {

void stringModule(bool start) {
    if (start) {
        if (!sharedEmptyString) sharedEmptyString = new (Heap::operator new(sizeof(String))) String;
        return;
    }
    if (sharedEmptyString) {
        sharedEmptyString->~String();
        Heap::operator delete(sharedEmptyString);
        sharedEmptyString = nullptr;
    }
    EncodingScratch::release();
}

} // namespace detail
} // namespace Quarn
