// Lets GoogleTest print Strings readably (as UTF-8, other units as \uXXXX) in failure messages.
#ifndef QUARN_TESTS_SUPPORT_STRINGPRINTING_H
#define QUARN_TESTS_SUPPORT_STRINGPRINTING_H

#include <quarn/String.h>

#include <ostream>
#include <string>

namespace Quarn {

inline void PrintTo(const String& s, std::ostream* os) {
    *os << '"';
    for (int32_t i = 0; i < s.length(); ++i) {
        unsigned short c = s.wstr()[i];
        if (c >= 0x20 && c < 0x7F) {
            *os << static_cast<char>(c);
        } else {
            static const char digits[] = "0123456789ABCDEF";
            *os << "\\u" << digits[c >> 12] << digits[(c >> 8) & 15] << digits[(c >> 4) & 15]
                << digits[c & 15];
        }
    }
    *os << '"';
}

} // namespace Quarn

namespace quarn_test {

inline std::u16string u16(const Quarn::String& s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s.wstr()), static_cast<size_t>(s.length()));
}

} // namespace quarn_test

#endif
