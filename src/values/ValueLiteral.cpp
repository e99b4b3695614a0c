#include "values/ValueLiteral.h"

#include <quarn/Array.h>
#include <quarn/UnicodeUtils.h>

#include <utility>

namespace Quarn {
namespace detail {
namespace {

int32_t skipBlanks(const String& text, int32_t pos) {
    while (pos < text.length() && UnicodeUtils::isWS(text.wstr()[pos]))
        ++pos;
    return pos;
}

// Walks text from pos, skipping quoted parts (either quote character opens a quote that only the same
// character closes; a backslash escapes the next unit), and returns the first position outside quotes
// where stop(unit) holds, or the length.
template <class Stop> int32_t scanOutsideQuotes(const String& text, int32_t pos, Stop stop) {
    const unsigned short* units = text.wstr();
    unsigned short quote = 0;
    for (; pos < text.length(); ++pos) {
        unsigned short c = units[pos];
        if (quote) {
            if (c == '\\')
                ++pos;
            else if (c == quote)
                quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (stop(c)) {
            break;
        }
    }
    return pos;
}

// The end of an unquoted value: the next "," outside quotes and brackets, or the end of the text.
int32_t findValueEnd(const String& text, int32_t pos) {
    int32_t depth = 0;
    return scanOutsideQuotes(text, pos, [&depth](unsigned short c) {
        if (c == '[' || c == '{') ++depth;
        if (c == ']' || c == '}') --depth;
        return c == ',' && depth <= 0;
    });
}

// After a value: blanks, then the end of the text or a "," (consumed). Anything else is malformed.
bool finishValue(String& text, int32_t pos) {
    pos = skipBlanks(text, pos);
    if (pos < text.length()) {
        if (text.wstr()[pos] != ',') return false;
        pos = skipBlanks(text, pos + 1);
    }
    text = text.substr(pos);
    return true;
}

bool readWord(const String& token, Variant& out) {
    if (token == u"null") {
        out.setNull();
    } else if (token == u"true") {
        out = true;
    } else if (token == u"false") {
        out = false;
    } else if (token == u"undefined") {
        out.erase();
    } else {
        double number = Variant::scanDouble(token, ScanHexPrefix | ScanStrict);
        if (number != number && token != u"NaN") return false;
        out = number;
    }
    return true;
}

} // namespace

int32_t findClosingBracket(const String& text, int32_t start, unsigned short open, unsigned short close) {
    int32_t depth = 0;
    int32_t pos = scanOutsideQuotes(text, start, [&depth, open, close](unsigned short c) {
        if (c == open) ++depth;
        return c == close && --depth == 0;
    });
    return pos < text.length() ? pos + 1 : -1;
}

bool readValueLiteral(String& text, Variant& out) {
    out.erase();
    const int32_t start = skipBlanks(text, 0);
    if (start >= text.length()) return false;
    const unsigned short first = text.wstr()[start];

    if (first == '"' || first == '\'') {
        String literal = text.substr(start);
        String value;
        if (!literal.parse(value)) return false;
        Variant read(value);
        // parse() removed what it read; what is left decides whether the value was well formed.
        if (!finishValue(literal, 0)) return false;
        text = literal;
        out = std::move(read);
        return true;
    }

    if (first == '[') {
        const int32_t end = findClosingBracket(text, start, '[', ']');
        if (end < 0) return false;
        String inner = text.substr(start + 1, end - start - 2);
        Array items;
        if (skipBlanks(inner, 0) < inner.length() && !items.parse(inner)) return false;
        if (!finishValue(text, end)) return false;
        out = items;
        return true;
    }

    int32_t end = findValueEnd(text, start);
    int32_t last = end;
    while (last > start && UnicodeUtils::isWS(text.wstr()[last - 1]))
        --last;
    if (last == start || !readWord(text.substr(start, last - start), out)) {
        out.erase();
        return false;
    }
    return finishValue(text, end);
}

} // namespace detail

bool Array::parse(const String& text, int32_t) {
    detach();
    String rest = text;
    bool read = false;
    Variant value;
    while (rest.length() > 0) {
        int32_t pos = 0;
        while (pos < rest.length() && UnicodeUtils::isWS(rest.wstr()[pos]))
            ++pos;
        if (pos == rest.length()) break;
        read = detail::readValueLiteral(rest, value);
        if (!read) break;
        *this += value;
    }
    return read;
}

} // namespace Quarn
