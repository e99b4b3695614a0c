// Helpers for the encoder tests: run one conversion into a destination of a given room, with guard
// values behind it so that a write past the room is caught in every build; check tables of stated
// conversions; and a plain UTF-8 codec, one character at a time, that the fast loops are held to.
#ifndef QUARN_TESTS_ENCODERS_ENCODERTESTING_H
#define QUARN_TESTS_ENCODERS_ENCODERTESTING_H

#include <quarn/Encoder.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace quarn_test {

// "41 C3 A9" -> the three bytes.
inline std::string hexBytes(const char* hex) {
    std::string out;
    char* next = nullptr;
    for (const char* p = hex; *p; p = next) {
        long value = std::strtol(p, &next, 16);
        if (next == p) break;
        out += static_cast<char>(value);
    }
    return out;
}

inline std::u16string units(std::initializer_list<unsigned short> list) {
    return std::u16string(list.begin(), list.end());
}

inline const unsigned short* w(const char16_t* text) {
    return reinterpret_cast<const unsigned short*>(text);
}

// What one conversion gave: the units or bytes written, what it consumed of the source, the result.
template <class Out> struct Converted {
    Out out;
    int32_t consumed;
    int16_t result;
    bool operator==(const Converted& o) const {
        return out == o.out && consumed == o.consumed && result == o.result;
    }
};
using Decoded = Converted<std::u16string>;
using Encoded = Converted<std::string>;

template <class Out> void PrintTo(const Converted<Out>& c, std::ostream* os) {
    *os << "consumed " << c.consumed << ", result " << c.result << ", out" << std::hex;
    for (auto u : c.out)
        *os << ' ' << (static_cast<unsigned>(u) & (sizeof u == 1 ? 0xFFu : 0xFFFFu));
    *os << std::dec;
}

constexpr int32_t kAmpleRoom = -1;
constexpr unsigned short kGuardUnit = 0xA5A5;

// Bytes are decoded, units encoded. The source is copied to a vector of exactly its size, so that a
// read past it shows under AddressSanitizer.
template <class Source>
auto convert(const Quarn::Encoder& encoder, const Source& source, int32_t room = kAmpleRoom) {
    constexpr bool decoding = std::is_same<Source, std::string>::value;
    using In = std::conditional_t<decoding, char, unsigned short>;
    using Out = std::conditional_t<decoding, unsigned short, char>;
    using Text = std::conditional_t<decoding, std::u16string, std::string>;
    if (room == kAmpleRoom) room = static_cast<int32_t>(source.size()) * 4 + 4;
    std::vector<In> src(source.begin(), source.end());
    std::vector<Out> dst(static_cast<size_t>(room) + 4, static_cast<Out>(kGuardUnit));
    int32_t srcLen = static_cast<int32_t>(src.size()), dstLen = room;
    int16_t result;
    if constexpr (decoding)
        result = encoder.toUnicode(src.data(), srcLen, dst.data(), dstLen, false);
    else
        result = encoder.toMBCS(src.data(), srcLen, dst.data(), dstLen, false);
    for (size_t i = static_cast<size_t>(room); i < dst.size(); ++i)
        EXPECT_EQ(dst[i], static_cast<Out>(kGuardUnit)) << "written past the destination at " << i;
    EXPECT_TRUE(dstLen >= 0 && dstLen <= room) << dstLen << " written into a room of " << room;
    dstLen = dstLen < 0 ? 0 : dstLen > room ? room : dstLen;
    return Converted<Text>{Text(dst.begin(), dst.begin() + dstLen), srcLen, result};
}

// One stated conversion: bytes (in hex) decode to text, or text encodes to bytes, with what is
// consumed of the source and the result, into the room given.
enum class Way { Decode, Encode };
constexpr int32_t kWhole = -1; // all of the source consumed

struct Conversion {
    Way way;
    const char* hex;
    std::u16string text;
    int32_t consumed;
    int16_t result;
    int32_t room = kAmpleRoom;
};

inline void expectConversions(const Quarn::Encoder& encoder, const std::vector<Conversion>& table) {
    for (const Conversion& c : table) {
        const std::string bytes = hexBytes(c.hex);
        const size_t all = c.way == Way::Decode ? bytes.size() : c.text.size();
        const int32_t consumed = c.consumed == kWhole ? static_cast<int32_t>(all) : c.consumed;
        if (c.way == Way::Decode)
            EXPECT_EQ(convert(encoder, bytes, c.room), (Decoded{c.text, consumed, c.result}))
                << "decoding " << c.hex << " into " << c.room;
        else
            EXPECT_EQ(convert(encoder, c.text, c.room), (Encoded{bytes, consumed, c.result}))
                << "encoding to " << c.hex << " into " << c.room;
    }
}

// The length of the sequence a byte leads, five and six included; 0 for a byte that cannot lead.
inline int32_t utf8Length(unsigned lead) {
    static const unsigned limits[] = {0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE, 0x100};
    static const int32_t lengths[] = {1, 0, 2, 3, 4, 5, 6, 0};
    int k = 0;
    while (lead >= limits[k])
        ++k;
    return lengths[k];
}

inline std::string utf8(uint32_t c) {
    const int length = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    static const unsigned leadMark[5] = {0, 0, 0xC0, 0xE0, 0xF0};
    std::string out(1, static_cast<char>(length == 1 ? c : leadMark[length] | c >> (6 * (length - 1))));
    for (int k = length - 1; k-- > 0;)
        out += static_cast<char>(0x80 | (c >> (6 * k) & 0x3F));
    return out;
}

inline std::u16string utf16(uint32_t c) {
    if (c < 0x10000) return std::u16string(1, static_cast<char16_t>(c));
    return {static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)),
            static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF))};
}

// UTF-8 by the rules, one character at a time and nothing else: what UTF8Encoder's fast loops must
// give exactly, units, counts and result.
class ReferenceUtf8 : public Quarn::Encoder {
public:
    ReferenceUtf8() : Encoder(0, true) {}
    const unsigned short* getNames() const override { return w(u"REFERENCE-UTF-8"); }

    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool) const override {
        static const uint32_t least[7] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x200000};
        const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
        int32_t pos = 0, out = 0;
        auto done = [&](int16_t result) {
            srcLen = pos;
            dstLen = out;
            return result;
        };
        while (pos < srcLen && out < dstLen) {
            const int32_t length = utf8Length(s[pos]);
            if (length > srcLen - pos) return done(Quarn::ErrPartialMultibyte);
            uint32_t value = s[pos] & (0x7Fu >> (length > 1 ? length : 0)); // the lead's own bits
            bool malformed = length == 0; // a byte that cannot lead is replaced on its own
            for (int32_t k = 1; k < length; ++k) {
                malformed = malformed || (s[pos + k] & 0xC0) != 0x80;
                value = value << 6 | (s[pos + k] & 0x3F);
            }
            if (malformed || value >= 0x110000 || value < least[length]) {
                dst[out++] = 0xFFFD;
                pos += length == 0 ? 1 : length;
                return done(Quarn::ErrConversion);
            }
            const std::u16string character = utf16(value);
            if (static_cast<int32_t>(character.size()) > dstLen - out)
                return done(Quarn::ErrPartialMultibyte);
            for (char16_t u : character)
                dst[out++] = u;
            pos += length;
        }
        return done(Quarn::ErrNone);
    }

    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool) const override {
        int32_t pos = 0, out = 0;
        auto done = [&](int16_t result) {
            srcLen = pos;
            dstLen = out;
            return result;
        };
        while (pos < srcLen) {
            uint32_t c = src[pos];
            const bool pair = c >= 0xD800 && c <= 0xDBFF;
            if (c >= 0xDC00 && c <= 0xDFFF) return done(Quarn::ErrConversion);
            if (pair && pos + 1 == srcLen) return done(Quarn::ErrPartialMultibyte);
            if (pair && (src[pos + 1] < 0xDC00 || src[pos + 1] > 0xDFFF)) return done(Quarn::ErrConversion);
            if (pair) c = 0x10000 + ((c - 0xD800) << 10) + (src[pos + 1] - 0xDC00u);
            // U+40000 and up are refused, but only once the five bytes they would take fit.
            const std::string bytes = utf8(c);
            if ((c >= 0x40000 ? 5 : static_cast<int32_t>(bytes.size())) > dstLen - out) break;
            if (c >= 0x40000) return done(Quarn::ErrConversion);
            for (char b : bytes)
                dst[out++] = b;
            pos += pair ? 2 : 1;
        }
        return done(Quarn::ErrNone);
    }
};

// Random text in both forms, made of the same characters: runs of one script (so that whole blocks
// and vector windows are taken) and runs mixed character by character, with the boundary characters
// of each length and a blank now and then. With faults, now and then a piece goes into one form
// only: bytes or units that must be refused or are cut short, and characters that only one direction
// takes (encoded surrogates, U+40000 and up).
struct RandomText {
    std::u16string units;
    std::string bytes;

    void add(uint32_t c) {
        units += utf16(c);
        bytes += utf8(c);
    }
};

inline RandomText randomText(std::mt19937& random, size_t atLeast, bool faults) {
    // The scripts: ASCII with its controls, Cyrillic, CJK, emoji.
    static const uint32_t first[] = {0, 0x400, 0x4E00, 0x1F600}, span[] = {0x80, 0x60, 0x5000, 0x50};
    static const uint32_t edges[] = {0x80, 0x7FF, 0x800, 0xFFFF, 0xD7FF, 0xE000, 0xFFFD, 0x10000, 0x3FFFF};
    // Bytes that cannot lead; overlong; above U+10FFFF; five and six bytes; a bad continuation; cut
    // short; taken by decoding only.
    static const std::vector<std::string> oddBytes = [] {
        std::vector<std::string> list;
        std::string all = "80|BF|FE|FF|C0 80|C1 BF|E0 80 80|E0 9F BF|F0 8F BF BF|F4 90 80 80|F7 BF BF BF|"
                          "F8 88 80 80 80|FC 84 80 80 80 80|F8 88 80 80|C3 41|C3 C3|E2 82 41|E2 41 82|"
                          "E4 B8|D0|F0 9F 98|ED A0 80|ED BF BF|F1 80 80 80|F4 8F BF BF|";
        for (size_t from = 0, bar; (bar = all.find('|', from)) != std::string::npos; from = bar + 1)
            list.push_back(hexBytes(all.substr(from, bar - from).c_str()));
        return list;
    }();
    static const std::u16string oddUnits[] = {u"\xDC00",       u"\xDFFF",  u"\xD83D",       u"\xDBFF",
                                              u"\xD83D\xD83D", u"\xD83Dx", u"\xD8C0\xDC00", u"\xDBFF\xDFFF"};
    RandomText t;
    while (t.units.size() < atLeast || t.bytes.size() < atLeast) {
        const unsigned choice = random() % (faults ? 10 : 8), run = 1 + random() % 24;
        if (choice == 8) {
            t.bytes += oddBytes[random() % oddBytes.size()];
        } else if (choice == 9) {
            t.units += oddUnits[random() % 8];
        } else {
            for (unsigned i = 0; i < run; ++i) {
                const unsigned script = choice < 4 ? choice : random() % 13 / 4; // emoji are rare in mixes
                t.add(random() % 5 ? first[script] + random() % span[script] : edges[random() % 9]);
                if (random() % 8 == 0) t.add(' ');
            }
        }
    }
    return t;
}

} // namespace quarn_test

#endif
