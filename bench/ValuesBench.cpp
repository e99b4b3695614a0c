// The values and containers against their standard peers in the same run: SimpleArray against
// std::vector<intptr_t>, SparseArray against std::unordered_map<int32_t, intptr_t>, HashTable against
// std::unordered_map<std::u16string, intptr_t> (lookups walk the same keys in the same shuffled order),
// Variant's number text against snprintf and scanning against strtod, Array against std::vector<Variant>.
#include <quarn/Array.h>
#include <quarn/HashTable.h>
#include <quarn/SimpleArray.h>
#include <quarn/SparseArray.h>
#include <quarn/String.h>
#include <quarn/Variant.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

// range(1): 1 looks the keys up ignoring case.
void findHashTable(benchmark::State& state) {
    const std::vector<std::u16string> keys = identifiers(state.range(0));
    const bool ignoreCase = state.range(1) != 0;
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
            sum += table.find(key, ignoreCase);
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
BENCHMARK(findHashTable)
    ->Name("findString/HashTable")
    ->ArgNames({"api", "ignoreCase"})
    ->ArgsProduct({{0, 1}, {0, 1}});
BENCHMARK(findUnorderedMapString)->Name("findString/unordered_map")->ArgName("api")->Arg(0)->Arg(1);

// ---- Variant: number to text against snprintf("%.15g"), text to number against strtod

std::vector<double> numbers(int kind) {
    std::mt19937_64 random(11);
    std::vector<double> values(1024);
    for (double& v : values) {
        if (kind == 0) // random doubles of every sign and size a script meets
            v = std::uniform_real_distribution<double>(-1e6, 1e6)(random);
        else if (kind == 1) // integers
            v = static_cast<double>(static_cast<int32_t>(random()));
        else // 15-digit fractions
            v = static_cast<double>(random() % 1000000000000000ULL) / 1e15;
    }
    return values;
}

void variantToText(benchmark::State& state) {
    const std::vector<double> values = numbers(static_cast<int>(state.range(0)));
    Variant v;
    size_t i = 0;
    for (auto _ : state) {
        v.setDouble(values[i++ & 1023]); // a new value: the text cache starts empty
        benchmark::DoNotOptimize(v.getString().wstr());
    }
}
void snprintfToText(benchmark::State& state) {
    const std::vector<double> values = numbers(static_cast<int>(state.range(0)));
    char buffer[32];
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::snprintf(buffer, sizeof buffer, "%.15g", values[i++ & 1023]));
        benchmark::DoNotOptimize(buffer);
    }
}
BENCHMARK(variantToText)->Name("numberText/Variant")->ArgName("doubles0_ints1_fractions2")->DenseRange(0, 2);
BENCHMARK(snprintfToText)
    ->Name("numberText/snprintf")
    ->ArgName("doubles0_ints1_fractions2")
    ->DenseRange(0, 2);

void scanDoubleVariant(benchmark::State& state) {
    std::vector<String> texts;
    for (double v : numbers(0))
        texts.push_back(Variant(v).getString());
    size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(Variant::scanDouble(texts[i++ & 1023], ScanStrict));
}
void scanDoubleStrtod(benchmark::State& state) {
    std::vector<std::string> texts;
    for (double v : numbers(0)) {
        const String text = Variant(v).getString();
        texts.emplace_back(text.wstr(), text.wstr() + text.length());
    }
    size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(std::strtod(texts[i++ & 1023].c_str(), nullptr));
}
BENCHMARK(scanDoubleVariant)->Name("scanDouble/Variant");
BENCHMARK(scanDoubleStrtod)->Name("scanDouble/strtod");

// ---- Array: writing and reading 100 elements (dense) or 100 spread elements (sparse)
// against std::vector<Variant>

void arrayWriteRead(benchmark::State& state) {
    const bool sparse = state.range(0) != 0;
    for (auto _ : state) {
        Array a;
        for (uint32_t i = 0; i < 100; ++i)
            a[sparse ? i * 1000 : i] = static_cast<int>(i);
        double sum = 0;
        const Array& view = a;
        for (uint32_t i = 0; i < 100; ++i)
            sum += view[sparse ? i * 1000 : i].getDouble();
        benchmark::DoNotOptimize(sum);
    }
}
void vectorWriteRead(benchmark::State& state) {
    const bool sparse = state.range(0) != 0;
    for (auto _ : state) {
        std::vector<Variant> a;
        for (uint32_t i = 0; i < 100; ++i) {
            const size_t index = sparse ? i * 1000 : i;
            if (a.size() <= index) a.resize(index + 1);
            a[index] = static_cast<int>(i);
        }
        double sum = 0;
        for (uint32_t i = 0; i < 100; ++i)
            sum += a[sparse ? i * 1000 : i].getDouble();
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(arrayWriteRead)->Name("writeRead100/Array")->ArgName("sparse")->Arg(0)->Arg(1);
BENCHMARK(vectorWriteRead)->Name("writeRead100/vector")->ArgName("sparse")->Arg(0)->Arg(1);

void arrayRead(benchmark::State& state) {
    const bool sparse = state.range(0) != 0;
    Array a;
    for (uint32_t i = 0; i < 100; ++i)
        a[sparse ? i * 1000 : i] = static_cast<int>(i);
    const Array& view = a;
    for (auto _ : state) {
        double sum = 0;
        for (uint32_t i = 0; i < 100; ++i)
            sum += view[sparse ? i * 1000 : i].getDouble();
        benchmark::DoNotOptimize(sum);
    }
}
void vectorRead(benchmark::State& state) {
    const bool sparse = state.range(0) != 0;
    std::vector<Variant> a(sparse ? 99001 : 100);
    for (uint32_t i = 0; i < 100; ++i)
        a[sparse ? i * 1000 : i] = static_cast<int>(i);
    for (auto _ : state) {
        double sum = 0;
        for (uint32_t i = 0; i < 100; ++i)
            sum += a[sparse ? i * 1000 : i].getDouble();
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(arrayRead)->Name("read100/Array")->ArgName("sparse")->Arg(0)->Arg(1);
BENCHMARK(vectorRead)->Name("read100/vector")->ArgName("sparse")->Arg(0)->Arg(1);

} // namespace
