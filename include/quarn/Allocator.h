// Allocator: the replaceable memory source behind Heap.
//
// A host may install its own allocator with set(); set(nullptr) goes back to the library's pooling
// default. Blocks already handed out keep returning to the allocator that made them.
#ifndef QUARN_ALLOCATOR_H
#define QUARN_ALLOCATOR_H

#include <quarn/Root.h>

namespace Quarn {

class QUARN_API Allocator : public Root {
public:
    Allocator() : rethrow(false) {}
    ~Allocator() override;

    // Allocation with a source position for debugging allocators; the default ignores the position.
    virtual void* allocMem(size_t size, const char* file, int line);
    virtual void* alloc(size_t size) = 0;
    // Never called with a null block.
    virtual void freeMem(void* block) = 0;
    virtual void* reallocMem(void* block, size_t size) = 0;
    // A fraction (0 to 1) of the allocator's default caching; the default does nothing.
    virtual void setPolicy(double policy);
    // Gives cached memory back to the system; the default does nothing.
    virtual void flush();

    static Allocator* get();
    static void set(Allocator* allocator);

    // A setting for hosts and their allocators; the library itself never reads it.
    bool isRethrow() const { return rethrow; }
    void setRethrow(bool flag) { rethrow = flag; }

private:
    bool rethrow;
};

} // namespace Quarn

#endif
