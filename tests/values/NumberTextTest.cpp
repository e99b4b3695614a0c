// The number text must be byte for byte what C's printf writes; the fast paths are checked against
// snprintf over many values.
#include "values/NumberText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>

using Quarn::detail::NumberBuffer;

namespace {

std::string fixed(double v, int decimals) {
    NumberBuffer out;
    Quarn::detail::appendFixed(v, decimals, out);
    return std::string(out.text(), static_cast<size_t>(out.length()));
}

std::string printfFixed(double v, int decimals) {
    char buffer[512];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, v);
    return buffer;
}

TEST(NumberText, FixedMatchesPrintfOnRandomValues) {
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 200000; ++i) {
        // Magnitudes from 1e-8 to 1e16, both signs, with every decimal count the text form uses.
        double v = unit(random) * std::pow(10.0, static_cast<int>(random() % 25) - 8);
        if (random() & 1) v = -v;
        int decimals = static_cast<int>(random() % 23);
        ASSERT_EQ(fixed(v, decimals), printfFixed(v, decimals)) << v << " with " << decimals;
    }
}

TEST(NumberText, FixedRoundsHalfwayCasesToEvenLikePrintf) {
    // Exact binary halves round to even; decimal "halves" that are not exact go the way of the
    // binary value.
    const struct {
        double v;
        int decimals;
    } cases[] = {{0.5, 0},     {1.5, 0},        {2.5, 0},   {0.125, 2},
                 {0.375, 2},   {1.005, 2},      {2.675, 2}, {-0.5, 0},
                 {-0.0, 3},    {1e15 + 0.5, 0}, {0.1, 20},  {1e-7, 22},
                 {123.25, 12}, {0.3, 17},       {-1e-9, 4}, {4503599627370495.5, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(fixed(c.v, c.decimals), printfFixed(c.v, c.decimals)) << c.v;
}

TEST(NumberText, IntegralValuesPrintAllTheirDigits) {
    const double values[] = {0.0,
                             1e9,
                             123456789012.0,
                             9007199254740993.0,
                             1e19,
                             1.8446744073709552e19,
                             2e20,
                             9.999999999999999e20,
                             -7e20,
                             1e21,
                             1e300};
    for (double v : values)
        EXPECT_EQ(fixed(v, 0), printfFixed(v, 0)) << v;
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        double v =
            std::floor(std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 30)));
        ASSERT_EQ(fixed(v, 0), printfFixed(v, 0)) << v;
    }
}

TEST(NumberText, NegativeDecimalsMeanTheDefaultSix) {
    EXPECT_EQ(fixed(2.5, -1), "2.500000");
}

TEST(NumberText, ExponentialMatchesPrintf) {
    NumberBuffer out;
    Quarn::detail::appendExponential(1234.5, 3, out);
    EXPECT_EQ(std::string(out.text(), static_cast<size_t>(out.length())), "1.234e+03");
}

TEST(NumberText, BufferGrowsPastItsInlineSpace) {
    NumberBuffer out;
    for (int i = 0; i < 1000; ++i)
        out.push(static_cast<char>('0' + i % 10));
    ASSERT_EQ(out.length(), 1000);
    EXPECT_EQ(out.text()[999], '9');
    EXPECT_EQ(fixed(1e300, 2).size(), printfFixed(1e300, 2).size());
}

TEST(NumberText, UnsignedDigits) {
    char digits[24];
    const uint64_t values[] = {0, 7, 10, 99, 100, 12345, 18446744073709551615ULL};
    for (uint64_t v : values) {
        int n = Quarn::detail::writeUnsigned(v, digits);
        EXPECT_EQ(std::string(digits, static_cast<size_t>(n)), std::to_string(v));
    }
}

} // namespace
