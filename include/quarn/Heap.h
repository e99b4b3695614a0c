// Heap: the class-level allocation entry points of every library object.
//
// Heap does not manage memory itself: each request goes to the current Allocator, and every block
// remembers the allocator that made it (one pointer-sized word in front of the block), so a block
// always returns to its maker even after a host installs another allocator.
#ifndef QUARN_HEAP_H
#define QUARN_HEAP_H

#include <quarn/Config.h>

namespace Quarn {

class QUARN_API Heap {
public:
    Heap() {}

    // Sizes are rounded up to a multiple of 4; exhaustion throws std::bad_alloc ("bad allocation").
    static void* operator new(size_t size);
    static void* operator new(size_t size, const char* file, int line);
    static void* operator new[](size_t size);
    static void* operator new[](size_t size, const char* file, int line);
    static void* operator new(size_t, void* place) noexcept { return place; }
    static void* operator new[](size_t, void* place) noexcept { return place; }

    // After the library has ended, delete only counts: the block's allocator is gone.
    static void operator delete(void* p) noexcept;
    static void operator delete[](void* p) noexcept;
    static void operator delete(void* p, const char* file, int line) noexcept;
    static void operator delete[](void* p, const char* file, int line) noexcept;
    static void operator delete(void*, void*) noexcept {}
    static void operator delete[](void*, void*) noexcept {}

    // Resizes a block made by operator new[]. A null block gives null (it does not allocate); after
    // the library has ended the block is returned unchanged. Throws std::bad_alloc on exhaustion.
    static void* reAlloc(void* p, size_t size);

    // blocks: blocks handed out by operator new and not yet deleted; bytes: always 0.
    static void getMemoryStatistics(int32_t& blocks, int32_t& bytes);
};

} // namespace Quarn

#endif
