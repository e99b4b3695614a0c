// SparseArray against std::map<int32_t, intptr_t>, compared after every step. forEach may unlink
// entries, which the table then no longer finds although its count still includes them.
#include "FuzzSupport.h"

#include <quarn/SparseArray.h>

#include <map>
#include <set>

using namespace quarn_fuzz;
using Quarn::SimpleArray;
using Quarn::SparseArray;
using Model = std::map<int32_t, intptr_t>;

QUARN_FUZZ_INIT

namespace {

struct State {
    SparseArray table;
    Model model;
    int32_t unlinked = 0; // entries forEach unlinked: still counted, never found
};

void check(const State& s) {
    FUZZ_CHECK(s.table.length() == static_cast<int32_t>(s.model.size()) + s.unlinked);
    for (const auto& entry : s.model) {
        FUZZ_CHECK(s.table.hasKey(entry.first));
        FUZZ_CHECK(s.table.find(entry.first) == entry.second);
    }
    SimpleArray keys;
    s.table.getKeys(keys);
    FUZZ_CHECK(keys.length() == static_cast<int32_t>(s.model.size()));
    std::set<int32_t> seen;
    for (int32_t i = 0; i < keys.length(); ++i) {
        const int32_t key = static_cast<int32_t>(keys[i]);
        FUZZ_CHECK(s.model.count(key) == 1);
        FUZZ_CHECK(seen.insert(key).second);
    }
}

int32_t keyFrom(Input& input) {
    switch (input.byte() % 4) {
    case 0:
        return static_cast<int32_t>(input.byte() % 64); // dense and colliding
    case 1:
        return static_cast<int32_t>(input.byte()) * 16; // one bucket
    case 2:
        return -static_cast<int32_t>(input.byte() % 8) - 1; // negative
    default:
        return static_cast<int32_t>(input.u32());
    }
}

// forEach callback: bumps odd values, unlinks entries whose value is divisible by the data.
bool visit(int32_t, intptr_t* value, intptr_t data) {
    return forEachRule(value, data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    State s;
    for (int step = 0; step < 128 && !input.empty(); ++step) {
        const int32_t key = keyFrom(input);
        const intptr_t value = static_cast<intptr_t>(input.byte() % 16);
        switch (input.byte() % 10) {
        case 0:
        case 1:
            if (s.model.size() < 600) {
                s.table.set(key, value);
                s.model[key] = value;
            }
            break;
        case 2: {
            auto found = s.model.find(key);
            FUZZ_CHECK(s.table.remove(key) == (found == s.model.end() ? 0 : found->second));
            if (found != s.model.end()) s.model.erase(found);
            break;
        }
        case 3:
            FUZZ_CHECK(s.table[key] == (s.model.count(key) ? s.model[key] : 0));
            FUZZ_CHECK(s.table.hasKey(key) == (s.model.count(key) == 1));
            break;
        case 4: {
            s.table.removeData(value);
            for (auto it = s.model.begin(); it != s.model.end();)
                it = it->second == value ? s.model.erase(it) : std::next(it);
            break;
        }
        case 5: {
            const int32_t found = s.table.findKey(value);
            bool any = false;
            for (const auto& entry : s.model)
                any |= entry.second == value;
            if (any)
                FUZZ_CHECK(s.model.count(found) && s.model[found] == value);
            else
                FUZZ_CHECK(found == -1);
            break;
        }
        case 6: {
            SimpleArray values;
            s.table.getData(values);
            FUZZ_CHECK(sameDistinctValues(values, s.model));
            break;
        }
        case 7: {
            const intptr_t unlinkEvery = input.flag() ? 3 : 0;
            s.table.forEach(visit, unlinkEvery);
            s.unlinked += applyForEachRule(s.model, unlinkEvery);
            break;
        }
        case 8: {
            // A copy holds the linked entries only; assignment and += rebuild from them.
            SparseArray copy(s.table);
            FUZZ_CHECK(copy.length() == static_cast<int32_t>(s.model.size()));
            if (input.flag()) {
                s.table = copy;
                s.unlinked = 0;
            } else {
                SparseArray merged;
                merged.set(key, value);
                merged += copy;
                Model expected = s.model;
                if (!expected.count(key)) expected[key] = value;
                FUZZ_CHECK(merged.length() == static_cast<int32_t>(expected.size()));
                for (const auto& entry : expected)
                    FUZZ_CHECK(merged.find(entry.first) == entry.second);
            }
            break;
        }
        default:
            s.table.erase();
            s.model.clear();
            s.unlinked = 0;
            break;
        }
        check(s);
    }
    return 0;
}
