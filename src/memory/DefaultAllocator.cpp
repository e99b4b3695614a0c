#include "memory/DefaultAllocator.h"
#include "platform/Platform.h"

#include <climits>
#include <cmath>

DefaultAllocator::DefaultAllocator() : lists(), cacheLimit(0) {
    applyLimit(kDefaultCacheLimit);
}

void DefaultAllocator::applyLimit(int32_t limit) {
    cacheLimit = limit;
    for (int key = 0; key < kListCount; ++key)
        lists[key].limit = key > kHalfLimitAbove ? limit / 2 : limit;
}

DefaultAllocator::~DefaultAllocator() {
    flush();
}

void* DefaultAllocator::allocMem(size_t size, const char*, int) {
    return allocate(size);
}

void* DefaultAllocator::allocateFromSystem(size_t blockSize) {
    void* block = std::malloc(blockSize);
    if (!block) {
        // One chance to give the cache back before reporting exhaustion; a derived flush runs too.
        flush();
        block = std::malloc(blockSize);
        if (!block) return nullptr;
    }
    *static_cast<size_t*>(block) = blockSize;
    Quarn::platform::adviseLargeBlock(block, blockSize);
    return static_cast<char*>(block) + kHeaderSize;
}

void* DefaultAllocator::reallocMem(void* p, size_t size) {
    ++reallocCalls;
    void* block = static_cast<char*>(p) - kHeaderSize;
    if (size > SIZE_MAX - kHeaderSize) return nullptr;
    // No flush and retry here, unlike allocation.
    void* resized = std::realloc(block, size + kHeaderSize);
    if (!resized) return nullptr;
    if (resized == block)
        ++reallocInPlace;
    else
        Quarn::platform::adviseLargeBlock(resized, size + kHeaderSize);
    // The size without the header is recorded on purpose: the block is later filed one list lower
    // than a fresh block of the same size, which only makes its reuse more conservative.
    *static_cast<size_t*>(resized) = size;
    return static_cast<char*>(resized) + kHeaderSize;
}

void DefaultAllocator::setPolicy(double policy) {
    if (policy < 0.0) policy = 0.0;
    if (policy > 1.0) policy = 1.0;
    // A NaN passes both tests; it turns the cache off, as the most negative limit.
    applyLimit(std::isnan(policy) ? INT32_MIN : static_cast<int32_t>(policy * 10000.0));
    flush();
}

void DefaultAllocator::flush() {
    for (FreeList& list : lists) {
        void* block = list.head;
        list.head = nullptr;
        list.count = 0;
        while (block) {
            void* next = *static_cast<void**>(block);
            std::free(block);
            block = next;
        }
    }
}
