#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/Array.h>
#include <quarn/ErrorCodes.h>
#include <quarn/Variant.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>

using namespace Quarn;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

Variant nullValue() {
    Variant v;
    v.setNull();
    return v;
}

Array list(std::initializer_list<Variant> values) {
    Array a;
    for (const Variant& v : values)
        a += v;
    return a;
}

// Equal, or both NaN.
bool same(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

TEST(Variant, KindsAndTheirTextForms) {
    // clang-format off
    const struct { Variant value; VariantType type; const char16_t* text; } cases[] = {
        {Variant(), TypeUndefined, u"undefined"}, {nullValue(), TypeNull, u"null"},
        {Variant(true), TypeBool, u"true"}, {Variant(-0.0), TypeNumber, u"0"},
        {Variant(1.0 / 3), TypeNumber, u"0.333333333333333"}, {Variant(1e21), TypeNumber, u"1e+21"},
        {Variant(0.000001), TypeNumber, u"0.000001"}, {Variant(0.0000009), TypeNumber, u"9e-7"},
        {Variant(100000000000000.5), TypeNumber, u"100000000000000"}, // integer zeros are digits, not padding
        {Variant(kNaN), TypeNumber, u"NaN"}, {Variant(-kInf), TypeNumber, u"-Infinity"},
        {Variant(u"text"), TypeString, u"text"}, {Variant(Point(3.9, -4.2)), TypePoint, u"3:-4"},
        {Variant(Rect(1, 2, 3, 4)), TypeRect, u"1:2-3:4"},
        {Variant(Point(1e12, kNaN)), TypePoint, u"2147483647:0"}, // coordinates saturate
        {Variant(7, String(u"Widget"), nullptr), TypeObject, u"[object Widget]"},
        {Variant(7, String(), nullptr), TypeObject, u"[object Object]"},
        {Variant(list({1, u"a"})), TypeArray, u"[1,a]"},
        {Variant(static_cast<const Variant*>(nullptr)), TypeUndefined, u"undefined"}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(c.value.getType(), c.type) << ::testing::PrintToString(String(c.text));
        EXPECT_EQ(c.value.getString(), c.text);
    }
}

TEST(Variant, NumbersInOtherRadixesAndModes) {
    // Radix: integer part only; any radix outside 2..36 gives NaN. Mode 1 is fixed, 2 exponential.
    // clang-format off
    const struct { double v; int radix, precision, mode; const char16_t* text; } cases[] = {
        {255, 16, 15, 0, u"ff"}, {-255, 16, 15, 0, u"-ff"}, {2.75, 2, 15, 0, u"10"}, {35, 36, 15, 0, u"z"},
        {0, 16, 15, 0, u"0"}, {5, 1, 15, 0, u"NaN"}, {5, 37, 15, 0, u"NaN"}, {kNaN, 16, 15, 0, u"NaN"},
        {kInf, 2, 15, 0, u"Infinity"}, {1.0 / 3, 10, 4, 0, u"0.3333"}, {2, 10, 3, 1, u"2.000"},
        {1.0 / 3, 10, 20, 1, u"0.33333333333333300000"}, {0.5, 10, 0, 1, u"0"},
        {1234.5, 10, 3, 2, u"1.234e+3"}, {5, 10, 2, 2, u"5.00e+0"}, {1.5e-300, 10, 1, 2, u"1.5e-300"}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(Variant::numberToString(c.v, c.radix, c.precision, c.mode), c.text)
            << c.v << " radix " << c.radix << " precision " << c.precision << " mode " << c.mode;
    EXPECT_EQ(Variant(std::ldexp(1.0, 60)).getString(2).length(), 61);
    EXPECT_EQ(Variant(u"abc").getString(16), u"abc") << "only numbers take a radix";
}

// Every setter clears both caches: the classes and the text follow each new value.
TEST(Variant, NumberClassesAreCachedAndClearedBySetters) {
    Variant v(-0.0);
    EXPECT_EQ(v.getString(), u"0");
    EXPECT_TRUE(v.isMinus0() && v.isInteger());
    v.setDouble(3.5);
    EXPECT_FALSE(v.isMinus0() || v.isInteger());
    EXPECT_EQ(v.getString(), u"3.5");
    v.setInteger(static_cast<uint32_t>(4000000000u));
    EXPECT_TRUE(v.isUInteger() && !v.isInteger());
    v.setNaN();
    EXPECT_TRUE(v.isNaN() && !v.isFinite());
    v.setNegInfinity();
    EXPECT_EQ(v.getString(), u"-Infinity");
    EXPECT_TRUE(Variant(u" 42 ").isInteger()) << "other kinds are classified through their number";
}

TEST(Variant, ConversionsFollowTheScriptRules) {
    // clang-format off
    const struct { Variant value; double number; bool boolean; } cases[] = {
        {Variant(), kNaN, false}, {nullValue(), 0, false}, {Variant(true), 1, true},
        {Variant(-0.0), 0, false}, {Variant(kNaN), kNaN, false},
        {Variant(u"  12.5  "), 12.5, true}, {Variant(u""), 0, false}, {Variant(u" \t"), 0, true},
        {Variant(u"0x1F"), 31, true}, {Variant(u"010"), 10, true}, // no octal in string to number
        {Variant(u"12px"), kNaN, true}, {Variant(u"false"), kNaN, true}, {Variant(Point()), kNaN, true},
        {Variant(list({5})), 5, true}, {Variant(Array()), 0, true},
        {Variant(0, String(), nullptr), kNaN, true}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_TRUE(same(c.value.getDouble(), c.number))
            << c.value.getString() << " gave " << c.value.getDouble();
        EXPECT_EQ(c.value.getBool(), c.boolean) << c.value.getString();
    }
    // Integers truncate and wrap modulo 2^32; the ranged form clamps.
    for (auto [v, integer] :
         {std::pair<double, int32_t>{-3.9, -3}, {4294967301.0, 5}, {2147483648.0, INT32_MIN}, {kInf, 0}})
        EXPECT_EQ(Variant(v).getInteger(), integer) << v;
    EXPECT_EQ(Variant(-1).getUInteger(), 4294967295u);
    EXPECT_EQ(Variant(1e30).getInteger(1, 10), 10);
    EXPECT_EQ(Variant(-7).getInteger(1, 10), 1);
}

TEST(Variant, ScanDoubleReadsSignsWordsPrefixesAndTrailingText) {
    const int32_t hex = ScanHexPrefix, octal = ScanOctalPrefix;
    // {text, flags, value, rest} with rest null when there is nothing to check.
    // clang-format off
    const struct { const char16_t* text; int32_t flags; double value; const char16_t* rest; } cases[] = {
        {u"  -12.5e1", ScanStrict, -125, u""}, {u"", ScanStrict, 0, u""}, {u"12abc", ScanStrict, kNaN, nullptr},
        {u"- 1", ScanStrict, kNaN, u" 1"}, // the rest starts after the sign
        {u"-Infinity", ScanStrict, -kInf, nullptr}, {u"NaN", ScanStrict, kNaN, nullptr},
        {u"Infinityx", ScanStrict, kInf, u"x"}, // nothing after the word is examined
        {u"infinity", ScanStrict, kNaN, nullptr}, // the words are case-sensitive
        {u"12 px", ScanAllowBlank, 12, u" px"},
        {u"12px", ScanAllowBlank, kNaN, nullptr}, {u"12px", ScanAllowAny, 12, u"px"},
        {u"3.5e2xyz", 7, 350, u"xyz"}, // other modes allow any remainder
        {u"0x1F", ScanStrict, kNaN, nullptr}, {u"0x1F", hex, 31, nullptr}, {u"-0XfF", hex, -255, nullptr},
        {u"0x", hex, kNaN, nullptr}, {u"0x1.5", hex | ScanAllowAny, 1, u".5"}, // no fraction in hexadecimal
        {u"017", ScanStrict, 17, nullptr}, {u"017", octal, 15, nullptr}, {u"019", octal, kNaN, nullptr},
        {u"017.5", octal, 17.5, nullptr}}; // a fraction reads decimal
    // clang-format on
    for (const auto& c : cases) {
        String rest(u"old");
        const double value = Variant::scanDouble(c.text, c.flags, &rest);
        EXPECT_TRUE(same(value, c.value)) << ::testing::PrintToString(String(c.text)) << " gave " << value;
        if (c.rest) {
            EXPECT_EQ(rest, c.rest) << ::testing::PrintToString(String(c.text));
        }
    }
}

TEST(Variant, ScanIntegerStartsWhereItIsTold) {
    String rest;
    EXPECT_EQ(Variant::scanInteger(u"id=  42;", 3, ScanAllowAny, &rest), 42);
    EXPECT_EQ(rest, u";");
    EXPECT_TRUE(std::isnan(Variant::scanInteger(u"4.5", 0, ScanStrict)));
    EXPECT_EQ(Variant::scanInteger(u"4.5", 0, ScanAllowAny, &rest), 4);
    EXPECT_EQ(rest, u".5");
    EXPECT_TRUE(std::isnan(Variant::scanInteger(u"7", 99, ScanStrict, &rest))) << "a start past the end";
    EXPECT_EQ(rest.length(), 0);
}

TEST(Variant, EqualityIsStrictAndOrderIsNumericOrTextual) {
    Array a = list({1}), b = list({1});
    Root* object = reinterpret_cast<Root*>(&a);
    // clang-format off
    const struct { Variant left, right; bool equal; } cases[] = {
        {Variant(1), Variant(1.0), true}, {Variant(0.0), Variant(-0.0), true},
        {Variant(kNaN), Variant(kNaN), false}, {Variant(1), Variant(u"1"), false}, // kinds must match
        {Variant(u"ab"), Variant(String(u"ab")), true}, {Variant(), Variant(), true},
        {Variant(Point(1, 2)), Variant(Point(1, 2)), true},
        {Variant(Rect(1, 2, 3, 4)), Variant(Rect(1, 2, 3, 5)), false}, {Variant(a), Variant(b), true},
        {Variant(3, String(u"X"), object), Variant(3, String(u"Y"), object), true}, // objects by identity
        {Variant(3, String(u"X"), object), Variant(4, String(u"X"), object), false}};
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(c.left == c.right, c.equal) << c.left.getString() << " against " << c.right.getString();
        EXPECT_EQ(c.left != c.right, !c.equal) << c.left.getString() << " against " << c.right.getString();
    }
    EXPECT_LT(Variant(u"10").compare(Variant(u"9")), 0) << "two strings compare by text";
    EXPECT_GT(Variant(u"10").compare(Variant(9)), 0) << "otherwise by number";
    EXPECT_EQ(Variant(kNaN).compare(Variant(1)), 0);
    EXPECT_LT(Variant(false).compare(Variant(true)), 0);
}

TEST(Variant, CopiesOwnTheirObjects) {
    Variant point(Point(1, 2));
    Variant copy = point;
    ASSERT_NE(copy.getPoint(), nullptr);
    EXPECT_NE(copy.getPoint(), point.getPoint());
    point = Rect(0, 0, 5, 5);
    EXPECT_EQ(copy.getPoint()->x, 1);
    EXPECT_EQ(point.getPoint(), nullptr);

    Array items = list({u"x"});
    Variant holder(items);
    Variant moved(std::move(holder));
    EXPECT_EQ(holder.getType(), TypeUndefined); // NOLINT: a moved-from value is undefined
    (*moved.getArray())[1] = 2;
    EXPECT_EQ(items.length(), 1u) << "the array inside the Variant is its own copy once written";
    EXPECT_EQ(moved.getString(), u"[x,2]") << "array text is never stale";

    Variant self(u"keep");
    self = self;
    self.setString(self.getString());
    EXPECT_EQ(self.getString(), u"keep");
}

TEST(Variant, ConvertAndValidate) {
    Variant v(u"12");
    EXPECT_EQ(v.convert(TypeNumber), ErrNone);
    EXPECT_EQ(v.getType(), TypeNumber);
    EXPECT_EQ(v.convert(TypePoint), ErrTypeMismatch);
    EXPECT_EQ(v.getType(), TypeNumber) << "a failed conversion changes nothing";

    EXPECT_EQ(Variant(u"x").validate(TypeString), ErrNone);
    EXPECT_EQ(Variant(u"x").validate(TypeNumber), ErrTypeMismatch);
    EXPECT_EQ(Variant(11).validate(0.0, 10.0), ErrOutOfRange);
    EXPECT_EQ(Variant(u"abc").validate(0.0, 10.0), ErrTypeMismatch);
    EXPECT_EQ(Variant(2.5).validate(int32_t(0), int32_t(10)), ErrTypeMismatch);
    EXPECT_EQ(Variant(-1).validate(uint32_t(0), uint32_t(10)), ErrOutOfRange);
    EXPECT_EQ(Variant(u"7").validate(uint32_t(0), uint32_t(10)), ErrNone);
}

TEST(Variant, ExhaustionLeavesAValidValue) {
    quarn_test::TestAllocator failing;
    quarn_test::ScopedAllocator scope(failing);
    Variant target(u"old");
    for (long n = 1;; ++n) {
        failing.failAt(n);
        try {
            Variant source(Point(1, 2));
            target = source;
            failing.failAt(0);
            break;
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(target.getType() == TypeString || target.getType() == TypePoint);
        }
    }
    EXPECT_EQ(target.getString(), u"1:2");
}

} // namespace
