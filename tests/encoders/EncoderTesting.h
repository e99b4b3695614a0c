// Helpers for the encoder tests: run one conversion into a destination of a given room, with guard
// values behind it so that a write past the room is caught in every build; check tables of stated
// conversions; and drive a conversion in chunks the way the string and file layers do.
#ifndef QUARN_TESTS_ENCODERS_ENCODERTESTING_H
#define QUARN_TESTS_ENCODERS_ENCODERTESTING_H

#include <quarn/Encoder.h>

#include <gtest/gtest.h>

#include <cstdlib>
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

// Conversions take a copy of the source in a vector of exactly its size, so that a read past the
// source shows under AddressSanitizer.
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

inline Decoded decodeWith(const Quarn::Encoder& encoder, const std::string& bytes, int32_t room = kAmpleRoom,
                          bool continued = false) {
    if (room == kAmpleRoom) room = static_cast<int32_t>(bytes.size()) + 4;
    std::vector<char> source(bytes.begin(), bytes.end());
    std::vector<unsigned short> dst(static_cast<size_t>(room) + 4, kGuardUnit);
    int32_t srcLen = static_cast<int32_t>(bytes.size());
    int32_t dstLen = room;
    int16_t result = encoder.toUnicode(source.data(), srcLen, dst.data(), dstLen, continued);
    for (size_t i = static_cast<size_t>(room); i < dst.size(); ++i)
        EXPECT_EQ(dst[i], kGuardUnit) << "written past the destination at " << i;
    EXPECT_GE(dstLen, 0);
    EXPECT_LE(dstLen, room);
    return {std::u16string(dst.begin(), dst.begin() + dstLen), srcLen, result};
}

inline Encoded encodeWith(const Quarn::Encoder& encoder, const std::u16string& text,
                          int32_t room = kAmpleRoom, bool continued = false) {
    if (room == kAmpleRoom) room = static_cast<int32_t>(text.size()) * 4 + 4;
    std::vector<unsigned short> source(text.begin(), text.end());
    std::vector<char> dst(static_cast<size_t>(room) + 4, kGuardByte);
    int32_t srcLen = static_cast<int32_t>(text.size());
    int32_t dstLen = room;
    int16_t result = encoder.toMBCS(source.data(), srcLen, dst.data(), dstLen, continued);
    for (size_t i = static_cast<size_t>(room); i < dst.size(); ++i)
        EXPECT_EQ(dst[i], kGuardByte) << "written past the destination at " << i;
    EXPECT_GE(dstLen, 0);
    EXPECT_LE(dstLen, room);
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

// Decodes the whole of bytes in calls whose source is cut at cut (first call) and whose destination
// never exceeds room, continuing from wherever the previous call stopped. Stops on a call that makes
// no progress; what was produced so far is returned.
inline Decoded decodeInChunks(const Quarn::Encoder& encoder, const std::string& bytes, size_t cut,
                              int32_t room) {
    Decoded total{std::u16string(), 0, 0};
    size_t pos = 0;
    bool first = true;
    while (pos < bytes.size()) {
        size_t end = first && cut < bytes.size() ? cut : bytes.size();
        Decoded part = decodeWith(encoder, bytes.substr(pos, end - pos), room, !first);
        total.text += part.text;
        total.result = part.result;
        pos += static_cast<size_t>(part.consumed);
        if (part.consumed == 0 && part.text.empty() && !first) break;
        first = false;
    }
    total.consumed = static_cast<int32_t>(pos);
    return total;
}

inline Encoded encodeInChunks(const Quarn::Encoder& encoder, const std::u16string& text, size_t cut,
                              int32_t room) {
    Encoded total{std::string(), 0, 0};
    size_t pos = 0;
    bool first = true;
    while (pos < text.size()) {
        size_t end = first && cut < text.size() ? cut : text.size();
        Encoded part = encodeWith(encoder, text.substr(pos, end - pos), room, !first);
        total.bytes += part.bytes;
        total.result = part.result;
        pos += static_cast<size_t>(part.consumed);
        if (part.consumed == 0 && part.bytes.empty() && !first) break;
        first = false;
    }
    total.consumed = static_cast<int32_t>(pos);
    return total;
}

} // namespace quarn_test

#endif
