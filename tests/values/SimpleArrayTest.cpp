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
    SimpleArray a;
    EXPECT_TRUE(Access::isSharedEmpty(a));
    a.append(42);
    EXPECT_EQ(a.removeAt(0), 42); // removing the last element gives the storage back
    EXPECT_TRUE(Access::isSharedEmpty(a));
    // Nothing to do on an empty array must not give it a block of its own.
    a.insertGap(0, 0);
    a.removeGap(0, 3);
    a.clear();
    EXPECT_EQ(a.removeAt(0), 0);
    EXPECT_TRUE(Access::isSharedEmpty(a));
    EXPECT_TRUE(Access::isSharedEmpty(make({1, 2}).copy(10, 2)));
    EXPECT_EQ(liveBlocks(), start);
}

TEST(SimpleArray, CapacityFollowsTheIncrementBothWays) {
    SimpleArray a;
    a.setIncrement(3);
    a.setSize(7);
    EXPECT_EQ(Access::capacity(a), 9);
    a.setSize(2);
    EXPECT_EQ(Access::capacity(a), 3); // shrinking gives memory back at once
    SimpleArray b;
    for (int i = 0; i < 17; ++i)
        b.append(i);
    EXPECT_EQ(Access::capacity(b), 24); // steps of 8, not doubling
    const intptr_t* block = b.getData();
    b.clear(); // keeps the storage
    EXPECT_EQ(b.getData(), block);
}

TEST(SimpleArray, CopiesShareUntilWrittenAndKeepTheirOwnIncrement) {
    SimpleArray source = make({1, 2, 3});
    source.setIncrement(20);
    SimpleArray copy(source);
    EXPECT_EQ(copy.getIncrement(), 8) << "the increment is not copied";
    EXPECT_EQ(copy.getData(), source.getData());
    copy[1] = 99;
    EXPECT_EQ(source[1], 2);
    SimpleArray target;
    target.setIncrement(5);
    target = source; // shares, keeping its own increment
    EXPECT_EQ(target.getIncrement(), 5);
    EXPECT_EQ(target.getData(), source.getData());
}

// Other edits simply clamp their positions (the fuzzer covers those); these two do more than clamp.
TEST(SimpleArray, RemovingPastTheEndTakesTheLastAndSelfAppendSurvivesTheResize) {
    SimpleArray a = make({1, 2, 3, 9});
    EXPECT_EQ(a.removeAt(50), 9);
    a.append(a);
    EXPECT_EQ(contents(a), V({1, 2, 3, 1, 2, 3}));
}

void record(int32_t index, intptr_t* slot, intptr_t data) {
    reinterpret_cast<std::vector<int32_t>*>(data)->push_back(index);
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

TEST(SimpleArray, ExhaustionThrowsAndLeavesTheArrayIntact) {
    quarn_test::TestAllocator allocator;
    quarn_test::ScopedAllocator scope(allocator);
    {
        SimpleArray a;
        allocator.failAt(1);
        EXPECT_THROW(a.append(1), std::bad_alloc);
        EXPECT_TRUE(Access::isSharedEmpty(a));
        for (int i = 1; i <= 8; ++i)
            a.append(i);
        allocator.failAt(1); // the reallocation for the ninth
        EXPECT_THROW(a.append(9), std::bad_alloc);
        EXPECT_EQ(contents(a), V({1, 2, 3, 4, 5, 6, 7, 8}));
        SimpleArray copy(a);
        allocator.failAt(1); // the private copy
        EXPECT_THROW(copy[0] = 5, std::bad_alloc);
        EXPECT_EQ(copy.getData(), a.getData());
        EXPECT_THROW(a.setSize(INT32_MAX), std::bad_alloc);
        // Removing shifts the slots, then shrinks: a shrink that cannot be had keeps the larger
        // block rather than leave the shifted slots and the old length behind.
        a.append(9);
        allocator.failAt(1);
        a.removeGap(0, 3);
        EXPECT_EQ(contents(a), V({4, 5, 6, 7, 8, 9}));
        allocator.failAt(0);
    }
    EXPECT_EQ(allocator.outstanding, 0);
}

} // namespace
