// Every class under memory exhaustion: a representative scenario of each, failing at every
// allocation in turn (see support/ExhaustionSweep.h).
#include "support/ExhaustionSweep.h"

#include <quarn/Allocator.h>
#include <quarn/Array.h>
#include <quarn/Localizer.h>
#include <quarn/SimpleArray.h>
#include <quarn/SparseArray.h>
#include <quarn/String.h>
#include <quarn/Variant.h>

#include <gtest/gtest.h>

using namespace Quarn;
using quarn_test::sweepAllocations;

namespace {

TEST(ExhaustionSweep, StringsVariantsAndLocalizing) {
    EXPECT_GT(sweepAllocations("String, Variant and localize",
                               [] {
                                   String s(u"alpha, beta, gamma");
                                   String copy = s;
                                   s += u" delta epsilon zeta eta theta iota kappa";
                                   s.insert(u"<<", 3);
                                   s.replaceAll(u"a", u"AA");
                                   s.toUpper();
                                   String field = s.split(',');
                                   s.convertLF(LineEndCRLF);
                                   s.erase(2, 3);
                                   String tail = copy.substr(4) + field;
                                   copy.setup('x', 300);
                                   s.print(u"%ls=%5d %08.3f %x %s", u"name", 42, 3.25, 0xbeef, "bytes");
                                   String literal(u"'a\\tb\\u00e9' rest");
                                   String out;
                                   literal.parse(out);
                                   Array args;
                                   args += u"first";
                                   args += 2.5;
                                   String text =
                                       Localizer::get().localize(String(u"%1 and %2 of %3%%"), args);
                                   String direct(u"%2-%1"); // its own text is one of the arguments
                                   const unsigned short* pieces[] = {text.wstr(), direct.wstr()};
                                   direct.localize(2, pieces);
                                   Variant number(1.0 / 3);
                                   String numberText = number.getString();
                                   Variant point(Point(1, 2));
                                   Variant value = point;
                                   value = Rect(1, 2, 3, 4);
                                   String rest;
                                   Variant::scanDouble(u"  12.5e3px", ScanAllowAny, &rest);
                                   Variant word(u"abc");
                                   word.convert(TypeNumber);
                                   String radix = Variant(255).getString(16);
                               }),
              1);
}

// The copies share one record that was built before the sweep: whichever write fails, it stays whole.
// Shifting a sparse array removes entries, and removal never fails (a table that cannot shrink keeps
// its buckets); what fails is re-inserting, which throws. Either way every value stays owned exactly
// once: the live-block check and the sanitizers see a lost or a doubly freed one.
TEST(ExhaustionSweep, Containers) {
    Array shared;
    shared += 1;
    shared += u"two";
    shared[5] = Point(1, 2);
    EXPECT_GT(sweepAllocations("Array, SimpleArray and SparseArray",
                               [&shared] {
                                   Array b = shared;
                                   b.insertAt(0, 2); // detach, shift the dense store
                                   b += 3;
                                   b.removeAt(1, 3); // shift down, then shrink the store
                                   b[120] = 3.5;     // dense to sparse
                                   Array parsed;
                                   parsed.parse(u"1, 'x', [2, 3], null");
                                   Variant holder(parsed);
                                   Array sparse;
                                   sparse[150] = 1;
                                   for (uint32_t i = 0; i < 20; ++i)
                                       sparse[i * 3] = static_cast<int>(i);
                                   sparse.insertAt(10, 5);
                                   sparse.removeAt(0, 7);
                                   SimpleArray list;
                                   for (intptr_t i = 1; i <= 20; ++i)
                                       list.append(i);
                                   SimpleArray copy = list;
                                   copy.insert(99, 3);
                                   copy.insertGap(0, 4);
                                   SimpleArray part = list.copy(2, 5);
                                   SparseArray map;
                                   for (int32_t k = 0; k < 40; ++k)
                                       map.set(k * 7, k + 1);
                                   SparseArray other = map;
                                   SimpleArray keys;
                                   other.getKeys(keys);
                                   // A shrink that could not be had leaves the array whole.
                                   const Array& view = b;
                                   return b.length() == 121 && view[4].getString() == u"1:2" &&
                                          view[5].getDouble() == 3 && !view.isDefined(1);
                               }),
              1);
    String text;
    shared.toString(text);
    EXPECT_EQ(text, u"1,two,,,,1:2");
}

// Array text is best effort: a failure part way gives an empty text instead of an exception.
TEST(ExhaustionSweep, ArrayTextAbsorbsFailures) {
    Array a;
    a += 1.5;
    a += u"two";
    a += Point(3, 4);
    Array inner = a;
    a[3] = inner; // a nested array, printed through its Variant
    String warm;
    a.toString(warm); // the elements cache their own text now, not under the failing allocator
    EXPECT_GT(sweepAllocations(
                  "Array text",
                  [&a] {
                      String text;
                      a.toString(text);
                      // The nested array's own text may be the one that gave up.
                      return text == u"1.5,two,3:4,[1.5,two,3:4]" || text == u"1.5,two,3:4,[]" ||
                             text.length() == 0;
                  },
                  quarn_test::Exhaustion::Absorbed),
              1);
}

} // namespace
