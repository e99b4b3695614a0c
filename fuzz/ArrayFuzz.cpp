// Array against a model of its rules (a map of present elements, the length, the form and the dense
// store's size), compared after every step; copies taken along the way must keep their contents.
#include "FuzzSupport.h"

#include <quarn/Array.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace quarn_fuzz;
using Quarn::Array;
using Quarn::Variant;

QUARN_FUZZ_INIT

namespace {

constexpr uint32_t kLast = 4294967295u;
constexpr int kUndefined = -1; // a present element holding undefined (not a hole)

struct Model {
    std::map<uint32_t, int> values;
    uint32_t length = 0;
    bool storage = false;
    bool sparse = false;
    uint32_t store = 0; // dense slots

    void write(uint32_t i, int value) {
        if (!storage) storage = true, sparse = i >= Array::kDenseLimit, store = 0;
        if (!sparse && i >= Array::kDenseLimit) sparse = true;
        if (!sparse && i >= store) store = i + 1;
        values[i] = value;
        if (i >= length && i != kLast) length = i + 1;
    }
    void reset() { *this = Model(); }
};

uint32_t saturated(uint32_t a, uint32_t b) {
    return b > kLast - a ? kLast : a + b;
}

void setLength(Model& m, uint32_t n) {
    if (n == m.length) return;
    if (n == 0) return m.reset();
    const uint32_t old = m.length;
    m.length = n;
    if (n < old) {
        if (!m.storage) return;
        if (!m.sparse) {
            if (m.store > n) {
                m.values.erase(m.values.lower_bound(n), m.values.end());
                m.store = n;
            }
        } else {
            m.values.erase(m.values.upper_bound(n), m.values.end()); // a key equal to n survives
        }
        return;
    }
    m.write(n - 1, kUndefined);
}

void insertAt(Model& m, uint32_t pos, uint32_t count) {
    if (!m.storage) return;
    const uint32_t end = saturated(pos, count);
    if (!m.sparse && end > Array::kDenseLimit) m.sparse = true;
    std::map<uint32_t, int> moved;
    for (const auto& entry : m.values) {
        if (entry.first < pos)
            moved[entry.first] = entry.second;
        else if (count <= kLast - entry.first)
            moved[entry.first + count] = entry.second;
    }
    if (!m.sparse) m.store += count;
    m.values.swap(moved);
    m.length = saturated(m.length, count);
}

void removeAt(Model& m, uint32_t pos, uint32_t count) {
    if (!m.storage) return;
    const uint32_t end = saturated(pos, count);
    if (!m.sparse) {
        const uint32_t cut = end < m.store ? end : m.store;
        std::map<uint32_t, int> kept;
        for (const auto& entry : m.values) {
            if (entry.first < pos)
                kept[entry.first] = entry.second;
            else if (entry.first >= cut)
                kept[entry.first - (cut - pos)] = entry.second;
        }
        if (pos < m.store) m.store -= cut - pos;
        m.values.swap(kept);
        m.length = m.store;
        return;
    }
    const bool toTheEnd = count > kLast - pos;
    uint32_t below = 0, highest = 0;
    bool anyMoved = false;
    std::map<uint32_t, int> kept;
    for (const auto& entry : m.values) {
        if (entry.first < pos) {
            kept[entry.first] = entry.second;
            ++below;
        } else if (!toTheEnd && entry.first >= end) {
            kept[entry.first - count] = entry.second;
            highest = entry.first - count;
            anyMoved = true;
        }
    }
    m.values.swap(kept);
    m.length = anyMoved ? highest + 1 : below;
}

void deleteAt(Model& m, uint32_t pos) {
    if (!m.storage) return;
    if (!m.sparse && pos >= m.store) return;
    m.values.erase(pos);
}

bool same(const Array& a, const Model& m) {
    if (a.length() != m.length) return false;
    if (m.storage && a.getForm() != (m.sparse ? Array::FormSparse : Array::FormDense)) return false;
    const Array& view = a;
    for (const auto& entry : m.values) {
        if (entry.first >= m.length) {
            if (view[entry.first].isDefined()) return false; // beyond the length reads undefined
            continue;
        }
        const Variant& v = view[entry.first];
        if (!a.isDefined(entry.first)) return false;
        if (entry.second == kUndefined ? v.isDefined() : v.getDouble() != entry.second) return false;
    }
    // Spot-check holes just around the present elements.
    for (const auto& entry : m.values)
        for (uint32_t i : {entry.first - 1, entry.first + 1})
            if (i < m.length && !m.values.count(i) && a.isDefined(i)) return false;
    return true;
}

std::string text(const Array& a) {
    Quarn::String out;
    a.toString(out);
    return std::string(out.wstr(), out.wstr() + out.length());
}

std::string expectedText(const Model& m) {
    if (m.length > 1000) return "[too many elements]";
    std::string out;
    for (uint32_t i = 0; i < m.length; ++i) {
        if (i) out += ',';
        auto found = m.values.find(i);
        if (found != m.values.end() && found->second != kUndefined) out += std::to_string(found->second);
    }
    return out;
}

uint32_t indexFrom(Input& input) {
    switch (input.byte() % 8) {
    case 0:
        return 95 + input.byte() % 10; // around the dense limit
    case 1:
        return kLast - input.byte() % 3; // around the largest index
    case 2:
        return input.u32();
    default:
        return input.byte() % 24;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    Array a;
    Model m;
    std::vector<std::pair<Array, Model>> copies;

    for (int step = 0; step < 64 && !input.empty(); ++step) {
        const int value = static_cast<int>(input.byte() % 10);
        switch (input.byte() % 10) {
        case 0:
        case 1: {
            const uint32_t i = indexFrom(input);
            a[i] = value;
            m.write(i, value);
            break;
        }
        case 2: {
            const uint32_t i = indexFrom(input);
            a[i] = Variant();
            m.write(i, kUndefined);
            break;
        }
        case 3: {
            const uint32_t n = input.flag() ? input.byte() % 130 : indexFrom(input);
            a.setLength(n);
            setLength(m, n);
            break;
        }
        case 4: {
            const uint32_t pos = indexFrom(input), count = input.flag() ? input.byte() % 8 : indexFrom(input);
            a.insertAt(pos, count);
            insertAt(m, pos, count);
            break;
        }
        case 5: {
            const uint32_t pos = indexFrom(input), count = input.flag() ? input.byte() % 8 : indexFrom(input);
            a.removeAt(pos, count);
            removeAt(m, pos, count);
            break;
        }
        case 6: {
            const uint32_t pos = indexFrom(input);
            a.deleteAt(pos);
            deleteAt(m, pos);
            break;
        }
        case 7:
            if (m.length <= 1000 || input.flag()) FUZZ_CHECK(text(a) == expectedText(m));
            break;
        case 8:
            if (!copies.empty()) {
                const auto& copy = copies[input.below(static_cast<uint32_t>(copies.size()))];
                a = copy.first;
                m = copy.second;
            }
            break;
        default:
            if (copies.size() < 6) copies.emplace_back(a, m);
            break;
        }
        FUZZ_CHECK(same(a, m));
        for (const auto& copy : copies)
            FUZZ_CHECK(same(copy.first, copy.second));
    }
    return 0;
}
