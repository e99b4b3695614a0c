#include "memory/DefaultAllocator.h"
#include "support/TestAllocator.h"

#include <quarn/Allocator.h>
#include <quarn/Heap.h>

#include <gtest/gtest.h>

#include <cstring>
#include <new>

using Quarn::Allocator;
using Quarn::Heap;
using quarn_test::liveBlocks;
using quarn_test::ScopedAllocator;
using quarn_test::TestAllocator;

namespace {

constexpr size_t kWord = sizeof(void*);

TEST(Heap, RequestsAreRoundedToFourBytesPlusTheAllocatorWord) {
    TestAllocator host;
    ScopedAllocator scope(host);
    const size_t cases[][2] = {{0, 0}, {1, 4}, {4, 4}, {5, 8}, {311, 312}};
    for (const auto& c : cases) {
        Heap::operator delete(Heap::operator new(c[0]));
        EXPECT_EQ(host.lastSize, c[1] + kWord) << "request of " << c[0];
    }
    // The positioned form goes through allocMem, which a debugging allocator overrides.
    void* q = Heap::operator new[](10, "file.cpp", 42);
    EXPECT_EQ(host.lastSize, 12 + kWord);
    EXPECT_STREQ(host.lastFile, "file.cpp");
    EXPECT_EQ(host.lastLine, 42);
    Heap::operator delete[](q);
    EXPECT_EQ(host.outstanding, 0);
}

TEST(Heap, ReAllocKeepsContentsAndTheMakingAllocatorButNotTheCount) {
    EXPECT_EQ(Heap::reAlloc(nullptr, 10), nullptr);
    const int32_t start = liveBlocks();
    TestAllocator host;
    char* p;
    {
        ScopedAllocator scope(host);
        p = static_cast<char*>(Heap::operator new[](8));
    }
    EXPECT_EQ(liveBlocks(), start + 1);
    std::memcpy(p, "quarn!!", 8);
    // Made by the host, so resized and freed by the host even though it is no longer current.
    p = static_cast<char*>(Heap::reAlloc(p, 5001));
    EXPECT_EQ(host.lastSize, 5004 + kWord);
    EXPECT_STREQ(p, "quarn!!");
    EXPECT_EQ(liveBlocks(), start + 1);
    Heap::operator delete(nullptr); // not a block: not counted down
    Heap::operator delete[](p);
    EXPECT_EQ(host.outstanding, 0);
    int32_t bytes = -1, blocks = 0;
    Heap::getMemoryStatistics(blocks, bytes);
    EXPECT_EQ(bytes, 0); // the second statistic is never kept
}

TEST(Heap, ExhaustionThrowsBadAllocationAndCountsNothing) {
    TestAllocator host;
    ScopedAllocator scope(host);
    int32_t start = liveBlocks();
    host.failAt(1);
    try {
        (void)Heap::operator new(32);
        FAIL() << "expected std::bad_alloc";
    } catch (const std::bad_alloc& e) {
        EXPECT_STREQ(e.what(), "bad allocation");
    }
    host.failAt(1);
    EXPECT_THROW((void)Heap::operator new(8, "f", 1), std::bad_alloc);
    EXPECT_EQ(liveBlocks(), start);

    char* p = static_cast<char*>(Heap::operator new[](4));
    p[0] = 'k';
    host.failAt(1);
    EXPECT_THROW(Heap::reAlloc(p, 64), std::bad_alloc);
    EXPECT_EQ(p[0], 'k'); // the old block survives a failed resize
    Heap::operator delete[](p);
    EXPECT_EQ(host.outstanding, 0);
    // Rounding must not wrap a huge request around to a small one.
    EXPECT_THROW((void)Heap::operator new(SIZE_MAX - 2), std::bad_alloc);
}

// The host implements only the pure slots: the positioned new must still reach its alloc.
TEST(Allocator, SetInstallsAHostAllocatorAndNullRestoresTheDefault) {
    struct Minimal : Allocator {
        size_t asked = 0;
        int frees = 0;
        void* alloc(size_t size) override { return std::malloc(asked = size); }
        void freeMem(void* block) override { ++frees, std::free(block); }
        void* reallocMem(void* block, size_t size) override { return std::realloc(block, size); }
    } host;
    Allocator* original = Allocator::get();
    Allocator::set(&host);
    EXPECT_EQ(Allocator::get(), &host);
    void* fromHost = Heap::operator new(24, "x", 1);
    Allocator::set(nullptr);
    EXPECT_EQ(Allocator::get(), original);
    void* fromDefault = Heap::operator new(40);
    Heap::operator delete(fromHost); // still goes back to the host
    Heap::operator delete(fromDefault);
    EXPECT_EQ(host.asked, 24 + kWord) << "only the first block came from the host";
    EXPECT_EQ(host.frees, 1);
}

} // namespace
