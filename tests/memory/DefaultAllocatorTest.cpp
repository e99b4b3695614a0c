// The pooling rules, checked on private instances so the library's own allocator is not disturbed.
#include "memory/DefaultAllocator.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

namespace {

constexpr size_t kWord = sizeof(void*);

// Key of the list a fresh block of n requested bytes is filed under.
int keyFor(size_t n) {
    return static_cast<int>((n + kWord) / 4);
}

struct Pool {
    DefaultAllocator* allocator = new DefaultAllocator;
    ~Pool() { delete allocator; }
    DefaultAllocator* operator->() { return allocator; }
    int cachedInAllLists() {
        int cached = 0;
        for (int key = 0; key < DefaultAllocator::kListCount; ++key)
            cached += allocator->getCachedCount(key);
        return cached;
    }
};

TEST(DefaultAllocator, FreedSmallBlocksAreCachedAndReusedLastInFirstOutBelowKeyEighty) {
    Pool pool;
    void* a = pool->alloc(40);
    void* b = pool->alloc(40);
    pool->freeMem(a);
    pool->freeMem(b);
    void* c = pool->alloc(40);
    void* d = pool->allocMem(40, "ignored", 7);
    EXPECT_EQ(c, b);
    EXPECT_EQ(d, a);
    pool->freeMem(c);
    pool->freeMem(d);
    // Only keys below 80 are pooled: 315 bytes on 32-bit builds is the largest such request.
    const size_t largestPooled = 80 * 4 - 1 - kWord;
    pool->freeMem(pool->alloc(largestPooled));
    pool->freeMem(pool->alloc(largestPooled + 1)); // goes to free(): no list holds it
    EXPECT_EQ(pool->getCachedCount(79), 1);
    EXPECT_EQ(pool.cachedInAllLists(), 3);
}

// The policy is a clamped fraction of the default limit, and setting it empties every list.
TEST(DefaultAllocator, PolicySetsTheLimitAndFlushes) {
    Pool pool;
    EXPECT_EQ(pool->getCacheLimit(), 10000);
    struct {
        double policy;
        int32_t limit;
    } const cases[] = {{0.5, 5000}, {2.0, 10000}, {-1.0, 0},
                       {0.0, 0},    {0.00015, 1}, {std::nan(""), INT32_MIN}};
    for (const auto& c : cases) {
        for (size_t n = 0; n < 300; n += 4)
            pool->freeMem(pool->alloc(n));
        pool->setPolicy(c.policy);
        EXPECT_EQ(pool.cachedInAllLists(), 0) << "policy " << c.policy;
        EXPECT_EQ(pool->getCacheLimit(), c.limit) << "policy " << c.policy;
        pool->freeMem(pool->alloc(16));
        EXPECT_EQ(pool->getCachedCount(keyFor(16)), c.limit > 0 ? 1 : 0) << "policy " << c.policy;
    }
}

// A list at its limit frees further blocks to the system; lists above key 40 hold half as many.
TEST(DefaultAllocator, ListsAboveKeyFortyKeepHalfTheLimit) {
    Pool pool;
    pool->setPolicy(0.00035); // limit 3 (truncated): 1 for the large keys (3 / 2)
    const size_t smallSize = 40 * 4 - kWord, largeSize = 41 * 4 - kWord; // keys 40 and 41
    std::vector<void*> blocks;
    for (int i = 0; i < 5; ++i) {
        blocks.push_back(pool->alloc(smallSize));
        blocks.push_back(pool->alloc(largeSize));
    }
    for (void* p : blocks)
        pool->freeMem(p);
    EXPECT_EQ(pool->getCachedCount(40), 3);
    EXPECT_EQ(pool->getCachedCount(41), 1);
}

// Kept on purpose: a resized block records its size without the header, so it is filed one list lower.
TEST(DefaultAllocator, ReallocatedBlocksRecordTheirSizeWithoutTheHeader) {
    Pool pool;
    char* p = static_cast<char*>(pool->alloc(8));
    p[0] = 'q';
    p = static_cast<char*>(pool->reallocMem(p, 64));
    EXPECT_EQ(p[0], 'q');
    EXPECT_EQ(pool->reallocCalls, 1);
    pool->freeMem(p);
    EXPECT_EQ(pool->getCachedCount(64 / 4), 1);
    EXPECT_EQ(pool->getCachedCount(keyFor(64)), 0);
}

// Exhaustion: allocation flushes once (through the virtual slot) and retries; reallocation does not.
TEST(DefaultAllocator, AllocationFlushesOnceBeforeGivingUpButReallocationNever) {
    struct Counting : DefaultAllocator {
        int flushes = 0;
        void flush() override {
            ++flushes;
            DefaultAllocator::flush();
        }
    };
    Counting* pool = new Counting;
    const size_t impossible = SIZE_MAX / 2;
    EXPECT_EQ(pool->alloc(impossible), nullptr);
    EXPECT_EQ(pool->flushes, 1);
    void* p = pool->alloc(16);
    EXPECT_EQ(pool->reallocMem(p, impossible), nullptr);
    EXPECT_EQ(pool->flushes, 1);
    pool->freeMem(p); // the failed resize left the block as it was
    delete pool;
}

} // namespace
