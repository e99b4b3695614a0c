// Heap's entry points and the memory module's process-wide state.
#include "memory/DefaultAllocator.h"
#include "memory/Modules.h"

#include <quarn/Allocator.h>

#include <cstdint>
#include <new>

namespace Quarn {
namespace {

// The header in front of every Heap block: the allocator that made it.
constexpr size_t kHeapHeader = sizeof(void*);

Allocator* currentAllocator = nullptr;
DefaultAllocator* defaultAllocator = nullptr;
bool terminated = false;
int32_t liveBlocks = 0;

class BadAllocation : public std::bad_alloc {
public:
    const char* what() const noexcept override { return "bad allocation"; }
};

[[noreturn]] void throwBadAlloc() { throw BadAllocation(); }

// What Heap asks its allocator for: the size rounded up to a multiple of 4, plus the header.
inline size_t blockSizeFor(size_t size) {
    if (size > SIZE_MAX - 2 * kHeapHeader - 8) throwBadAlloc();
    return ((size + 3) & ~static_cast<size_t>(3)) + kHeapHeader;
}

inline void* finishBlock(void* block, Allocator* maker) {
    if (!block) throwBadAlloc();
    *static_cast<Allocator**>(block) = maker;
    ++liveBlocks;
    return static_cast<char*>(block) + kHeapHeader;
}

// No allocator (before start, after the end, or when the default could not be made) means no memory.
Allocator* usableAllocator() {
    if (!currentAllocator || terminated) throwBadAlloc();
    return currentAllocator;
}

} // namespace

void* Heap::operator new(size_t size) {
    Allocator* maker = currentAllocator;
    size_t blockSize = blockSizeFor(size);
    // The pooled path, devirtualised: most programs never install an allocator of their own.
    if (maker == defaultAllocator && maker) return finishBlock(defaultAllocator->allocate(blockSize), maker);
    maker = usableAllocator();
    return finishBlock(maker->alloc(blockSize), maker);
}

void* Heap::operator new(size_t size, const char* file, int line) {
    Allocator* maker = usableAllocator();
    return finishBlock(maker->allocMem(blockSizeFor(size), file, line), maker);
}

void* Heap::operator new[](size_t size) { return Heap::operator new(size); }

void* Heap::operator new[](size_t size, const char* file, int line) { return Heap::operator new(size, file, line); }

void Heap::operator delete(void* p) noexcept {
    if (!p) return;
    void* block = static_cast<char*>(p) - kHeapHeader;
    Allocator* maker = *static_cast<Allocator**>(block);
    // After the end the default allocator is gone (null), so its blocks take the slow path too.
    if (maker == defaultAllocator)
        defaultAllocator->release(block);
    else if (!terminated)
        maker->freeMem(block);
    --liveBlocks;
}

void Heap::operator delete[](void* p) noexcept { Heap::operator delete(p); }

void Heap::operator delete(void* p, const char*, int) noexcept { Heap::operator delete(p); }

void Heap::operator delete[](void* p, const char*, int) noexcept { Heap::operator delete(p); }

void* Heap::reAlloc(void* p, size_t size) {
    if (!p) return nullptr;
    if (terminated) return p;
    void* block = static_cast<char*>(p) - kHeapHeader;
    Allocator* maker = *static_cast<Allocator**>(block);
    void* resized = maker->reallocMem(block, blockSizeFor(size));
    if (!resized) throwBadAlloc();
    *static_cast<Allocator**>(resized) = maker;
    return static_cast<char*>(resized) + kHeapHeader;
}

void Heap::getMemoryStatistics(int32_t& blocks, int32_t& bytes) {
    blocks = liveBlocks;
    bytes = 0;
}

Allocator* Allocator::get() { return currentAllocator; }

void Allocator::set(Allocator* allocator) { currentAllocator = allocator ? allocator : defaultAllocator; }

namespace detail {

void memoryModule(bool start) {
    if (start) {
        if (!defaultAllocator) defaultAllocator = new DefaultAllocator;
        currentAllocator = defaultAllocator;
        return;
    }
    if (defaultAllocator) {
        defaultAllocator->flush();
        ++defaultAllocator->reallocCalls;
        ++defaultAllocator->reallocInPlace;
    }
    // A long-standing quirk of the end step, kept so that statistics read after the end stay as
    // they always were.
    if (liveBlocks != 0) ++liveBlocks;
    delete defaultAllocator;
    defaultAllocator = nullptr;
    terminated = true;
}

} // namespace detail
} // namespace Quarn
