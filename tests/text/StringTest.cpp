#include "support/StringPrinting.h"
#include "support/TestAllocator.h"
#include "text/StringAccess.h"

#include <quarn/String.h>

#include <gtest/gtest.h>

#include <new>
#include <random>
#include <string>

using Quarn::String;
using Quarn::StringAccess;
using quarn_test::liveBlocks;
using quarn_test::u16;

namespace {

TEST(String, EveryEmptyStringSharesTheStaticBufferWithoutAllocating) {
    int32_t start = liveBlocks();
    const unsigned short units[] = {'a', 'b', 0};
    String made;
    String fromNull(static_cast<const unsigned short*>(nullptr));
    String fromZeroLength(units, 0);
    String fromEmptyLiteral(u"");
    String assigned(u"abc");
    assigned = u"";
    String erased(u"abc");
    erased.erase();
    String cleared(u"abc");
    cleared.erase(0, 99);
    for (const String* s :
         {&made, &fromNull, &fromZeroLength, &fromEmptyLiteral, &assigned, &erased, &cleared}) {
        EXPECT_TRUE(StringAccess::usesStaticEmpty(*s));
        EXPECT_EQ(s->length(), 0);
        EXPECT_EQ(s->wstr()[0], 0);
    }
    made.clear(); // clearing the static buffer neither writes to it nor allocates
    EXPECT_TRUE(StringAccess::usesStaticEmpty(made));
    EXPECT_EQ(liveBlocks(), start + 0 + 0) << "only the three non-empty literals allocated, and were freed";
    EXPECT_EQ(String::emptyString().length(), 0);
    EXPECT_NE(&String::emptyString(), &made);
}

TEST(String, ConstructionCopiesTheGivenUnits) {
    const unsigned short units[] = {'h', 'e', 0, 'l', 'o', 0};
    EXPECT_EQ(String(units), u"he");     // to the terminator
    EXPECT_EQ(String(units, 1), u"h");   // a prefix
    EXPECT_EQ(String(units, -7), u"he"); // any negative length means "to the terminator"
    String withZero(units, 5);           // an explicit length keeps embedded zeros
    EXPECT_EQ(withZero.length(), 5);
    EXPECT_EQ(withZero.wstr()[5], 0);
    EXPECT_FALSE(withZero == String(units, 2));
    EXPECT_EQ(withZero.cmp(String(units, 2)), 0) << "ordering stops at the first 0 unit";
}

TEST(String, CopiesShareTheBufferUntilOneIsWritten) {
    String a(u"shared");
    String b = a;
    EXPECT_EQ(StringAccess::buffer(a), StringAccess::buffer(b));
    EXPECT_EQ(StringAccess::refCount(a), 2);
    a.set(0, 'x');
    EXPECT_EQ(a, u"xhared");
    EXPECT_EQ(b, u"shared");
    EXPECT_EQ(StringAccess::refCount(b), 1);

    String moved(std::move(b));
    EXPECT_EQ(moved, u"shared");
    EXPECT_TRUE(StringAccess::usesStaticEmpty(b)); // NOLINT: a moved-from string is empty
    b = std::move(moved);
    EXPECT_EQ(b, u"shared");
    a = b;
    a = a; // self-assignment keeps the buffer
    EXPECT_EQ(StringAccess::buffer(a), StringAccess::buffer(b));
}

TEST(String, CapacityIsTheNextGranuleAboveTheLength) {
    const int32_t cases[][2] = {{0, 16},    {15, 16},       {16, 32},       {255, 256},
                                {256, 512}, {32767, 32768}, {32768, 33792}, {40000, 40960}};
    for (const auto& c : cases)
        EXPECT_EQ(StringAccess::capacityFor(c[0]), c[1]) << c[0] << " units";

    String s;
    s.setup('a', 15);
    EXPECT_EQ(StringAccess::capacity(s), 16);
    const Quarn::StringData* before = StringAccess::buffer(s);
    s.set(3, 'b'); // a private buffer is written in place
    EXPECT_EQ(StringAccess::buffer(s), before);
    s += 'c';
    EXPECT_EQ(StringAccess::capacity(s), 32);
    EXPECT_EQ(s.length(), 16);
}

TEST(String, ABufferShrinksOnlyWhenMoreThan2048UnitsWouldStayIdle) {
    String s;
    s.setup('x', 5000); // capacity 5120, 5119 usable
    s.erase(3100, -1);  // 2019 idle: kept
    EXPECT_EQ(StringAccess::capacity(s), 5120);
    s.erase(3000, -1); // 2119 idle: shrunk to the rule's capacity
    EXPECT_EQ(StringAccess::capacity(s), 3072);
    EXPECT_EQ(s.length(), 3000);
    EXPECT_EQ(s.wstr()[2999], 'x');
    EXPECT_EQ(s.wstr()[3000], 0);
}

TEST(String, SetSetupClearAndEraseClampTheirPositions) {
    String s(u"abc");
    s.set(-1, 'x');
    s.set(3, 'x');
    EXPECT_EQ(s, u"abc");
    s.set(2, 'z');
    EXPECT_EQ(s, u"abz");

    s.setup('-', 4);
    EXPECT_EQ(s, u"----");
    s.setup('-', 0);
    EXPECT_TRUE(StringAccess::usesStaticEmpty(s));

    String kept(u"keep me");
    String sharer = kept;
    kept.clear();
    EXPECT_EQ(kept.length(), 0);
    EXPECT_EQ(StringAccess::capacity(kept), 16) << "clear keeps a (private) buffer";
    EXPECT_EQ(sharer, u"keep me");

    String e(u"0123456789");
    e.erase(-3, 2); // a negative position erases nothing
    EXPECT_EQ(e, u"0123456789");
    e.erase(8, 99); // a count past the end is cut
    EXPECT_EQ(e, u"01234567");
    e.erase(2, 3);
    EXPECT_EQ(e, u"01567");
    e.erase(1, -1); // a negative count means "the rest"
    EXPECT_EQ(e, u"0");
    e.erase(5, 1);
    EXPECT_EQ(e, u"0");
}

TEST(String, AssignmentAndAppendingHandleTextFromTheSameBuffer) {
    String s(u"abcdef");
    s = s.wstr() + 2;
    EXPECT_EQ(s, u"cdef");
    s += s.wstr();
    EXPECT_EQ(s, u"cdefcdef");
    s += s;
    EXPECT_EQ(s, u"cdefcdefcdefcdef");
    s = static_cast<unsigned short>('q');
    EXPECT_EQ(s, u"q");
    s = static_cast<unsigned short>(0);
    EXPECT_TRUE(StringAccess::usesStaticEmpty(s));

    String joined = String(u"ab") + u"cd" + static_cast<unsigned short>('e') + String(u"f");
    EXPECT_EQ(joined, u"abcdef");
    String empty;
    empty += joined; // appending to an empty string shares
    EXPECT_EQ(StringAccess::buffer(empty), StringAccess::buffer(joined));
    empty.append(u"!").append(static_cast<unsigned short>('?'));
    EXPECT_EQ(empty, u"abcdef!?");
    EXPECT_EQ(joined, u"abcdef");
}

TEST(String, ComparisonOrdersByUnitValue) {
    String a(u"apple"), b(u"apricot");
    EXPECT_LT(a.cmp(b), 0);
    EXPECT_GT(b.cmp(a), 0);
    EXPECT_EQ(a.cmp(u"apple"), 0);
    EXPECT_TRUE(a < b && b > a && a <= a && a >= a && a != b);
    EXPECT_TRUE(a < u"b" && a >= u"apple" && a == u"apple" && a != u"apples");
    EXPECT_GT(String(u"\xE9").cmp(u"z"), 0) << "units compare unsigned";
    EXPECT_LT(String(u"ab").cmp(u"abc"), 0);
    EXPECT_EQ(String().cmp(static_cast<const unsigned short*>(nullptr)), 0);

    EXPECT_EQ(a.ncmp(u"apricot", 2), 0);
    EXPECT_LT(a.ncmp(u"apricot", 3), 0);
    EXPECT_EQ(a.ncmp(u"x", 0), 0);

    EXPECT_EQ(String(u"Hello").ucmp(u"hELLO"), 0);
    EXPECT_LT(String(u"abc").ucmp(u"ABD"), 0);
    EXPECT_GT(String(u"abcd").ucmp(u"ABC"), 0) << "a longer text compares against the other's terminator";
    EXPECT_EQ(String(u"abcX").nucmp(u"ABCy", 3), 0);
    EXPECT_NE(String(u"abcX").nucmp(u"ABCy", 4), 0);
    EXPECT_EQ(String(u"a").nucmp(u"b", 0), 0);
    EXPECT_EQ(String(u"a").nucmp(u"b", -5), 0);
}

TEST(String, CharacterSearchClampsItsStart) {
    String s(u"banana");
    EXPECT_EQ(s.find('a'), 1);
    EXPECT_EQ(s.find('a', 2), 3);
    EXPECT_EQ(s.find('a', -5), 1) << "a negative forward start searches everything";
    EXPECT_EQ(s.find('a', 6), -1) << "a forward start at the length finds nothing";
    EXPECT_EQ(s.find('a', 99, true), 5);
    EXPECT_EQ(s.find('a', 4, true), 3);
    EXPECT_EQ(s.find('b', -5, true), 0) << "a negative reverse start examines index 0 only";
    EXPECT_EQ(s.find('a', -5, true), -1);
    EXPECT_EQ(s.find(static_cast<unsigned short>(0), 6, true), 6)
        << "a reverse search from the length looks at the terminator";
    EXPECT_EQ(s.find(static_cast<unsigned short>(0)), -1);
}

TEST(String, SubstringSearchForwardAndBackward) {
    String s(u"abcabcab");
    EXPECT_EQ(s.find(u"bc"), 1);
    EXPECT_EQ(s.find(u"bc", 2), 4);
    EXPECT_EQ(s.find(u"bc", -3), 1);
    EXPECT_EQ(s.find(u"ab", 6), 6);
    EXPECT_EQ(s.find(u"ab", 7), -1) << "no room left for the pattern";
    EXPECT_EQ(s.find(u"zz"), -1);
    EXPECT_EQ(s.find(u"bc", 99, true), 4);
    EXPECT_EQ(s.find(u"bc", 3, true), 1);
    EXPECT_EQ(s.find(u"bc", -1, true), 4) << "a negative reverse start means the last possible place";
    EXPECT_EQ(s.find(u"abcabcabc", 0, true), -1);
    EXPECT_EQ(s.find(String(u"cab"), 99, true), 5);
    EXPECT_EQ(s.find(String(u"cab"), 0, true), -1) << "a reverse search from 0 tries only 0";

    // An empty pattern: the pointer form answers 0 at once, the String form answers the start.
    EXPECT_EQ(s.find(u"", 3), 0);
    EXPECT_EQ(s.find(static_cast<const unsigned short*>(nullptr), 3, true), 0);
    EXPECT_EQ(s.find(String(), 3, true), 3);
    EXPECT_EQ(s.find(String(), 3), 3);

    const unsigned short stopped[] = {'a', 0, 'b', 'c'};
    EXPECT_EQ(String(stopped, 4).find(u"bc"), -1) << "the forward search stops at a 0 unit";
    EXPECT_EQ(String(stopped, 4).find(u"bc", 4, true), 2) << "the reverse search compares units";
}

// The searches test several units at a time; compare them with a plain search over many small-alphabet
// texts, where matches, near-matches and 0 units are dense.
TEST(String, SearchesAgreeWithAPlainSearch) {
    std::mt19937 random(12345);
    for (int round = 0; round < 3000; ++round) {
        std::u16string text(random() % 40, u'a');
        for (char16_t& c : text)
            c = u"aab\0"[random() % (round % 3 == 0 ? 4 : 3)];
        std::u16string needle(1 + random() % 4, u'a');
        for (char16_t& c : needle)
            c = u"ab"[random() % 2];
        const int32_t start = static_cast<int32_t>(random() % (text.size() + 3)) - 1;
        String s(text.data(), static_cast<int32_t>(text.size()));

        // The standard search ends at the first 0 unit from the start on.
        size_t from = start < 0 ? 0 : static_cast<size_t>(start);
        int32_t expected = -1;
        if (start <= static_cast<int32_t>(text.size() - std::min(text.size(), needle.size())) &&
            needle.size() <= text.size()) {
            std::u16string visible = from <= text.size() ? text.substr(0, text.find(u'\0', from)) : text;
            size_t pos = visible.find(needle, from);
            expected = pos == std::u16string::npos ? -1 : static_cast<int32_t>(pos);
        }
        ASSERT_EQ(s.find(needle.c_str(), start), expected) << "round " << round;

        size_t unit = text.find(needle[0], from);
        ASSERT_EQ(s.find(static_cast<unsigned short>(needle[0]), start),
                  unit == std::u16string::npos || start > static_cast<int32_t>(text.size())
                      ? -1
                      : static_cast<int32_t>(unit));
    }
}

TEST(String, FindAnyCountsTheSetTerminatorAsAMember) {
    String s(u"key=value;x");
    EXPECT_EQ(s.findAny(u"=;"), 3);
    EXPECT_EQ(s.findAny(u"=;", 4), 9);
    EXPECT_EQ(s.findAny(u"#"), s.length()) << "the terminator always matches";
    EXPECT_EQ(s.findAny(u"#", s.length()), s.length());
    EXPECT_EQ(s.findAny(u"=", -1), -1);
    EXPECT_EQ(s.findAny(u"=", 99), -1);
    EXPECT_EQ(s.findAny(u"", 42), 42) << "an empty set returns the start untouched";
}

TEST(String, InsertClampsAndMovesTheTail) {
    String s(u"held");
    s.insert(u"llo wor", 2);
    EXPECT_EQ(s, u"hello world");
    s.insert(u">", -4);
    EXPECT_EQ(s, u">hello world");
    s.insert(u"!", 99);
    EXPECT_EQ(s, u">hello world!");
    s.insert(static_cast<const unsigned short*>(nullptr), 1);
    s.insert(u"", 1);
    EXPECT_EQ(s, u">hello world!");
    s.insert(static_cast<unsigned short>(0), 1); // a unit is always inserted, even 0
    EXPECT_EQ(s.length(), 14);
    EXPECT_EQ(s.wstr()[1], 0);

    String t(u"ab");
    String copy = t;
    t.insert(t, 1);
    EXPECT_EQ(t, u"aabb");
    EXPECT_EQ(copy, u"ab");
}

TEST(String, ReplaceChangesTheFirstMatchAtOrAfterTheStart) {
    String s(u"one two one");
    EXPECT_EQ(s.replace(u"one", u"1", 1), 8);
    EXPECT_EQ(s, u"one two 1");
    EXPECT_EQ(s.replace(String(u"one"), String(u"uno")), 0);
    EXPECT_EQ(s, u"uno two 1");
    EXPECT_EQ(s.replace(u"three", u"3"), -1);
    EXPECT_EQ(s, u"uno two 1");
    EXPECT_EQ(s.replace(u"", u"> "), 0) << "an empty pattern is found at the front";
    EXPECT_EQ(s, u"> uno two 1");
    EXPECT_EQ(s.replace('o', '0', 6), 8);
    EXPECT_EQ(s, u"> uno tw0 1");
    EXPECT_EQ(s.replace('q', 'x'), -1);
    EXPECT_EQ(s.replace(u"> uno tw0 1", u""), 0);
    EXPECT_TRUE(StringAccess::usesStaticEmpty(s));
}

TEST(String, ReplaceAllNeverSearchesInsertedText) {
    String s(u"aaa");
    EXPECT_EQ(s.replaceAll(u"a", u"aa"), 3);
    EXPECT_EQ(s, u"aaaaaa");

    String t(u"a-b-c-d");
    String shared = t;
    EXPECT_EQ(t.replaceAll(u"-", u", ", 2), 2);
    EXPECT_EQ(t, u"a-b, c, d");
    EXPECT_EQ(shared, u"a-b-c-d");

    String none(u"abc");
    const Quarn::StringData* before = StringAccess::buffer(none);
    EXPECT_EQ(none.replaceAll(u"x", u"y"), 0);
    EXPECT_EQ(StringAccess::buffer(none), before) << "nothing found: the string is untouched";

    String gone(u"xxxx");
    EXPECT_EQ(gone.replaceAll(u"xx", u""), 2);
    EXPECT_TRUE(StringAccess::usesStaticEmpty(gone));

    String units(u"a.b.c");
    EXPECT_EQ(units.replaceAll('.', '/'), 2);
    EXPECT_EQ(units, u"a/b/c");
    EXPECT_EQ(units.replaceAll('/', '.', 2), 1);
    EXPECT_EQ(units, u"a/b.c");

    String self(u"ab");
    EXPECT_EQ(self.replaceAll(self, String(u"[ab]")), 1);
    EXPECT_EQ(self, u"[ab]");
}

TEST(String, SubstrClipsToTheText) {
    String s(u"substring");
    EXPECT_EQ(s.substr(3), u"string");
    EXPECT_EQ(s.substr(3, 3), u"str");
    EXPECT_EQ(s.substr(3, 99), u"string");
    EXPECT_EQ(s.substr(9, 1).length(), 0);
    EXPECT_EQ(StringAccess::buffer(s.substr(0)), StringAccess::buffer(s)) << "the whole text is shared";
}

TEST(String, SplitWalksASeparatedList) {
    String list(u"a , b,c");
    EXPECT_EQ(list.split(','), u"a");
    EXPECT_EQ(list, u" b,c") << "the rest is not stripped";
    EXPECT_EQ(list.split(','), u"b");
    EXPECT_EQ(list.split(','), u"c");
    EXPECT_EQ(list.length(), 0);

    String whole(u"abc");
    EXPECT_EQ(whole.split(','), u"abc");
    EXPECT_EQ(whole.length(), 0);
    String padded(u"  no separator");
    String other = padded;
    EXPECT_EQ(padded.split(','), u"no separator");
    EXPECT_EQ(other, u"  no separator") << "the stripped field never trims a buffer someone else holds";

    String words(u"one::two");
    EXPECT_EQ(words.split(u"::"), u"one");
    EXPECT_EQ(words, u"two");
    EXPECT_EQ(words.split(String(u"::")), u"two");
}

TEST(String, StripRemovesControlUnitsAndBlanksAtBothEnds) {
    String s(u"\t x \r\n");
    s.strip();
    EXPECT_EQ(s, u"x");
    String blank(u"   ");
    blank.strip();
    EXPECT_TRUE(StringAccess::usesStaticEmpty(blank));
    String inner(u"a  b");
    inner.strip();
    EXPECT_EQ(inner, u"a  b");
    // The leading trim copies only up to the first 0 unit (kept), but the text stays terminated.
    const unsigned short zeros[] = {' ', 'a', 0, 'b', 'c'};
    String embedded(zeros, 5);
    embedded.strip();
    EXPECT_EQ(embedded, String(u"a\0\0b", 4));
    EXPECT_EQ(embedded.wstr()[4], 0);

    // The leading trim writes into the buffer in place, shared or not: a kept behaviour, which is why
    // only strings whose buffer the caller owns are stripped.
    String owner(u"  ab");
    String sharer = owner;
    owner.strip();
    EXPECT_EQ(owner, u"ab");
    EXPECT_EQ(sharer.length(), 2);
    EXPECT_EQ(sharer, u"ab");
}

TEST(String, CaseMappingWritesOnlyWhenSomethingChanges) {
    String s(u"MiXeD 123");
    String sharer = s;
    EXPECT_TRUE(s.toUpper());
    EXPECT_EQ(s, u"MIXED 123");
    EXPECT_EQ(sharer, u"MiXeD 123");
    EXPECT_TRUE(s.toLower());
    EXPECT_EQ(s, u"mixed 123");

    String digits(u"123");
    String other = digits;
    EXPECT_FALSE(digits.toUpper());
    EXPECT_EQ(StringAccess::buffer(digits), StringAccess::buffer(other)) << "no change, no copy";
    EXPECT_FALSE(String().toLower());

    String mixed(u"HELLO, WORLD");
    EXPECT_TRUE(mixed.toMixed());
    EXPECT_EQ(mixed, u"Hello, World");
    String more(u"hello world;foo.bar x-ray");
    EXPECT_TRUE(more.toMixed());
    EXPECT_EQ(more, u"Hello World;Foo.Bar X-ray");
    String done(u"Done");
    EXPECT_TRUE(done.toMixed()) << "lowered, then raised again: both steps count";
    EXPECT_EQ(done, u"Done");
    String noLetters(u"12 ,;.");
    EXPECT_FALSE(noLetters.toMixed());
}

TEST(String, ConvertLFRewritesEveryLineEnd) {
    String s(u"a\r\nb\rc");
    EXPECT_EQ(s.convertLF(Quarn::LineEndLF), 2);
    EXPECT_EQ(s, u"a\nb\nc");
    EXPECT_EQ(s.convertLF(Quarn::LineEndCRLF), 2);
    EXPECT_EQ(s, u"a\r\nb\r\nc");
    EXPECT_EQ(s.convertLF(Quarn::LineEndCR), 2);
    EXPECT_EQ(s, u"a\rb\rc");

    String lf(u"a\nb");
    const Quarn::StringData* before = StringAccess::buffer(lf);
    EXPECT_EQ(lf.convertLF(Quarn::LineEndLF), 1);
    EXPECT_EQ(StringAccess::buffer(lf), before) << "already in the requested form";
    EXPECT_EQ(lf.convertLF(Quarn::LineEndPlatform), 1);
    EXPECT_EQ(lf, u"a\nb") << "LF is this platform's line end";

    String ends(u"\r\n\n\r");
    EXPECT_EQ(ends.convertLF(Quarn::LineEndCRLF), 3);
    EXPECT_EQ(ends, u"\r\n\r\n\r\n");
    EXPECT_EQ(String(u"none").convertLF(Quarn::LineEndCR), 0);
}

TEST(String, ExhaustionLeavesTheStringAsItWas) {
    quarn_test::TestAllocator failing;
    {
        quarn_test::ScopedAllocator scope(failing); // buffers made here are also resized here
        String s(u"stable");
        failing.failAt(1);
        EXPECT_THROW(s += u" and more text that does not fit", std::bad_alloc);
        EXPECT_EQ(s, u"stable");
        String sharer = s;
        failing.failAt(1);
        EXPECT_THROW(s.set(0, 'S'), std::bad_alloc);
        EXPECT_EQ(s, u"stable");
        failing.failAt(1);
        EXPECT_THROW(s.replaceAll(u"a", u"A"), std::bad_alloc);
        EXPECT_EQ(s, u"stable");
        String big;
        failing.failAt(1);
        EXPECT_THROW(big.setup('x', 100), std::bad_alloc);
        EXPECT_EQ(big.length(), 0);
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(failing.outstanding, 0);
    String huge;
    EXPECT_THROW(huge.setup('x', INT32_MAX), std::bad_alloc);
}

} // namespace
