#include "support/StringPrinting.h"

#include <quarn/String.h>

#include <gtest/gtest.h>

#include <string>

using Quarn::String;

namespace {

// A String from a u16string, so that tests can hold 0 units.
String text(const std::u16string& units) {
    return String(reinterpret_cast<const unsigned short*>(units.data()), static_cast<int32_t>(units.size()));
}

// Parses input into an out that held something else, and checks the result, out and what is left.
void expectParse(const std::u16string& input, bool ok, const String& out, const String& rest) {
    SCOPED_TRACE(::testing::PrintToString(text(input)));
    String s = text(input);
    String got(u"old contents");
    EXPECT_EQ(s.parse(got), ok);
    EXPECT_EQ(got, out);
    EXPECT_EQ(s, rest);
}

TEST(StringParse, QuotedLiteralsAreTakenFromTheFrontButNeverTheirLastUnit) {
    expectParse(u"'a\\tb' rest", true, u"a\tb", u" rest");
    expectParse(u"\"say 'hi'\"\"next\"", true, u"say 'hi'", u"\"next\""); // only the opening kind closes
    expectParse(u"'it\\'s'", true, u"it's", u"");
    expectParse(u"''", true, u"", u"");
    expectParse(u"", true, u"", u"");
    // The last unit is never read as a plain unit: a literal that runs to the end is accepted without its
    // last unit, and the string is used up.
    expectParse(u"\"abc", true, u"ab", u"");
    expectParse(u"\"", true, u"", u"");
    expectParse(u"\"ab\\", true, u"ab", u"");
    // The units of an escape may still reach it.
    expectParse(u"\"a\\n", true, u"a\n", u"");
    expectParse(u"\"\\x41", true, u"A", u"");
    // Without an opening quote the first unit is taken twice.
    expectParse(u"abc", true, u"aab", u"");
    expectParse(u"x", true, u"x", u"");
}

TEST(StringParse, EscapesAndBadHexadecimal) {
    expectParse(u"'\\b\\f\\n\\r\\t\\v|\\q\\\\\\\"\\'\\8'", true, u"\b\f\n\r\t\v|q\\\"'8", u"");
    // One to three octal digits; a third one only after a first digit of 0 to 3.
    expectParse(u"'\\101\\7|\\18|\\400|\\777|\\0'", true,
                text(std::u16string(u"A\a|\0018| 0|?7|") + char16_t(0)), u"");
    expectParse(u"'\\x41\\x7e\\u263A\\U00e9\\uFFFF'", true, u"A~\u263A\u00E9\uFFFF", u"");
    // An escaped 0 unit stands for itself.
    const std::u16string zero(1, char16_t(0));
    expectParse(u"'a\\" + zero + u"b'", true, text(u"a" + zero + u"b"), u"");
    // Bad hexadecimal fails and leaves the string as it was.
    for (const char16_t* bad :
         {u"'ok\\x4g'", u"'ok\\xg1' x", u"'ok\\u12'", u"'ok\\U123'", u"'ok\\u12", u"'ok\\x"})
        expectParse(bad, false, u"ok", bad);
}

TEST(StringParse, LineEndsStopTheReadingAndEscapedOnesContinueIt) {
    const std::u16string stops[] = {u"\n",     u"\r",     u"\r\n",
                                    u"\u2028", u"\u2029", std::u16string(1, char16_t(0))};
    for (const std::u16string& stop : stops) {
        // Nothing is removed: a failure inside quotes, a success without them.
        expectParse(u"\"ab" + stop + u"c\"", false, u"ab", text(u"\"ab" + stop + u"c\""));
        expectParse(u"ab" + stop + u"cd", true, u"aab", text(u"ab" + stop + u"cd"));
        if (stop[0] != 0) expectParse(u"'a\\" + stop + u"b' rest", true, u"ab", u" rest");
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

} // namespace
