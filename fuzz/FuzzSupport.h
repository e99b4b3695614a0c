// Shared pieces of the fuzz targets: starting the library, reading structured values from the
// fuzzer's bytes, and the checks that turn a wrong answer or a leaked block into a crash.
#ifndef QUARN_FUZZ_FUZZSUPPORT_H
#define QUARN_FUZZ_FUZZSUPPORT_H

#include <quarn/Allocator.h>
#include <quarn/Heap.h>
#include <quarn/Root.h>
#include <quarn/SimpleArray.h>
#include <quarn/String.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

namespace quarn_fuzz {

// Starts the library once per process, with pooling off so that AddressSanitizer sees every block.
inline void startLibrary() {
    static bool started = false;
    if (started) return;
    started = true;
    Quarn::InitTerm::init();
    Quarn::Allocator::get()->setPolicy(0.0);
}

[[noreturn]] inline void fail(const char* what, int line) {
    std::fprintf(stderr, "fuzz check failed (line %d): %s\n", line, what);
    std::abort();
}

#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) quarn_fuzz::fail(#condition, __LINE__);                                            \
    } while (0)

inline int32_t liveBlocks() {
    int32_t blocks = 0, bytes = 0;
    Quarn::Heap::getMemoryStatistics(blocks, bytes);
    return blocks;
}

// Every Heap block made while it lives must be gone when it ends.
class LeakGuard {
public:
    LeakGuard() : start(liveBlocks()) {}
    ~LeakGuard() {
        if (liveBlocks() != start) fail("Heap blocks leaked by this input", __LINE__);
    }

private:
    int32_t start;
};

// Reads the fuzzer's bytes as a stream of small decisions; reads past the end give zeros.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data(data), size(size), pos(0) {}

    bool empty() const { return pos >= size; }
    size_t remaining() const { return size - pos; }
    uint8_t byte() { return pos < size ? data[pos++] : 0; }
    uint16_t unit() { return static_cast<uint16_t>(byte() | byte() << 8); }
    uint32_t u32() { return static_cast<uint32_t>(unit()) | static_cast<uint32_t>(unit()) << 16; }
    bool flag() { return byte() & 1; }
    // 0 to n - 1 (n > 0).
    uint32_t below(uint32_t n) { return n ? (n <= 256 ? byte() % n : u32() % n) : 0; }
    // A small signed position around [0, length], so clamping rules are exercised at their edges.
    int32_t position(int32_t length) {
        return static_cast<int32_t>(below(static_cast<uint32_t>(length) + 5)) - 2;
    }
    // Text over a small alphabet (so matches are frequent) or any units, up to maxLength units.
    std::u16string text(size_t maxLength) {
        size_t length = below(static_cast<uint32_t>(maxLength + 1));
        bool small = flag();
        std::u16string out;
        for (size_t i = 0; i < length && !empty(); ++i) {
            if (small) {
                static const char16_t alphabet[] = u"abAB ,.;\r\n\t0\u00e9\u0430\u1f10";
                out += alphabet[byte() % (sizeof alphabet / sizeof alphabet[0])];
            } else {
                out += static_cast<char16_t>(unit());
            }
        }
        return out;
    }
    // All the remaining bytes as units.
    std::u16string rest() {
        std::u16string out;
        while (remaining() >= 2)
            out += static_cast<char16_t>(unit());
        return out;
    }

private:
    const uint8_t* data;
    size_t size;
    size_t pos;
};

inline Quarn::String toString(const std::u16string& s) {
    return Quarn::String(reinterpret_cast<const unsigned short*>(s.data()), static_cast<int32_t>(s.size()));
}

inline std::u16string toModel(const Quarn::String& s) {
    return std::u16string(reinterpret_cast<const char16_t*>(s.wstr()), static_cast<size_t>(s.length()));
}

inline bool same(const Quarn::String& s, const std::u16string& model) {
    return s.length() == static_cast<int32_t>(model.size()) && s.wstr()[s.length()] == 0 &&
           std::char_traits<char16_t>::compare(reinterpret_cast<const char16_t*>(s.wstr()), model.data(),
                                               model.size()) == 0;
}

// The hash tables' forEach, done by every target the same way: odd values grow by 10, and with a
// non-zero unlinkEvery the entries whose new value it divides are unlinked.
inline bool forEachRule(intptr_t* value, intptr_t unlinkEvery) {
    if (*value % 2) *value += 10;
    return !(unlinkEvery && *value % unlinkEvery == 0);
}

// The same rule over a model map; returns how many entries it unlinked.
template <class Map> int32_t applyForEachRule(Map& model, intptr_t unlinkEvery) {
    int32_t unlinked = 0;
    for (auto it = model.begin(); it != model.end();) {
        if (forEachRule(&it->second, unlinkEvery)) {
            ++it;
        } else {
            it = model.erase(it);
            ++unlinked;
        }
    }
    return unlinked;
}

// getData's result over a model map: the distinct non-zero values, each once.
template <class Map> bool sameDistinctValues(const Quarn::SimpleArray& values, const Map& model) {
    std::set<intptr_t> expected;
    for (const auto& entry : model)
        if (entry.second) expected.insert(entry.second);
    if (values.length() != static_cast<int32_t>(expected.size())) return false;
    for (int32_t i = 0; i < values.length(); ++i)
        if (expected.count(values[i]) != 1) return false;
    return true;
}

} // namespace quarn_fuzz

#define QUARN_FUZZ_INIT                                                                                      \
    extern "C" int LLVMFuzzerInitialize(int*, char***) {                                                     \
        quarn_fuzz::startLibrary();                                                                          \
        return 0;                                                                                            \
    }

// As QUARN_FUZZ_INIT, then warmUp(): for process-wide objects made on first use (registered code-page
// encoders, the encoding scratch buffer), which the per-input leak check must not count.
#define QUARN_FUZZ_INIT_WITH(warmUp)                                                                         \
    extern "C" int LLVMFuzzerInitialize(int*, char***) {                                                     \
        quarn_fuzz::startLibrary();                                                                          \
        warmUp();                                                                                            \
        return 0;                                                                                            \
    }

#endif
