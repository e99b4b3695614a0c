#include "support/TestAllocator.h"

#include <quarn/SparseArray.h>

#include <gtest/gtest.h>

#include <new>
#include <vector>

using namespace Quarn;
using quarn_test::liveBlocks;

namespace Quarn {
struct SparseArrayAccess { // the bucket count, which the interface hides
    static int32_t buckets(const SparseArray& a) { return a.buckets.length(); }
};
} // namespace Quarn

namespace {

using V = std::vector<intptr_t>;

V keysOf(const SparseArray& a) {
    SimpleArray keys;
    a.getKeys(keys);
    return V(keys.getData(), keys.getData() + keys.length());
}

TEST(SparseArray, KeysOfEveryRangeAndTheWalkingOrder) {
    SparseArray a;
    a.set(3, 0);
    a.set(-1, 11);
    a.set(INT32_MAX, 13);
    EXPECT_EQ(a.find(3), 0);  // a stored 0 reads like a missing key...
    EXPECT_TRUE(a.hasKey(3)); // ...hasKey tells them apart
    EXPECT_EQ(a[-1], 11);
    // -1 is 4294967295 unsigned: bucket 15, where INT32_MAX went too, ahead of it.
    EXPECT_EQ(keysOf(a), V({3, INT32_MAX, -1}));

    SparseArray b;
    for (int32_t key : {20, 4, 36})
        b.set(key, key);
    EXPECT_EQ(keysOf(b), V({36, 4, 20})); // one bucket, the latest first
}

TEST(SparseArray, LoadRulesDoubleAndHalveTheBuckets) {
    SparseArray a;
    for (int32_t key = 0; key <= 8; ++key)
        a.set(key * 16, key); // nine keys in one chain
    a.set(0, 100);            // replacing is not inserting
    EXPECT_EQ(SparseArrayAccess::buckets(a), 16);
    a.set(9 * 16, 9); // load before it: 9 * 100 / 16 = 56
    EXPECT_EQ(SparseArrayAccess::buckets(a), 32);
    // Rehashing moved each item to the head of its new chain: the chain of 0 came out reversed.
    EXPECT_EQ(keysOf(a), V({0, 32, 64, 96, 128, 144, 16, 48, 80, 112}));

    for (int32_t key = 0; key <= 5; ++key)
        a.remove(key * 16);
    EXPECT_EQ(SparseArrayAccess::buckets(a), 8); // halved at 9 of 32 (28 %), then at 4 of 16 (25 %)
    // Halving merged old buckets 0 and 16, walked in ascending order, each item to its new head.
    EXPECT_EQ(keysOf(a), V({96, 128, 144, 112}));
    EXPECT_EQ(a.remove(1), 0); // an absent key changes nothing
    EXPECT_EQ(SparseArrayAccess::buckets(a), 8);

    SparseArray b; // at load 0 a table takes a key as it is, and every removal halves it again
    for (int i = 0; i < 5; ++i) {
        b.set(5, 1);
        b.remove(5);
    }
    EXPECT_EQ(SparseArrayAccess::buckets(b), 0); // 16 -> 8 -> 4 -> 2 -> 1 -> 0
    b.set(5, 1);
    EXPECT_EQ(SparseArrayAccess::buckets(b), 16);
}

TEST(SparseArray, SearchingAndRemovingByValue) {
    SparseArray a;
    for (int32_t key = 1; key <= 4; ++key)
        a.set(key, V({5, 0, 5, 7})[static_cast<size_t>(key - 1)]);
    SimpleArray values;
    values.append(99); // replaced, not appended to
    a.getData(values);
    EXPECT_EQ(V(values.getData(), values.getData() + values.length()), V({5, 7}));
    EXPECT_EQ(a.findKey(5), 1); // the first in walking order
    a.removeData(5);
    EXPECT_EQ(SparseArrayAccess::buckets(a), 4); // each removal applied the shrink rule
    EXPECT_EQ(keysOf(a), V({4, 2}));
}

bool dropSeventeen(int32_t key, intptr_t* value, intptr_t) {
    *value *= 10;
    return key != 17;
}

// Kept exactly so: an entry the callback drops is unlinked but neither counted down nor freed.
TEST(SparseArray, ForEachUnlinksWithoutCountingOrLeaking) {
    int32_t start = liveBlocks();
    SparseArray a;
    for (int32_t key : {1, 17, 2, 3})
        a.set(key, key);
    a.forEach(dropSeventeen, 0);
    EXPECT_EQ(a.find(1), 10);
    EXPECT_FALSE(a.hasKey(17));
    EXPECT_EQ(a.length(), 4); // still counted
    EXPECT_EQ(keysOf(a), V({1, 2, 3}));
    EXPECT_EQ(SparseArrayAccess::buckets(a), 8); // shrunk after the walk: 4 counted of 16 is 25 %
    EXPECT_EQ(liveBlocks(), start + 5);          // the table keeps the unlinked item until erase()
    a.erase();
    EXPECT_EQ(liveBlocks(), start);
}

TEST(SparseArray, CopiesHoldTheSameEntriesButMayCompareUnequal) {
    SparseArray a;
    a.set(1, 10);
    a.set(2, 20);
    EXPECT_EQ(SparseArray(a), a);
    SparseArray c;
    c.set(3, 1);
    c.set(19, 2);                 // same bucket as 3
    EXPECT_NE(SparseArray(c), c); // the copy built the chain in walking order, reversing it
    a += c;
    EXPECT_EQ(keysOf(a), V({1, 2, 3, 19}));
}

TEST(SparseArray, ExhaustionKeepsTheTableConsistent) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    {
        SparseArray a;
        allocator.failAt(2); // the item, after the first buckets
        EXPECT_THROW(a.set(1, 1), std::bad_alloc);
        EXPECT_EQ(a.length(), 0);
        for (int32_t key = 0; key < 9; ++key)
            a.set(key, key);
        allocator.failAt(1); // the doubled bucket array
        EXPECT_THROW(a.set(9, 9), std::bad_alloc);
        EXPECT_EQ(a.length(), 9);
        for (int32_t key = 0; key < 4; ++key)
            a.remove(key);
        allocator.failAt(1); // removing never fails: without memory the table keeps its buckets
        EXPECT_EQ(a.remove(4), 4);
        EXPECT_EQ(SparseArrayAccess::buckets(a), 16);
        allocator.failAt(3); // midway through a copy
        EXPECT_THROW(SparseArray copy(a), std::bad_alloc);
        allocator.failAt(0);
    }
    EXPECT_EQ(allocator.outstanding, 0);
}

} // namespace
