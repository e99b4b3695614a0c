// An Allocator for tests: counts what passes through it and can be told to fail the N-th allocation
// (reallocations count as allocations), so that tests can prove an operation survives exhaustion.
#ifndef QUARN_TESTS_SUPPORT_TESTALLOCATOR_H
#define QUARN_TESTS_SUPPORT_TESTALLOCATOR_H

#include <quarn/Allocator.h>

namespace quarn_test {

class TestAllocator : public Quarn::Allocator {
public:
    ~TestAllocator() override;

    void* allocMem(size_t size, const char* file, int line) override;
    void* alloc(size_t size) override;
    void freeMem(void* block) override;
    void* reallocMem(void* block, size_t size) override;

    // The n-th allocation from now fails (1: the next one); 0 disarms. Only that one fails.
    void failAt(long n);
    // Whether an armed failure has been delivered since the last failAt().
    bool hasFailed() const { return failed; }

    long allocations = 0; // alloc and allocMem calls, failed ones included
    long reallocations = 0;
    long frees = 0;
    long outstanding = 0; // blocks made here and not yet freed
    size_t lastSize = 0;  // size of the last request
    const char* lastFile = nullptr;
    int lastLine = 0;

private:
    bool shouldFail();

    long countdown = 0;
    bool failed = false;
};

// Installs an allocator for the lifetime of the guard and puts the previous one back.
class ScopedAllocator {
public:
    explicit ScopedAllocator(Quarn::Allocator& allocator);
    ~ScopedAllocator();
    ScopedAllocator(const ScopedAllocator&) = delete;
    ScopedAllocator& operator=(const ScopedAllocator&) = delete;

private:
    Quarn::Allocator* previous;
};

// The live-block count of Heap right now.
int32_t liveBlocks();

// The pooling policy the suite runs with: 1.0 normally, 0.0 under AddressSanitizer so that freed
// blocks go back to malloc and use-after-free is caught. Tests that change the policy restore this.
double suitePolicy();

// Lets the current test end with more live blocks than it started with (for process-wide objects
// that are made on first use). Every other test must leave the count where it found it.
void acceptLiveBlockGrowth();

} // namespace quarn_test

#endif
