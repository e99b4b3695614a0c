// Small-object allocation through Heap (the pooling default allocator) against glibc malloc/free and
// the global operator new/delete, with the same sizes (8 to 300 bytes) in the same order.
#include <quarn/Allocator.h>
#include <quarn/Heap.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <new>
#include <random>
#include <vector>

namespace {

struct HeapPeer {
    static void* get(size_t n) { return Quarn::Heap::operator new[](n); }
    static void put(void* p) { Quarn::Heap::operator delete[](p); }
};
struct MallocPeer {
    static void* get(size_t n) { return std::malloc(n); }
    static void put(void* p) { std::free(p); }
};
struct NewPeer {
    static void* get(size_t n) { return ::operator new(n); }
    static void put(void* p) { ::operator delete(p); }
};

std::vector<size_t> makeSizes(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<size_t> size(8, 300);
    std::vector<size_t> sizes(count);
    for (size_t& s : sizes) s = size(random);
    return sizes;
}

// Steady state: a batch of 64 blocks of mixed sizes is allocated and freed again, over and over.
template <class Peer>
void steadyState(benchmark::State& state) {
    const std::vector<size_t> sizes = makeSizes(64, 1);
    void* blocks[64];
    for (auto _ : state) {
        for (size_t i = 0; i < 64; ++i) {
            blocks[i] = Peer::get(sizes[i]);
            *static_cast<char*>(blocks[i]) = 1;
        }
        benchmark::DoNotOptimize(blocks);
        for (size_t i = 0; i < 64; ++i) Peer::put(blocks[i]);
    }
    state.SetItemsProcessed(state.iterations() * 64);
}

// Churn: 4096 live blocks; each step frees one at a pseudo-random slot and allocates another size.
template <class Peer>
void mixedChurn(benchmark::State& state) {
    const size_t live = 4096;
    const std::vector<size_t> sizes = makeSizes(1 << 16, 2);
    std::vector<size_t> slots(1 << 16);
    std::mt19937 random(3);
    for (size_t& slot : slots) slot = random() % live;
    std::vector<void*> blocks(live);
    for (size_t i = 0; i < live; ++i) blocks[i] = Peer::get(sizes[i]);
    size_t step = 0;
    for (auto _ : state) {
        size_t slot = slots[step & 0xFFFF];
        Peer::put(blocks[slot]);
        blocks[slot] = Peer::get(sizes[step & 0xFFFF]);
        *static_cast<char*>(blocks[slot]) = 1;
        ++step;
    }
    for (void* p : blocks) Peer::put(p);
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(steadyState, HeapPeer)->Name("steady/Heap");
BENCHMARK_TEMPLATE(steadyState, MallocPeer)->Name("steady/malloc");
BENCHMARK_TEMPLATE(steadyState, NewPeer)->Name("steady/operator_new");
BENCHMARK_TEMPLATE(mixedChurn, HeapPeer)->Name("churn/Heap");
BENCHMARK_TEMPLATE(mixedChurn, MallocPeer)->Name("churn/malloc");
BENCHMARK_TEMPLATE(mixedChurn, NewPeer)->Name("churn/operator_new");

} // namespace
