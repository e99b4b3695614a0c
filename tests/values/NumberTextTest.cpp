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

// Exact binary halves round to even; decimal "halves" that are not exact go the way of the binary
// value. Large integral values and long texts pass the inline buffer.
TEST(NumberText, FixedAgreesWithPrintfAtTiesAndExtremes) {
    // clang-format off
    const struct { double v; int decimals; } cases[] = {
        {0.5, 0}, {1.5, 0}, {2.5, 0}, {0.125, 2}, {0.375, 2}, {1.005, 2}, {2.675, 2}, {-0.5, 0}, {-0.0, 3},
        {1e15 + 0.5, 0}, {0.1, 20}, {1e-7, 22}, {123.25, 12}, {0.3, 17}, {-1e-9, 4}, {4503599627370495.5, 1},
        {9007199254740993.0, 0}, {1.8446744073709552e19, 0}, {9.999999999999999e20, 0}, {-7e20, 0}, {1e21, 0},
        {1e300, 0}, {1e300, 2}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(fixed(c.v, c.decimals), printfFixed(c.v, c.decimals)) << c.v << " with " << c.decimals;
    EXPECT_EQ(fixed(2.5, -1), "2.500000") << "negative decimals mean the default six";
}

TEST(NumberText, ExponentialAndUnsignedDigits) {
    NumberBuffer out;
    Quarn::detail::appendExponential(1234.5, 3, out);
    EXPECT_EQ(std::string(out.text(), static_cast<size_t>(out.length())), "1.234e+03");
    char digits[24];
    for (uint64_t v : {uint64_t{0}, uint64_t{7}, uint64_t{10}, uint64_t{99}, uint64_t{100}, UINT64_MAX}) {
        int n = Quarn::detail::writeUnsigned(v, digits);
        EXPECT_EQ(std::string(digits, static_cast<size_t>(n)), std::to_string(v));
    }
}

} // namespace
