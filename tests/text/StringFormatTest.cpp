#include "support/StringPrinting.h"
#include "text/NumberWriter.h"
#include "text/StringAccess.h"

#include <quarn/Encoder.h>
#include <quarn/String.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

using Quarn::NumberWriter;
using Quarn::String;
using Quarn::StringAccess;

namespace {

// Formats through vprint, so that every test also goes through the va_list entry.
String fmt(const char16_t* format, ...) {
    va_list args;
    va_start(args, format);
    String s;
    s.vprint(reinterpret_cast<const unsigned short*>(format), args);
    va_end(args);
    return s;
}

String ascii(const std::string& text) {
    String s;
    for (char c : text)
        s += static_cast<unsigned short>(static_cast<unsigned char>(c));
    return s;
}

template <class T> std::string cFormat(const char* format, int precision, T v) {
    char buffer[6000];
    std::snprintf(buffer, sizeof buffer, format, precision, v);
    return buffer;
}

std::string writerOutput(double v, char conversion, int precision, int width) {
    char buffer[NumberWriter::kSmallBuffer];
    EXPECT_LE(NumberWriter::maxLength(v, conversion, precision, width), sizeof buffer);
    return std::string(buffer, NumberWriter::write(buffer, v, conversion, precision, width));
}

TEST(StringFormat, IntegersWithTheSixteenBitRuleOfUnsignedOnesAndPointers) {
    EXPECT_EQ(fmt(u"%d|%ld|%D|%hd", 42, -42, 0, -3), u"42|-42|0|-3");
    EXPECT_EQ(fmt(u"%d %d", INT32_MIN, INT32_MAX), u"-2147483648 2147483647");
    EXPECT_EQ(fmt(u"%+d %+d %+d", 5, 0, -5), u"+5 +0 -5");
    EXPECT_EQ(fmt(u"%.5d", 42), u"42") << "integers ignore the precision";
    EXPECT_EQ(fmt(u"%d|%lx|%lo|%lb", -1020304, 0x10203u, 01002u, 0x9u), u"-1020304|10203|1002|1001")
        << "inner zero digits";

    EXPECT_EQ(fmt(u"%x|%lx", 0x12345, 0x12345), u"2345|12345");
    EXPECT_EQ(fmt(u"%X|%lX|%lx", 0xABCD, 0xFFFFFFFFu, 0u), u"ABCD|FFFFFFFF|0");
    EXPECT_EQ(fmt(u"%u|%lu|%u|%U", 70000, 4294967295u, -1, 7), u"4464|4294967295|65535|7");
    EXPECT_EQ(fmt(u"%o|%lo|%O", 8, 0xFFFFFFFFu, 0x10008), u"10|37777777777|10");
    EXPECT_EQ(fmt(u"%b|%b|%B|%lb", 5, 0, 0x10000, 0x80000001u), u"101|0|0|10000000000000000000000000000001");
    EXPECT_EQ(fmt(u"%+u %+x", 5, 10), u"5 a") << "\"+\" is for signed and floating conversions";
    // Pointers: hexadecimal of at least eight digits.
    EXPECT_EQ(fmt(u"%p|%P|%p", reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(0xABCDEF), nullptr),
              u"00001234|00ABCDEF|00000000");
    EXPECT_EQ(fmt(u"[%12p|%-10p]", reinterpret_cast<void*>(0xff), reinterpret_cast<void*>(0xff)),
              u"[    000000ff|000000ff  ]");
    if (sizeof(void*) == 8) {
        EXPECT_EQ(fmt(u"%p", reinterpret_cast<void*>(uintptr_t{0x123456789ab})), u"123456789ab");
    }
}

TEST(StringFormat, WidthJustificationAndZeroPadding) {
    EXPECT_EQ(fmt(u"[%5d|%-5d|%05d|%+05d|%2d]", 42, 42, -42, 42, 12345), u"[   42|42   |-0042|+0042|12345]");
    EXPECT_EQ(fmt(u"[%-05d]", 42), u"[42   ]") << "left justification pads with blanks";
    EXPECT_EQ(fmt(u"[%*d|%*d|%0*x|%00012d]", 4, 7, -4, 7, 6, 0xbeef, 3), u"[   7|7   |00beef|000000000003]");
    // Texts and characters are padded the same way, a leading sign included.
    EXPECT_EQ(fmt(u"[%05s|%6ls|%-4ls]", "-ab", u"abc", u"z"), u"[-00ab|   abc|z   ]");
    EXPECT_EQ(fmt(u"[%3c|%-3lc]", 'x', 0x263A), u"[  x|\u263A  ]");
    EXPECT_EQ(fmt(u"[%3%]"), u"[  %]");
    // The flags come first: after the "0" a "-" is no flag but the conversion, written as itself.
    EXPECT_EQ(fmt(u"[%0-5d]", 42), u"[-5d]");

    // Padding far wider than any buffer the formatter starts with.
    EXPECT_EQ(fmt(u"%-3000d|%03000d", 1, -1),
              ascii("1" + std::string(2999, ' ') + "|-" + std::string(2998, '0') + "1"));
}

TEST(StringFormat, TextsCharactersAndNull) {
    EXPECT_EQ(fmt(u"%s and %ls", "bytes", u"units"), u"bytes and units");
    EXPECT_EQ(fmt(u"%s|%ls|%.2s", static_cast<const char*>(nullptr),
                  static_cast<const unsigned short*>(nullptr), static_cast<const char*>(nullptr)),
              u"(null)|(null)|(n");
    EXPECT_EQ(fmt(u"%.2ls|%.2s|%.0ls|%.ls|%.10ls", u"abcdef", "abcdef", u"abc", u"abc", u"abc"),
              u"ab|ab|||abc");
    EXPECT_EQ(fmt(u"[%8.3ls]", u"abcdef"), u"[     abc]");
    // With a precision, a wide text need not be terminated beyond what is shown.
    const unsigned short unterminated[3] = {'x', 'y', 'z'};
    EXPECT_EQ(fmt(u"%.3ls", unterminated), u"xyz");

    // Bytes go through the default encoder: with Latin-1, one unit per byte, without sign extension.
    Quarn::Encoder& previous = Quarn::Encoder::getDefault();
    Quarn::Encoder::setDefault(*Quarn::Encoder::get(u"ISO-8859-1"));
    EXPECT_EQ(fmt(u"%s", "caf\xE9"), u"caf\u00E9");
    EXPECT_EQ(fmt(u"%c%C%c", 'A', 'b', static_cast<char>(0xE9)), u"Ab\u00E9");
    Quarn::Encoder::setDefault(previous);
    EXPECT_EQ(fmt(u"%lc%lC", 0x263A, 0x1263A), u"\u263A\u263A") << "a wide character is one 16-bit unit";
    EXPECT_EQ(fmt(u"a%lcb", 0).length(), 3) << "a 0 unit is written like any other";

    // "S" writes nothing and reads no argument; other units after "%" are written as themselves.
    EXPECT_EQ(fmt(u"%S%d|%5S|%%|%q%d|%i", 7, 8), u"7||%|q8|i");
    // A format that ends inside a directive ends the output there.
    EXPECT_EQ(fmt(u"abc%") + fmt(u"|%-05.3l", 1) + fmt(static_cast<const char16_t*>(nullptr)), u"abc|");
}

TEST(StringFormat, FloatingConversionsOfTheFormatter) {
    EXPECT_EQ(fmt(u"%f|%e|%E|%.f|%.1f", 1.5, 1.5, 1.5, 2.5, 0.25),
              u"1.500000|1.500000e+00|1.500000E+00|2|0.2");
    // g keeps at most 14 significant digits, whatever precision the directive gives.
    EXPECT_EQ(fmt(u"%g|%.2g|%g|%g|%G|%g", 1.0 / 3, 1.0 / 3, 100000.0, 1e15, 1e-20, 0.1),
              u"0.33333333333333|0.33333333333333|100000|1e+15|1E-20|0.1");
    EXPECT_EQ(fmt(u"%n|%.0n|%.2n|%.1n|%N", 1234567.5, 999.5, -1234.5, 12.25, 123.0),
              u"1,234,567.500000|1,000|-1,234.50|12.2|123.000000");
    EXPECT_EQ(fmt(u"%+.1f|%+f|%+e", 2.25, -0.0, 0.0), u"+2.2|-0.000000|+0.000000e+00");
    EXPECT_EQ(fmt(u"[%08.2f|%-8.1f|%+09.1e]", -3.14159, 2.0, 31.4), u"[-0003.14|2.0     |+03.1e+01]");
    EXPECT_EQ(fmt(u"%f|%F|%e|%N|%G", HUGE_VAL, -HUGE_VAL, std::nan(""), HUGE_VAL, -std::nan("")),
              u"inf|-INF|nan|INF|-NAN");
    EXPECT_EQ(fmt(u"%Lf|%.3Le|%lf", 1.5L, 1e4000L, 0.5), u"1.500000|1.000e+4000|0.500000");
    // Results too long for the writer's small buffer.
    EXPECT_EQ(fmt(u"%.400f", 1.0 / 3), ascii(cFormat("%.*f", 400, 1.0 / 3)));
    EXPECT_EQ(fmt(u"%.0Lf", 1e4000L), ascii(cFormat("%.*Lf", 0, 1e4000L)));
    EXPECT_EQ(fmt(u"%.2Ln", std::ldexp(-1.0L, 70)), u"-1,180,591,620,717,411,303,424.00");
}

// Numbers whose text must match C's exactly: random bit patterns (every exponent, subnormals, NaNs,
// infinities), values near rounding ties, and the extremes.
std::vector<double> difficultDoubles() {
    // clang-format off
    std::vector<double> values = {0.0, -0.0, 0.5, 1.5, 2.5, -2.5, 0.125, 9.5, 0.05, 1e21, 1e22, 1e-7, 123.25,
                                  1.0 / 3, DBL_MAX, DBL_MIN, -DBL_MAX, 5e-324, HUGE_VAL, -HUGE_VAL, std::nan(""),
                                  -std::nan(""), 999999.5, 4503599627370495.5, 9007199254740993.0};
    // clang-format on
    std::mt19937_64 random(20);
    for (int i = 0; i < 3000; ++i) {
        uint64_t bits = random();
        double v;
        std::memcpy(&v, &bits, sizeof v);
        values.push_back(v);
    }
    std::uniform_int_distribution<int> exponent(-30, 30);
    for (int i = 0; i < 3000; ++i) {
        // Halves, quarters and eighths of integers are exact ties for the short precisions.
        const double scale = std::ldexp(1.0, -static_cast<int>(random() % 4));
        values.push_back(static_cast<double>(static_cast<int64_t>(random() % 2000000) - 1000000) * scale);
        values.push_back(static_cast<double>(random() % 1000000000) * std::pow(10.0, exponent(random)));
    }
    return values;
}

TEST(StringFormat, FixedAndExponentialTextIsExactlyCs) {
    const std::vector<double> values = difficultDoubles();
    for (size_t i = 0; i < values.size(); ++i) {
        const double v = values[i];
        const int precision = static_cast<int>(i % 21);
        const std::string fixed = cFormat("%20.*f", precision, v);
        ASSERT_EQ(writerOutput(v, 'f', 0, 0), cFormat("%.*f", 0, v)) << v;
        ASSERT_EQ(writerOutput(v, 'f', precision, 20), fixed) << v << " with " << precision;
        ASSERT_EQ(writerOutput(v, 'e', precision, 20), cFormat("%20.*e", precision, v))
            << v << " with " << precision;
        ASSERT_EQ(writerOutput(v, 'g', NumberWriter::kShortestPrecision, 0), cFormat("%.*g", 14, v)) << v;
        ASSERT_EQ(fmt(u"%20.*f", precision, v), ascii(fixed)) << "the formatter's own path";
    }
    EXPECT_EQ(writerOutput(1.5, 'f', NumberWriter::kDefaultPrecision, 0), "1.500000");
    EXPECT_EQ(writerOutput(-2.0, 'e', -7, 12), "-2.000000e+00");
    EXPECT_EQ(writerOutput(12345.678, 'n', 1, 10), "  12,345.7");
    EXPECT_EQ(writerOutput(12345.678, 'q', 1, 0), "12345.7") << "an unknown conversion is f";
}

TEST(StringFormat, PrintReplacesTheTextAndKeepsAPrivateBuffer) {
    String s(u"first");
    const auto* buffer = StringAccess::buffer(s);
    s.print(u"%d", 2);
    EXPECT_EQ(s, u"2");
    s.print(u"");
    EXPECT_EQ(s.length(), 0);
    EXPECT_EQ(StringAccess::buffer(s), buffer) << "the text is cleared, not erased";
    // Arguments may point into the string being filled; a shared buffer is left to its other holders.
    String a(u"self");
    a.print(u"%ls and %ls", a.wstr(), a.wstr());
    EXPECT_EQ(a, u"self and self");
    String b = a;
    a.print(u"%ls!", b.wstr());
    EXPECT_EQ(a, u"self and self!");
    EXPECT_EQ(b, u"self and self");
}

} // namespace
