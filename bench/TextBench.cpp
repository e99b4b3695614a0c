// String against std::u16string doing the same work in the same run.
#include <quarn/String.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <clocale>
#include <cwctype>
#include <random>
#include <string>

using Quarn::String;

namespace {

std::u16string asciiText(size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::u16string s(n, u'a');
    for (char16_t& c : s)
        c = static_cast<char16_t>(u'a' + random() % 26);
    return s;
}

std::u16string cyrillicText(size_t n) {
    std::u16string s(n, u'a');
    for (size_t i = 0; i < n; ++i)
        s[i] = static_cast<char16_t>(i % 7 == 6 ? u' ' : 0x0430 + i % 32);
    return s;
}

String toString(const std::u16string& s) {
    return String(s.c_str(), static_cast<int32_t>(s.size()));
}

// ---- copies: String shares its buffer, std::u16string copies the text

void copyString(benchmark::State& state) {
    String source = toString(asciiText(static_cast<size_t>(state.range(0)), 1));
    for (auto _ : state) {
        String copy(source);
        benchmark::DoNotOptimize(copy);
    }
}
void copyU16(benchmark::State& state) {
    std::u16string source = asciiText(static_cast<size_t>(state.range(0)), 1);
    for (auto _ : state) {
        std::u16string copy(source);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(copyString)->Name("copy/String")->Arg(16)->Arg(1024);
BENCHMARK(copyU16)->Name("copy/u16string")->Arg(16)->Arg(1024);

// ---- building 1 MB (512 K units) one unit or 64 units at a time

constexpr int32_t kBuildUnits = 512 * 1024;

void appendUnitsString(benchmark::State& state) {
    for (auto _ : state) {
        String s;
        for (int32_t i = 0; i < kBuildUnits; ++i)
            s += static_cast<unsigned short>('a' + (i & 15));
        benchmark::DoNotOptimize(s);
    }
}
void appendUnitsU16(benchmark::State& state) {
    for (auto _ : state) {
        std::u16string s;
        for (int32_t i = 0; i < kBuildUnits; ++i)
            s += static_cast<char16_t>(u'a' + (i & 15));
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(appendUnitsString)->Name("build1MB/unit/String")->Unit(benchmark::kMillisecond);
BENCHMARK(appendUnitsU16)->Name("build1MB/unit/u16string")->Unit(benchmark::kMillisecond);

void appendPiecesString(benchmark::State& state) {
    String piece = toString(asciiText(64, 2));
    for (auto _ : state) {
        String s;
        for (int32_t i = 0; i < kBuildUnits / 64; ++i)
            s += piece;
        benchmark::DoNotOptimize(s);
    }
}
void appendPiecesU16(benchmark::State& state) {
    std::u16string piece = asciiText(64, 2);
    for (auto _ : state) {
        std::u16string s;
        for (int32_t i = 0; i < kBuildUnits / 64; ++i)
            s += piece;
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(appendPiecesString)->Name("build1MB/piece64/String")->Unit(benchmark::kMicrosecond);
BENCHMARK(appendPiecesU16)->Name("build1MB/piece64/u16string")->Unit(benchmark::kMicrosecond);

// ---- find of a substring near the end of 1 MB

void findString(benchmark::State& state) {
    std::u16string text = asciiText(kBuildUnits, 3);
    text.replace(text.size() - 100, 12, u"NEEDLE_HERE!");
    String s = toString(text);
    for (auto _ : state)
        benchmark::DoNotOptimize(s.find(u"NEEDLE_HERE!"));
}
void findU16(benchmark::State& state) {
    std::u16string text = asciiText(kBuildUnits, 3);
    text.replace(text.size() - 100, 12, u"NEEDLE_HERE!");
    for (auto _ : state)
        benchmark::DoNotOptimize(text.find(u"NEEDLE_HERE!"));
}
BENCHMARK(findString)->Name("find1MB/String")->Unit(benchmark::kMicrosecond);
BENCHMARK(findU16)->Name("find1MB/u16string")->Unit(benchmark::kMicrosecond);

// ---- caseless comparison of two 1 KB texts that differ only in case

void ucmpString(benchmark::State& state) {
    std::u16string lower = asciiText(1024, 4), upper = lower;
    for (char16_t& c : upper)
        c = static_cast<char16_t>(c - 32);
    String a = toString(lower), b = toString(upper);
    for (auto _ : state)
        benchmark::DoNotOptimize(a.ucmp(b));
}
void ucmpU16(benchmark::State& state) {
    std::u16string a = asciiText(1024, 4), b = a;
    for (char16_t& c : b)
        c = static_cast<char16_t>(c - 32);
    for (auto _ : state) {
        int result = 0;
        for (size_t i = 0;; ++i) {
            wint_t x = std::towupper(a[i]), y = std::towupper(b[i]);
            if (x != y || x == 0) {
                result = static_cast<int>(x) - static_cast<int>(y);
                break;
            }
        }
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(ucmpString)->Name("ucmp1KB/String");
BENCHMARK(ucmpU16)->Name("ucmp1KB/u16string+towupper");

// ---- upper-casing 1 KB of ASCII and of Cyrillic (the peer maps through the C library's towupper)

template <bool cyrillic> void toUpperString(benchmark::State& state) {
    String source = toString(cyrillic ? cyrillicText(1024) : asciiText(1024, 5));
    for (auto _ : state) {
        String s(source);
        s.toUpper();
        benchmark::DoNotOptimize(s);
    }
}
template <bool cyrillic> void toUpperU16(benchmark::State& state) {
    std::setlocale(LC_CTYPE, "C.UTF-8");
    std::u16string source = cyrillic ? cyrillicText(1024) : asciiText(1024, 5);
    for (auto _ : state) {
        std::u16string s(source);
        std::transform(s.begin(), s.end(), s.begin(),
                       [](char16_t c) { return static_cast<char16_t>(std::towupper(c)); });
        benchmark::DoNotOptimize(s);
    }
    std::setlocale(LC_CTYPE, "C");
}
BENCHMARK_TEMPLATE(toUpperString, false)->Name("toUpper1KB/ascii/String");
BENCHMARK_TEMPLATE(toUpperU16, false)->Name("toUpper1KB/ascii/u16string+towupper");
BENCHMARK_TEMPLATE(toUpperString, true)->Name("toUpper1KB/cyrillic/String");
BENCHMARK_TEMPLATE(toUpperU16, true)->Name("toUpper1KB/cyrillic/u16string+towupper");

// ---- replacing every "ab" by "xyz" in 100 KB

std::u16string replaceText() {
    std::u16string s = asciiText(50 * 1024, 6);
    for (size_t i = 0; i + 2 < s.size(); i += 37)
        s.replace(i, 2, u"ab");
    return s;
}

void replaceAllString(benchmark::State& state) {
    String source = toString(replaceText());
    for (auto _ : state) {
        String s(source);
        benchmark::DoNotOptimize(s.replaceAll(u"ab", u"xyz"));
    }
}
void replaceAllU16(benchmark::State& state) {
    std::u16string source = replaceText();
    for (auto _ : state) {
        std::u16string out;
        out.reserve(source.size() + source.size() / 16);
        size_t from = 0, count = 0;
        for (size_t pos; (pos = source.find(u"ab", from)) != std::u16string::npos; from = pos + 2, ++count) {
            out.append(source, from, pos - from);
            out += u"xyz";
        }
        out.append(source, from, std::u16string::npos);
        benchmark::DoNotOptimize(out);
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(replaceAllString)->Name("replaceAll100KB/String")->Unit(benchmark::kMicrosecond);
BENCHMARK(replaceAllU16)->Name("replaceAll100KB/u16string")->Unit(benchmark::kMicrosecond);

// ---- walking a 100 KB comma-separated list field by field

std::u16string commaList() {
    std::u16string s;
    std::mt19937 random(7);
    while (s.size() < 50 * 1024) {
        s += asciiText(1 + random() % 12, static_cast<unsigned>(s.size()));
        s += u", ";
    }
    return s;
}

void splitString(benchmark::State& state) {
    String source = toString(commaList());
    for (auto _ : state) {
        String rest(source);
        size_t fields = 0;
        while (rest.length() > 0)
            fields += static_cast<size_t>(rest.split(',').length() > 0);
        benchmark::DoNotOptimize(fields);
    }
}
void splitU16(benchmark::State& state) {
    std::u16string source = commaList();
    auto blank = [](char16_t c) { return c <= 32; };
    for (auto _ : state) {
        std::u16string rest(source);
        size_t fields = 0;
        while (!rest.empty()) {
            size_t pos = rest.find(u',');
            std::u16string field = rest.substr(0, pos);
            rest.erase(0, pos == std::u16string::npos ? pos : pos + 1);
            size_t first = 0, last = field.size();
            while (first < last && blank(field[first]))
                ++first;
            while (last > first && blank(field[last - 1]))
                --last;
            fields += static_cast<size_t>(last > first);
        }
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(splitString)->Name("split100KB/String")->Unit(benchmark::kMillisecond);
BENCHMARK(splitU16)->Name("split100KB/u16string")->Unit(benchmark::kMillisecond);

} // namespace
