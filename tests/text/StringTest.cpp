#include "support/StringPrinting.h"
#include "support/TestAllocator.h"
#include "text/StringAccess.h"

#include <quarn/String.h>

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

using namespace std::string_literals;
using namespace Quarn;
using quarn_test::liveBlocks;

namespace {

// A String from a u16string, so that cases can hold 0 units.
String str(const std::u16string& units) {
    return String(reinterpret_cast<const unsigned short*>(units.data()), static_cast<int32_t>(units.size()));
}

TEST(String, EveryEmptyStringSharesTheStaticBufferWithoutAllocating) {
    int32_t start = liveBlocks();
    const unsigned short units[] = {'a', 0};
    String made, fromNull(static_cast<const unsigned short*>(nullptr)), fromZeroLength(units, 0),
        fromEmpty(u"");
    String assigned(u"abc"), unit(u"abc"), erased(u"abc"), erasedRange(u"abc");
    assigned = u"";
    unit = static_cast<unsigned short>(0);
    erased.erase();
    erasedRange.erase(0, 99);
    for (const String* s :
         {&made, &fromNull, &fromZeroLength, &fromEmpty, &assigned, &unit, &erased, &erasedRange}) {
        EXPECT_TRUE(StringAccess::usesStaticEmpty(*s));
        EXPECT_EQ(s->wstr()[0], 0);
    }
    made.clear(); // clearing the static buffer neither writes to it nor allocates
    EXPECT_TRUE(StringAccess::usesStaticEmpty(made));
    EXPECT_EQ(liveBlocks(), start);
}

TEST(String, ConstructionCopiesTheGivenUnits) {
    const unsigned short units[] = {'h', 'e', 0, 'l', 'o', 0};
    EXPECT_EQ(String(units), u"he");
    EXPECT_EQ(String(units, 1), u"h");
    EXPECT_EQ(String(units, -7), u"he"); // any negative length means "to the terminator"
    String withZero(units, 5);
    EXPECT_EQ(withZero.length(), 5);
    EXPECT_FALSE(withZero == String(units, 2)) << "equality compares the whole length";
    EXPECT_EQ(withZero.cmp(String(units, 2)), 0) << "ordering stops at the first 0 unit";
}

TEST(String, CopiesShareTheBufferUntilOneIsWritten) {
    String a(u"shared");
    String b = a;
    EXPECT_EQ(StringAccess::refCount(a), 2);
    a.set(0, 'x');
    EXPECT_EQ(a, u"xhared");
    EXPECT_EQ(b, u"shared");
    a = b;
    a = a; // self-assignment must not release the buffer first
    EXPECT_EQ(StringAccess::refCount(b), 2);
    a.clear(); // detaches too, keeping a private buffer of its own
    EXPECT_EQ(StringAccess::capacity(a), 16);
    EXPECT_EQ(b, u"shared");
}

TEST(String, CapacityGrowsByGranulesAndShrinksOnlyPast2048IdleUnits) {
    const int32_t cases[][2] = {{15, 16},       {16, 32},       {255, 256},    {256, 512},
                                {32767, 32768}, {32768, 33792}, {40000, 40960}};
    for (const auto& c : cases)
        EXPECT_EQ(StringAccess::capacityFor(c[0]), c[1]) << c[0] << " units";
    String s;
    s.setup('a', 15);
    s += 'c'; // the 16th unit leaves no room for the terminator
    EXPECT_EQ(StringAccess::capacity(s), 32);

    s.setup('x', 5000); // capacity 5120, 5119 usable
    s.erase(3100, -1);  // 2019 idle: kept
    EXPECT_EQ(StringAccess::capacity(s), 5120);
    s.erase(3000, -1); // 2119 idle: shrunk to the rule's capacity
    EXPECT_EQ(StringAccess::capacity(s), 3072);
    EXPECT_EQ(s, String(std::u16string(3000, u'x').c_str()));
}

TEST(String, OutOfRangePositionsAreClampedOrIgnored) {
    String s(u"0123456789");
    s.set(10, 'x');
    s.erase(-3, 2); // a negative position erases nothing
    EXPECT_EQ(s, u"0123456789");
    s.erase(8, 99); // a count past the end is cut
    s.erase(1, -1); // a negative count means the rest
    EXPECT_EQ(s, u"0");
}

TEST(String, AssignmentAndAppendingAcceptTextFromTheirOwnBuffer) {
    String s(u"abcdef");
    s = s.wstr() + 2;
    EXPECT_EQ(s, u"cdef");
    s += s.wstr();
    EXPECT_EQ(s, u"cdefcdef");
    s += s;
    EXPECT_EQ(s, u"cdefcdefcdefcdef");
}

TEST(String, ComparisonOrdersByUnitValue) {
    EXPECT_GT(String(u"\u00E9").cmp(u"z"), 0) << "units compare unsigned";
    EXPECT_LT(String(u"ab").cmp(String(u"abc")), 0);
    EXPECT_EQ(String().cmp(static_cast<const unsigned short*>(nullptr)), 0);
    EXPECT_TRUE(String(u"apple") < u"b" && String(u"b") >= String(u"apple"));
    // Caseless comparison subtracts upper-case forms, so "[" comes after "a".
    EXPECT_EQ(String(u"Hello").ucmp(u"hELLO"), 0);
    EXPECT_GT(String(u"[").ucmp(String(u"a")), 0);
    EXPECT_LT(String(u"abcX").nucmp(u"ABCy", 4), 0);
    EXPECT_EQ(String(u"a").nucmp(u"b", 0), 0);
}

TEST(String, SearchesClampTheirStartAndStopAtTheTerminator) {
    const String s(u"banana");
    EXPECT_EQ(s.find('a', -5), 1) << "a negative forward start searches everything";
    EXPECT_EQ(s.find('b', -5, true), 0) << "a negative reverse start examines index 0 only";
    EXPECT_EQ(s.find('a', -5, true), -1);
    EXPECT_EQ(s.find(static_cast<unsigned short>(0), 99, true), 6)
        << "a reverse search looks at the terminator";
    // findAny counts the set's terminator as a member, so it stops at the end of the text.
    EXPECT_EQ(s.findAny(u"#"), 6);
    EXPECT_EQ(s.findAny(u"a", -1), -1);
    EXPECT_EQ(s.findAny(u"", 42), 42) << "an empty set returns the start untouched";

    const String t(u"abcabcab");
    EXPECT_EQ(t.find(u"ab", 7), -1) << "no room left for the pattern";
    EXPECT_EQ(String(u"aaab").find(u"aab"), 1);
    EXPECT_EQ(t.find(String(u"bc"), -1, true), 4) << "a negative reverse start means the last possible place";
    // An empty pattern: the pointer form answers 0 at once, the String form answers the start.
    EXPECT_EQ(t.find(u"", 3), 0);
    EXPECT_EQ(t.find(String(), 3, true), 3);
    // The forward search stops at a 0 unit; the reverse one compares units.
    const String zero = str(u"a\0bc"s);
    EXPECT_EQ(zero.find(u"bc"), -1);
    EXPECT_EQ(zero.find(u"bc", 4, true), 2);
}

TEST(String, InsertClampsItsPositionAndAlwaysInsertsAUnit) {
    String s(u"held");
    s.insert(u"llo wor", 2);
    s.insert(u">", -4);
    s.insert(String(u"!"), 99);
    s.insert(u"", 1);
    s.insert(static_cast<unsigned short>(0), 1);
    EXPECT_EQ(s, str(u">\0hello world!"s));
    EXPECT_EQ(s.substr(8, 99), u"world!");
    String t(u"ab"), copy = t;
    t.insert(t, 1); // from its own, shared buffer
    EXPECT_EQ(t, u"aabb");
    EXPECT_EQ(copy, u"ab");
}

TEST(String, ReplaceAllNeverSearchesInsertedText) {
    String one(u"one two one");
    EXPECT_EQ(one.replace(u"one", u"1", 1), 8) << "replace takes the first match at or after the start";
    EXPECT_EQ(one.replace(u"", u"> "), 0) << "an empty pattern is found at the front";
    EXPECT_EQ(one, u"> one two 1");
    String s(u"aaa");
    EXPECT_EQ(s.replaceAll(u"a", u"aa"), 3);
    EXPECT_EQ(s, u"aaaaaa");
    String t(u"a-b"), shared = t;
    EXPECT_EQ(shared.replaceAll(u"x", u"y"), 0);
    EXPECT_EQ(StringAccess::refCount(shared), 2) << "nothing found: not even detached";
    String gone(u"xxxx");
    EXPECT_EQ(gone.replaceAll(u"xx", u""), 2) << "matches do not overlap";
    EXPECT_TRUE(StringAccess::usesStaticEmpty(gone));
    // Past the 256 matches it remembers, the search runs again while the new text is built.
    String many(std::u16string(300, u'a').c_str());
    EXPECT_EQ(many.replaceAll(u"a", u"bc"), 300);
    std::u16string expected(600, u'b');
    for (size_t i = 1; i < 600; i += 2)
        expected[i] = u'c';
    EXPECT_EQ(quarn_test::u16(many), expected);
    String self(u"ab");
    EXPECT_EQ(self.replaceAll(self, String(u"[ab]")), 1);
    EXPECT_EQ(self, u"[ab]");
}

TEST(String, SplitWalksASeparatedListAndStripsOnlyTheField) {
    String list(u"a , b::c");
    EXPECT_EQ(list.split(','), u"a");
    EXPECT_EQ(list, u" b::c") << "the rest is not stripped";
    EXPECT_EQ(list.split(u"::"), u"b");
    EXPECT_EQ(list.split(','), u"c");
    EXPECT_EQ(list.length(), 0);
    // The field is stripped, but never in a buffer that someone else holds.
    String padded(u"  no separator"), other = padded;
    EXPECT_EQ(padded.split(','), u"no separator");
    EXPECT_EQ(other, u"  no separator");
}

TEST(String, StripRemovesControlUnitsAndBlanksAtBothEnds) {
    String s(u"\t x  y \r\n");
    s.strip();
    EXPECT_EQ(s, u"x  y");
    String blank(u"   ");
    blank.strip();
    EXPECT_TRUE(StringAccess::usesStaticEmpty(blank));
    // The leading trim copies only up to the first 0 unit (kept), but the text stays terminated.
    String embedded = str(u" a\0bc"s);
    embedded.strip();
    EXPECT_EQ(embedded, str(u"a\0\0b"s));
    EXPECT_EQ(embedded.wstr()[4], 0);
    // Kept on purpose: the leading trim writes in place even into a shared buffer, which is why only
    // strings whose buffer the caller owns are stripped.
    String owner(u"  ab"), sharer = owner;
    owner.strip();
    EXPECT_EQ(owner, u"ab");
    EXPECT_EQ(sharer, u"ab");
}

TEST(String, CaseMappingWritesOnlyWhenSomethingChanges) {
    String s(u"MiXeD 123"), sharer = s;
    EXPECT_TRUE(s.toUpper());
    EXPECT_EQ(s, u"MIXED 123");
    EXPECT_EQ(sharer, u"MiXeD 123");
    String digits(u"123"), other = digits;
    EXPECT_FALSE(digits.toLower());
    EXPECT_EQ(StringAccess::refCount(digits), 2) << "no change, no copy";
    // toMixed lowers everything, then raises the first unit and each one after " ,;.".
    String mixed(u"hELLO world;foo.bar x-ray");
    EXPECT_TRUE(mixed.toMixed());
    EXPECT_EQ(mixed, u"Hello World;Foo.Bar X-ray");
    EXPECT_TRUE(mixed.toMixed()) << "lowered, then raised again: both steps count";
}

TEST(String, ConvertLFRewritesEveryLineEndAndCountsThem) {
    String s(u"a\r\nb\rc\n");
    EXPECT_EQ(s.convertLF(LineEndLF), 3);
    EXPECT_EQ(s, u"a\nb\nc\n");
    EXPECT_EQ(s.convertLF(LineEndCRLF), 3);
    EXPECT_EQ(s, u"a\r\nb\r\nc\r\n");
    const StringData* before = StringAccess::buffer(s);
    EXPECT_EQ(s.convertLF(LineEndCRLF), 3);
    EXPECT_EQ(StringAccess::buffer(s), before) << "already in the requested form: untouched";
    String lf(u"a\nb");
    EXPECT_EQ(lf.convertLF(LineEndPlatform), 1);
    EXPECT_EQ(lf, u"a\nb") << "LF is this platform's line end";
}

// Every kind of write, failing at each of its allocations in turn, on a private and on a shared
// buffer: the exception comes out and the string keeps its text.
TEST(String, ExhaustionLeavesTheStringAsItWas) {
    const std::u16string longText(700, u'x');
    const struct {
        const char* name;
        std::function<void(String&)> write;
    } writes[] = {
        {"append", [](String& s) { s += u" and more text than the buffer holds"; }},
        {"set", [](String& s) { s.set(0, 'S'); }},
        {"replaceAll", [](String& s) { s.replaceAll(u"t", u"TT"); }},
        {"setup", [](String& s) { s.setup('x', 100); }},
        {"print", [&](String& s) { s.print(u"%ls%.300f%ls", longText.c_str(), 1.0, longText.c_str()); }},
        {"parse", [](String& s) {
             String out(u"out");
             s.parse(out);
         }}};
    const String original(u"'stable\\t' text");
    quarn_test::TestAllocator failing;
    {
        quarn_test::ScopedAllocator scope(failing);
        for (const auto& w : writes) {
            for (bool shared : {false, true}) {
                long n = 1;
                for (;; ++n) {
                    String s(original.wstr()), sharer = shared ? s : String();
                    failing.failAt(n);
                    try {
                        w.write(s);
                        break;
                    } catch (const std::bad_alloc&) {
                        ASSERT_EQ(s, original)
                            << w.name << (shared ? " (shared)" : "") << " failing at " << n;
                    }
                }
                failing.failAt(0);
                EXPECT_TRUE(!shared || n > 1) << w.name << " wrote a shared buffer without copying it";
            }
        }
    }
    EXPECT_EQ(failing.outstanding, 0);
    String huge;
    EXPECT_THROW(huge.setup('x', INT32_MAX), std::bad_alloc);
}

} // namespace
