#include "support/TestAllocator.h"

#include <quarn/SparseArray.h>

#include <gtest/gtest.h>

#include <new>
#include <vector>

using namespace Quarn;
using quarn_test::liveBlocks;

namespace Quarn {
struct SparseArrayAccess {
    static int32_t buckets(const SparseArray& a) { return a.buckets.length(); }
};
} // namespace Quarn

namespace {

int32_t bucketsOf(const SparseArray& a) {
    return SparseArrayAccess::buckets(a);
}

std::vector<intptr_t> keysOf(const SparseArray& a) {
    SimpleArray keys;
    a.getKeys(keys);
    return std::vector<intptr_t>(keys.getData(), keys.getData() + keys.length());
}

using V = std::vector<intptr_t>;

TEST(SparseArray, MissingKeysReadAsZeroAndHasKeyTellsThemApart) {
    SparseArray a;
    EXPECT_EQ(a.find(3), 0);
    EXPECT_FALSE(a.hasKey(3));
    EXPECT_EQ(bucketsOf(a), 0);
    a.set(3, 0);
    a.set(-1, 11);
    a.set(INT32_MIN, 12);
    a.set(INT32_MAX, 13);
    EXPECT_EQ(a.find(3), 0);
    EXPECT_TRUE(a.hasKey(3));
    EXPECT_EQ(a[-1], 11);
    EXPECT_EQ(a[INT32_MIN], 12);
    EXPECT_EQ(a[INT32_MAX], 13);
    EXPECT_FALSE(a.hasKey(-2));
    EXPECT_EQ(a.length(), 4);
    // -1 is 4294967295 unsigned: the last of 16 buckets, walked after 0 (INT32_MIN) and 3.
    EXPECT_EQ(keysOf(a), V({INT32_MIN, 3, INT32_MAX, -1}));

    a.set(3, 30); // replacing keeps the count
    EXPECT_EQ(a.find(3), 30);
    EXPECT_EQ(a.length(), 4);
}

TEST(SparseArray, GrowsAboveHalfLoadAndReversesChainsWhenRehashing) {
    SparseArray a;
    for (int32_t key = 0; key <= 8; ++key)
        a.set(key, key + 100);
    EXPECT_EQ(bucketsOf(a), 16);
    a.set(9, 109); // load before it: 9 * 100 / 16 = 56
    EXPECT_EQ(bucketsOf(a), 32);
    EXPECT_EQ(a.length(), 10);
    for (int32_t key = 0; key <= 9; ++key)
        EXPECT_EQ(a.find(key), key + 100);

    SparseArray b;
    b.set(20, 1);
    b.set(4, 2);
    b.set(36, 3);
    EXPECT_EQ(keysOf(b), V({36, 4, 20})); // one bucket, the latest first
    // Rehashing moves each item to the head of its new chain, so a chain that stays together comes
    // out reversed.
    for (int32_t key = 100; key < 107; ++key)
        b.set(key * 16 + 1, 0);
    EXPECT_EQ(bucketsOf(b), 32);
    V order;
    for (intptr_t key : keysOf(b))
        if (key == 4 || key == 20 || key == 36) order.push_back(key);
    EXPECT_EQ(order, V({4, 36, 20}));
}

TEST(SparseArray, ShrinksBelowThirtyPercent) {
    SparseArray a;
    a.set(5, 50);
    EXPECT_EQ(a.remove(5), 50);
    EXPECT_EQ(a.length(), 0);
    EXPECT_EQ(bucketsOf(a), 8);

    EXPECT_EQ(a.remove(5), 0); // absent: nothing shrinks
    EXPECT_EQ(bucketsOf(a), 8);

    SparseArray b;
    for (int32_t key = 0; key < 5; ++key)
        b.set(key, 1);
    b.remove(0); // 4 * 100 / 16 = 25
    EXPECT_EQ(bucketsOf(b), 8);
    b.remove(1); // 3 of 8: 37
    EXPECT_EQ(bucketsOf(b), 8);
    b.remove(2);
    EXPECT_EQ(bucketsOf(b), 4);
    b.remove(3);
    EXPECT_EQ(bucketsOf(b), 2);
    b.remove(4);
    EXPECT_EQ(bucketsOf(b), 1);
    b.set(7, 70); // one bucket at load 0 takes the key as it is
    EXPECT_EQ(bucketsOf(b), 1);
    EXPECT_EQ(b.remove(7), 70);
    EXPECT_EQ(bucketsOf(b), 0);
    b.set(7, 71); // no buckets: back to 16
    EXPECT_EQ(bucketsOf(b), 16);
}

TEST(SparseArray, SearchingByValue) {
    SparseArray a;
    a.set(1, 5);
    a.set(2, 0);
    a.set(3, 5);
    a.set(4, 7);
    SimpleArray values;
    values.append(99);
    a.getData(values);
    ASSERT_EQ(values.length(), 2);
    EXPECT_EQ(values[0], 5);
    EXPECT_EQ(values[1], 7);

    EXPECT_EQ(a.findKey(5), 1);
    EXPECT_EQ(a.findKey(0), 2);
    EXPECT_EQ(a.findKey(8), -1);

    a.removeData(5);
    EXPECT_EQ(bucketsOf(a), 4); // each removal applied the shrink rule: 16 -> 8 -> 4
    EXPECT_EQ(keysOf(a), V({4, 2}));
    a.removeData(8);
    EXPECT_EQ(a.length(), 2);
}

struct Pass {
    std::vector<int32_t> seen;
    int32_t drop; // key to unlink
};

bool visit(int32_t key, intptr_t* value, intptr_t data) {
    Pass* pass = reinterpret_cast<Pass*>(data);
    pass->seen.push_back(key);
    *value *= 10;
    return key != pass->drop;
}

TEST(SparseArray, ForEachUnlinksWithoutCountingOrLeaking) {
    int32_t start = liveBlocks();
    {
        SparseArray a;
        for (int32_t key : {1, 17, 2, 3})
            a.set(key, key);
        Pass pass{{}, 17};
        a.forEach(visit, reinterpret_cast<intptr_t>(&pass));
        EXPECT_EQ(pass.seen, std::vector<int32_t>({17, 1, 2, 3}));
        EXPECT_EQ(a.find(1), 10);
        EXPECT_FALSE(a.hasKey(17));
        EXPECT_EQ(a.length(), 4); // the unlinked entry is still counted
        EXPECT_EQ(keysOf(a), V({1, 2, 3}));
        EXPECT_EQ(a.findKey(170), -1);
        int32_t held = liveBlocks();

        // The unlinked entry stays with the table until erase().
        a.set(17, 5);
        EXPECT_EQ(a.length(), 5);
        a.erase();
        EXPECT_EQ(a.length(), 0);
        EXPECT_EQ(bucketsOf(a), 0);
        EXPECT_LT(liveBlocks(), held);

        // Unlinking everything shrinks the table once the walk is done; the destructor frees it all.
        for (int32_t key = 0; key < 4; ++key)
            a.set(key, key);
        Pass all{{}, -1};
        a.forEach([](int32_t, intptr_t*, intptr_t) { return false; }, reinterpret_cast<intptr_t>(&all));
        EXPECT_EQ(a.length(), 4); // 4 of 16 is 25 %: the overstated count still shrinks the table
        EXPECT_EQ(bucketsOf(a), 8);
        EXPECT_FALSE(a.hasKey(0));

        SparseArray empty;
        Pass none{{}, -1};
        empty.forEach(visit, reinterpret_cast<intptr_t>(&none));
        EXPECT_TRUE(none.seen.empty());
    }
    EXPECT_EQ(liveBlocks(), start);
}

TEST(SparseArray, CopiesHoldTheSameEntriesButMayCompareUnequal) {
    SparseArray a;
    a.set(1, 10);
    a.set(2, 20);
    SparseArray b(a);
    EXPECT_EQ(a, b); // no shared chain: the copy has the same layout
    b.set(2, 21);
    EXPECT_NE(a, b);
    EXPECT_EQ(a.find(2), 20);

    // One chain holding two keys is copied in walking order, which reverses it.
    SparseArray c;
    c.set(3, 1);
    c.set(19, 2);
    SparseArray d(c);
    EXPECT_EQ(d.find(3), 1);
    EXPECT_EQ(d.find(19), 2);
    EXPECT_NE(c, d);
    d = d;
    EXPECT_EQ(d.length(), 2);
    d = c;
    EXPECT_NE(c, d);
    d = a;
    EXPECT_EQ(d, a);
    EXPECT_FALSE(d.hasKey(3));

    SparseArray big;
    for (int32_t key = 0; key < 10; ++key)
        big.set(key, 1);
    SparseArray small;
    for (int32_t key = 0; key < 9; ++key)
        small.set(key, 1);
    small.set(9, 1);
    EXPECT_EQ(big, small);
    small.remove(9);
    big.remove(9);
    EXPECT_EQ(big, small);
    EXPECT_NE(SparseArray(), big);
    EXPECT_EQ(SparseArray(), SparseArray());

    a += c;
    EXPECT_EQ(keysOf(a), V({1, 2, 3, 19}));
    a += a;
    EXPECT_EQ(a.length(), 4);
}

TEST(SparseArray, ExhaustionKeepsTheTableConsistent) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    int32_t start = liveBlocks();
    {
        SparseArray a;
        allocator.failAt(1); // the first bucket array
        EXPECT_THROW(a.set(1, 1), std::bad_alloc);
        EXPECT_EQ(a.length(), 0);
        allocator.failAt(2); // the item after the buckets
        EXPECT_THROW(a.set(1, 1), std::bad_alloc);
        EXPECT_EQ(a.length(), 0);
        EXPECT_FALSE(a.hasKey(1));
        for (int32_t key = 0; key < 9; ++key)
            a.set(key, key);
        allocator.failAt(1); // the doubled bucket array
        EXPECT_THROW(a.set(9, 9), std::bad_alloc);
        EXPECT_EQ(bucketsOf(a), 16);
        EXPECT_EQ(a.length(), 9);

        // Removing never fails: without memory for fewer buckets the table keeps its own.
        for (int32_t key = 0; key < 4; ++key)
            a.remove(key);
        allocator.failAt(1);
        EXPECT_EQ(a.remove(4), 4);
        EXPECT_EQ(bucketsOf(a), 16);
        EXPECT_EQ(keysOf(a), V({5, 6, 7, 8}));

        allocator.failAt(3); // midway through the copy
        EXPECT_THROW(SparseArray copy(a), std::bad_alloc);
        allocator.failAt(0);
    }
    EXPECT_EQ(liveBlocks(), start);
    EXPECT_EQ(allocator.outstanding, 0);
}

} // namespace
