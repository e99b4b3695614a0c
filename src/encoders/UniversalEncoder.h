// The platform code-page encoder: every legacy encoding the library does not implement itself,
// converted by the platform (the Win32 converters, glibc iconv elsewhere). A factory turns a name
// into one: "CP" or "WINDOWS-" with a number gives that code page, and a fixed table of 46 rows maps
// the usual charset names to code pages.
//
// The conversions follow an exact-size contract: one platform call over the whole source, which
// succeeds only when it fills the destination exactly. Callers size the destination with the
// length query first; any other size, and any source the platform refuses, gives ErrConversion with
// both counts left as they came in.
#ifndef QUARN_ENCODERS_UNIVERSALENCODER_H
#define QUARN_ENCODERS_UNIVERSALENCODER_H

#include <quarn/Encoder.h>
#include <quarn/String.h>

namespace Quarn {

namespace platform {
struct CodePageConverter;
}

// One row of the code-page table: the code page, its fixed bytes per character (0 when it
// varies) and its alias list in upper case.
struct CodePageRow {
    uint16_t codePage;
    uint16_t width;
    const char* aliases;
};

// What a name resolves to before the platform is asked.
struct CodePageChoice {
    uint32_t codePage;
    int32_t width;
    String names;
};

class UniversalEncoder : public Encoder {
public:
    // The encoder of a name, or null. An empty name gives the default encoder (not a new one);
    // otherwise a new encoder the caller owns, when the name resolves and the platform can convert
    // the code page.
    static Encoder* make(const String& name);
    // The name rules alone: false when the name gives no code page.
    static bool resolve(const String& name, CodePageChoice& choice);
    // The table, ending with a row of code page 0.
    static const CodePageRow* table();
    // The Win32 conversion flags a code page is converted with: MB_PRECOMPOSED|MB_ERR_INVALID_CHARS
    // for decoding and none for encoding, except for the pages that accept no flags at all.
    static uint32_t decodingFlagsFor(uint32_t codePage);
    static uint32_t encodingFlagsFor(uint32_t codePage);

    // Takes over converter.
    UniversalEncoder(const String& names, int32_t width, uint32_t codePage,
                     platform::CodePageConverter* converter);
    ~UniversalEncoder() override;

    const unsigned short* getNames() const override { return names.wstr(); }
    int32_t getDecodedLength(const char* src, int32_t len) override;
    int32_t getEncodedLength(const unsigned short* src, int32_t len) override;
    int16_t getUnicodeLength(const char* src, int32_t len, int32_t& out) const override;
    int16_t getMBCSLength(const unsigned short* src, int32_t len, int32_t& out) const override;
    int16_t toUnicode(const char* src, int32_t& srcLen, unsigned short* dst, int32_t& dstLen,
                      bool continued) const override;
    int16_t toMBCS(const unsigned short* src, int32_t& srcLen, char* dst, int32_t& dstLen,
                   bool continued) const override;

    uint32_t getCodePage() const { return conversion.codePage; }
    uint32_t getDecodingFlags() const { return conversion.decodingFlags; }
    uint32_t getEncodingFlags() const { return conversion.encodingFlags; }

private:
    // The conversion record: what the platform is called with.
    struct Conversion {
        uint32_t codePage;
        uint32_t decodingFlags;
        uint32_t encodingFlags;
        platform::CodePageConverter* converter;
    };

    String names;
    Conversion conversion;
};

} // namespace Quarn

#endif
