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
    static int32_t refCount(const SimpleArray& a) { return a.data->refCount; }
    static bool isSharedEmpty(const SimpleArray& a) { return a.data == &SimpleArray::emptyBlock; }
};
} // namespace Quarn

namespace {

using Access = SimpleArrayAccess;

SimpleArray make(std::initializer_list<intptr_t> values) {
    SimpleArray a;
    for (intptr_t v : values)
        a.append(v);
    return a;
}

std::vector<intptr_t> contents(const SimpleArray& a) {
    return std::vector<intptr_t>(a.getData(), a.getData() + a.length());
}

using V = std::vector<intptr_t>;

TEST(SimpleArray, EmptyArraysShareOneStaticBlock) {
    int32_t start = liveBlocks();
    SimpleArray a, b;
    EXPECT_EQ(a.length(), 0);
    EXPECT_TRUE(Access::isSharedEmpty(a));
    EXPECT_EQ(a.getData(), b.getData());
    EXPECT_EQ(liveBlocks(), start);

    a.append(42);
    EXPECT_FALSE(Access::isSharedEmpty(a));
    EXPECT_EQ(Access::capacity(a), 8);
    EXPECT_EQ(liveBlocks(), start + 1);

    a.erase();
    EXPECT_TRUE(Access::isSharedEmpty(a));
    EXPECT_EQ(liveBlocks(), start);
    a.setSize(-4);
    EXPECT_TRUE(Access::isSharedEmpty(a));
    // Operations that have nothing to do on an empty array must not give it a block of its own.
    a.insertGap(0, 0);
    a.removeGap(0, 3);
    a.clear();
    EXPECT_EQ(a.removeAt(0), 0);
    EXPECT_TRUE(Access::isSharedEmpty(a));
    EXPECT_EQ(liveBlocks(), start);
}

TEST(SimpleArray, CapacityFollowsTheIncrementBothWays) {
    SimpleArray a;
    a.setIncrement(3);
    a.setSize(7);
    EXPECT_EQ(Access::capacity(a), 9);
    EXPECT_EQ(contents(a), V(7, 0));
    a[6] = 66;
    a.setSize(2);
    EXPECT_EQ(Access::capacity(a), 3); // shrinking gives memory back at once
    a.setSize(3);
    EXPECT_EQ(a[2], 0); // the slot that held 66 before the shrink reads 0 again

    for (int step : {0, -5}) {
        a.setIncrement(step);
        EXPECT_EQ(a.getIncrement(), 1);
    }
    a.setSize(5);
    EXPECT_EQ(Access::capacity(a), 5);

    SimpleArray b;
    for (int i = 0; i < 9; ++i)
        b.append(i);
    EXPECT_EQ(Access::capacity(b), 16); // steps of 8, not doubling
    b.setSize(8);
    EXPECT_EQ(Access::capacity(b), 8);
}

TEST(SimpleArray, CopiesShareUntilWrittenAndStartWithTheDefaultIncrement) {
    int32_t start = liveBlocks();
    SimpleArray source = make({1, 2, 3});
    source.setIncrement(20);
    SimpleArray copy(source);
    EXPECT_EQ(copy.getIncrement(), 8);
    EXPECT_EQ(copy.getData(), source.getData());
    EXPECT_EQ(Access::refCount(source), 2);
    EXPECT_EQ(liveBlocks(), start + 1);

    const SimpleArray& reader = copy;
    EXPECT_EQ(reader[1], 2); // reading does not copy
    EXPECT_EQ(Access::refCount(source), 2);

    copy[1] = 20;
    EXPECT_EQ(contents(source), V({1, 2, 3}));
    EXPECT_EQ(contents(copy), V({1, 20, 3}));
    EXPECT_EQ(Access::refCount(source), 1);
    EXPECT_EQ(liveBlocks(), start + 2);

    // Assignment shares the block but keeps the target's own increment.
    SimpleArray target;
    target.setIncrement(5);
    target = source;
    EXPECT_EQ(target.getIncrement(), 5);
    EXPECT_EQ(target.getData(), source.getData());
    target = target;
    EXPECT_EQ(Access::refCount(source), 2);

    // Every kind of write detaches first.
    SimpleArray appended(source), cleared(source), removed(source), inserted(source);
    appended.append(4);
    cleared.clear();
    removed.removeAt(0);
    inserted.insertGap(1, 2);
    EXPECT_EQ(contents(source), V({1, 2, 3}));
    EXPECT_EQ(contents(appended), V({1, 2, 3, 4}));
    EXPECT_EQ(cleared.length(), 0);
    EXPECT_EQ(contents(removed), V({2, 3}));
    EXPECT_EQ(contents(inserted), V({1, 0, 0, 2, 3}));
}

TEST(SimpleArray, ResizingASharedBlockCopiesOnlyWhatFits) {
    SimpleArray source;
    for (int i = 1; i <= 20; ++i)
        source.append(i);
    SimpleArray small(source);
    small.setSize(3);
    EXPECT_EQ(Access::capacity(small), 8);
    EXPECT_EQ(contents(small), V({1, 2, 3}));
    EXPECT_EQ(source.length(), 20);
    EXPECT_EQ(source[19], 20);

    SimpleArray big(source);
    big.setSize(30);
    EXPECT_EQ(big[19], 20);
    EXPECT_EQ(big[29], 0);
    EXPECT_EQ(source.length(), 20);
}

TEST(SimpleArray, InsertAndRemoveClampTheirPositions) {
    SimpleArray a = make({1, 2, 3});
    a.insert(0, -7);
    a.insert(9, 100);
    a.insert(5, 2);
    EXPECT_EQ(contents(a), V({0, 1, 5, 2, 3, 9}));

    a.insertGap(3, 2);
    EXPECT_EQ(contents(a), V({0, 1, 5, 0, 0, 2, 3, 9}));
    a.insertGap(100, 1);
    EXPECT_EQ(contents(a), V({0, 1, 5, 0, 0, 2, 3, 9, 0}));

    a.removeGap(3, 2);
    EXPECT_EQ(contents(a), V({0, 1, 5, 2, 3, 9, 0}));
    a.removeGap(5, 100); // clipped to the end
    EXPECT_EQ(contents(a), V({0, 1, 5, 2, 3}));
    a.removeGap(-2, 1);
    EXPECT_EQ(contents(a), V({1, 5, 2, 3}));

    EXPECT_EQ(a.removeAt(1), 5);
    EXPECT_EQ(a.removeAt(50), 3); // past the end: the last element goes
    EXPECT_EQ(a.removeAt(-1), 1);
    EXPECT_EQ(contents(a), V({2}));
    EXPECT_EQ(a.removeAt(0), 2);
    EXPECT_TRUE(Access::isSharedEmpty(a));

    SimpleArray b = make({7, 8, 7});
    b -= 7;
    EXPECT_EQ(contents(b), V({8, 7}));
    b.remove(99);
    EXPECT_EQ(contents(b), V({8, 7}));
    EXPECT_EQ(b.indexOf(7), 1);
    EXPECT_EQ(b.indexOf(99), -1);
    EXPECT_EQ(SimpleArray().indexOf(0), -1);

    // Removing a run that empties the array releases the storage.
    b.removeGap(0, 2);
    EXPECT_TRUE(Access::isSharedEmpty(b));
}

TEST(SimpleArray, ClearKeepsStorageAndEraseReleasesIt) {
    SimpleArray a;
    for (int i = 1; i <= 10; ++i)
        a.append(i);
    const intptr_t* block = a.getData();
    a.clear();
    EXPECT_EQ(a.length(), 0);
    EXPECT_EQ(Access::capacity(a), 16);
    EXPECT_EQ(a.getData(), block);
    a.setSize(16);
    EXPECT_EQ(contents(a), V(16, 0));
}

TEST(SimpleArray, CopyTakesAClampedRun) {
    SimpleArray a = make({10, 11, 12, 13, 14});
    a.setIncrement(2);
    EXPECT_EQ(contents(a.copy(2, -1)), V({12, 13, 14}));
    EXPECT_EQ(a.copy(10, 2).length(), 0);
    EXPECT_TRUE(Access::isSharedEmpty(a.copy(10, 2)));
    EXPECT_EQ(contents(a.copy(-3, 2)), V({10, 11}));
    EXPECT_EQ(contents(a.copy(3, 10)), V({13, 14}));
    EXPECT_EQ(a.copy(1, 0).length(), 0);
    SimpleArray part = a.copy(0, 3);
    EXPECT_EQ(part.getIncrement(), 8);
    EXPECT_EQ(Access::capacity(part), 8);
}

TEST(SimpleArray, AppendingArraysAndEquality) {
    SimpleArray a = make({1, 2});
    SimpleArray b = make({3});
    a += b;
    EXPECT_EQ(contents(a), V({1, 2, 3}));
    a.append(a); // from itself: the source must survive the resize
    EXPECT_EQ(contents(a), V({1, 2, 3, 1, 2, 3}));
    a += SimpleArray();
    EXPECT_EQ(a.length(), 6);

    EXPECT_EQ(a, make({1, 2, 3, 1, 2, 3}));
    EXPECT_NE(a, make({1, 2, 3, 1, 2}));
    EXPECT_NE(a, make({1, 2, 3, 1, 2, 4}));
    EXPECT_EQ(SimpleArray(), SimpleArray());
    // Capacity is not part of equality.
    SimpleArray wide;
    wide.setIncrement(50);
    wide.append(3);
    EXPECT_EQ(wide, b);
}

struct Visit {
    std::vector<int32_t> indexes;
    SimpleArray* shorten = nullptr;
};

void record(int32_t index, intptr_t* slot, intptr_t data) {
    Visit* visit = reinterpret_cast<Visit*>(data);
    visit->indexes.push_back(index);
    *slot += 100;
    if (visit->shorten) visit->shorten->setSize(index + 1);
}

TEST(SimpleArray, ForEachSkipsZeroSlotsAndWritesInPlace) {
    SimpleArray a = make({0, 5, 0, 7});
    SimpleArray sharer(a);
    Visit visit;
    a.forEach(record, reinterpret_cast<intptr_t>(&visit));
    EXPECT_EQ(visit.indexes, std::vector<int32_t>({1, 3}));
    // The callback writes into the shared block itself, so the sharer sees it too.
    EXPECT_EQ(contents(a), V({0, 105, 0, 107}));
    EXPECT_EQ(contents(sharer), V({0, 105, 0, 107}));

    // The length is read again after each call.
    SimpleArray b = make({1, 2, 3, 4});
    Visit cut;
    cut.shorten = &b;
    b.forEach(record, reinterpret_cast<intptr_t>(&cut));
    EXPECT_EQ(cut.indexes, std::vector<int32_t>({0}));
    EXPECT_EQ(contents(b), V({101}));

    Visit none;
    SimpleArray().forEach(record, reinterpret_cast<intptr_t>(&none));
    EXPECT_TRUE(none.indexes.empty());
}

struct Item {
    int id;
};

void bump(int32_t, Item** slot, intptr_t data) {
    Item* items = reinterpret_cast<Item*>(data);
    if (*slot == &items[0]) *slot = &items[2];
}

TEST(TSimpleArray, HoldsTypedPointersWithoutOwningThem) {
    Item items[3] = {{1}, {2}, {3}};
    TSimpleArray<Item> a;
    a += &items[0];
    a.append(&items[1]);
    a.insert(nullptr, 1);
    EXPECT_EQ(a.length(), 3);
    EXPECT_EQ(a[0]->id, 1);
    EXPECT_EQ(a[1], nullptr);
    EXPECT_EQ(a.indexOf(&items[1]), 2);

    TSimpleArray<Item> copy(a);
    copy[1] = &items[2];
    EXPECT_EQ(copy[1]->id, 3);
    EXPECT_EQ(static_cast<const TSimpleArray<Item>&>(a)[1], nullptr); // copy-on-write
    copy[0] = copy[1];
    EXPECT_EQ(copy[0], &items[2]);

    a.forEach(bump, reinterpret_cast<intptr_t>(items));
    EXPECT_EQ(a[0], &items[2]);
    EXPECT_EQ(a[2], &items[1]);

    TSimpleArray<Item> tail = a.copy(1, -1);
    EXPECT_EQ(tail.length(), 2);
    EXPECT_EQ(tail[1], &items[1]);
    EXPECT_EQ(a.removeAt(2), &items[1]);
    a -= &items[2];
    EXPECT_EQ(a.length(), 1);

    TSimpleArray<const Item> constant;
    constant += &items[0];
    EXPECT_EQ(constant[0]->id, 1);
}

TEST(SimpleArray, ExhaustionThrowsAndLeavesTheArrayIntact) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    int32_t start = liveBlocks();
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
        EXPECT_EQ(Access::refCount(a), 2);

        allocator.failAt(1);
        EXPECT_THROW(a.copy(0, 4), std::bad_alloc);
        EXPECT_THROW(a.setSize(INT32_MAX), std::bad_alloc);
        EXPECT_EQ(a.length(), 8);
        allocator.failAt(0);
    }
    EXPECT_EQ(liveBlocks(), start);
    EXPECT_EQ(allocator.outstanding, 0);
}

} // namespace
