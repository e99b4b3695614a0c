// String's literal reader: one quoted literal with script escapes, taken from the front of a string.
//
// The reader keeps two habits of long standing that callers rely on:
// - the last unit of the string is never read as a plain unit (for a quoted literal it is normally the
//   closing quote); the digits of an escape may still reach it;
// - a string without an opening quote has its first unit taken, and is then read from that same unit,
//   so «abc» gives «aab».
#include <quarn/String.h>

#include <utility>

namespace Quarn {
namespace {

inline bool isLineEnd(unsigned short c) {
    return c == '\n' || c == '\r' || c == 0x2028 || c == 0x2029;
}

inline bool isOctal(unsigned short c) {
    return c >= '0' && c <= '7';
}

inline int hexValue(unsigned short c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// count hexadecimal digits at p (the terminator stops them); -1 when one is missing or bad.
int32_t readHex(const unsigned short*& p, int count) {
    int32_t value = 0;
    for (int i = 0; i < count; ++i) {
        int digit = hexValue(*p);
        if (digit < 0) return -1;
        value = value * 16 + digit;
        ++p;
    }
    return value;
}

} // namespace

bool String::parse(String& out) {
    const int32_t length = data->length;
    String result;
    if (length == 0) {
        out = std::move(result);
        return true;
    }
    // Nothing the reader writes is longer than the string itself.
    result.adjust(length);
    unsigned short* to = result.data->units;

    const unsigned short* const first = data->units;
    const unsigned short* const last = first + length - 1;
    const unsigned short* p = first;
    unsigned short quote = 0;
    if (*p == '"' || *p == '\'') {
        quote = *p++;
    } else {
        *to++ = *p;
    }

    bool accepted = true;
    int32_t consumed = 0; // units removed from the front; 0 when the reading was interrupted
    for (;;) {
        if (p >= last) {
            consumed = length;
            break;
        }
        unsigned short c = *p++;
        if (c == 0 || isLineEnd(c)) {
            accepted = quote == 0;
            break;
        }
        if (c == quote) {
            consumed = static_cast<int32_t>(p - first);
            break;
        }
        if (c != '\\') {
            *to++ = c;
            continue;
        }
        c = *p++; // the backslash was not the last unit, so this one is in the string
        switch (c) {
        case '\r':
            if (*p == '\n') ++p;
            continue;
        case '\n':
        case 0x2028:
        case 0x2029:
            continue; // a line continuation
        case 'b':
            c = 8;
            break;
        case 'f':
            c = 12;
            break;
        case 'n':
            c = 10;
            break;
        case 'r':
            c = 13;
            break;
        case 't':
            c = 9;
            break;
        case 'v':
            c = 11;
            break;
        case 'x':
        case 'u':
        case 'U': {
            int32_t value = readHex(p, c == 'x' ? 2 : 4);
            if (value < 0) {
                accepted = false;
                break;
            }
            c = static_cast<unsigned short>(value);
            break;
        }
        default:
            if (isOctal(c)) {
                const bool threeDigits = c <= '3';
                c = static_cast<unsigned short>(c - '0');
                if (isOctal(*p)) {
                    c = static_cast<unsigned short>(c * 8 + (*p++ - '0'));
                    if (threeDigits && isOctal(*p)) c = static_cast<unsigned short>(c * 8 + (*p++ - '0'));
                }
            }
            break;
        }
        if (!accepted) break;
        *to++ = c;
    }

    result.adjust(static_cast<int32_t>(to - result.data->units));
    if (accepted && consumed > 0) erase(0, consumed);
    // When out is this very string, the literal wins over the rest.
    out = std::move(result);
    return accepted;
}

} // namespace Quarn
