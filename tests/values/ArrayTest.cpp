#include "support/StringPrinting.h"

#include <quarn/Array.h>

#include <gtest/gtest.h>

using namespace Quarn;

namespace {

String textOf(const Array& a) {
    String out;
    a.toString(out);
    return out;
}

Array numbers(std::initializer_list<int> values) {
    Array a;
    for (int v : values)
        a += v;
    return a;
}

TEST(Array, WritesExtendTheLengthAndChooseTheFormButReadsNeverWrite) {
    Array a;
    a[5] = 1;
    a[99] = 2;
    EXPECT_EQ(a.getForm(), Array::FormDense);
    a[100] = 3;
    EXPECT_EQ(a.getForm(), Array::FormSparse);
    a[4294967295u] = 1;
    EXPECT_EQ(a.length(), 101u) << "the largest index never changes the length";
    // Reads never write: a hole or an index past the end reads as the shared undefined value.
    const Array& view = a;
    EXPECT_EQ(&view[6], &Variant::undefinedValue());
    EXPECT_EQ(&view[500], &Variant::undefinedValue());
    EXPECT_EQ(a.length(), 101u);
    a[6] = Variant();
    EXPECT_TRUE(a.isDefined(6)) << "a stored undefined value is not a hole";
}

TEST(Array, CopiesShareUntilWrittenThenCopyDeeply) {
    Array a = numbers({1, 2});
    Array b = a;
    b[0] = u"changed";
    EXPECT_EQ(textOf(a), u"1,2");
    EXPECT_EQ(textOf(b), u"changed,2");
    a = a;
    a.erase();
    EXPECT_EQ(b.length(), 2u);
}

TEST(Array, AppendingIncludingThePlainIntegerAssignment) {
    Array a;
    a += true;
    a += 2.5;
    a += u"three";
    a += numbers({8, 9});
    EXPECT_EQ(textOf(a), u"true,2.5,three,[8,9]");
    // Assigning an integer appends it: kept as the library has always had it.
    Array two = numbers({1, 2});
    two = 5;
    EXPECT_EQ(textOf(two), u"1,2,5");
    Array self = numbers({1});
    self += self[0]; // the element read may move while the array grows
    EXPECT_EQ(textOf(self), u"1,1");
}

TEST(Array, KeptLengthRulesOfTheSparseAndDenseForms) {
    // Dense removal: the length follows the store, so trailing holes are lost.
    Array dense = numbers({1, 2});
    dense.setLength(10);
    dense.deleteAt(9);
    dense.removeAt(0, 1);
    EXPECT_EQ(dense.length(), 9u);

    // Sparse shrinking keeps an entry exactly at the new length, hidden until the length grows again.
    Array sparse;
    sparse[200] = 1;
    sparse[5] = 2;
    sparse[6] = 3;
    sparse.setLength(5);
    const Array& view = sparse;
    EXPECT_EQ(view[5].getType(), TypeUndefined);
    sparse.setLength(7);
    EXPECT_EQ(view[5].getDouble(), 2);
    EXPECT_TRUE(view.isDefined(6)) << "growing writes undefined into the last slot";

    // Sparse removal: the length is one past the last moved key, or the count of keys below the position.
    Array holes;
    holes[150] = 1;
    holes[40] = 2;
    holes.removeAt(100, 1);
    EXPECT_EQ(holes.length(), 150u);
    holes.removeAt(149, 1);
    EXPECT_EQ(holes.length(), 1u);
}

TEST(Array, EqualityComparesFormsHolesAndValues) {
    EXPECT_EQ(numbers({1, 2}), numbers({1, 2}));
    EXPECT_NE(numbers({1, 2}), numbers({1, 3}));
    EXPECT_NE(numbers({1}), numbers({1, 2}));
    Array hole, undefined;
    hole[1] = 1;
    undefined[0] = Variant();
    undefined[1] = 1;
    EXPECT_NE(hole, undefined) << "a hole is not an undefined value";
    Array sparse, dense;
    sparse[150] = 1;
    sparse.setLength(2);
    dense.setLength(2);
    EXPECT_NE(sparse, dense) << "the forms must match";
}

TEST(Array, TextFormSkipsUndefinedAndGuardsAgainstSizeAndSelf) {
    Array a;
    a += 1;
    a[2] = u"a";
    EXPECT_EQ(textOf(a), u"1,,a");
    Array big;
    big[1000] = 1;
    EXPECT_EQ(textOf(big), u"[too many elements]");
    big.setLength(1000);
    EXPECT_EQ(textOf(big).length(), 999);

    Variant holder;
    const Variant** vector = new const Variant* [2] { &holder, &holder };
    Array self(vector, 2);
    holder = self; // the array's own record, reached through its elements
    EXPECT_EQ(textOf(self), u"[this],[this]");
    holder.erase(); // break the cycle so that both go
}

TEST(Array, StaticVectorsAreBorrowedUntilTheFirstWrite) {
    Variant first(u"first"), third(3);
    const Variant** vector = new const Variant* [3] { &first, nullptr, &third };
    Array a(vector, 3);
    const Array& view = a;
    EXPECT_EQ(a.getForm(), Array::FormStatic);
    EXPECT_EQ(&view[0], &first) << "values are not copied";
    EXPECT_FALSE(a.isDefined(1));
    Array shared = a;
    shared[1] = 2; // a copy turns dense with copies of the values
    EXPECT_EQ(textOf(shared), u"first,2,3");
    a.insertAt(0, 2); // only the length moves
    EXPECT_EQ(textOf(a), u"first,,3,,");
    a[4] = 4; // converts, copying the values and freeing the vector
    EXPECT_EQ(a.getForm(), Array::FormDense);
    first = u"changed";
    EXPECT_EQ(view[0].getString(), u"first");
    const Variant** other = new const Variant* [1] { &third };
    a.setStaticData(other, 1); // replaces the dense storage
    EXPECT_EQ(textOf(a), u"3");
}

TEST(Array, ParseReadsACommaSeparatedListOfLiterals) {
    Array a;
    EXPECT_TRUE(a.parse(u"  1, -2.5e1 , 0x10, 'it\\'s', true, null, undefined, [3, [4]], []  "));
    EXPECT_EQ(textOf(a), u"1,-25,16,it's,true,null,,[3,[4]],[]");
    EXPECT_EQ(a[4].getType(), TypeBool);
    EXPECT_TRUE(a.isDefined(6));
    Array partial;
    EXPECT_FALSE(partial.parse(u"1, 2, oops, 4"));
    EXPECT_EQ(textOf(partial), u"1,2") << "reading stops at the first malformed value";
    for (const char16_t* bad : {u"", u"   ", u"[1, 2", u"'a' 'b'"})
        EXPECT_FALSE(Array().parse(bad)) << ::testing::PrintToString(String(bad));
    Array brackets;
    EXPECT_TRUE(brackets.parse(u"'a,]b', [\"]\"]"));
    EXPECT_EQ(textOf(brackets), u"a,]b,[]]") << "brackets and commas inside quotes do not count";
}

} // namespace
