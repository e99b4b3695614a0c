// HashTable against std::map<std::u16string, intptr_t>, compared after every step, with case-
// sensitive and caseless lookups. Keys come from a tiny alphabet with case pairs, so hashes (which
// read five units, folded) collide constantly.
#include "FuzzSupport.h"

#include <quarn/HashTable.h>
#include <quarn/UnicodeUtils.h>

#include <map>
#include <set>
#include <vector>

using namespace quarn_fuzz;
using Quarn::HashTable;
using Quarn::SimpleArray;
using Quarn::String;
using Quarn::TSimpleArray;
using Model = std::map<std::u16string, intptr_t>;

QUARN_FUZZ_INIT

namespace {

bool caselessEqual(const std::u16string& a, const std::u16string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (Quarn::UnicodeUtils::towupper(a[i]) != Quarn::UnicodeUtils::towupper(b[i])) return false;
    return true;
}

std::vector<Model::iterator> caselessMatches(Model& model, const std::u16string& key) {
    std::vector<Model::iterator> found;
    for (auto it = model.begin(); it != model.end(); ++it)
        if (caselessEqual(it->first, key)) found.push_back(it);
    return found;
}

std::u16string keyFrom(Input& input) {
    static const char16_t alphabet[] = {u'a', u'A', u'b', u'B', u'\u00e9', u'\u00c9', u'1', u'_'};
    std::u16string key(input.byte() % 8, u'a');
    for (char16_t& c : key)
        c = alphabet[input.byte() % 8];
    return key;
}

struct State {
    HashTable table;
    Model model;
    int32_t unlinked = 0;
};

void check(const State& s) {
    FUZZ_CHECK(s.table.length() == static_cast<int32_t>(s.model.size()) + s.unlinked);
    for (const auto& entry : s.model) {
        const String key = toString(entry.first);
        FUZZ_CHECK(s.table.hasKey(key));
        FUZZ_CHECK(s.table.find(key) == entry.second);
    }
    TSimpleArray<const String> keys;
    s.table.getKeys(keys);
    FUZZ_CHECK(keys.length() == static_cast<int32_t>(s.model.size()));
    std::set<std::u16string> seen;
    for (int32_t i = 0; i < keys.length(); ++i) {
        const std::u16string key = toModel(*keys[i]);
        FUZZ_CHECK(s.model.count(key) == 1);
        FUZZ_CHECK(seen.insert(key).second);
    }
}

bool visit(const String&, intptr_t* value, intptr_t unlinkEvery) {
    return forEachRule(value, unlinkEvery);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    State s;
    for (int step = 0; step < 128 && !input.empty(); ++step) {
        const std::u16string key = keyFrom(input);
        const String text = toString(key);
        const intptr_t value = static_cast<intptr_t>(input.byte() % 16);
        bool ignoreCase = input.flag();
        std::vector<Model::iterator> matches = caselessMatches(s.model, key);
        // A caseless change with several candidates would pick one by walking order: keep it exact.
        if (ignoreCase && matches.size() > 1) ignoreCase = false;
        switch (input.byte() % 9) {
        case 0:
        case 1: {
            if (s.model.size() >= 400) break;
            const String& stored = s.table.set(text, value, ignoreCase);
            FUZZ_CHECK(toModel(stored) == key);
            if (ignoreCase && matches.size() == 1) s.model.erase(matches[0]); // respelt by the new key
            s.model[key] = value;
            break;
        }
        case 2: {
            intptr_t expected = 0;
            if (!ignoreCase) {
                auto found = s.model.find(key);
                if (found != s.model.end()) expected = found->second, s.model.erase(found);
            } else if (matches.size() == 1) {
                expected = matches[0]->second;
                s.model.erase(matches[0]);
            }
            FUZZ_CHECK(s.table.remove(text, ignoreCase) == expected);
            break;
        }
        case 3: {
            const bool caseless = input.flag();
            if (!caseless) {
                FUZZ_CHECK(s.table.find(text) == (s.model.count(key) ? s.model[key] : 0));
                FUZZ_CHECK(s.table.hasKey(key.c_str()) == (s.model.count(key) == 1));
            } else {
                const intptr_t got = s.table.find(text, true);
                bool allowed = matches.empty() ? got == 0 : false;
                for (const auto& match : matches)
                    allowed |= match->second == got;
                FUZZ_CHECK(allowed);
                FUZZ_CHECK(s.table.hasKey(text, true) == !matches.empty());
            }
            break;
        }
        case 4:
            s.table.removeData(value);
            for (auto it = s.model.begin(); it != s.model.end();)
                it = it->second == value ? s.model.erase(it) : std::next(it);
            break;
        case 5: {
            const String* found = s.table.findKey(value);
            bool any = false;
            for (const auto& entry : s.model)
                any |= entry.second == value;
            FUZZ_CHECK((found != nullptr) == any);
            if (found) FUZZ_CHECK(s.model.count(toModel(*found)) && s.model[toModel(*found)] == value);
            SimpleArray values;
            s.table.getData(values);
            FUZZ_CHECK(sameDistinctValues(values, s.model));
            break;
        }
        case 6: {
            const intptr_t unlinkEvery = input.flag() ? 3 : 0;
            s.table.forEach(visit, unlinkEvery);
            s.unlinked += applyForEachRule(s.model, unlinkEvery);
            break;
        }
        case 7: {
            HashTable copy(s.table);
            FUZZ_CHECK(copy.length() == static_cast<int32_t>(s.model.size()));
            s.table = copy;
            s.unlinked = 0;
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
