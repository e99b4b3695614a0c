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

String text(double v) {
    return Variant(v).getString();
}
String number(double v, int radix, int precision, int mode) {
    return Variant::numberToString(v, radix, precision, mode);
}

TEST(Variant, KindsAndTheirTextForms) {
    Variant undefined;
    EXPECT_EQ(undefined.getType(), TypeUndefined);
    EXPECT_FALSE(undefined.isDefined());
    EXPECT_EQ(undefined.getString(), u"undefined");
    Variant null;
    null.setNull();
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(null.getString(), u"null");
    EXPECT_EQ(Variant(true).getString(), u"true");
    EXPECT_EQ(Variant(false).getType(), TypeBool);
    EXPECT_EQ(Variant(42).getType(), TypeNumber);
    EXPECT_EQ(Variant(u"text").getString(), u"text");
    EXPECT_EQ(Variant(Point(3.9, -4.2)).getString(), u"3:-4");
    EXPECT_EQ(Variant(Rect(1, 2, 3, 4)).getString(), u"1:2-3:4");
    EXPECT_EQ(Variant(Point(1e12, kNaN)).getString(), u"2147483647:0") << "coordinates saturate";
    EXPECT_EQ(Variant(7, String(u"Widget"), nullptr).getString(), u"[object Widget]");
    EXPECT_EQ(Variant(7, String(), nullptr).getString(), u"[object Object]");
    Array list;
    list += 1;
    list += u"a";
    EXPECT_EQ(Variant(list).getString(), u"[1,a]");
    EXPECT_EQ(Variant(static_cast<const Variant*>(nullptr)).getType(), TypeUndefined);
    EXPECT_EQ(Variant::undefinedValue().getType(), TypeUndefined);
}

TEST(Variant, NumbersInTheShortestForm) {
    EXPECT_EQ(text(0), u"0");
    EXPECT_EQ(text(-0.0), u"0");
    EXPECT_EQ(text(-5), u"-5");
    EXPECT_EQ(text(0.5), u"0.5");
    EXPECT_EQ(text(1.0 / 3), u"0.333333333333333");
    EXPECT_EQ(text(2.0 / 3), u"0.666666666666667");
    EXPECT_EQ(text(123.25), u"123.25");
    EXPECT_EQ(text(-123456789.123), u"-123456789.123");
    EXPECT_EQ(text(0.1 + 0.2), u"0.3") << "15 significant digits hide the binary noise";
    EXPECT_EQ(text(1e9), u"1000000000");
    EXPECT_EQ(text(123456789012), u"123456789012");
    EXPECT_EQ(text(1e20), u"100000000000000000000");
    EXPECT_EQ(text(18446744073709551616.0), u"18446744073709551616");
    EXPECT_EQ(text(1e21), u"1e+21");
    EXPECT_EQ(text(-1.5e300), u"-1.5e+300");
    EXPECT_EQ(text(1.5e-7), u"1.5e-7");
    EXPECT_EQ(text(0.000001), u"0.000001");
    EXPECT_EQ(text(0.0000009), u"9e-7");
    EXPECT_EQ(text(1234567890123456.5), u"1234567890123456.5")
        << "past 15 digits printf's default 6 places apply";
    EXPECT_EQ(text(100000000000000.5), u"100000000000000") << "integer zeros are digits, not padding";
    EXPECT_EQ(text(kNaN), u"NaN");
    EXPECT_EQ(text(kInf), u"Infinity");
    EXPECT_EQ(text(-kInf), u"-Infinity");
}

TEST(Variant, NumbersInOtherRadixesAndModes) {
    EXPECT_EQ(Variant(255).getString(16), u"ff");
    EXPECT_EQ(Variant(-255).getString(16), u"-ff");
    EXPECT_EQ(Variant(2.75).getString(2), u"10") << "the fraction is dropped";
    EXPECT_EQ(Variant(35).getString(36), u"z");
    EXPECT_EQ(Variant(0).getString(16), u"0");
    EXPECT_EQ(Variant(5).getString(1), u"NaN");
    EXPECT_EQ(Variant(5).getString(37), u"NaN");
    EXPECT_EQ(Variant(kNaN).getString(16), u"NaN");
    EXPECT_EQ(Variant(kInf).getString(2), u"Infinity");
    EXPECT_EQ(Variant(std::ldexp(1.0, 60)).getString(2).length(), 61);
    EXPECT_EQ(Variant(u"abc").getString(16), u"abc") << "only numbers take a radix";

    EXPECT_EQ(Variant(1.0 / 3).getString(10, 4), u"0.3333");
    EXPECT_EQ(number(3.14159, 10, 2, 1), u"3.14");
    EXPECT_EQ(number(2, 10, 3, 1), u"2.000") << "fixed mode pads to the precision";
    EXPECT_EQ(number(1.0 / 3, 10, 20, 1), u"0.33333333333333300000") << "but keeps at most 15 digits";
    EXPECT_EQ(number(1234.5, 10, 3, 2), u"1.234e+3");
    EXPECT_EQ(number(5, 10, 2, 2), u"5.00e+0");
    EXPECT_EQ(number(1.5e-300, 10, 1, 2), u"1.5e-300");
    EXPECT_EQ(number(0.5, 10, 0, 1), u"0") << "no places: no point";
}

TEST(Variant, NumberClassesAreCachedAndClearedBySetters) {
    Variant v(-0.0);
    EXPECT_EQ(v.getString(), u"0");
    EXPECT_TRUE(v.isMinus0());
    EXPECT_TRUE(v.isInteger());
    v.setDouble(3.5);
    EXPECT_FALSE(v.isMinus0());
    EXPECT_FALSE(v.isInteger());
    EXPECT_TRUE(v.isFinite());
    EXPECT_EQ(v.getString(), u"3.5") << "the text cache follows the new value";
    v.setInteger(static_cast<uint32_t>(4000000000u));
    EXPECT_TRUE(v.isUInteger());
    EXPECT_FALSE(v.isInteger());
    v.setInteger(static_cast<int32_t>(-7));
    EXPECT_TRUE(v.isInteger());
    EXPECT_FALSE(v.isUInteger());
    v.setNaN();
    EXPECT_TRUE(v.isNaN());
    EXPECT_FALSE(v.isFinite());
    v.setPosInfinity();
    EXPECT_FALSE(v.isFinite());
    EXPECT_FALSE(v.isNaN());
    v.setNegInfinity();
    EXPECT_EQ(v.getString(), u"-Infinity");
    v.setMinus0();
    EXPECT_TRUE(v.isMinus0());
    EXPECT_TRUE(Variant(u" 42 ").isInteger()) << "other kinds are classified through their number";
    EXPECT_TRUE(Variant(u"x").isNaN());
}

TEST(Variant, ConversionsFollowTheScriptRules) {
    Variant null;
    null.setNull();
    EXPECT_TRUE(std::isnan(Variant().getDouble()));
    EXPECT_EQ(null.getDouble(), 0);
    EXPECT_EQ(Variant(true).getDouble(), 1);
    EXPECT_EQ(Variant(u"  12.5  ").getDouble(), 12.5);
    EXPECT_EQ(Variant(u"").getDouble(), 0);
    EXPECT_EQ(Variant(u" \t").getDouble(), 0);
    EXPECT_EQ(Variant(u"0x1F").getDouble(), 31);
    EXPECT_EQ(Variant(u"010").getDouble(), 10) << "no octal in string to number";
    EXPECT_TRUE(std::isnan(Variant(u"12px").getDouble()));
    EXPECT_TRUE(std::isnan(Variant(Point()).getDouble()));
    Array one;
    one += 5;
    EXPECT_EQ(Variant(one).getDouble(), 5);
    EXPECT_EQ(Variant(Array()).getDouble(), 0);

    EXPECT_FALSE(Variant().getBool());
    EXPECT_FALSE(null.getBool());
    EXPECT_FALSE(Variant(0).getBool());
    EXPECT_FALSE(Variant(-0.0).getBool());
    EXPECT_FALSE(Variant(kNaN).getBool());
    EXPECT_TRUE(Variant(0.1).getBool());
    EXPECT_FALSE(Variant(u"").getBool());
    EXPECT_TRUE(Variant(u"false").getBool());
    EXPECT_TRUE(Variant(Array()).getBool());
    EXPECT_TRUE(Variant(0, String(), nullptr).getBool());

    EXPECT_EQ(Variant(3.9).getInteger(), 3);
    EXPECT_EQ(Variant(-3.9).getInteger(), -3);
    EXPECT_EQ(Variant(4294967301.0).getInteger(), 5) << "wrapped modulo 2^32";
    EXPECT_EQ(Variant(2147483648.0).getInteger(), INT32_MIN);
    EXPECT_EQ(Variant(-1).getUInteger(), 4294967295u);
    EXPECT_EQ(Variant(kInf).getInteger(), 0);
    EXPECT_EQ(Variant(1e30).getInteger(1, 10), 10);
    EXPECT_EQ(Variant(-7).getInteger(1, 10), 1);
    EXPECT_EQ(Variant(u"6.7").getInteger(1, 10), 6);
}

TEST(Variant, ScanDoubleReadsSignsWordsAndNumbers) {
    String rest;
    EXPECT_EQ(Variant::scanDouble(u"  -12.5e1", ScanStrict), -125);
    EXPECT_EQ(Variant::scanDouble(u"", ScanStrict, &rest), 0);
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"12abc", ScanStrict)));
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"- 1", ScanStrict, &rest)));
    EXPECT_EQ(rest, u" 1") << "the rest starts after the sign";
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"+", ScanStrict)));
    EXPECT_EQ(Variant::scanDouble(u"Infinity", ScanStrict), kInf);
    EXPECT_EQ(Variant::scanDouble(u"-Infinity", ScanStrict), -kInf);
    EXPECT_EQ(Variant::scanDouble(u"Infinityx", ScanStrict, &rest), kInf)
        << "nothing after the word is examined";
    EXPECT_EQ(rest, u"x");
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"NaN", ScanStrict)));
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"infinity", ScanStrict))) << "the words are case-sensitive";
    EXPECT_EQ(Variant::scanDouble(u".5", ScanStrict), 0.5);
    EXPECT_EQ(Variant::scanDouble(u"5.", ScanStrict), 5);
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u".", ScanStrict)));
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"e5", ScanStrict)));
    EXPECT_EQ(Variant::scanDouble(u"1e400", ScanStrict), kInf);
    EXPECT_EQ(Variant::scanDouble(u"1e-400", ScanStrict), 0);
    EXPECT_EQ(Variant::scanDouble(u"12345678901234567890123", ScanStrict), 12345678901234567890123.0)
        << "long digit runs are rounded once";
    EXPECT_EQ(Variant::scanDouble(u"0.1", ScanStrict), 0.1);
}

TEST(Variant, ScanDoubleTrailingTextModesAndPrefixes) {
    String rest;
    EXPECT_EQ(Variant::scanDouble(u"12 px", ScanAllowBlank, &rest), 12);
    EXPECT_EQ(rest, u" px");
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"12px", ScanAllowBlank)));
    EXPECT_EQ(Variant::scanDouble(u"12px", ScanAllowAny, &rest), 12);
    EXPECT_EQ(rest, u"px");
    EXPECT_EQ(Variant::scanDouble(u"3.5e2xyz", 7, &rest), 350) << "every other mode allows any remainder";
    EXPECT_EQ(rest, u"xyz");

    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"0x1F", ScanStrict))) << "hexadecimal needs its flag";
    EXPECT_EQ(Variant::scanDouble(u"0x1F", ScanHexPrefix | ScanStrict), 31);
    EXPECT_EQ(Variant::scanDouble(u"-0XfF", ScanHexPrefix | ScanStrict), -255);
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"0x", ScanHexPrefix | ScanStrict)));
    EXPECT_EQ(Variant::scanDouble(u"0x1.5", ScanHexPrefix | ScanAllowAny, &rest), 1) << "no fraction in hex";
    EXPECT_EQ(rest, u".5");
    EXPECT_EQ(Variant::scanDouble(u"017", ScanStrict), 17);
    EXPECT_EQ(Variant::scanDouble(u"017", ScanOctalPrefix | ScanStrict), 15);
    EXPECT_TRUE(std::isnan(Variant::scanDouble(u"019", ScanOctalPrefix | ScanStrict)));
    EXPECT_EQ(Variant::scanDouble(u"017.5", ScanOctalPrefix | ScanStrict), 17.5)
        << "a fraction reads decimal";
}

TEST(Variant, ScanIntegerStartsWhereItIsTold) {
    String rest;
    EXPECT_EQ(Variant::scanInteger(u"id=  42;", 3, ScanAllowAny, &rest), 42);
    EXPECT_EQ(rest, u";");
    EXPECT_EQ(Variant::scanInteger(u"-0x10", 0, ScanHexPrefix | ScanStrict), -16);
    EXPECT_TRUE(std::isnan(Variant::scanInteger(u"4.5", 0, ScanStrict)));
    EXPECT_EQ(Variant::scanInteger(u"4.5", 0, ScanAllowAny, &rest), 4);
    EXPECT_EQ(rest, u".5");
    EXPECT_TRUE(std::isnan(Variant::scanInteger(u"abc", 0, ScanAllowAny)));
    EXPECT_TRUE(std::isnan(Variant::scanInteger(u"7", 99, ScanStrict, &rest)))
        << "a start past the end reads nothing";
    EXPECT_EQ(rest.length(), 0);
}

TEST(Variant, EqualityIsStrictAndOrderIsNumericOrTextual) {
    EXPECT_EQ(Variant(1), Variant(1.0));
    EXPECT_EQ(Variant(0.0), Variant(-0.0));
    EXPECT_NE(Variant(kNaN), Variant(kNaN));
    EXPECT_NE(Variant(1), Variant(u"1")) << "kinds must match";
    EXPECT_EQ(Variant(u"ab"), Variant(String(u"ab")));
    EXPECT_EQ(Variant(), Variant());
    EXPECT_EQ(Variant(Point(1, 2)), Variant(Point(1, 2)));
    EXPECT_NE(Variant(Rect(1, 2, 3, 4)), Variant(Rect(1, 2, 3, 5)));
    Array a;
    a += 1;
    Array b;
    b += 1;
    EXPECT_EQ(Variant(a), Variant(b));
    Root* object = reinterpret_cast<Root*>(&a);
    EXPECT_EQ(Variant(3, String(u"X"), object), Variant(3, String(u"Y"), object)) << "objects by identity";
    EXPECT_NE(Variant(3, String(u"X"), object), Variant(4, String(u"X"), object));

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
    EXPECT_EQ(point.getRect()->right, 5);
    EXPECT_EQ(point.getPoint(), nullptr);

    Array list;
    list += u"x";
    Variant holder(list);
    Variant moved(std::move(holder));
    EXPECT_EQ(holder.getType(), TypeUndefined); // NOLINT: a moved-from value is undefined
    ASSERT_NE(moved.getArray(), nullptr);
    (*moved.getArray())[1] = 2;
    EXPECT_EQ(list.length(), 1u) << "the array inside the Variant is its own copy once written";
    EXPECT_EQ(moved.getString(), u"[x,2]") << "array text is never stale";

    Variant self(u"keep");
    self = self;
    self.setString(self.getString());
    EXPECT_EQ(self.getString(), u"keep");

    Variant object;
    object.setObjectID(9);
    EXPECT_EQ(object.getType(), TypeObject);
    EXPECT_TRUE(object.hasUnassignedObjectData());
    object.setObjectData(reinterpret_cast<Root*>(&list));
    EXPECT_FALSE(object.hasUnassignedObjectData());
    EXPECT_EQ(object.getObjectID(), 9);
}

TEST(Variant, ConvertAndValidate) {
    Variant v(u"12");
    EXPECT_EQ(v.convert(TypeNumber), ErrNone);
    EXPECT_EQ(v.getType(), TypeNumber);
    EXPECT_EQ(v.getDouble(), 12);
    EXPECT_EQ(v.convert(TypeString), ErrNone);
    EXPECT_EQ(v.getString(), u"12");
    EXPECT_EQ(v.convert(TypeBool), ErrNone);
    EXPECT_TRUE(v.getBool());
    EXPECT_EQ(v.convert(TypePoint), ErrTypeMismatch);
    EXPECT_EQ(v.getType(), TypeBool);
    EXPECT_EQ(v.convert(TypeNull), ErrNone);
    EXPECT_TRUE(v.isNull());
    EXPECT_EQ(v.convert(TypeUndefined), ErrNone);
    EXPECT_FALSE(v.isDefined());

    EXPECT_EQ(Variant(u"x").validate(TypeString), ErrNone);
    EXPECT_EQ(Variant(u"x").validate(TypeNumber), ErrTypeMismatch);
    EXPECT_EQ(Variant(5).validate(0.0, 10.0), ErrNone);
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
