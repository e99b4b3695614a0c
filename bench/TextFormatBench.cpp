// String::print against snprintf doing the same formatting, in the same run: a mixed line (a text,
// integers, a hexadecimal and a padded float), integers alone and floats alone. The arguments cycle
// through 64 prepared values so that neither side formats the same number over and over.
#include <quarn/String.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>

namespace {

struct Values {
    int integers[64];
    double doubles[64];
    const char* names[4] = {"widget", "a longer item name", "x", "gadget"};

    Values() {
        std::mt19937 random(5);
        std::uniform_real_distribution<double> real(-5000.0, 5000.0);
        for (int i = 0; i < 64; ++i) {
            integers[i] = static_cast<int>(random() >> (random() % 31)) - (i % 3 == 0 ? 1000 : 0);
            doubles[i] = real(random);
        }
    }
};

const Values values;

void printMixed(benchmark::State& state) {
    Quarn::String s;
    unsigned i = 0;
    for (auto _ : state) {
        i = (i + 1) & 63;
        s.print(u"name=%s id=%d count=%ld mask=%lx value=%10.3f", values.names[i & 3], values.integers[i],
                values.integers[63 - i], values.integers[i] & 0xFFFFFF, values.doubles[i]);
        benchmark::DoNotOptimize(s.wstr());
    }
}

void snprintfMixed(benchmark::State& state) {
    char buffer[256];
    unsigned i = 0;
    for (auto _ : state) {
        i = (i + 1) & 63;
        std::snprintf(buffer, sizeof buffer, "name=%s id=%d count=%d mask=%x value=%10.3f",
                      values.names[i & 3], values.integers[i], values.integers[63 - i],
                      values.integers[i] & 0xFFFFFF, values.doubles[i]);
        benchmark::DoNotOptimize(buffer);
    }
}

void printIntegers(benchmark::State& state) {
    Quarn::String s;
    unsigned i = 0;
    for (auto _ : state) {
        i = (i + 1) & 63;
        s.print(u"%d, %8d, %-6ld, %lX, %05d", values.integers[i], values.integers[63 - i],
                values.integers[i] / 7, values.integers[i], i);
        benchmark::DoNotOptimize(s.wstr());
    }
}

void snprintfIntegers(benchmark::State& state) {
    char buffer[256];
    unsigned i = 0;
    for (auto _ : state) {
        i = (i + 1) & 63;
        std::snprintf(buffer, sizeof buffer, "%d, %8d, %-6d, %X, %05d", values.integers[i],
                      values.integers[63 - i], values.integers[i] / 7, values.integers[i], i);
        benchmark::DoNotOptimize(buffer);
    }
}

void printFloats(benchmark::State& state) {
    Quarn::String s;
    unsigned i = 0;
    for (auto _ : state) {
        i = (i + 1) & 63;
        s.print(u"%f %.2e %12.4f", values.doubles[i], values.doubles[63 - i], values.doubles[i] / 3);
        benchmark::DoNotOptimize(s.wstr());
    }
}

void snprintfFloats(benchmark::State& state) {
    char buffer[256];
    unsigned i = 0;
    for (auto _ : state) {
        i = (i + 1) & 63;
        std::snprintf(buffer, sizeof buffer, "%f %.2e %12.4f", values.doubles[i], values.doubles[63 - i],
                      values.doubles[i] / 3);
        benchmark::DoNotOptimize(buffer);
    }
}

BENCHMARK(printMixed);
BENCHMARK(snprintfMixed);
BENCHMARK(printIntegers);
BENCHMARK(snprintfIntegers);
BENCHMARK(printFloats);
BENCHMARK(snprintfFloats);

} // namespace
