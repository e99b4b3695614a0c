#include "support/TestAllocator.h"

#include <quarn/SimpleArray.h>

#include <gtest/gtest.h>

#include <new>
#include <vector>

using namespace Quarn;
using quarn_test::liveBlocks;

namespace Quarn {
// The block behind a handle, for checks that the public interface cannot make.
struct SimpleArrayAccess {
    static int32_t capacity(const SimpleArray& a) { return a.data->capacity; }
    static bool isSharedEmpty(const SimpleArray& a) { return a.data == &SimpleArray::emptyBlock; }
};
} // namespace Quarn

namespace {

using Access = SimpleArrayAccess;
using V = std::vector<intptr_t>;

SimpleArray make(std::initializer_list<intptr_t> values) {
    SimpleArray a;
    for (intptr_t v : values)
        a.append(v);
    return a;
}

V contents(const SimpleArray& a) {
    return V(a.getData(), a.getData() + a.length());
}

TEST(SimpleArray, EmptyArraysShareOneStaticBlock) {
    int32_t start = liveBlocks();
    SimpleArray a, b;
    EXPECT_TRUE(Access::isSharedEmpty(a));
    EXPECT_EQ(a.getData(), b.getData());
    a.append(42);
    EXPECT_EQ(Access::capacity(a), 8);
    EXPECT_EQ(liveBlocks(), start + 1);
    EXPECT_EQ(a.removeAt(0), 42); // removing the last element gives the storage back
    EXPECT_TRUE(Access::isSharedEmpty(a));
    // Nothing to do on an empty array must not give it a block of its own.
    a.insertGap(0, 0);
    a.removeGap(0, 3);
    a.clear();
    a.setSize(-4);
    EXPECT_EQ(a.removeAt(0), 0);
    EXPECT_TRUE(Access::isSharedEmpty(a));
    EXPECT_EQ(liveBlocks(), start);
}

TEST(SimpleArray, CapacityFollowsTheIncrementBothWays) {
    SimpleArray a;
    a.setIncrement(3);
    a.setSize(7);
    EXPECT_EQ(Access::capacity(a), 9);
    a[6] = 66;
    a.setSize(2);
    EXPECT_EQ(Access::capacity(a), 3); // shrinking gives memory back at once
    a.setSize(3);
    EXPECT_EQ(a[2], 0); // grown slots read 0
    a.setIncrement(-5);
    EXPECT_EQ(a.getIncrement(), 1);

    SimpleArray b;
    for (int i = 0; i < 9; ++i)
        b.append(i);
    EXPECT_EQ(Access::capacity(b), 16); // steps of 8, not doubling
    const intptr_t* block = b.getData();
    b.clear(); // keeps (and zeroes) the storage
    EXPECT_EQ(b.getData(), block);
    b.setSize(16);
    EXPECT_EQ(contents(b), V(16, 0));
}

TEST(SimpleArray, CopiesShareUntilWrittenAndStartWithTheDefaultIncrement) {
    SimpleArray source;
    for (int i = 1; i <= 20; ++i)
        source.append(i);
    source.setIncrement(20);
    SimpleArray copy(source);
    EXPECT_EQ(copy.getIncrement(), 8);
    EXPECT_EQ(copy.getData(), source.getData());
    copy[1] = 99;
    EXPECT_EQ(source[1], 2);

    SimpleArray target;
    target.setIncrement(5);
    target = source; // shares, keeping its own increment
    EXPECT_EQ(target.getIncrement(), 5);

    // Resizing a shared block copies only what the new one holds; every write detaches first.
    SimpleArray small(source), cleared(source), inserted(source);
    small.setSize(3);
    cleared.clear();
    inserted.insertGap(1, 2);
    EXPECT_EQ(contents(small), V({1, 2, 3}));
    EXPECT_EQ(inserted.length(), 22);
    EXPECT_EQ(source[19], 20);
    EXPECT_EQ(source, target);
    EXPECT_NE(source, small);
}

TEST(SimpleArray, EditsClampTheirPositions) {
    SimpleArray a = make({1, 2, 3});
    a.insert(0, -7);
    a.insert(9, 100);
    a.insertGap(2, 2);
    EXPECT_EQ(contents(a), V({0, 1, 0, 0, 2, 3, 9}));
    a.removeGap(5, 100);
    a.removeGap(-2, 1);
    EXPECT_EQ(contents(a), V({1, 0, 0, 2}));
    EXPECT_EQ(a.removeAt(50), 2); // past the end: the last element goes
    a -= 0;                       // the first match only
    EXPECT_EQ(contents(a), V({1, 0}));
    EXPECT_EQ(a.indexOf(0), 1);
    a.append(a); // from itself: the source survives the resize
    EXPECT_EQ(contents(a), V({1, 0, 1, 0}));
    a.removeGap(0, 4);
    EXPECT_TRUE(Access::isSharedEmpty(a));

    SimpleArray b = make({10, 11, 12, 13, 14});
    EXPECT_EQ(contents(b.copy(2, -1)), V({12, 13, 14}));
    EXPECT_TRUE(Access::isSharedEmpty(b.copy(10, 2)));
    EXPECT_EQ(contents(b.copy(-3, 2)), V({10, 11}));
    EXPECT_EQ(contents(b.copy(3, 10)), V({13, 14}));
}

void record(int32_t index, intptr_t* slot, intptr_t data) {
    auto* seen = reinterpret_cast<std::vector<int32_t>*>(data);
    seen->push_back(index);
    *slot += 100;
}

void shortenTo(int32_t index, intptr_t*, intptr_t data) {
    reinterpret_cast<SimpleArray*>(data)->setSize(index + 1);
}

TEST(SimpleArray, ForEachSkipsZeroSlotsAndWritesThroughSharing) {
    SimpleArray a = make({0, 5, 0, 7});
    SimpleArray sharer(a);
    std::vector<int32_t> seen;
    a.forEach(record, reinterpret_cast<intptr_t>(&seen));
    EXPECT_EQ(seen, std::vector<int32_t>({1, 3}));
    EXPECT_EQ(contents(sharer), V({0, 105, 0, 107})); // no copy is made before the callback writes

    SimpleArray b = make({1, 2, 3, 4});
    b.forEach(shortenTo, reinterpret_cast<intptr_t>(&b)); // the length is read again after each call
    EXPECT_EQ(contents(b), V({1}));
}

struct Item {
    int id;
};

void swapFirst(int32_t, Item** slot, intptr_t data) {
    Item* items = reinterpret_cast<Item*>(data);
    if (*slot == &items[0]) *slot = &items[1];
}

TEST(TSimpleArray, HoldsTypedPointersWithoutOwningThem) {
    Item items[2] = {{1}, {2}};
    TSimpleArray<Item> a;
    a += &items[0];
    a.insert(nullptr, 0);
    TSimpleArray<Item> copy(a);
    copy[0] = &items[1];
    EXPECT_EQ(copy[0]->id, 2);
    EXPECT_EQ(static_cast<const TSimpleArray<Item>&>(a)[0], nullptr);
    a.forEach(swapFirst, reinterpret_cast<intptr_t>(items));
    EXPECT_EQ(a.indexOf(&items[1]), 1);
    EXPECT_EQ(a.copy(1, 1).removeAt(0), &items[1]);
}

TEST(SimpleArray, ExhaustionThrowsAndLeavesTheArrayIntact) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    {
        SimpleArray a;
        allocator.failAt(1);
        EXPECT_THROW(a.append(1), std::bad_alloc);
        EXPECT_TRUE(Access::isSharedEmpty(a));
        for (int i = 0; i < 8; ++i)
            a.append(i);
        allocator.failAt(1); // the reallocation for the ninth
        EXPECT_THROW(a.append(8), std::bad_alloc);
        EXPECT_EQ(contents(a), V({0, 1, 2, 3, 4, 5, 6, 7}));
        SimpleArray copy(a);
        allocator.failAt(1); // the private copy
        EXPECT_THROW(copy[0] = 5, std::bad_alloc);
        EXPECT_EQ(copy.getData(), a.getData());
        EXPECT_THROW(a.setSize(INT32_MAX), std::bad_alloc);
        allocator.failAt(0);
    }
    EXPECT_EQ(allocator.outstanding, 0);
}

} // namespace
