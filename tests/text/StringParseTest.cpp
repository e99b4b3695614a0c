#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/String.h>

#include <gtest/gtest.h>

#include <new>
#include <string>

using Quarn::String;

namespace {

// A String from a u16string, so that tests can hold 0 units.
String text(const std::u16string& units) {
    return String(reinterpret_cast<const unsigned short*>(units.data()), static_cast<int32_t>(units.size()));
}

struct Parsed {
    bool ok;
    String out;
    String rest;
};

Parsed parse(const std::u16string& units) {
    Parsed p{false, String(u"old contents"), text(units)};
    p.ok = p.rest.parse(p.out);
    return p;
}

TEST(StringParse, QuotedLiteralsAreTakenFromTheFront) {
    Parsed p = parse(u"'a\\tb' rest");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"a\tb");
    EXPECT_EQ(p.rest, u" rest");

    p = parse(u"\"say 'hi'\"\"next\"");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"say 'hi'") << "only the opening kind of quote closes";
    EXPECT_EQ(p.rest, u"\"next\"");

    p = parse(u"'it\\'s'");
    EXPECT_EQ(p.out, u"it's");
    EXPECT_TRUE(p.rest.length() == 0);

    for (const char16_t* empty : {u"\"\"", u"''", u"\""}) {
        p = parse(empty);
        EXPECT_TRUE(p.ok);
        EXPECT_EQ(p.out.length(), 0);
        EXPECT_EQ(p.rest.length(), 0);
    }
    p = parse(u"");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out.length(), 0) << "out is emptied";
}

TEST(StringParse, TheLastUnitIsNeverReadAsAPlainUnit) {
    // A literal that runs to the end is accepted without its last unit, and the string is used up.
    Parsed p = parse(u"\"abc");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"ab");
    EXPECT_EQ(p.rest.length(), 0);

    p = parse(u"\"ab\\");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"ab") << "a backslash in last place starts nothing";

    p = parse(u"\"a\\n");
    EXPECT_EQ(p.out, u"a\n") << "an escape may still reach the last unit";
    p = parse(u"\"\\x41");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"A");

    // Without an opening quote the first unit is taken twice and the last is dropped.
    p = parse(u"abc");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"aab");
    EXPECT_EQ(p.rest.length(), 0);
    p = parse(u"x");
    EXPECT_EQ(p.out, u"x");
}

TEST(StringParse, Escapes) {
    Parsed p = parse(u"'\\b\\f\\n\\r\\t\\v|\\q\\\\\\\"\\'\\8'");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"\b\f\n\r\t\v|q\\\"'8");

    // One to three octal digits; a third one only after a first digit of 0 to 3.
    p = parse(u"'\\101\\7|\\18|\\400|\\777|\\0'");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, text(std::u16string(u"A\a|\0018| 0|?7|") + char16_t(0)));

    p = parse(u"'\\x41\\x7e\\u263A\\U00e9\\uFFFF'");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, u"A~\u263A\u00E9\uFFFF");

    // An escaped 0 unit stands for itself.
    p = parse(std::u16string(u"'a\\") + char16_t(0) + u"b'");
    EXPECT_TRUE(p.ok);
    EXPECT_EQ(p.out, text(std::u16string(u"a") + char16_t(0) + u"b"));
}

TEST(StringParse, BadHexadecimalFailsAndLeavesTheString) {
    for (const char16_t* bad :
         {u"'ok\\x4g'", u"'ok\\xg1' x", u"'ok\\u12'", u"'ok\\U123'", u"'ok\\u12", u"'ok\\x"}) {
        Parsed p = parse(bad);
        EXPECT_FALSE(p.ok) << String(bad);
        EXPECT_EQ(p.out, u"ok") << "what was read so far";
        EXPECT_EQ(p.rest, bad) << "nothing removed";
    }
}

TEST(StringParse, LineEndsStopTheReadingAndEscapedOnesContinueIt) {
    const std::u16string stops[] = {u"\n",     u"\r",     u"\r\n",
                                    u"\u2028", u"\u2029", std::u16string(1, char16_t(0))};
    for (const std::u16string& stop : stops) {
        const std::u16string quoted = u"\"ab" + stop + u"c\"";
        Parsed p = parse(quoted);
        EXPECT_FALSE(p.ok) << "inside quotes";
        EXPECT_EQ(p.out, u"ab");
        EXPECT_EQ(p.rest, text(quoted));

        const std::u16string bare = u"ab" + stop + u"cd";
        p = parse(bare);
        EXPECT_TRUE(p.ok) << "without quotes";
        EXPECT_EQ(p.out, u"aab");
        EXPECT_EQ(p.rest, text(bare)) << "nothing is removed either way";

        if (stop.size() == 1 && stop[0] == 0) continue;
        p = parse(u"'a\\" + stop + u"b' rest");
        EXPECT_TRUE(p.ok) << "a line continuation";
        EXPECT_EQ(p.out, u"ab");
        EXPECT_EQ(p.rest, u" rest");
    }
}

TEST(StringParse, OutMayBeTheStringItself) {
    String s(u"'lit' rest");
    String sharer = s;
    EXPECT_TRUE(s.parse(s));
    EXPECT_EQ(s, u"lit");
    EXPECT_EQ(sharer, u"'lit' rest") << "the shared buffer is left alone";

    String out;
    EXPECT_TRUE(sharer.parse(out));
    EXPECT_EQ(sharer, u" rest");
    EXPECT_EQ(out, u"lit");
}

TEST(StringParse, ExhaustionChangesNeitherString) {
    quarn_test::TestAllocator failing;
    {
        quarn_test::ScopedAllocator scope(failing);
        String s(u"'literal' rest");
        String out(u"out");
        failing.failAt(1);
        EXPECT_THROW(s.parse(out), std::bad_alloc);
        EXPECT_EQ(s, u"'literal' rest");
        EXPECT_EQ(out, u"out");
        failing.failAt(0);
    }
    EXPECT_EQ(failing.outstanding, 0);
}

} // namespace
