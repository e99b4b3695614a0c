// Both sets of UTF-8 loops (the vector loops where the build has them, and the portable loops every
// target can run) against a plain one-character-at-a-time reference written here from the rules:
// same units or bytes, same counts, same result, on random and hostile input cut at every point.
#include "encoders/UTF8Loops.h"

#include "encoders/EncoderTesting.h"

#include <quarn/ErrorCodes.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

using namespace Quarn;
using namespace Quarn::encoders;
using namespace quarn_test;

namespace {

struct Outcome {
    std::vector<unsigned short> units; // or bytes, one per element
    int32_t consumed = 0;
    int16_t result = 0;

    bool operator==(const Outcome& o) const {
        return units == o.units && consumed == o.consumed && result == o.result;
    }
};

std::string show(const Outcome& o) {
    std::string text =
        "consumed " + std::to_string(o.consumed) + ", result " + std::to_string(o.result) + ":";
    char hex[8];
    for (unsigned short u : o.units) {
        std::snprintf(hex, sizeof hex, " %X", u);
        text += hex;
    }
    return text;
}

// Decoding by the rules, one sequence at a time, into room units.
Outcome referenceDecode(const std::vector<unsigned char>& bytes, int32_t room) {
    Outcome o;
    const size_t n = bytes.size();
    size_t pos = 0;
    while (pos < n && o.units.size() < static_cast<size_t>(room)) {
        const uint32_t lead = bytes[pos];
        size_t length = lead < 0x80   ? 1
                        : lead < 0xC0 ? 0
                        : lead < 0xE0 ? 2
                        : lead < 0xF0 ? 3
                        : lead < 0xF8 ? 4
                        : lead < 0xFC ? 5
                        : lead < 0xFE ? 6
                                      : 0;
        if (length == 0) { // a byte that cannot lead
            o.units.push_back(0xFFFD);
            ++pos;
            o.result = ErrConversion;
            break;
        }
        if (n - pos < length) {
            o.result = ErrPartialMultibyte;
            break;
        }
        const uint32_t leadBits[7] = {0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
        const uint32_t least[7] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x200000};
        uint32_t value = lead & leadBits[length];
        bool malformed = false;
        for (size_t k = 1; k < length; ++k) {
            malformed = malformed || (bytes[pos + k] & 0xC0) != 0x80;
            value = value << 6 | (bytes[pos + k] & 0x3F);
        }
        if (malformed || value >= 0x110000 || value < least[length]) {
            o.units.push_back(0xFFFD);
            pos += length;
            o.result = ErrConversion;
            break;
        }
        if (value >= 0x10000) {
            if (static_cast<size_t>(room) - o.units.size() < 2) {
                o.result = ErrPartialMultibyte;
                break;
            }
            o.units.push_back(static_cast<unsigned short>(0xD800 + ((value - 0x10000) >> 10)));
            o.units.push_back(static_cast<unsigned short>(0xDC00 + ((value - 0x10000) & 0x3FF)));
        } else {
            o.units.push_back(static_cast<unsigned short>(value));
        }
        pos += length;
    }
    o.consumed = static_cast<int32_t>(pos);
    return o;
}

// Encoding by the rules, one character at a time, into room bytes.
Outcome referenceEncode(const std::vector<unsigned short>& text, int32_t room) {
    Outcome o;
    const size_t n = text.size();
    size_t pos = 0;
    while (pos < n) {
        uint32_t c = text[pos];
        size_t taken = 1;
        if (c >= 0xDC00 && c <= 0xDFFF) {
            o.result = ErrConversion;
            break;
        }
        if (c >= 0xD800 && c <= 0xDBFF) {
            if (pos + 1 == n) {
                o.result = ErrPartialMultibyte;
                break;
            }
            const uint32_t low = text[pos + 1];
            if (low < 0xDC00 || low > 0xDFFF) {
                o.result = ErrConversion;
                break;
            }
            c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            taken = 2;
        }
        const size_t length = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : c < 0x40000 ? 4 : 5;
        if (length > static_cast<size_t>(room) - o.units.size()) break;
        if (length == 5) {
            o.result = ErrConversion;
            break;
        }
        if (length == 1) {
            o.units.push_back(static_cast<unsigned short>(c));
        } else {
            const uint32_t leadMark[5] = {0, 0, 0xC0, 0xE0, 0xF0};
            o.units.push_back(static_cast<unsigned short>(leadMark[length] | c >> (6 * (length - 1))));
            for (size_t k = length - 1; k-- > 0;)
                o.units.push_back(static_cast<unsigned short>(0x80 | (c >> (6 * k) & 0x3F)));
        }
        pos += taken;
    }
    o.consumed = static_cast<int32_t>(pos);
    return o;
}

const Loops kLoops[] = {Loops::Portable, Loops::Vector};

const char* name(Loops loops) {
    return loops == Loops::Vector ? "vector" : "portable";
}

// The source is copied to a buffer of exactly its size and the destination has guards behind its
// room, so that reading or writing past either shows.
Outcome runDecode(const std::vector<unsigned char>& bytes, int32_t room, Loops loops) {
    std::vector<char> source(bytes.begin(), bytes.end());
    std::vector<unsigned short> dst(static_cast<size_t>(room) + 8, kGuardUnit);
    int32_t srcLen = static_cast<int32_t>(source.size());
    int32_t dstLen = room;
    Outcome o;
    o.result = decodeUtf8(source.data(), srcLen, dst.data(), dstLen, loops);
    for (size_t i = static_cast<size_t>(room); i < dst.size(); ++i)
        if (dst[i] != kGuardUnit) ADD_FAILURE() << name(loops) << ": written past the room at " << i;
    o.consumed = srcLen;
    if (dstLen < 0 || dstLen > room) {
        ADD_FAILURE() << name(loops) << ": " << dstLen << " units reported for a room of " << room;
        return o;
    }
    o.units.assign(dst.begin(), dst.begin() + dstLen);
    return o;
}

Outcome runEncode(const std::vector<unsigned short>& text, int32_t room, Loops loops) {
    std::vector<unsigned short> source(text);
    std::vector<char> dst(static_cast<size_t>(room) + 8, kGuardByte);
    int32_t srcLen = static_cast<int32_t>(source.size());
    int32_t dstLen = room;
    Outcome o;
    o.result = encodeUtf8(source.data(), srcLen, dst.data(), dstLen, loops);
    for (size_t i = static_cast<size_t>(room); i < dst.size(); ++i)
        if (dst[i] != kGuardByte) ADD_FAILURE() << name(loops) << ": written past the room at " << i;
    o.consumed = srcLen;
    if (dstLen < 0 || dstLen > room) {
        ADD_FAILURE() << name(loops) << ": " << dstLen << " bytes reported for a room of " << room;
        return o;
    }
    for (int32_t i = 0; i < dstLen; ++i)
        o.units.push_back(static_cast<unsigned char>(dst[static_cast<size_t>(i)]));
    return o;
}

// Every cut of the source with ample room, every room with the whole source; true while all agree.
template <class Text, class Reference, class Run>
bool agreesEverywhere(const Text& text, int32_t ampleRoom, Reference reference, Run run) {
    auto same = [&](const Text& part, int32_t room) {
        const Outcome want = reference(part, room);
        for (Loops loops : kLoops) {
            const Outcome got = run(part, room, loops);
            if (!(got == want)) {
                ADD_FAILURE() << name(loops) << " loops, " << part.size() << " in, room " << room
                              << "\n got  " << show(got) << "\n want " << show(want);
                return false;
            }
        }
        return true;
    };
    for (size_t cut = 0; cut <= text.size(); ++cut)
        if (!same(Text(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(cut)), ampleRoom))
            return false;
    for (int32_t room = 0; room <= ampleRoom; ++room)
        if (!same(text, room)) return false;
    return true;
}

void append(std::vector<unsigned char>& out, std::initializer_list<unsigned> bytes) {
    for (unsigned b : bytes)
        out.push_back(static_cast<unsigned char>(b));
}

// A piece of UTF-8 text. Mostly long runs of one kind (so that whole vector windows are taken) with
// boundary values, and now and then one of every kind of fault.
void appendPiece(std::mt19937& random, std::vector<unsigned char>& out, bool faults) {
    const unsigned kind = random() % (faults ? 24 : 16);
    const size_t run = 1 + random() % 12;
    switch (kind) {
    case 0:
    case 1:
    case 2: // ASCII, including the controls and 7F
        for (size_t i = 0; i < run * 2; ++i)
            out.push_back(static_cast<unsigned char>(random() % 0x80));
        break;
    case 3:
    case 4:
    case 5: // two bytes: Cyrillic and the edges C2 80, DF BF
        for (size_t i = 0; i < run; ++i) {
            const uint32_t c = random() % 4 == 0 ? (random() % 2 ? 0x80 : 0x7FF) : 0x400 + random() % 0x60;
            append(out, {0xC0 | c >> 6, 0x80 | (c & 0x3F)});
            if (random() % 3 == 0) out.push_back(' ');
        }
        break;
    case 6:
    case 7:
    case 8: // three bytes: CJK, the edges E0 A0 80 and EF BF BF, encoded surrogates ED A0 80..ED BF BF
        for (size_t i = 0; i < run; ++i) {
            static const uint32_t edges[] = {0x800, 0xFFFF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xD7FF, 0xE000};
            const uint32_t c = random() % 4 == 0 ? edges[random() % 8] : 0x4E00 + random() % 0x5000;
            append(out, {0xE0 | c >> 12, 0x80 | (c >> 6 & 0x3F), 0x80 | (c & 0x3F)});
            if (random() % 4 == 0) out.push_back(static_cast<unsigned char>(random() % 0x80));
        }
        break;
    case 9:
    case 10: { // four bytes: emoji, U+10000, U+10FFFF
        static const uint32_t chars[] = {0x1F600, 0x10000, 0x10FFFF, 0x3FFFF, 0x40000};
        const uint32_t c = random() % 2 ? chars[random() % 5] : 0x1F600 + random() % 0x50;
        append(out, {0xF0 | c >> 18, 0x80 | (c >> 12 & 0x3F), 0x80 | (c >> 6 & 0x3F), 0x80 | (c & 0x3F)});
        break;
    }
    case 11:
    case 12:
    case 13:
    case 14:
    case 15: // mixed word by word, the way the vector windows see it most
        for (size_t i = 0; i < run; ++i) {
            const unsigned which = random() % 3;
            if (which == 0) out.push_back(static_cast<unsigned char>('a' + random() % 26));
            if (which == 1) append(out, {0xD0, 0xB0 + static_cast<unsigned>(random() % 16)});
            if (which == 2)
                append(out, {0xE4, 0xB8 + static_cast<unsigned>(random() % 4),
                             0x80 + static_cast<unsigned>(random() % 64)});
        }
        break;
    default: { // one fault
        static const std::vector<std::vector<unsigned>> faultsList = {
            {0x80},
            {0xBF}, // cannot lead
            {0xFE},
            {0xFF}, //
            {0xC0, 0x80},
            {0xC1, 0xBF}, // overlong two bytes
            {0xE0, 0x80, 0x80},
            {0xE0, 0x9F, 0xBF},       // overlong three bytes
            {0xF0, 0x8F, 0xBF, 0xBF}, // overlong four bytes
            {0xF4, 0x90, 0x80, 0x80},
            {0xF7, 0xBF, 0xBF, 0xBF}, // above U+10FFFF
            {0xF8, 0x88, 0x80, 0x80, 0x80},
            {0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}, // five and six bytes
            {0xC3, 0x41},
            {0xC3, 0xC3},
            {0xE2, 0x82, 0x41},
            {0xE2, 0x41, 0x82}, // bad continuation
            {0xE4, 0xB8},
            {0xD0},
            {0xF0, 0x9F, 0x98}, // cut short (at the end of the source: partial)
            {0xE2, 0xE2, 0x82, 0xAC},
            {0xF0, 0x9F, 0x98, 0xE4, 0xB8, 0xAD},
        };
        for (unsigned b : faultsList[random() % faultsList.size()])
            out.push_back(static_cast<unsigned char>(b));
        break;
    }
    }
}

TEST(UTF8Loops, DecodingAgreesWithTheRules) {
    std::mt19937 random(11);
    for (int round = 0; round < 600; ++round) {
        std::vector<unsigned char> bytes;
        const bool faults = round % 3 != 0;
        const size_t size = 1 + random() % 90;
        while (bytes.size() < size)
            appendPiece(random, bytes, faults && random() % 4 == 0);
        ASSERT_TRUE(
            agreesEverywhere(bytes, static_cast<int32_t>(bytes.size()) + 2, referenceDecode, runDecode))
            << "round " << round;
    }
}

// Each fault at every offset of a window and of the window after, inside long valid text of each
// kind, so that the vector loops meet it at every lane and the windows' ends cut every sequence.
TEST(UTF8Loops, DecodingFaultsAtEveryOffset) {
    const std::vector<std::vector<unsigned>> faults = {
        {0x80},
        {0xC0, 0x80},
        {0xC1, 0x81},
        {0xE0, 0x9F, 0x80},
        {0xE0, 0xA0, 0x80},
        {0xED, 0xA0, 0x80},
        {0xF0, 0x9F, 0x98, 0x80},
        {0xF4, 0x90, 0x80, 0x80},
        {0xF8, 0x88, 0x80, 0x80, 0x80},
        {0xC3, 0x41},
        {0xE2, 0x82, 0x41},
        {0xE2, 0x41},
        {0xFF},
        {0xBF, 0xBF},
    };
    const std::vector<std::vector<unsigned>> fillers = {
        {'a'}, {0xD0, 0xB6}, {0xE4, 0xB8, 0xAD}, {'a', 0xD0, 0xB6}};
    for (const auto& filler : fillers) {
        for (const auto& fault : faults) {
            for (size_t at = 0; at < 40; ++at) {
                std::vector<unsigned char> bytes;
                for (size_t i = 0; bytes.size() < at; ++i)
                    bytes.push_back(static_cast<unsigned char>(filler[i % filler.size()]));
                for (unsigned b : fault)
                    bytes.push_back(static_cast<unsigned char>(b));
                for (size_t i = 0; i < 24; ++i)
                    bytes.push_back(static_cast<unsigned char>(filler[i % filler.size()]));
                for (int32_t room : {8, 15, 16, 17, 31, 32, 33, 100}) {
                    const Outcome want = referenceDecode(bytes, room);
                    for (Loops loops : kLoops)
                        ASSERT_EQ(runDecode(bytes, room, loops), want) << name(loops) << " at " << at;
                }
            }
        }
    }
}

void appendUnits(std::mt19937& random, std::vector<unsigned short>& out, bool faults) {
    const unsigned kind = random() % (faults ? 14 : 10);
    const size_t run = 1 + random() % 12;
    auto pair = [&](uint32_t c) {
        out.push_back(static_cast<unsigned short>(0xD800 + ((c - 0x10000) >> 10)));
        out.push_back(static_cast<unsigned short>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    };
    switch (kind) {
    case 0:
    case 1: // ASCII
        for (size_t i = 0; i < run * 2; ++i)
            out.push_back(static_cast<unsigned short>(random() % 0x80));
        break;
    case 2:
    case 3: // below U+0800, with its edges
        for (size_t i = 0; i < run; ++i)
            out.push_back(static_cast<unsigned short>(random() % 4 == 0 ? (random() % 2 ? 0x80 : 0x7FF)
                                                                        : 0x400 + random() % 0x60));
        break;
    case 4:
    case 5: { // the rest of the basic plane, with the edges around the surrogates
        static const unsigned short edges[] = {0x800, 0xFFFF, 0xD7FF, 0xE000, 0xFFFD, 0xF900};
        for (size_t i = 0; i < run; ++i)
            out.push_back(random() % 4 == 0 ? edges[random() % 6]
                                            : static_cast<unsigned short>(0x4E00 + random() % 0x5000));
        break;
    }
    case 6: // pairs, up to the U+40000 limit and past it
        pair(random() % 2 ? 0x1F600 + random() % 0x50 : 0x10000 + random() % 0x30000);
        break;
    case 7:
    case 8:
    case 9: // mixed word by word
        for (size_t i = 0; i < run; ++i) {
            const unsigned which = random() % 4;
            if (which == 0) out.push_back(static_cast<unsigned short>('a' + random() % 26));
            if (which == 1) out.push_back(static_cast<unsigned short>(0x430 + random() % 32));
            if (which == 2) out.push_back(static_cast<unsigned short>(0x4E00 + random() % 0x5000));
            if (which == 3 && random() % 4 == 0) pair(0x1F600 + random() % 0x50);
        }
        break;
    case 10: // refused: U+40000 and up
        pair(random() % 2 ? 0x40000 : 0x40000 + random() % 0xD0000);
        break;
    case 11: // a lone low surrogate
        out.push_back(static_cast<unsigned short>(0xDC00 + random() % 0x400));
        break;
    case 12: // a high surrogate without its low one (partial when it is the last unit)
        out.push_back(static_cast<unsigned short>(0xD800 + random() % 0x400));
        break;
    default: // a high surrogate followed by a high one or by a plain unit
        out.push_back(0xD83D);
        out.push_back(random() % 2 ? 0xD83D : 'x');
        break;
    }
}

TEST(UTF8Loops, EncodingAgreesWithTheRules) {
    std::mt19937 random(12);
    for (int round = 0; round < 600; ++round) {
        std::vector<unsigned short> text;
        const bool faults = round % 3 != 0;
        const size_t size = 1 + random() % 60;
        while (text.size() < size)
            appendUnits(random, text, faults && random() % 4 == 0);
        ASSERT_TRUE(
            agreesEverywhere(text, static_cast<int32_t>(text.size()) * 3 + 2, referenceEncode, runEncode))
            << "round " << round;
    }
}

TEST(UTF8Loops, EncodingFaultsAtEveryOffset) {
    const std::vector<std::vector<unsigned short>> faults = {
        {0xDC00},         {0xD83D, 'x'},    {0xD83D, 0xD83D, 0xDE00}, {0xD83D, 0xDE00}, {0xDB40, 0xDC00},
        {0xD8C0, 0xDC00}, {0xDBFF, 0xDFFF}, {0xD8BF, 0xDFFF},         {0xD800},
    };
    const std::vector<std::vector<unsigned short>> fillers = {{'a'}, {0x436}, {0x4E2D}, {'a', 0x436, 0x4E2D}};
    for (const auto& filler : fillers) {
        for (const auto& fault : faults) {
            for (size_t at = 0; at < 20; ++at) {
                for (bool last : {false, true}) {
                    std::vector<unsigned short> text;
                    for (size_t i = 0; i < at; ++i)
                        text.push_back(filler[i % filler.size()]);
                    text.insert(text.end(), fault.begin(), fault.end());
                    for (size_t i = 0; !last && i < 12; ++i)
                        text.push_back(filler[i % filler.size()]);
                    for (int32_t room : {7, 24, 25, 31, 32, 33, 40, 100}) {
                        const Outcome want = referenceEncode(text, room);
                        for (Loops loops : kLoops)
                            ASSERT_EQ(runEncode(text, room, loops), want) << name(loops) << " at " << at;
                    }
                }
            }
        }
    }
}

// Long text, as the benchmarks convert it, through every room near the block sizes; and the counts
// after a call that the destination ends.
TEST(UTF8Loops, LongTextAndRoomsAroundTheBlockSizes) {
    std::mt19937 random(13);
    std::vector<unsigned short> text;
    while (text.size() < 5000)
        appendUnits(random, text, false);
    const Outcome encoded = referenceEncode(text, 1 << 20);
    ASSERT_EQ(encoded.consumed, static_cast<int32_t>(text.size()));
    const std::vector<unsigned char> bytes(encoded.units.begin(), encoded.units.end());
    for (Loops loops : kLoops) {
        ASSERT_EQ(runEncode(text, 1 << 16, loops), encoded) << name(loops);
        const Outcome decoded = runDecode(bytes, 1 << 16, loops);
        ASSERT_EQ(decoded.units, text) << name(loops);
        ASSERT_EQ(decoded.consumed, static_cast<int32_t>(bytes.size()));
        for (int32_t room = 1; room < 70; ++room) {
            ASSERT_EQ(runDecode(bytes, room, loops), referenceDecode(bytes, room)) << name(loops) << room;
            ASSERT_EQ(runEncode(text, room, loops), referenceEncode(text, room)) << name(loops) << room;
        }
    }
}

} // namespace
