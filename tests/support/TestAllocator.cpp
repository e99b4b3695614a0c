#include "TestAllocator.h"

#include <quarn/Heap.h>

#include <cstdlib>

namespace quarn_test {

TestAllocator::~TestAllocator() {}

bool TestAllocator::shouldFail() {
    if (countdown > 0 && --countdown == 0) {
        failed = true;
        return true;
    }
    return false;
}

void* TestAllocator::allocMem(size_t size, const char* file, int line) {
    lastFile = file;
    lastLine = line;
    return alloc(size);
}

void* TestAllocator::alloc(size_t size) {
    ++allocations;
    lastSize = size;
    if (shouldFail()) return nullptr;
    void* block = std::malloc(size ? size : 1);
    if (block) ++outstanding;
    return block;
}

void TestAllocator::freeMem(void* block) {
    ++frees;
    --outstanding;
    std::free(block);
}

void* TestAllocator::reallocMem(void* block, size_t size) {
    ++reallocations;
    lastSize = size;
    if (shouldFail()) return nullptr;
    return std::realloc(block, size ? size : 1);
}

void TestAllocator::failAt(long n) {
    countdown = n;
    failed = false;
}

ScopedAllocator::ScopedAllocator(Quarn::Allocator& allocator) : previous(Quarn::Allocator::get()) {
    Quarn::Allocator::set(&allocator);
}

ScopedAllocator::~ScopedAllocator() { Quarn::Allocator::set(previous); }

int32_t liveBlocks() {
    int32_t blocks = 0, bytes = 0;
    Quarn::Heap::getMemoryStatistics(blocks, bytes);
    return blocks;
}

} // namespace quarn_test
