// Bulk conversions of the built-in encoders against glibc iconv doing the same conversion on the
// same 64 MB of data in the same run: UTF-8 both ways on mixed text (a third non-ASCII: Cyrillic,
// CJK, emoji; mixed by paragraph, and word by word) and on pure ASCII, UCS-2LE, Windows-1252 and
// Mac OS Roman; and the portable UTF-8 loops (what targets without SSE2 run) on the mixed text.
// Bytes processed are those of the byte side, so both directions read as MB/s of encoded data.
#include "encoders/SingleByteEncoders.h"
#include "encoders/UTF8Loops.h"
#include "encoders/UnicodeEncoders.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#if __has_include(<iconv.h>)
#include <iconv.h>
#define QUARN_BENCH_ICONV 1
#endif

namespace {

constexpr size_t kBufferBytes = size_t(64) << 20;

// One data set: the text in UTF-16 and in the byte form under test.
struct DataSet {
    std::vector<unsigned short> text;
    std::vector<char> bytes;
};

// Text made of words; each next token is non-ASCII while fewer than `share` of the characters so far
// are, so the mix holds at any length. `pick` makes one non-ASCII word.
template <class Pick>
std::vector<unsigned short> makeText(const Quarn::Encoder& encoder, double share, Pick pick) {
    std::mt19937 random(42);
    std::vector<unsigned short> text;
    size_t nonAscii = 0;
    size_t encodedBytes = 0;
    std::vector<unsigned short> word;
    while (encodedBytes < kBufferBytes) {
        word.clear();
        if (double(nonAscii) < share * double(text.size())) {
            pick(random, word);
        } else {
            size_t length = 2 + random() % 8;
            for (size_t i = 0; i < length; ++i)
                word.push_back(static_cast<unsigned short>('a' + random() % 26));
        }
        word.push_back(random() % 12 == 0 ? '\n' : ' ');
        int32_t bytes = 0;
        encoder.getMBCSLength(word.data(), static_cast<int32_t>(word.size()), bytes);
        if (encodedBytes + static_cast<size_t>(bytes) > kBufferBytes) break;
        encodedBytes += static_cast<size_t>(bytes);
        for (unsigned short u : word) {
            if (u >= 0x80 && (u < 0xDC00 || u > 0xDFFF)) ++nonAscii;
            text.push_back(u);
        }
    }
    return text;
}

DataSet encodeAll(const Quarn::Encoder& encoder, std::vector<unsigned short> text) {
    DataSet set;
    set.text = std::move(text);
    set.bytes.resize(set.text.size() * 4 + 16);
    int32_t srcLen = static_cast<int32_t>(set.text.size());
    int32_t dstLen = static_cast<int32_t>(set.bytes.size());
    if (encoder.toMBCS(set.text.data(), srcLen, set.bytes.data(), dstLen, false) != 0 ||
        srcLen != static_cast<int32_t>(set.text.size())) {
        std::fprintf(stderr, "bench data does not encode cleanly\n");
        std::abort();
    }
    set.bytes.resize(static_cast<size_t>(dstLen));
    return set;
}

void cyrillicWord(std::mt19937& random, std::vector<unsigned short>& word) {
    size_t length = 2 + random() % 8;
    for (size_t i = 0; i < length; ++i)
        word.push_back(static_cast<unsigned short>(0x0430 + random() % 32));
}

// Cyrillic words, CJK runs and the odd emoji.
void mixedWord(std::mt19937& random, std::vector<unsigned short>& word) {
    unsigned kind = random() % 20;
    if (kind < 11) {
        cyrillicWord(random, word);
    } else if (kind < 18) {
        size_t length = 1 + random() % 4;
        for (size_t i = 0; i < length; ++i)
            word.push_back(static_cast<unsigned short>(0x4E00 + random() % 0x5000));
    } else {
        uint32_t c = 0x1F600 + random() % 0x50 - 0x10000;
        word.push_back(static_cast<unsigned short>(0xD800 + (c >> 10)));
        word.push_back(static_cast<unsigned short>(0xDC00 + (c & 0x3FF)));
    }
}

// Western European text: ASCII words with accented letters and typographic quotes.
void westernWord(std::mt19937& random, std::vector<unsigned short>& word) {
    static const unsigned short accents[] = {0xE9, 0xE8, 0xE0, 0xE7,   0xFC,   0xF6,
                                             0xE4, 0xDF, 0xF1, 0x201C, 0x201D, 0x2019};
    size_t length = 3 + random() % 6;
    for (size_t i = 0; i < length; ++i)
        word.push_back(i % 3 == 1 ? accents[random() % 12]
                                  : static_cast<unsigned short>('a' + random() % 26));
}

// Multilingual text as documents mix it: paragraphs of 20 to 60 words, each in one script. Russian
// paragraphs are Cyrillic words between blanks and commas, Chinese ones CJK runs with ideographic
// commas and the odd emoji, English ones ASCII words with the odd emoji. A paragraph is Russian or
// Chinese while fewer than `share` of the characters so far are non-ASCII.
std::vector<unsigned short> makeParagraphs(const Quarn::Encoder& encoder, double share) {
    std::mt19937 random(7);
    std::vector<unsigned short> text;
    std::vector<unsigned short> paragraph;
    size_t nonAscii = 0;
    size_t encodedBytes = 0;
    auto emoji = [&](std::vector<unsigned short>& out) {
        uint32_t c = 0x1F600 + random() % 0x50 - 0x10000;
        out.push_back(static_cast<unsigned short>(0xD800 + (c >> 10)));
        out.push_back(static_cast<unsigned short>(0xDC00 + (c & 0x3FF)));
    };
    for (;;) {
        paragraph.clear();
        unsigned script = double(nonAscii) < share * double(text.size()) ? 1 + random() % 2 : 0;
        size_t words = 20 + random() % 40;
        for (size_t w = 0; w < words; ++w) {
            if (script == 1) {
                cyrillicWord(random, paragraph);
                if (random() % 8 == 0) paragraph.push_back(',');
                paragraph.push_back(' ');
            } else if (script == 2) {
                size_t length = 1 + random() % 4;
                for (size_t i = 0; i < length; ++i)
                    paragraph.push_back(static_cast<unsigned short>(0x4E00 + random() % 0x5000));
                if (random() % 6 == 0) paragraph.push_back(0x3001);
                if (random() % 15 == 0) emoji(paragraph);
            } else {
                size_t length = 2 + random() % 8;
                for (size_t i = 0; i < length; ++i)
                    paragraph.push_back(static_cast<unsigned short>('a' + random() % 26));
                paragraph.push_back(' ');
                if (random() % 30 == 0) {
                    emoji(paragraph);
                    paragraph.push_back(' ');
                }
            }
        }
        paragraph.push_back('\n');
        int32_t bytes = 0;
        encoder.getMBCSLength(paragraph.data(), static_cast<int32_t>(paragraph.size()), bytes);
        if (encodedBytes + static_cast<size_t>(bytes) > kBufferBytes) break;
        encodedBytes += static_cast<size_t>(bytes);
        for (unsigned short u : paragraph) {
            if (u >= 0x80 && (u < 0xDC00 || u > 0xDFFF)) ++nonAscii;
            text.push_back(u);
        }
    }
    return text;
}

const Quarn::UTF8Encoder utf8;
const Quarn::UCS2leEncoder ucs2le;
const Quarn::CP1252Encoder cp1252;
const Quarn::MacRomanEncoder macRoman;

const DataSet& utf8Mixed() {
    static const DataSet set = encodeAll(utf8, makeParagraphs(utf8, 1.0 / 3));
    return set;
}
// The hard case: the script changes from word to word, so no branch pattern survives a word.
const DataSet& utf8MixedWords() {
    static const DataSet set = encodeAll(utf8, makeText(utf8, 1.0 / 3, mixedWord));
    return set;
}
const DataSet& utf8Ascii() {
    static const DataSet set =
        encodeAll(utf8, makeText(utf8, 0.0, [](std::mt19937&, std::vector<unsigned short>&) {}));
    return set;
}
const DataSet& ucs2Bmp() {
    static const DataSet set = encodeAll(
        ucs2le, makeText(ucs2le, 1.0 / 3, [](std::mt19937& r, auto& w) {
            r() % 2 ? cyrillicWord(r, w) : w.push_back(static_cast<unsigned short>(0x4E00 + r() % 0x5000));
        }));
    return set;
}
const DataSet& cp1252Western() {
    static const DataSet set = encodeAll(cp1252, makeText(cp1252, 1.0 / 6, westernWord));
    return set;
}
const DataSet& macRomanWestern() {
    static const DataSet set = encodeAll(macRoman, makeText(macRoman, 1.0 / 6, westernWord));
    return set;
}

// One conversion of the whole data set per iteration, into a buffer kept across iterations;
// convert(src, srcLen, dst, dstLen) returns the result code and leaves the counts as the encoders do.
template <class Convert> void timeDecode(benchmark::State& state, const DataSet& set, Convert convert) {
    std::vector<unsigned short> out(set.text.size() + 16);
    for (auto _ : state) {
        int32_t srcLen = static_cast<int32_t>(set.bytes.size());
        int32_t dstLen = static_cast<int32_t>(out.size());
        if (convert(set.bytes.data(), srcLen, out.data(), dstLen) != 0 ||
            dstLen != static_cast<int32_t>(set.text.size()))
            state.SkipWithError("bad decode");
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.bytes.size()));
}

template <class Convert> void timeEncode(benchmark::State& state, const DataSet& set, Convert convert) {
    std::vector<char> out(set.bytes.size() + 16);
    for (auto _ : state) {
        int32_t srcLen = static_cast<int32_t>(set.text.size());
        int32_t dstLen = static_cast<int32_t>(out.size());
        if (convert(set.text.data(), srcLen, out.data(), dstLen) != 0 ||
            dstLen != static_cast<int32_t>(set.bytes.size()))
            state.SkipWithError("bad encode");
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.bytes.size()));
}

void decodeWithQuarn(benchmark::State& state, const Quarn::Encoder& encoder, const DataSet& set) {
    timeDecode(state, set,
               [&encoder](const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen) {
                   return encoder.toUnicode(src, srcLen, dst, dstLen, false);
               });
}

void encodeWithQuarn(benchmark::State& state, const Quarn::Encoder& encoder, const DataSet& set) {
    timeEncode(state, set,
               [&encoder](const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen) {
                   return encoder.toMBCS(src, srcLen, dst, dstLen, false);
               });
}

#ifdef QUARN_BENCH_ICONV
// One iconv call over the whole buffer, as the library's conversions are timed.
void convertWithIconv(benchmark::State& state, const char* to, const char* from, const char* in,
                      size_t inBytes, char* out, size_t outBytes, size_t expectOut, int64_t processed) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        state.SkipWithError("iconv_open failed");
        return;
    }
    for (auto _ : state) {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char* src = const_cast<char*>(in);
        size_t srcLeft = inBytes;
        char* dst = out;
        size_t dstLeft = outBytes;
        size_t rc = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
        if (rc == size_t(-1) || srcLeft != 0 || outBytes - dstLeft != expectOut)
            state.SkipWithError("bad iconv");
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    iconv_close(cd);
    state.SetBytesProcessed(int64_t(state.iterations()) * processed);
}

void decodeWithIconv(benchmark::State& state, const char* from, const DataSet& set) {
    std::vector<unsigned short> out(set.text.size() + 16);
    convertWithIconv(state, "UTF-16LE", from, set.bytes.data(), set.bytes.size(),
                     reinterpret_cast<char*>(out.data()), out.size() * 2, set.text.size() * 2,
                     int64_t(set.bytes.size()));
}

void encodeWithIconv(benchmark::State& state, const char* to, const DataSet& set) {
    std::vector<char> out(set.bytes.size() + 16);
    convertWithIconv(state, to, "UTF-16LE", reinterpret_cast<const char*>(set.text.data()),
                     set.text.size() * 2, out.data(), out.size(), set.bytes.size(),
                     int64_t(set.bytes.size()));
}
#endif

// The same conversion by both, registered side by side.
void pair(const char* name, const Quarn::Encoder& encoder, const char* iconvName, const DataSet& (*data)()) {
    std::string base(name);
    benchmark::RegisterBenchmark((base + "/decode/quarn").c_str(), [&encoder, data](benchmark::State& s) {
        decodeWithQuarn(s, encoder, data());
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((base + "/encode/quarn").c_str(), [&encoder, data](benchmark::State& s) {
        encodeWithQuarn(s, encoder, data());
    })->Unit(benchmark::kMillisecond);
#ifdef QUARN_BENCH_ICONV
    benchmark::RegisterBenchmark((base + "/decode/iconv").c_str(), [iconvName, data](benchmark::State& s) {
        decodeWithIconv(s, iconvName, data());
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((base + "/encode/iconv").c_str(), [iconvName, data](benchmark::State& s) {
        encodeWithIconv(s, iconvName, data());
    })->Unit(benchmark::kMillisecond);
#else
    (void)iconvName;
#endif
}

// The portable UTF-8 loops, which targets without SSE2 run, on the same data as the encoder.
void portableLoops(const char* name, const DataSet& (*data)()) {
    using Quarn::encoders::Loops;
    std::string base(name);
    benchmark::RegisterBenchmark((base + "/decode/portable").c_str(), [data](benchmark::State& state) {
        timeDecode(state, data(), [](const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen) {
            return Quarn::encoders::decodeUtf8(src, srcLen, dst, dstLen, Loops::Portable);
        });
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((base + "/encode/portable").c_str(), [data](benchmark::State& state) {
        timeEncode(state, data(), [](const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen) {
            return Quarn::encoders::encodeUtf8(src, srcLen, dst, dstLen, Loops::Portable);
        });
    })->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    pair("utf8_mixed", utf8, "UTF-8", utf8Mixed);
    pair("utf8_mixed_words", utf8, "UTF-8", utf8MixedWords);
    pair("utf8_ascii", utf8, "UTF-8", utf8Ascii);
    pair("ucs2le", ucs2le, "UCS-2LE", ucs2Bmp);
    pair("cp1252", cp1252, "CP1252", cp1252Western);
    pair("macroman", macRoman, "MACINTOSH", macRomanWestern);
    portableLoops("utf8_mixed", utf8Mixed);
    portableLoops("utf8_mixed_words", utf8MixedWords);
    return true;
}();

// String::decode and String::encode over the same data belong here too, once strings convert bytes.

} // namespace

// ---------------------------------------------------------------------------------------------
// String::decode and String::encode over the same data, through the encoders the registry holds:
// the length query, then one conversion straight into the new String's buffer (decode) or into the
// process-wide scratch buffer (encode). The decode peer is iconv into a newly allocated buffer, as a
// new string needs one; the encode peer is iconv into a buffer kept across runs, as the scratch
// buffer is.
#include <quarn/Encoder.h>
#include <quarn/String.h>

#include <cstdlib>

namespace {

void decodeString(benchmark::State& state, const char16_t* encoderName, const DataSet& set) {
    Quarn::Encoder* encoder = Quarn::Encoder::get(encoderName);
    if (!encoder) {
        state.SkipWithError("no such encoder");
        return;
    }
    for (auto _ : state) {
        Quarn::String text;
        int16_t status = text.decode(set.bytes.data(), static_cast<int32_t>(set.bytes.size()), encoder);
        if (status != 0 || text.length() != static_cast<int32_t>(set.text.size()))
            state.SkipWithError("bad String::decode");
        benchmark::DoNotOptimize(text.wstr());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.bytes.size()));
}

void encodeString(benchmark::State& state, const char16_t* encoderName, const DataSet& set) {
    Quarn::Encoder* encoder = Quarn::Encoder::get(encoderName);
    if (!encoder) {
        state.SkipWithError("no such encoder");
        return;
    }
    const Quarn::String text(set.text.data(), static_cast<int32_t>(set.text.size()));
    for (auto _ : state) {
        const char* bytes = nullptr;
        int32_t count = 0;
        int16_t status = text.encode(bytes, count, encoder);
        if (status != 0 || count != static_cast<int32_t>(set.bytes.size()))
            state.SkipWithError("bad String::encode");
        benchmark::DoNotOptimize(bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.bytes.size()));
}

#ifdef QUARN_BENCH_ICONV
void decodeWithIconvFresh(benchmark::State& state, const char* from, const DataSet& set) {
    iconv_t cd = iconv_open("UTF-16LE", from);
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        state.SkipWithError("iconv_open failed");
        return;
    }
    const size_t outBytes = (set.text.size() + 1) * 2;
    for (auto _ : state) {
        char* out = static_cast<char*>(std::malloc(outBytes));
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char* src = const_cast<char*>(set.bytes.data());
        size_t srcLeft = set.bytes.size();
        char* dst = out;
        size_t dstLeft = outBytes;
        size_t rc = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
        if (rc == size_t(-1) || srcLeft != 0 || outBytes - dstLeft != set.text.size() * 2)
            state.SkipWithError("bad iconv");
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        std::free(out);
    }
    iconv_close(cd);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(set.bytes.size()));
}
#endif

void stringPair(const char* name, const char16_t* encoderName, const char* iconvName,
                const DataSet& (*data)()) {
    std::string base = std::string("string/") + name;
    benchmark::RegisterBenchmark((base + "/decode/quarn").c_str(), [encoderName, data](benchmark::State& s) {
        decodeString(s, encoderName, data());
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((base + "/encode/quarn").c_str(), [encoderName, data](benchmark::State& s) {
        encodeString(s, encoderName, data());
    })->Unit(benchmark::kMillisecond);
#ifdef QUARN_BENCH_ICONV
    benchmark::RegisterBenchmark((base + "/decode/iconv").c_str(), [iconvName, data](benchmark::State& s) {
        decodeWithIconvFresh(s, iconvName, data());
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((base + "/encode/iconv").c_str(), [iconvName, data](benchmark::State& s) {
        encodeWithIconv(s, iconvName, data());
    })->Unit(benchmark::kMillisecond);
#else
    (void)iconvName;
#endif
}

const bool stringsRegistered = [] {
    stringPair("utf8_mixed", u"UTF-8", "UTF-8", utf8Mixed);
    stringPair("utf8_ascii", u"UTF-8", "UTF-8", utf8Ascii);
    stringPair("ucs2le", u"UCS-2LE", "UCS-2LE", ucs2Bmp);
    stringPair("cp1252", u"CP1252", "CP1252", cp1252Western);
    stringPair("macroman", u"MACINTOSH", "MACINTOSH", macRomanWestern);
    return true;
}();

} // namespace
