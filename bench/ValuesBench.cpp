// The value containers against their standard peers in the same run: SimpleArray against
// std::vector<intptr_t>, SparseArray against std::unordered_map<int32_t, intptr_t>, HashTable against
// std::unordered_map<std::u16string, intptr_t>. Lookups walk the same keys in the same shuffled order.
#include <quarn/HashTable.h>
#include <quarn/SimpleArray.h>
#include <quarn/SparseArray.h>
#include <quarn/String.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

using namespace Quarn;

namespace {

constexpr int kElements = 1000;

// ---- SimpleArray: appending and indexing 1000 words

// Default increment: growth in steps of 8, each step a reallocation.
void appendSimpleArray(benchmark::State& state) {
    const int32_t increment = static_cast<int32_t>(state.range(0));
    for (auto _ : state) {
        SimpleArray a;
        a.setIncrement(increment);
        for (intptr_t i = 0; i < kElements; ++i)
            a.append(i);
        benchmark::DoNotOptimize(a.getData());
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
void appendVector(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<intptr_t> v;
        for (intptr_t i = 0; i < kElements; ++i)
            v.push_back(i);
        benchmark::DoNotOptimize(v.data());
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(appendSimpleArray)->Name("append/SimpleArray")->Arg(8)->Arg(1024);
BENCHMARK(appendVector)->Name("append/vector");

// Random reads through a shuffled index list, so neither side turns into a vectorised sum.
std::vector<int32_t> shuffledPositions(int count, unsigned seed) {
    std::vector<int32_t> positions(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        positions[static_cast<size_t>(i)] = i;
    std::shuffle(positions.begin(), positions.end(), std::mt19937(seed));
    return positions;
}

void indexSimpleArray(benchmark::State& state) {
    SimpleArray a;
    for (intptr_t i = 0; i < kElements; ++i)
        a.append(i * 3);
    const SimpleArray& reader = a;
    const std::vector<int32_t> positions = shuffledPositions(kElements, 1);
    for (auto _ : state) {
        intptr_t sum = 0;
        for (int32_t pos : positions)
            sum += reader[pos];
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
void indexVector(benchmark::State& state) {
    std::vector<intptr_t> v;
    for (intptr_t i = 0; i < kElements; ++i)
        v.push_back(i * 3);
    const std::vector<int32_t> positions = shuffledPositions(kElements, 1);
    for (auto _ : state) {
        intptr_t sum = 0;
        for (int32_t pos : positions)
            sum += v[static_cast<size_t>(pos)];
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(indexSimpleArray)->Name("index/SimpleArray");
BENCHMARK(indexVector)->Name("index/vector");

// ---- SparseArray: finding 1000 integer keys

// range(0) 0: dense keys 0..999 (a script array's sparse form); 1: keys spread over the whole range.
std::vector<int32_t> integerKeys(int64_t kind) {
    std::vector<int32_t> keys;
    if (kind == 0) {
        for (int32_t i = 0; i < kElements; ++i)
            keys.push_back(i);
    } else {
        std::mt19937 random(7);
        std::set<int32_t> seen;
        while (keys.size() < static_cast<size_t>(kElements)) {
            int32_t key = static_cast<int32_t>(random());
            if (seen.insert(key).second) keys.push_back(key);
        }
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(8));
    return keys;
}

void findSparseArray(benchmark::State& state) {
    const std::vector<int32_t> keys = integerKeys(state.range(0));
    SparseArray table;
    for (int32_t key : keys)
        table.set(key, key + 1);
    const std::vector<int32_t> probes = integerKeys(state.range(0));
    for (auto _ : state) {
        intptr_t sum = 0;
        for (int32_t key : probes)
            sum += table.find(key);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
void findUnorderedMapInt(benchmark::State& state) {
    const std::vector<int32_t> keys = integerKeys(state.range(0));
    std::unordered_map<int32_t, intptr_t> table;
    for (int32_t key : keys)
        table[key] = key + 1;
    const std::vector<int32_t> probes = integerKeys(state.range(0));
    for (auto _ : state) {
        intptr_t sum = 0;
        for (int32_t key : probes) {
            auto found = table.find(key);
            sum += found == table.end() ? 0 : found->second;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(findSparseArray)->Name("findInt/SparseArray")->ArgName("spread")->Arg(0)->Arg(1);
BENCHMARK(findUnorderedMapInt)->Name("findInt/unordered_map")->ArgName("spread")->Arg(0)->Arg(1);

// ---- HashTable: finding 1000 identifier-like keys

// range(0) 0: random identifiers (a letter, then 2 to 13 letters, digits or underscores);
// 1: API-style names (verb + noun + suffix: getName, getNameAt, setColor2, ...), which share
// five-unit prefixes in groups and so collide by design.
std::vector<std::u16string> identifiers(int64_t kind) {
    std::mt19937 random(kind == 0 ? 11 : 12);
    std::set<std::u16string> seen;
    std::vector<std::u16string> keys;
    if (kind == 0) {
        const std::u16string first = u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
        const std::u16string rest = first + u"0123456789";
        while (keys.size() < static_cast<size_t>(kElements)) {
            std::u16string key(1, first[random() % first.size()]);
            for (size_t n = 2 + random() % 12; n > 0; --n)
                key += rest[random() % rest.size()];
            if (seen.insert(key).second) keys.push_back(key);
        }
    } else {
        const char16_t* verbs[] = {u"get",  u"set",    u"is",     u"has",  u"on",    u"add",  u"remove",
                                   u"make", u"update", u"find",   u"load", u"save",  u"draw", u"parse",
                                   u"to",   u"can",    u"create", u"open", u"close", u"apply"};
        const char16_t* nouns[] = {u"Name",  u"Value", u"Length", u"Width", u"Height", u"Color", u"Item",
                                   u"Index", u"Count", u"Text",   u"Font",  u"Style",  u"Page",  u"Layer",
                                   u"Path",  u"Point", u"Bounds", u"Size",  u"Mode",   u"Type",  u"Kind",
                                   u"Data",  u"File",  u"Folder", u"Error", u"Parent", u"Child", u"Frame"};
        const char16_t* suffixes[] = {u"", u"s", u"At", u"2", u"ById", u"List"};
        while (keys.size() < static_cast<size_t>(kElements)) {
            std::u16string key = verbs[random() % 20];
            key += nouns[random() % 28];
            key += suffixes[random() % 6];
            if (seen.insert(key).second) keys.push_back(key);
        }
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(13));
    return keys;
}

String toString(const std::u16string& s) {
    return String(s.c_str(), static_cast<int32_t>(s.size()));
}

void findHashTable(benchmark::State& state) {
    const std::vector<std::u16string> keys = identifiers(state.range(0));
    HashTable table;
    std::vector<String> probes;
    for (size_t i = 0; i < keys.size(); ++i)
        table.set(toString(keys[i]), static_cast<intptr_t>(i + 1));
    // Separate buffers for the probes: equal text, not the table's own strings.
    for (const std::u16string& key : keys)
        probes.push_back(toString(key));
    std::shuffle(probes.begin(), probes.end(), std::mt19937(14));
    for (auto _ : state) {
        intptr_t sum = 0;
        for (const String& key : probes)
            sum += table.find(key);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
void findHashTableIgnoringCase(benchmark::State& state) {
    const std::vector<std::u16string> keys = identifiers(state.range(0));
    HashTable table;
    std::vector<String> probes;
    for (size_t i = 0; i < keys.size(); ++i)
        table.set(toString(keys[i]), static_cast<intptr_t>(i + 1));
    for (const std::u16string& key : keys)
        probes.push_back(toString(key));
    std::shuffle(probes.begin(), probes.end(), std::mt19937(14));
    for (auto _ : state) {
        intptr_t sum = 0;
        for (const String& key : probes)
            sum += table.find(key, true);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
void findUnorderedMapString(benchmark::State& state) {
    const std::vector<std::u16string> keys = identifiers(state.range(0));
    std::unordered_map<std::u16string, intptr_t> table;
    for (size_t i = 0; i < keys.size(); ++i)
        table[keys[i]] = static_cast<intptr_t>(i + 1);
    std::vector<std::u16string> probes = keys;
    std::shuffle(probes.begin(), probes.end(), std::mt19937(14));
    for (auto _ : state) {
        intptr_t sum = 0;
        for (const std::u16string& key : probes) {
            auto found = table.find(key);
            sum += found == table.end() ? 0 : found->second;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(findHashTable)->Name("findString/HashTable")->ArgName("api")->Arg(0)->Arg(1);
BENCHMARK(findHashTableIgnoringCase)->Name("findString/HashTable_ignoreCase")->ArgName("api")->Arg(0)->Arg(1);
BENCHMARK(findUnorderedMapString)->Name("findString/unordered_map")->ArgName("api")->Arg(0)->Arg(1);

// ---- Variant and Array
// Their benchmarks (conversions against snprintf/strtod, element access against std::vector) belong
// here, below this line, each against its standard peer in the same run.

} // namespace
