// Every built-in encoder (and two platform code pages): decode arbitrary bytes and encode arbitrary
// units in arbitrary chunks, checking the conversion contract at every call, and round-trip text that
// the encoder can carry. String's decode/encode go through the same encoders.
#include "FuzzSupport.h"

#include <quarn/Encoder.h>
#include <quarn/ErrorCodes.h>

#include <string>
#include <vector>

using namespace quarn_fuzz;
using Quarn::Encoder;
using Quarn::String;

namespace {

enum Family { Ascii, Binary, Cp1252, Latin1, MacRoman, Ucs2, Ucs4, Utf8, CodePage };

struct Named {
    const char16_t* name;
    Family family;
};
const Named kEncoders[] = {{u"US-ASCII", Ascii},    {u"BINARY", Binary},      {u"CP1252", Cp1252},
                           {u"ISO-8859-1", Latin1}, {u"MACINTOSH", MacRoman}, {u"UCS-2", Ucs2},
                           {u"UCS-2BE", Ucs2},      {u"UCS-2LE", Ucs2},       {u"UCS-4", Ucs4},
                           {u"UCS-4BE", Ucs4},      {u"UCS-4LE", Ucs4},       {u"UTF-8", Utf8},
                           {u"CP1251", CodePage},   {u"KOI8-R", CodePage}};

bool allowedCode(int16_t code) {
    return code == 0 || code == Quarn::ErrConversion || code == Quarn::ErrPartialMultibyte ||
           code == Quarn::ErrCannotConvert;
}

// Decodes all of bytes in chunks whose sizes and destination rooms the input chooses.
std::u16string decodeInChunks(Encoder& encoder, const std::string& bytes, Input& input, bool& clean) {
    std::u16string out;
    size_t pos = 0;
    clean = true;
    for (int calls = 0; pos < bytes.size() && calls < 4096; ++calls) {
        int32_t offered = static_cast<int32_t>(std::min<size_t>(bytes.size() - pos, 1 + input.byte() % 24));
        int32_t room = 1 + input.byte() % 16;
        unsigned short buffer[32];
        int32_t srcLen = offered, dstLen = room;
        int16_t code = encoder.toUnicode(bytes.data() + pos, srcLen, buffer, dstLen, pos > 0);
        FUZZ_CHECK(allowedCode(code));
        FUZZ_CHECK(srcLen >= 0 && srcLen <= offered && dstLen >= 0 && dstLen <= room);
        if (code != 0 && code != Quarn::ErrPartialMultibyte) clean = false;
        out.append(reinterpret_cast<const char16_t*>(buffer), static_cast<size_t>(dstLen));
        pos += static_cast<size_t>(srcLen);
        if (srcLen == 0 && dstLen == 0 && offered == static_cast<int32_t>(bytes.size() - pos)) {
            clean = false; // a partial character at the very end
            break;
        }
    }
    if (pos < bytes.size()) clean = false; // stopped short: the chunks never made room enough
    return out;
}

std::string encodeInChunks(Encoder& encoder, const std::u16string& units, Input& input, bool& clean) {
    std::string out;
    size_t pos = 0;
    clean = true;
    for (int calls = 0; pos < units.size() && calls < 4096; ++calls) {
        int32_t offered = static_cast<int32_t>(std::min<size_t>(units.size() - pos, 1 + input.byte() % 16));
        int32_t room = 1 + input.byte() % 24;
        char buffer[32];
        int32_t srcLen = offered, dstLen = room;
        int16_t code = encoder.toMBCS(reinterpret_cast<const unsigned short*>(units.data()) + pos, srcLen,
                                      buffer, dstLen, pos > 0);
        FUZZ_CHECK(allowedCode(code));
        FUZZ_CHECK(srcLen >= 0 && srcLen <= offered && dstLen >= 0 && dstLen <= room);
        if (code != 0 && code != Quarn::ErrPartialMultibyte) clean = false;
        out.append(buffer, static_cast<size_t>(dstLen));
        pos += static_cast<size_t>(srcLen);
        if (srcLen == 0 && dstLen == 0) {
            // Nothing fits or a character is cut: give the encoder all that is left and more room next.
            if (offered == static_cast<int32_t>(units.size() - pos) && room >= 8) {
                clean = false;
                break;
            }
        }
    }
    if (pos < units.size()) clean = false; // stopped short: the chunks never made room enough
    return out;
}

// Units the encoder can carry there and back.
std::u16string carriedUnits(Family family, Input& input) {
    std::u16string units;
    for (size_t n = input.byte() % 48; n > 0 && !input.empty(); --n) {
        char16_t c = static_cast<char16_t>(input.unit());
        if (family == Utf8 || family == Ucs4) {
            if (c >= 0xD800 && c <= 0xDFFF) {
                if (family == Ucs4) continue; // decoding keeps 16 bits: only the BMP comes back whole
                units += static_cast<char16_t>(0xD800 + (c & 0xBF)); // below U+40000
                units += static_cast<char16_t>(0xDC00 + (c >> 8 & 0x3FF));
                continue;
            }
        }
        units += c;
    }
    return units;
}

// Bytes whose characters the single-byte encoder encodes back to the same byte.
bool byteRoundTrips(Family family, unsigned char b) {
    switch (family) {
    case Ascii:
        return b < 0x80;
    case Cp1252:
        return b != 0x81 && b != 0x8D && b != 0x8F && b != 0x90 && b != 0x9D;
    case Latin1:
        return b < 0x80 || b > 0x9F;
    default:
        return true;
    }
}

void warmUp() {
    for (const Named& named : kEncoders)
        Encoder::get(reinterpret_cast<const unsigned short*>(named.name));
    String(u"x").encode();
}

} // namespace

QUARN_FUZZ_INIT_WITH(warmUp)

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LeakGuard guard;
    Input input(data, size);
    const Named& named = kEncoders[input.byte() % (sizeof kEncoders / sizeof kEncoders[0])];
    Encoder* encoder = Encoder::get(reinterpret_cast<const unsigned short*>(named.name));
    if (!encoder) return 0; // a code page this machine lacks
    const Family family = named.family;
    const uint8_t mode = input.byte();

    if (family == CodePage) {
        // The platform encoder converts in one call into an exactly sized destination.
        std::string bytes;
        while (!input.empty())
            bytes += static_cast<char>(input.byte());
        String text;
        const int16_t code = text.decode(bytes.data(), static_cast<int32_t>(bytes.size()), encoder);
        FUZZ_CHECK(allowedCode(code));
        if (code == 0) {
            const char* back = nullptr;
            int32_t length = 0;
            if (text.encode(back, length, encoder) == 0)
                FUZZ_CHECK(std::string(back, static_cast<size_t>(length)) == bytes);
        }
        return 0;
    }

    if (mode & 1) {
        // Arbitrary bytes in chunks; when nothing went wrong, the chunks say what one call says.
        std::string bytes;
        for (size_t n = input.byte() % 64; n > 0 && !input.empty(); --n)
            bytes += static_cast<char>(input.byte());
        bool clean = false;
        const std::u16string chunked = decodeInChunks(*encoder, bytes, input, clean);
        String whole;
        const int16_t code = whole.decode(bytes.data(), static_cast<int32_t>(bytes.size()), encoder);
        FUZZ_CHECK(allowedCode(code));
        if (clean && code == 0) FUZZ_CHECK(same(whole, chunked));
        return 0;
    }

    if (mode & 2) {
        // Arbitrary units in chunks, checked against the contract.
        std::u16string units;
        for (size_t n = input.byte() % 48; n > 0 && !input.empty(); --n)
            units += static_cast<char16_t>(input.unit());
        bool clean = false;
        const std::string chunked = encodeInChunks(*encoder, units, input, clean);
        const char* bytes = nullptr;
        int32_t length = 0;
        const int16_t code = toString(units).encode(bytes, length, encoder);
        FUZZ_CHECK(allowedCode(code));
        FUZZ_CHECK(bytes && bytes[length] == 0);
        if (clean && code == 0) FUZZ_CHECK(std::string(bytes, static_cast<size_t>(length)) == chunked);
        return 0;
    }

    // Valid text there and back.
    if (family == Ascii || family == Binary || family == Cp1252 || family == Latin1 || family == MacRoman) {
        std::string bytes;
        for (size_t n = input.byte() % 64; n > 0 && !input.empty(); --n) {
            unsigned char b = input.byte();
            if (byteRoundTrips(family, b)) bytes += static_cast<char>(b);
        }
        String text;
        FUZZ_CHECK(text.decode(bytes.data(), static_cast<int32_t>(bytes.size()), encoder) == 0);
        const char* back = nullptr;
        int32_t length = 0;
        FUZZ_CHECK(text.encode(back, length, encoder) == 0);
        FUZZ_CHECK(std::string(back, static_cast<size_t>(length)) == bytes);
    } else {
        const std::u16string units = carriedUnits(family, input);
        const char* bytes = nullptr;
        int32_t length = 0;
        FUZZ_CHECK(toString(units).encode(bytes, length, encoder) == 0);
        const std::string copy(bytes, static_cast<size_t>(length));
        String back;
        FUZZ_CHECK(back.decode(copy.data(), static_cast<int32_t>(copy.size()), encoder) == 0);
        FUZZ_CHECK(same(back, units));
    }
    return 0;
}
