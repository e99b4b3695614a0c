// Helpers for the encoder tests: run one conversion into a destination of a given room, with guard
// values behind it so that a write past the room is caught in every build; check tables of stated
// conversions; and a plain UTF-8 encoder, one character at a time, that the fast loops are held to.
#ifndef QUARN_TESTS_ENCODERS_ENCODERTESTING_H
#define QUARN_TESTS_ENCODERS_ENCODERTESTING_H

#include <quarn/Encoder.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
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

struct Decoded {
    std::u16string text;
    int32_t consumed;
    int16_t result;
    bool operator==(const Decoded& o) const {
        return text == o.text && consumed == o.consumed && result == o.result;
    }
};

struct Encoded {
    std::string bytes;
    int32_t consumed;
    int16_t result;
    bool operator==(const Encoded& o) const {
        return bytes == o.bytes && consumed == o.consumed && result == o.result;
    }
};

inline void PrintTo(const Decoded& d, std::ostream* os) {
    *os << "consumed " << d.consumed << ", result " << d.result << ", units" << std::hex;
    for (char16_t u : d.text)
        *os << ' ' << static_cast<unsigned>(u);
    *os << std::dec;
}

inline void PrintTo(const Encoded& e, std::ostream* os) {
    *os << "consumed " << e.consumed << ", result " << e.result << ", bytes" << std::hex;
    for (char b : e.bytes)
        *os << ' ' << static_cast<unsigned>(static_cast<unsigned char>(b));
    *os << std::dec;
}

constexpr int32_t kAmpleRoom = -1;
constexpr unsigned short kGuardUnit = 0xA5A5;
constexpr char kGuardByte = '\x5A';

// The source is copied to a vector of exactly its size, so that a read past it shows under
// AddressSanitizer.
inline Decoded decodeWith(const Quarn::Encoder& encoder, const std::string& bytes,
                          int32_t room = kAmpleRoom) {
    if (room == kAmpleRoom) room = static_cast<int32_t>(bytes.size()) + 4;
    std::vector<char> source(bytes.begin(), bytes.end());
    std::vector<unsigned short> dst(static_cast<size_t>(room) + 4, kGuardUnit);
    int32_t srcLen = static_cast<int32_t>(bytes.size());
    int32_t dstLen = room;
    int16_t result = encoder.toUnicode(source.data(), srcLen, dst.data(), dstLen, false);
    for (size_t i = static_cast<size_t>(room); i < dst.size(); ++i)
        EXPECT_EQ(dst[i], kGuardUnit) << "written past the destination at " << i;
    EXPECT_TRUE(dstLen >= 0 && dstLen <= room) << dstLen << " units written into a room of " << room;
    dstLen = dstLen < 0 ? 0 : dstLen > room ? room : dstLen;
    return {std::u16string(dst.begin(), dst.begin() + dstLen), srcLen, result};
}

inline Encoded encodeWith(const Quarn::Encoder& encoder, const std::u16string& text,
                          int32_t room = kAmpleRoom) {
    if (room == kAmpleRoom) room = static_cast<int32_t>(text.size()) * 4 + 4;
    std::vector<unsigned short> source(text.begin(), text.end());
    std::vector<char> dst(static_cast<size_t>(room) + 4, kGuardByte);
    int32_t srcLen = static_cast<int32_t>(text.size());
    int32_t dstLen = room;
    int16_t result = encoder.toMBCS(source.data(), srcLen, dst.data(), dstLen, false);
    for (size_t i = static_cast<size_t>(room); i < dst.size(); ++i)
        EXPECT_EQ(dst[i], kGuardByte) << "written past the destination at " << i;
    EXPECT_TRUE(dstLen >= 0 && dstLen <= room) << dstLen << " bytes written into a room of " << room;
    dstLen = dstLen < 0 ? 0 : dstLen > room ? room : dstLen;
    return {std::string(dst.begin(), dst.begin() + dstLen), srcLen, result};
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
        if (c.way == Way::Decode) {
            const int32_t all = static_cast<int32_t>(bytes.size());
            EXPECT_EQ(decodeWith(encoder, bytes, c.room),
                      (Decoded{c.text, c.consumed == kWhole ? all : c.consumed, c.result}))
                << "decoding " << c.hex << " into " << c.room;
        } else {
            const int32_t all = static_cast<int32_t>(c.text.size());
            EXPECT_EQ(encodeWith(encoder, c.text, c.room),
                      (Encoded{bytes, c.consumed == kWhole ? all : c.consumed, c.result}))
                << "encoding to " << c.hex << " into " << c.room;
        }
    }
}

// UTF-8 by the rules, one character at a time and nothing else: what UTF8Encoder's fast loops must
// give exactly, units, counts and result.
class ReferenceUtf8 : public Quarn::Encoder {
public:
    ReferenceUtf8() : Encoder(0, true) {}
    const unsigned short* getNames() const override {
        return reinterpret_cast<const unsigned short*>(u"REFERENCE-UTF-8");
    }

    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool) const override {
        static const uint32_t leadBits[7] = {0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
        static const uint32_t least[7] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x200000};
        const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
        int32_t pos = 0, out = 0;
        int16_t result = Quarn::ErrNone;
        while (pos < srcLen && out < dstLen) {
            const uint32_t lead = s[pos];
            const int32_t length = lead < 0x80   ? 1
                                   : lead < 0xC0 ? 0
                                   : lead < 0xE0 ? 2
                                   : lead < 0xF0 ? 3
                                   : lead < 0xF8 ? 4
                                   : lead < 0xFC ? 5
                                   : lead < 0xFE ? 6
                                                 : 0;
            if (length > srcLen - pos) {
                result = Quarn::ErrPartialMultibyte;
                break;
            }
            uint32_t value = lead & leadBits[length];
            bool malformed = length == 0; // a byte that cannot lead is replaced on its own
            for (int32_t k = 1; k < length; ++k) {
                malformed = malformed || (s[pos + k] & 0xC0) != 0x80;
                value = value << 6 | (s[pos + k] & 0x3F);
            }
            if (malformed || value >= 0x110000 || value < least[length]) {
                dst[out++] = 0xFFFD;
                pos += length == 0 ? 1 : length;
                result = Quarn::ErrConversion;
                break;
            }
            if (value >= 0x10000 && dstLen - out < 2) {
                result = Quarn::ErrPartialMultibyte;
                break;
            }
            if (value >= 0x10000) {
                dst[out++] = static_cast<unsigned short>(0xD800 + ((value - 0x10000) >> 10));
                dst[out++] = static_cast<unsigned short>(0xDC00 + ((value - 0x10000) & 0x3FF));
            } else {
                dst[out++] = static_cast<unsigned short>(value);
            }
            pos += length;
        }
        srcLen = pos;
        dstLen = out;
        return result;
    }

    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool) const override {
        int32_t pos = 0, out = 0;
        int16_t result = Quarn::ErrNone;
        while (pos < srcLen) {
            uint32_t c = src[pos];
            int32_t taken = 1;
            if (c >= 0xDC00 && c <= 0xDFFF) {
                result = Quarn::ErrConversion;
                break;
            }
            if (c >= 0xD800 && c <= 0xDBFF) {
                if (pos + 1 == srcLen) {
                    result = Quarn::ErrPartialMultibyte;
                    break;
                }
                if (src[pos + 1] < 0xDC00 || src[pos + 1] > 0xDFFF) {
                    result = Quarn::ErrConversion;
                    break;
                }
                c = 0x10000 + ((c - 0xD800) << 10) + (src[pos + 1] - 0xDC00u);
                taken = 2;
            }
            const int32_t length = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : c < 0x40000 ? 4 : 5;
            if (length > dstLen - out) break; // a normal stop, even for a character that is refused
            if (length == 5) {
                result = Quarn::ErrConversion;
                break;
            }
            static const uint32_t leadMark[5] = {0, 0, 0xC0, 0xE0, 0xF0};
            dst[out++] = static_cast<char>(length == 1 ? c : leadMark[length] | c >> (6 * (length - 1)));
            for (int32_t k = length - 1; k-- > 0;)
                dst[out++] = static_cast<char>(0x80 | (c >> (6 * k) & 0x3F));
            pos += taken;
        }
        srcLen = pos;
        dstLen = out;
        return result;
    }
};

// Random text in both forms, made of the same characters: mostly runs of one script (so that whole
// blocks and vector windows are taken) with the boundary characters of each length, and runs mixed
// word by word. With faults, now and then a piece goes into one form only: bytes or units that must
// be refused or are cut short, and characters that only one direction takes (encoded surrogates,
// U+40000 and up).
struct RandomText {
    std::u16string units;
    std::string bytes;

    void add(uint32_t c) {
        if (c < 0x10000) {
            units += static_cast<char16_t>(c);
        } else {
            units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
        const int length = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
        static const unsigned leadMark[5] = {0, 0, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(length == 1 ? c : leadMark[length] | c >> (6 * (length - 1)));
        for (int k = length - 1; k-- > 0;)
            bytes += static_cast<char>(0x80 | (c >> (6 * k) & 0x3F));
    }
};

inline RandomText randomText(std::mt19937& random, size_t atLeast, bool faults) {
    static const uint32_t edges[] = {0x80, 0x7FF, 0x800, 0xFFFF, 0xD7FF, 0xE000, 0xFFFD, 0x10000, 0x3FFFF};
    static const char* const oddBytes[] = {"80",
                                           "BF",
                                           "FE",
                                           "FF", // cannot lead
                                           "C0 80",
                                           "C1 BF",
                                           "E0 80 80",
                                           "E0 9F BF",
                                           "F0 8F BF BF", // overlong
                                           "F4 90 80 80",
                                           "F7 BF BF BF", // above U+10FFFF
                                           "F8 88 80 80 80",
                                           "FC 84 80 80 80 80",
                                           "F8 88 80 80", // five and six bytes
                                           "C3 41",
                                           "C3 C3",
                                           "E2 82 41",
                                           "E2 41 82", // bad continuation
                                           "E4 B8",
                                           "D0",
                                           "F0 9F 98", // cut short
                                           "ED A0 80",
                                           "ED BF BF",
                                           "F1 80 80 80",
                                           "F4 8F BF BF"}; // taken by decoding only
    static const std::u16string oddUnits[] = {u"\xDC00",       u"\xDFFF",  u"\xD83D",       u"\xDBFF",
                                              u"\xD83D\xD83D", u"\xD83Dx", u"\xD8C0\xDC00", u"\xDBFF\xDFFF"};
    RandomText t;
    while (t.units.size() < atLeast || t.bytes.size() < atLeast) {
        const size_t run = 1 + random() % 12;
        switch (random() % (faults ? 10 : 8)) {
        case 0: // ASCII, controls and 7F included
            for (size_t i = 0; i < run * 2; ++i)
                t.add(random() % 0x80);
            break;
        case 1: // two bytes, with a blank now and then
            for (size_t i = 0; i < run; ++i) {
                t.add(random() % 4 ? 0x400 + random() % 0x60 : edges[random() % 2]);
                if (random() % 3 == 0) t.add(' ');
            }
            break;
        case 2: // three bytes
            for (size_t i = 0; i < run; ++i)
                t.add(random() % 4 ? 0x4E00 + random() % 0x5000 : edges[2 + random() % 5]);
            break;
        case 3: // four bytes
            t.add(random() % 2 ? 0x1F600 + random() % 0x50 : edges[7 + random() % 2]);
            break;
        case 8:
            t.bytes += hexBytes(oddBytes[random() % (sizeof oddBytes / sizeof oddBytes[0])]);
            break;
        case 9:
            t.units += oddUnits[random() % (sizeof oddUnits / sizeof oddUnits[0])];
            break;
        default: // mixed word by word: Latin, Cyrillic, CJK, now and then an emoji
            for (size_t i = 0; i < run; ++i) {
                static const uint32_t first[] = {'a', 0x430, 0x4E00, 0x1F600};
                static const uint32_t span[] = {26, 32, 0x5000, 0x50};
                const unsigned which = random() % 13 / 4;
                t.add(first[which] + random() % span[which]);
            }
            break;
        }
    }
    return t;
}

} // namespace quarn_test

#endif
