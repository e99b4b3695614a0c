// The library's own allocator: the system heap plus per-size free lists of small blocks, so that the
// many short-lived strings, values and records of a script run are recycled without a round trip to
// malloc. It lives at global scope and allocates itself with malloc, never through Heap.
#ifndef QUARN_MEMORY_DEFAULTALLOCATOR_H
#define QUARN_MEMORY_DEFAULTALLOCATOR_H

#include <quarn/Allocator.h>

#include <cstdlib>

class DefaultAllocator : public Quarn::Allocator {
public:
    // Lists are keyed by system block size / 4; blocks of key 80 and above are never cached.
    static constexpr int kListCount = 80;
    static constexpr int32_t kDefaultCacheLimit = 10000;
    // Keys above this keep only half the cache limit, bounding the memory the cache can hold.
    static constexpr int kHalfLimitAbove = 40;
    static constexpr size_t kHeaderSize = sizeof(void*);

    DefaultAllocator();
    ~DefaultAllocator() override;

    // The allocator must not allocate from itself. A failed malloc yields null, not an exception.
    static void* operator new(size_t size) noexcept { return std::malloc(size); }
    static void operator delete(void* p) noexcept { std::free(p); }

    void* allocMem(size_t size, const char* file, int line) override;
    void* alloc(size_t size) override { return allocate(size); }
    void freeMem(void* block) override { release(block); }
    void* reallocMem(void* block, size_t size) override;
    void setPolicy(double policy) override;
    void flush() override;

    // The non-virtual bodies, inlined into Heap's fast path when the default allocator is current.
    inline void* allocate(size_t size);
    inline void release(void* block);

    // Inspection for tests and diagnostics.
    int32_t getCacheLimit() const { return cacheLimit; }
    int32_t getCachedCount(int key) const { return lists[key].count; }

    // Counters of the reallocation path that nothing reads; kept for diagnostics.
    int32_t reallocCalls = 0;
    int32_t reallocInPlace = 0;

private:
    void* allocateFromSystem(size_t blockSize);
    void applyLimit(int32_t limit);

    // limit is the cache limit as it applies to this list (halved above key 40), kept beside the
    // count so that a free reads one cache line.
    struct FreeList {
        void* head;
        int32_t count;
        int32_t limit;
    };
    FreeList lists[kListCount];
    int32_t cacheLimit;
};

inline void* DefaultAllocator::allocate(size_t size) {
    size_t blockSize = size + kHeaderSize;
    size_t key = blockSize / 4;
    if (key < static_cast<size_t>(kListCount)) {
        FreeList& list = lists[key];
        if (void* block = list.head) {
            list.head = *static_cast<void**>(block);
            --list.count;
            *static_cast<size_t*>(block) = blockSize;
            return static_cast<char*>(block) + kHeaderSize;
        }
    }
    return allocateFromSystem(blockSize);
}

inline void DefaultAllocator::release(void* p) {
    void* block = static_cast<char*>(p) - kHeaderSize;
    // Recorded sizes are never negative: unsigned division gives the same key as a signed one.
    size_t key = *static_cast<size_t*>(block) / 4;
    if (key < static_cast<size_t>(kListCount)) {
        FreeList& list = lists[key];
        if (list.count < list.limit) {
            *static_cast<void**>(block) = list.head;
            list.head = block;
            ++list.count;
            return;
        }
    }
    std::free(block);
}

#endif
