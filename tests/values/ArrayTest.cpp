#include "support/StringPrinting.h"
#include "support/TestAllocator.h"

#include <quarn/Array.h>

#include <gtest/gtest.h>

#include <new>

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

TEST(Array, WritesExtendTheLengthAndChooseTheForm) {
    Array a;
    EXPECT_EQ(a.length(), 0u);
    a[5] = 1;
    EXPECT_EQ(a.length(), 6u);
    EXPECT_EQ(a.getForm(), Array::FormDense);
    for (uint32_t i = 0; i < 5; ++i)
        EXPECT_FALSE(a.isDefined(i)) << i;
    EXPECT_TRUE(a.isDefined(5));
    a[99] = 2;
    EXPECT_EQ(a.getForm(), Array::FormDense);
    a[100] = 3;
    EXPECT_EQ(a.length(), 101u);
    EXPECT_EQ(a.getForm(), Array::FormSparse);
    EXPECT_EQ(a[5].getDouble(), 1);
    EXPECT_EQ(a[99].getDouble(), 2);
    a.setLength(3);
    a[1] = 0;
    EXPECT_EQ(a.getForm(), Array::FormSparse) << "sparse never goes back";

    Array far;
    far[1000000] = u"x";
    EXPECT_EQ(far.getForm(), Array::FormSparse);
    EXPECT_EQ(far.length(), 1000001u);
    far[4294967295u] = 1;
    EXPECT_EQ(far.length(), 1000001u) << "the largest index never changes the length";
    EXPECT_TRUE(far[4294967295u].getBool());
}

TEST(Array, ReadsNeverChangeTheArray) {
    const Array a = numbers({1, 2, 3});
    EXPECT_EQ(a[10].getType(), TypeUndefined);
    EXPECT_EQ(&a[10], &Variant::undefinedValue());
    EXPECT_EQ(a.length(), 3u);
    Array b;
    b[2] = 1;
    const Array& c = b;
    EXPECT_EQ(&c[0], &Variant::undefinedValue()) << "a hole reads as the shared undefined value";
    b[0] = Variant();
    EXPECT_TRUE(b.isDefined(0)) << "a stored undefined value is not a hole";
}

TEST(Array, CopiesShareUntilWrittenThenCopyDeeply) {
    Array a = numbers({1, 2});
    Array b = a;
    b[0] = u"changed";
    EXPECT_EQ(a[0].getDouble(), 1);
    EXPECT_EQ(b[0].getString(), u"changed");
    EXPECT_EQ(b[1].getDouble(), 2);

    Array sparse;
    sparse[500] = 5;
    Array copy = sparse;
    copy[500] = 6;
    EXPECT_EQ(sparse[500].getDouble(), 5);
    EXPECT_EQ(copy.getForm(), Array::FormSparse);

    a = a;
    a.erase();
    EXPECT_EQ(a.length(), 0u);
    EXPECT_EQ(b.length(), 2u);
}

TEST(Array, AppendingIncludingThePlainIntegerAssignment) {
    Array a;
    a += true;
    a += 2.5;
    a += u"three";
    a += String(u"four");
    a += Point(1, 2);
    a += Rect(1, 2, 3, 4);
    a += Variant(7);
    a += numbers({8, 9});
    EXPECT_EQ(a.length(), 8u);
    EXPECT_EQ(textOf(a), u"true,2.5,three,four,1:2,1:2-3:4,7,[8,9]");

    Array two = numbers({1, 2});
    two = 5; // appends: kept as the library has always had it
    EXPECT_EQ(two.length(), 3u);
    EXPECT_EQ(two[2].getDouble(), 5);

    Array self = numbers({1});
    self += self[0];
    EXPECT_EQ(textOf(self), u"1,1");
}

TEST(Array, InsertRemoveAndDelete) {
    Array a;
    a += u"a";
    a += u"b";
    a.insertAt(0, 1);
    EXPECT_EQ(a.length(), 3u);
    EXPECT_FALSE(a.isDefined(0));
    EXPECT_EQ(a[1].getString(), u"a");
    a.removeAt(0, 1);
    EXPECT_EQ(textOf(a), u"a,b");

    a += u"c";
    a.deleteAt(1);
    EXPECT_EQ(a.length(), 3u);
    EXPECT_FALSE(a.isDefined(1));
    EXPECT_EQ(textOf(a), u"a,,c");

    a.insertAt(1, 150); // the end passes 100: sparse
    EXPECT_EQ(a.getForm(), Array::FormSparse);
    EXPECT_EQ(a.length(), 153u);
    EXPECT_EQ(a[152].getString(), u"c");
    a.removeAt(1, 150);
    EXPECT_EQ(a.length(), 3u);
    EXPECT_EQ(a[2].getString(), u"c");

    Array empty;
    empty.insertAt(0, 5);
    empty.removeAt(0, 5);
    empty.deleteAt(0);
    EXPECT_EQ(empty.length(), 0u) << "an array without storage ignores them";
}

TEST(Array, KeptLengthRulesOfTheSparseAndDenseForms) {
    // Dense removal: the length follows the store, so trailing holes are lost.
    Array dense = numbers({1, 2});
    dense.setLength(10);
    dense.deleteAt(9);
    dense.removeAt(0, 1);
    EXPECT_EQ(dense.length(), 9u);

    // Sparse shrinking keeps an entry exactly at the new length.
    Array sparse;
    sparse[200] = 1;
    sparse[5] = 2;
    sparse[6] = 3;
    sparse.setLength(5);
    EXPECT_EQ(sparse.length(), 5u);
    const Array& view = sparse;
    EXPECT_EQ(view[5].getType(), TypeUndefined) << "beyond the length";
    sparse.setLength(7);
    EXPECT_EQ(view[5].getDouble(), 2) << "the entry kept at the old length shows again";
    EXPECT_TRUE(view.isDefined(6)) << "growing writes undefined into the last slot";
    EXPECT_EQ(view[6].getType(), TypeUndefined);

    // Sparse removal counts the keys below the position.
    Array holes;
    holes[150] = 1;
    holes[40] = 2;
    holes[3] = 3;
    holes.removeAt(100, 1);
    EXPECT_EQ(holes.length(), 150u);
    EXPECT_EQ(holes[149].getDouble(), 1);
    Array tail;
    tail[150] = 1;
    tail[40] = 2;
    tail.removeAt(150, 1);
    EXPECT_EQ(tail.length(), 1u) << "one key below the position";

    // A range past the largest index takes everything from the position on, the largest index too.
    Array edge;
    edge[0] = 1;
    edge[4294967295u] = 2;
    edge.removeAt(104, 4294967295u);
    EXPECT_EQ(edge.length(), 1u);
    EXPECT_EQ(edge[0].getDouble(), 1);
    EXPECT_FALSE(edge.isDefined(4294967295u));
}

TEST(Array, EqualityComparesFormsHolesAndValues) {
    EXPECT_EQ(numbers({1, 2}), numbers({1, 2}));
    EXPECT_NE(numbers({1, 2}), numbers({1, 3}));
    EXPECT_NE(numbers({1}), numbers({1, 2}));
    Array hole, undefined;
    hole.setLength(2);
    hole.deleteAt(1);
    hole[0] = 1;
    undefined[0] = 1;
    undefined[1] = Variant();
    EXPECT_NE(hole, undefined) << "a hole is not an undefined value";
    Array sparse;
    sparse[150] = 1;
    sparse.setLength(2);
    Array dense;
    dense.setLength(2);
    EXPECT_NE(sparse, dense) << "the forms must match";
}

TEST(Array, TextForm) {
    Array a;
    a += 1;
    a[2] = u"a";
    EXPECT_EQ(textOf(a), u"1,,a");
    Array big;
    big[1000] = 1;
    EXPECT_EQ(textOf(big), u"[too many elements]");
    big.setLength(1000);
    EXPECT_EQ(textOf(big).length(), 999);
    EXPECT_EQ(textOf(Array()), u"");
}

TEST(Array, StaticVectorsAreBorrowedUntilTheFirstWrite) {
    Variant first(u"first"), third(3);
    const Variant** vector = new const Variant* [3] { &first, nullptr, &third };
    Array a(vector, 3);
    const Array& view = a;
    EXPECT_EQ(a.getForm(), Array::FormStatic);
    EXPECT_EQ(a.length(), 3u);
    EXPECT_EQ(&view[0], &first) << "values are not copied";
    EXPECT_FALSE(a.isDefined(1));
    Array shared = a;
    shared[1] = 2; // a copy turns dense with copies of the values
    EXPECT_EQ(shared.getForm(), Array::FormDense);
    EXPECT_EQ(textOf(shared), u"first,2,3");
    EXPECT_EQ(a.getForm(), Array::FormStatic);
    a.insertAt(0, 2); // only the length moves
    EXPECT_EQ(a.length(), 5u);
    EXPECT_EQ(textOf(a), u"first,,3,,");
    a[4] = 4; // converts, copying the values and freeing the vector
    EXPECT_EQ(a.getForm(), Array::FormDense);
    first = u"changed";
    EXPECT_EQ(view[0].getString(), u"first");

    const Variant** other = new const Variant* [1] { &third };
    a.setStaticData(other, 1); // replaces the dense storage
    EXPECT_EQ(textOf(a), u"3");
}

TEST(Array, AnArrayHoldingItselfPrintsThis) {
    Variant holder;
    const Variant** vector = new const Variant* [2] { &holder, nullptr };
    Array a(vector, 2);
    holder = a; // the array's own record, reached through its first element
    Variant one(1);
    vector[1] = &one;
    EXPECT_EQ(textOf(a), u"[this],1");
    EXPECT_EQ(holder.getString(), u"[[this],1]");
    holder.erase(); // break the cycle so that both go
}

TEST(Array, ParseReadsACommaSeparatedListOfLiterals) {
    Array a;
    EXPECT_TRUE(
        a.parse(u"  1, -2.5e1 , 0x10, 'it\\'s', \"tab\\t\", true, false, null, undefined, [3, [4]], []  "));
    EXPECT_EQ(a.length(), 11u);
    EXPECT_EQ(a[1].getDouble(), -25);
    EXPECT_EQ(a[2].getDouble(), 16);
    EXPECT_EQ(a[3].getString(), u"it's");
    EXPECT_EQ(a[4].getString(), u"tab\t");
    EXPECT_EQ(a[5].getType(), TypeBool);
    EXPECT_TRUE(a[7].isNull());
    EXPECT_EQ(a[8].getType(), TypeUndefined);
    EXPECT_TRUE(a.isDefined(8));
    EXPECT_EQ(textOf(a), u"1,-25,16,it's,tab\t,true,false,null,,[3,[4]],[]");
    EXPECT_EQ(a[10].getArray()->length(), 0u);

    Array partial;
    EXPECT_FALSE(partial.parse(u"1, 2, oops, 4"));
    EXPECT_EQ(textOf(partial), u"1,2") << "reading stops at the first malformed value";
    EXPECT_FALSE(Array().parse(u""));
    EXPECT_FALSE(Array().parse(u"   "));
    EXPECT_FALSE(Array().parse(u"[1, 2"));
    EXPECT_FALSE(Array().parse(u"'a' 'b'"));
    Array brackets;
    EXPECT_TRUE(brackets.parse(u"'a,]b', [\"]\"]"));
    EXPECT_EQ(textOf(brackets), u"a,]b,[]]") << "brackets and commas inside quotes do not count";
}

TEST(Array, ExhaustionDuringWritesLeaksNothing) {
    quarn_test::TestAllocator failing;
    quarn_test::ScopedAllocator scope(failing);
    for (long n = 1;; ++n) {
        Array a = numbers({1, 2, 3});
        Array b = a;
        failing.failAt(n);
        try {
            b[150] = u"far";
            b.insertAt(0, 10);
            b.removeAt(2, 3);
            failing.failAt(0);
            EXPECT_EQ(b.length(), 158u);
            break;
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(textOf(a), u"1,2,3");
        }
    }
}

} // namespace
